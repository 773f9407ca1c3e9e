// Marks a phase of a driver: the phase hooks run when it begins and on every way out of it.

#ifndef TOVI_LAPACK_PHASE_H
#define TOVI_LAPACK_PHASE_H

#include "cudalib/hooks.h"

namespace tovi::lapack {

class Phase {
 public:
  Phase() { CallHooks::run(callHooks().phaseBegin); }
  ~Phase() { CallHooks::run(callHooks().phaseEnd); }
  Phase(const Phase&) = delete;
  Phase& operator=(const Phase&) = delete;
};

}  // namespace tovi::lapack

#endif
