// The sums of the absolute values in the rows of a matrix, native. A piece owns some rows, whose sums stay in
// the cache while it goes from column to column: each sum has the order of the kernel's.

#include <cstddef>

#include "device/native_bodies.h"
#include "device/software/src/pool.h"
#include "ground/scalars.h"

namespace software_device {
namespace native {

namespace {

template <class T>
TOVI_DEVICE_CODE void sumRun(int rows, int n, const T* a, std::ptrdiff_t lda,
                             tovi::Real<T>* __restrict__ sums) {
  for (int i = 0; i < rows; ++i) sums[i] = 0;
  for (int j = 0; j < n; ++j, a += lda)
    for (int i = 0; i < rows; ++i) sums[i] += tovi::modulus(a[i]);
}

}  // namespace

template <class T>
void sumRows(int m, int n, const T* dA, int lda, tovi::Real<T>* dSums) {
  constexpr int rows = 256;
  parallelFor(static_cast<std::size_t>((m + rows - 1) / rows), [&](std::size_t piece) {
    const int first = static_cast<int>(piece) * rows;
    sumRun(m - first < rows ? m - first : rows, n, dA + first, lda, dSums + first);
  });
}

template void sumRows(int, int, const float*, int, float*);
template void sumRows(int, int, const double*, int, double*);
template void sumRows(int, int, const FloatComplex*, int, float*);
template void sumRows(int, int, const DoubleComplex*, int, double*);

}  // namespace native
}  // namespace software_device
