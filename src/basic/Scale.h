// Scaling of vectors by a scalar that lies in device memory.

#ifndef TOVI_BASIC_SCALE_H
#define TOVI_BASIC_SCALE_H

#include "device/runtime.h"
#include "ground/complex.h"

namespace tovi {

// x := *alpha x, or x := (1 / *alpha) x when reciprocal is true.
template <class Map, class T, bool reciprocal>
__global__ void Scale_k(int n, T* x, const T* alpha, int incx);

namespace basic {

// dAlpha must not point into dX.
template <class T>
void scaleVector(int n, T* dX, const T* dAlpha, int incx, bool reciprocal = false);

}  // namespace basic
}  // namespace tovi

#endif
