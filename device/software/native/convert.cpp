// Conversion between the precisions, native: pieces of whole columns. Complex numbers are two real ones.

#include <algorithm>
#include <cstddef>

#include "device/native_bodies.h"
#include "device/software/src/pool.h"

namespace software_device {
namespace native {

namespace {

template <class S, class D>
TOVI_DEVICE_CODE void convertRun(std::ptrdiff_t n, const S* __restrict__ x, D* __restrict__ y) {
  for (std::ptrdiff_t i = 0; i < n; ++i) y[i] = static_cast<D>(x[i]);
}

}  // namespace

template <class S, class D>
void convertMatrix(int m, int n, const S* dA, int lda, D* dB, int ldb) {
  if (m == 0 || n == 0) return;
  constexpr std::ptrdiff_t parts = tovi::isComplex<S> ? 2 : 1;
  constexpr std::size_t run = std::size_t{1} << 15;  // elements a piece, about
  const std::size_t count = static_cast<std::size_t>(n),
                    group = std::max<std::size_t>(1, run / static_cast<std::size_t>(m));
  parallelFor((count + group - 1) / group, [&](std::size_t piece) {
    const std::size_t last = std::min(count, (piece + 1) * group);
    for (std::size_t j = piece * group; j < last; ++j)
      convertRun(parts * m, reinterpret_cast<const tovi::Real<S>*>(dA + static_cast<std::ptrdiff_t>(j) * lda),
                 reinterpret_cast<tovi::Real<D>*>(dB + static_cast<std::ptrdiff_t>(j) * ldb));
  });
}

template void convertMatrix(int, int, const float*, int, double*, int);
template void convertMatrix(int, int, const double*, int, float*, int);
template void convertMatrix(int, int, const FloatComplex*, int, DoubleComplex*, int);
template void convertMatrix(int, int, const DoubleComplex*, int, FloatComplex*, int);

}  // namespace native
}  // namespace software_device
