// Row interchanges in device memory, the counterpart of LAPACK's laswp.

#ifndef TOVI_BASIC_LASWP_H
#define TOVI_BASIC_LASWP_H

#include <cstdint>

#include "device/runtime.h"

namespace tovi {

// The pivots of one launch travel in its arguments: entry t is the 0-based line that line first + t changes
// places with. 16-bit entries serve matrices of up to 32,768 rows; a batch that names a later row goes in the
// wide form.
template <class Int>
struct PivotBatch {
  using Integer = Int;
  static constexpr int capacity = 16;
  Int line[capacity];
};
using swstruct = PivotBatch<std::int16_t>;
using swstructWide = PivotBatch<std::int32_t>;

// Column-major storage: interchanges rows of the n columns of a.
template <class Map, class T, class Int = std::int16_t>
__global__ void KernelLASWP(int n, T* a, int lda, int first, int count, PivotBatch<Int> pivots);

// Transposed storage: interchanges columns of the n rows of a.
template <class Map, class T, class Int = std::int16_t>
__global__ void KernelLASWPCOL(int n, T* a, int lda, int first, int count, PivotBatch<Int> pivots);

namespace basic {

// For i = k1, ..., k2, in this order: rows i and hIpiv[i - 1] of the n columns of dA change places. Rows and
// pivots count from 1, as in slaswp, and incx is only there to keep its argument list: interchanges run
// forward whatever it says. A range of a single pivot, k1 = k2, applies nothing. hIpiv is free as soon as the
// call returns.
template <class T>
void laswp(int n, T* dA, int lda, int k1, int k2, const int* hIpiv, int incx);

// The same on transposed storage: columns i and hIpiv[i - 1] of the n rows of dA change places.
template <class T>
void laswpCol(int n, T* dA, int lda, int k1, int k2, const int* hIpiv, int incx);

}  // namespace basic
}  // namespace tovi

#endif
