// Four optional callables that a program which is linked with the library's objects can set: around every
// exported routine that computes, and around the phases inside the drivers. All start empty; an empty one is
// skipped. A hook may call exported routines; around those no entry and exit hook runs.

#ifndef TOVI_GROUND_HOOKS_H
#define TOVI_GROUND_HOOKS_H

#include <boost/function.hpp>

#include "ground/per_process.h"

namespace tovi {

struct CallHooks {
  using Hook = boost::function<void()>;

  // Before the arguments are checked; on every way out from there. Neither runs around a call of a library
  // that is not initialized or, in the device interface, around one in a precision that the device lacks.
  Hook entry, exit;
  Hook phaseBegin, phaseEnd;  // around a phase of a driver (ground/phase.h)

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

// The hooks of the process. Not guarded: they are set and cleared while no other thread is in a routine.
// toviShutdown clears them, also where other threads stay registered.
inline tovi::PerProcess<CallHooks> theCallHooks;
inline CallHooks& callHooks() { return theCallHooks.get(); }

}  // namespace tovi

#endif
