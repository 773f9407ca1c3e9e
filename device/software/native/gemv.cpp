// The transposed matrix-vector product, native: the tiles of the device's own BLAS. An entry of y is summed
// up in the host BLAS's order, not in the kernel's, so that the two agree to rounding. Which entries make a
// tile depends on the problem alone: the bits are the same with any number of workers.

#include <array>
#include <cstddef>

#include "device/native_bodies.h"
#include "device/software/src/cublas_tiles.h"
#include "device/software/src/sanitizer.h"

namespace software_device {
namespace native {

template <bool conj, class T>
void multiplyTransposed(int count, int m, int n, T alpha, const T* dA, int lda, T beta, const T* dX, int incx,
                        T* dY, int incy, T* room) {
  if (count == 0) return;
  std::array<Extent, 3> operands = {extent(dY, n, host::distance(incy), 1)};
  if (alpha != T(0))
    operands = {operands[0], extent(dA, count, host::distance(lda), m),
                extent(dX, m, host::distance(incx), 1)};
  lendToHost(operands, [&] {
    tiles::gemv(conj ? 'C' : 'T', m, count, alpha, dA, lda, dX, incx, beta,
                tiles::piece(dY, incy, n, 0, count), incy, room);
  });
}

template void multiplyTransposed<false>(int, int, int, float, const float*, int, float, const float*, int,
                                        float*, int, float*);
template void multiplyTransposed<true>(int, int, int, float, const float*, int, float, const float*, int,
                                       float*, int, float*);
template void multiplyTransposed<false>(int, int, int, double, const double*, int, double, const double*, int,
                                        double*, int, double*);
template void multiplyTransposed<true>(int, int, int, double, const double*, int, double, const double*, int,
                                       double*, int, double*);
template void multiplyTransposed<false>(int, int, int, FloatComplex, const FloatComplex*, int, FloatComplex,
                                        const FloatComplex*, int, FloatComplex*, int, FloatComplex*);
template void multiplyTransposed<true>(int, int, int, FloatComplex, const FloatComplex*, int, FloatComplex,
                                       const FloatComplex*, int, FloatComplex*, int, FloatComplex*);
template void multiplyTransposed<false>(int, int, int, DoubleComplex, const DoubleComplex*, int,
                                        DoubleComplex, const DoubleComplex*, int, DoubleComplex*, int,
                                        DoubleComplex*);
template void multiplyTransposed<true>(int, int, int, DoubleComplex, const DoubleComplex*, int, DoubleComplex,
                                       const DoubleComplex*, int, DoubleComplex*, int, DoubleComplex*);

}  // namespace native
}  // namespace software_device
