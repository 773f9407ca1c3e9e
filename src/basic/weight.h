// The vector that goes with a reflector in the reduction to tridiagonal form.

#ifndef TOVI_BASIC_WEIGHT_H
#define TOVI_BASIC_WEIGHT_H

#include "device/runtime.h"

namespace tovi {

// w := tau w - (|tau|^2/2 w^H v) v, also to `copy`, n elements each.
template <class Map, class T>
__global__ void Weight_k(int n, const T* v, const T* tau, T* w, T* copy);

namespace basic {

template <class T>
void completeWeight(int n, const T* dV, const T* dTau, T* dW, T* dCopy);

}  // namespace basic
}  // namespace tovi

#endif
