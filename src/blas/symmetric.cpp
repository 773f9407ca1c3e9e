// symm, hemm, hemv. In products of matrices the off-diagonal block is applied once as it is and once as its
// conjugate transpose, which serves symmetric real matrices and Hermitian complex ones alike.

#include "src/blas/blas.h"
#include "src/blas/block_unit.h"
#include "src/blas/cublas.h"

namespace tovi::blas {
namespace {

template <class T>
void multiplyByBlocks(int nb, char side, char uplo, T alpha, MatrixView<const T> dA, MatrixView<const T> dB,
                      T beta, MatrixView<T> dC) {
  const int m = dC.rows, n = dC.cols, d = side == 'L' ? m : n;
  if (d <= nb) return cublas::symm<T>(side, uplo, alpha, dA, dB, beta, dC);

  const int d1 = leadingPart(d, nb), d2 = d - d1;
  const auto part = [&](auto x, int i) {  // the rows or columns of B and C that belong to block i of A
    const int first = i == 1 ? 0 : d1, count = i == 1 ? d1 : d2;
    return side == 'L' ? x.block(first, 0, count, n) : x.columns(first, count);
  };
  const auto dB1 = part(dB, 1), dB2 = part(dB, 2);
  const auto dC1 = part(dC, 1), dC2 = part(dC, 2);

  multiplyByBlocks<T>(nb, side, uplo, alpha, dA.block(0, 0, d1, d1), dB1, beta, dC1);
  if (uplo == 'L') {
    const auto dA21 = dA.block(d1, 0, d2, d1);
    if (side == 'L') {
      gemm('N', 'N', alpha, dA21, dB1, beta, dC2);  // C2 := alpha A21 B1 + beta C2
      gemm('C', 'N', alpha, dA21, dB2, T(1), dC1);  // C1 := C1 + alpha A21^H B2
    } else {
      gemm('N', 'N', alpha, dB2, dA21, T(1), dC1);  // C1 := C1 + alpha B2 A21
      gemm('N', 'C', alpha, dB1, dA21, beta, dC2);  // C2 := alpha B1 A21^H + beta C2
    }
  } else {
    const auto dA12 = dA.block(0, d1, d1, d2);
    if (side == 'L') {
      gemm('N', 'N', alpha, dA12, dB2, T(1), dC1);  // C1 := C1 + alpha A12 B2
      gemm('C', 'N', alpha, dA12, dB1, beta, dC2);  // C2 := alpha A12^H B1 + beta C2
    } else {
      gemm('N', 'N', alpha, dB1, dA12, beta, dC2);  // C2 := alpha B1 A12 + beta C2
      gemm('N', 'C', alpha, dB2, dA12, T(1), dC1);  // C1 := C1 + alpha B2 A12^H
    }
  }
  multiplyByBlocks<T>(nb, side, uplo, alpha, dA.block(d1, d1, d2, d2), dB2, T(1), dC2);
}

}  // namespace

template <class T>
void symm(char side, char uplo, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
          MatrixView<T> dC) {
  if (dC.empty()) return;
  if (dC.rows >= 1024 || dC.cols >= 1024)
    multiplyByBlocks<T>(blockUnit<T>(), side, uplo, alpha, dA, dB, beta, dC);
  else
    cublas::symm<T>(side, uplo, alpha, dA, dB, beta, dC);
}

template <class T>
void hemm(char side, char uplo, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
          MatrixView<T> dC) {
  if (dC.empty()) return;
  if (dC.rows >= 1024 && dC.cols >= 1024)
    multiplyByBlocks<T>(blockUnit<T>(), side, uplo, alpha, dA, dB, beta, dC);
  else
    cublas::symm<T>(side, uplo, alpha, dA, dB, beta, dC);
}

template <class T>
void hemv(char uplo, Scalar<T> alpha, ConstView<T> dA, const Scalar<T>* dX, int incx, Scalar<T> beta, T* dY,
          int incy) {
  if (dA.empty()) return;
  cublas::hemv<T>(uplo, alpha, dA, dX, incx, beta, dY, incy);
}

#define TOVI_INSTANCES(T)             \
  template decltype(symm<T>) symm<T>; \
  template decltype(hemv<T>) hemv<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)
template decltype(hemm<Complex<float>>) hemm<Complex<float>>;
template decltype(hemm<Complex<double>>) hemm<Complex<double>>;

}  // namespace tovi::blas
