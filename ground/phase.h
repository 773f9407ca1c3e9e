// Marks a phase of a driver: the phase hooks run when it begins and on every way out of it. What a hook
// throws ends the driver like any other failure; a failure that is on its way out already comes first.

#ifndef TOVI_GROUND_PHASE_H
#define TOVI_GROUND_PHASE_H

#include <exception>

#include "ground/hooks.h"

namespace tovi {

class Phase {
 public:
  Phase() { CallHooks::run(callHooks().phaseBegin); }
  ~Phase() noexcept(false) {  // NOLINT(bugprone-exception-escape): see above
    try {
      CallHooks::run(callHooks().phaseEnd);
    } catch (...) {
      if (std::uncaught_exceptions() == failuresBefore_) throw;
    }
  }
  Phase(const Phase&) = delete;
  Phase& operator=(const Phase&) = delete;

 private:
  const int failuresBefore_ = std::uncaught_exceptions();
};

}  // namespace tovi

#endif
