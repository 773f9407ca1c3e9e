// Generation of an elementary reflector in device memory, as LAPACK's larfg does.

#ifndef TOVI_BASIC_LARFG_H
#define TOVI_BASIC_LARFG_H

#include "device/runtime.h"
#include "ground/complex.h"

namespace tovi {

// Finds H = I - tau (1, v)(1, v)^H such that H^H (alpha, x) = (beta, 0) with a real beta: alpha becomes beta,
// the n - 1 elements of x become v. tau is 0, and H the identity, where x is zero and alpha is real. Tiny
// vectors are scaled up on the way; NaN in the vector gives NaN in the results. Where `beta` is not null,
// beta goes there, and alpha becomes 1.
template <class Map, class T>
__global__ void LARFG_k(int n, T* alpha, T* x, int incx, T* tau, Real<T>* beta);

namespace basic {

// dAlpha, dX and dTau are device memory. n = 0 only sets *dTau to 0. incx is not negative.
template <class T>
void larfg(int n, T* dAlpha, T* dX, int incx, T* dTau);

// The same of the vector dV, whose first element is alpha: it becomes (1, v).
template <class T>
void larfg(int n, T* dV, T* dTau, Real<T>* dBeta);

}  // namespace basic
}  // namespace tovi

#endif
