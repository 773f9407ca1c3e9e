// Where kernels find their elements. Offsets are computed in std::ptrdiff_t: matrices may hold more than 2^31
// elements.

#ifndef TOVI_BASIC_ADDRESSING_H
#define TOVI_BASIC_ADDRESSING_H

#include <cstddef>

#include "platform/runtime.h"

namespace tovi {

// Element (i, j) of the column-major matrix A.
template <class T>
__device__ inline T& element(T* A, int ld, std::ptrdiff_t i, std::ptrdiff_t j) {
  return A[j * ld + i];
}

// Element i of the vector x.
template <class T>
__device__ inline T& element(T* x, int inc, std::ptrdiff_t i) {
  return x[i * inc];
}

}  // namespace tovi

#endif
