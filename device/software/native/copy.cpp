// Matrix copy, native: columns, or one run of memory where neither matrix has gaps between its columns.

#include <algorithm>
#include <cstddef>

#include "device/software/native/bodies.h"
#include "device/software/src/pool.h"
#include "device/software/src/sanitizer.h"

namespace software_device {
namespace native {

template <class T>
void copyMatrix(int m, int n, const T* dA, int lda, T* dB, int ldb) {
  if (m == 0 || n == 0) return;
  std::size_t length = static_cast<std::size_t>(m) * sizeof(T), count = static_cast<std::size_t>(n);
  std::size_t strideA = static_cast<std::size_t>(lda) * sizeof(T),
              strideB = static_cast<std::size_t>(ldb) * sizeof(T);
  const auto* from = reinterpret_cast<const unsigned char*>(dA);
  auto* to = reinterpret_cast<unsigned char*>(dB);
  constexpr std::size_t run = std::size_t{1} << 18;  // bytes a piece, about
  if (lda == m && ldb == m) {
    length *= count;
    count = (length + run - 1) / run;
    strideA = strideB = run;
    parallelFor(count, [&](std::size_t i) {
      rawCopy(to + i * run, from + i * run, std::min(run, length - i * run));
    });
    return;
  }
  const std::size_t group = std::max<std::size_t>(1, run / length);
  parallelFor((count + group - 1) / group, [&](std::size_t piece) {
    const std::size_t last = std::min(count, (piece + 1) * group);
    for (std::size_t j = piece * group; j < last; ++j) rawCopy(to + j * strideB, from + j * strideA, length);
  });
}

template void copyMatrix(int, int, const float*, int, float*, int);
template void copyMatrix(int, int, const double*, int, double*, int);
template void copyMatrix(int, int, const FloatComplex*, int, FloatComplex*, int);
template void copyMatrix(int, int, const DoubleComplex*, int, DoubleComplex*, int);

}  // namespace native
}  // namespace software_device
