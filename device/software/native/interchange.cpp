// Interchanges of rows and of columns, native. Each piece owns some lines across the interchanges and makes
// all of them there in their order.

#include <algorithm>
#include <cstddef>
#include <utility>

#include "device/software/native/bodies.h"
#include "device/software/src/pool.h"

namespace software_device {
namespace native {

namespace {

// The elements i and j of `cols` columns that start at a
template <class T, class Int>
TOVI_DEVICE_CODE void swapRowsOf(T* a, int ld, int cols, int first, int count, const Int* lines) {
  for (int j = 0; j < cols; ++j, a += ld)
    for (int t = 0; t < count; ++t) {
      const T kept = a[first + t];
      a[first + t] = a[lines[t]];
      a[lines[t]] = kept;
    }
}

// x and y are different columns.
template <class T>
TOVI_DEVICE_CODE void swapRun(T* __restrict__ x, T* __restrict__ y, int n) {
  for (int i = 0; i < n; ++i) {
    const T kept = x[i];
    x[i] = y[i];
    y[i] = kept;
  }
}

}  // namespace

template <class T, class Int>
void swapRows(int cols, T* dA, int lda, int first, int count, const Int* lines) {
  constexpr int group = 64;
  const int pieces = cols / group + (cols % group != 0);
  parallelFor(static_cast<std::size_t>(pieces), [&](std::size_t piece) {
    const int j = static_cast<int>(piece) * group;
    swapRowsOf(dA + static_cast<std::ptrdiff_t>(j) * lda, lda, std::min(group, cols - j), first, count,
               lines);
  });
}

template <class T, class Int>
void swapColumns(int rows, T* dA, int lda, int first, int count, const Int* lines) {
  constexpr int group = static_cast<int>(8192 / sizeof(T));
  const int pieces = rows / group + (rows % group != 0);
  parallelFor(static_cast<std::size_t>(pieces), [&](std::size_t piece) {
    const int i = static_cast<int>(piece) * group, n = std::min(group, rows - i);
    for (int t = 0; t < count; ++t) {
      const std::ptrdiff_t x = first + t, y = lines[t];
      if (x != y) swapRun(dA + x * lda + i, dA + y * lda + i, n);
    }
  });
}

template void swapRows(int, float*, int, int, int, const std::int16_t*);
template void swapRows(int, double*, int, int, int, const std::int16_t*);
template void swapRows(int, FloatComplex*, int, int, int, const std::int16_t*);
template void swapRows(int, DoubleComplex*, int, int, int, const std::int16_t*);
template void swapRows(int, float*, int, int, int, const std::int32_t*);
template void swapRows(int, double*, int, int, int, const std::int32_t*);
template void swapRows(int, FloatComplex*, int, int, int, const std::int32_t*);
template void swapRows(int, DoubleComplex*, int, int, int, const std::int32_t*);

template void swapColumns(int, float*, int, int, int, const std::int16_t*);
template void swapColumns(int, double*, int, int, int, const std::int16_t*);
template void swapColumns(int, FloatComplex*, int, int, int, const std::int16_t*);
template void swapColumns(int, DoubleComplex*, int, int, int, const std::int16_t*);
template void swapColumns(int, float*, int, int, int, const std::int32_t*);
template void swapColumns(int, double*, int, int, int, const std::int32_t*);
template void swapColumns(int, FloatComplex*, int, int, int, const std::int32_t*);
template void swapColumns(int, DoubleComplex*, int, int, int, const std::int32_t*);

}  // namespace native
}  // namespace software_device
