// Four optional callables that whoever embeds the library in a program of his own can set: around every
// exported routine, and around the phases inside the drivers. All start empty; an empty one is skipped.

#ifndef TOVI_GROUND_HOOKS_H
#define TOVI_GROUND_HOOKS_H

#include <boost/function.hpp>

#include "ground/per_process.h"

namespace tovi {

struct CallHooks {
  using Hook = boost::function<void()>;

  Hook entry, exit;           // before the work of an exported routine; on every way out of it
  Hook phaseBegin, phaseEnd;  // around a phase of a driver

  static void run(const Hook& hook) {
    if (hook) hook();
  }
  void clear() {
    entry.clear();
    exit.clear();
    phaseBegin.clear();
    phaseEnd.clear();
  }
};

// The hooks of the process. Not guarded: they are set before, and emptied after, the calls that run them.
inline tovi::PerProcess<CallHooks> theCallHooks;
inline CallHooks& callHooks() { return theCallHooks.get(); }

}  // namespace tovi

#endif
