// The transposed matrix-vector product, a kernel of this library's own: blas::gemv launches it for op(A) =
// A^T and A^H and leaves op(A) = A to CUBLAS.

#ifndef TOVI_BLAS_GEMV_H
#define TOVI_BLAS_GEMV_H

#include "device/runtime.h"
#include "ground/complex.h"

namespace tovi {

// y(j) := alpha sum_i a(i,j) x(i) + beta y(j) for the n columns of the m x n matrix A, which is not empty;
// with conj(a(i,j)) when conj is true. A block of BX x BY threads produces BX entries of y; m_main is m
// rounded down to a multiple of BX BY. Vectors are taken as the BLAS take them: with a negative increment the
// first element stands last. y is not read when beta is 0, A and x are not when alpha is.
template <class T, int BX, int BY, bool conj>
__global__ void gemvt_k(int m, int n, T alpha, int m_main, const T* A, int lda, T beta, const T* x, int incx,
                        T* y, int incy);

namespace blas {

// The blocks that it is launched in.
template <class T>
struct GemvBlock {
  static constexpr int x = 16, y = 8;
};
template <>
struct GemvBlock<float> {
  static constexpr int x = 32, y = 16;
};

}  // namespace blas
}  // namespace tovi

#endif
