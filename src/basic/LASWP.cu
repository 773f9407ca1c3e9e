#include "src/basic/LASWP.h"

#include <algorithm>
#include <limits>

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

template <class T>
__device__ inline void exchange(T& x, T& y) {
  const T kept = x;
  x = y;
  y = kept;
}

}  // namespace

// A thread owns one column of a and makes the interchanges in it one after another, so that later pivots see
// what earlier ones did; nothing else touches the column.
template <class Map, class T, class Int>
__global__ void KernelLASWP(int n, T* a, int lda, int first, int count, PivotBatch<Int> pivots) {
  const std::ptrdiff_t x = Map::index();
  if (x >= n) return;
  for (int t = 0; t < pivots.capacity; ++t)
    if (t < count) exchange(element(a, lda, first + t, x), element(a, lda, pivots.line[t], x));
}

// A thread owns one row of a. Neighbouring threads own neighbouring rows, so every interchange is of
// contiguous memory.
template <class Map, class T, class Int>
__global__ void KernelLASWPCOL(int n, T* a, int lda, int first, int count, PivotBatch<Int> pivots) {
  const std::ptrdiff_t x = Map::index();
  if (x >= n) return;
  for (int t = 0; t < pivots.capacity; ++t)
    if (t < count) exchange(element(a, lda, x, first + t), element(a, lda, x, pivots.line[t]));
}

namespace basic {

namespace {

using Map = cudalib::Map1D;

template <class Int>
PivotBatch<Int> batchOf(const int* pivots, int count) {
  PivotBatch<Int> batch = {};
  for (int t = 0; t < count; ++t) batch.line[t] = static_cast<Int>(pivots[t] - 1);
  return batch;
}

// Launches the batches of pivots k1..k2, 16 at a time, through launchBatch(first row, count, pivots): the
// default stream keeps them in order.
template <class LaunchBatch>
void forEachBatch(int k1, int k2, const int* hIpiv, const LaunchBatch& launchBatch) {
  constexpr int capacity = swstruct::capacity;
  for (int done = 0; done <= k2 - k1; done += capacity) {
    const int first = k1 - 1 + done, count = std::min(capacity, k2 - first);
    const int* pivots = hIpiv + first;
    if (*std::max_element(pivots, pivots + count) - 1 <= std::numeric_limits<std::int16_t>::max())
      launchBatch(first, count, batchOf<std::int16_t>(pivots, count));
    else
      launchBatch(first, count, batchOf<std::int32_t>(pivots, count));
  }
}

void checkArguments(int n, const void* dA, int lda, int k1, int k2, const int* hIpiv) {
  checkSize(n, 1);
  if (n == 0) return;
  checkPointer(dA, 2);
  checkSize(lda, 3);
  checkSize(k1, 4);
  checkSize(k2, 5);
  checkPointer(hIpiv, 6);
}

}  // namespace

template <class T>
void laswp(int n, T* dA, int lda, int k1, int k2, const int* hIpiv, int /*incx*/) {
  checkArguments(n, dA, lda, k1, k2, hIpiv);
  if (n == 0 || k1 >= k2) return;
  forEachBatch(k1, k2, hIpiv, [&](int first, int count, auto pivots) {
    using Int = typename decltype(pivots)::Integer;
    cudalib::launch<&KernelLASWP<Map, T, Int>, native::SwapRows<T>>(Map(n), n, dA, lda, first, count, pivots);
  });
}

template <class T>
void laswpCol(int n, T* dA, int lda, int k1, int k2, const int* hIpiv, int /*incx*/) {
  checkArguments(n, dA, lda, k1, k2, hIpiv);
  if (n == 0 || k1 >= k2) return;
  forEachBatch(k1, k2, hIpiv, [&](int first, int count, auto pivots) {
    using Int = typename decltype(pivots)::Integer;
    cudalib::launch<&KernelLASWPCOL<Map, T, Int>, native::SwapColumns<T>>(Map(n), n, dA, lda, first, count,
                                                                          pivots);
  });
}

#define TOVI_INSTANCES(T)               \
  template decltype(laswp<T>) laswp<T>; \
  template decltype(laswpCol<T>) laswpCol<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
