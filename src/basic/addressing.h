// Where kernels find their elements. Offsets are computed in std::ptrdiff_t: matrices may hold more than 2^31
// elements.

#ifndef TOVI_BASIC_ADDRESSING_H
#define TOVI_BASIC_ADDRESSING_H

#include <cstddef>

#include "device/runtime.h"

namespace tovi {

// Element (i, j) of the column-major matrix A.
template <class T>
__device__ inline T& element(T* A, int ld, std::ptrdiff_t i, std::ptrdiff_t j) {
  return A[j * ld + i];
}

// Where the first of the n elements of a vector stands: with a negative increment at the far end, as in the
// BLAS.
template <class T>
__host__ __device__ inline T* firstElement(int n, T* x, int inc) {
  return inc < 0 ? x + static_cast<std::ptrdiff_t>(1 - n) * inc : x;
}
// Element i of a vector whose first element is x[0].
template <class T>
__device__ inline T& element(T* x, int inc, std::ptrdiff_t i) {
  return x[i * inc];
}

}  // namespace tovi

#endif
