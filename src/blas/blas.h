// The BLAS on matrices in device memory. Arguments are those of the reference routine of the same name, with
// views for matrices; option characters are upper case. The caller has checked them: nothing here looks at a
// pointer except to leave alone an output that is null, which the argument checks let through when k = 0.
// Work is queued on the default stream.
//
// Complex types: symm and hemm are one routine, the Hermitian one, and so are syr2k and her2k (see cublas.h).

#ifndef TOVI_BLAS_BLAS_H
#define TOVI_BLAS_BLAS_H

#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::blas {

// C := alpha op(A) op(B) + beta C
template <class T>
void gemm(char transa, char transb, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
          MatrixView<T> dC);

// y := alpha op(A) x + beta y
template <class T>
void gemv(char trans, Scalar<T> alpha, ConstView<T> dA, const Scalar<T>* dX, int incx, Scalar<T> beta, T* dY,
          int incy);

// y := alpha A x + beta y, A Hermitian or, of a real type, symmetric
template <class T>
void hemv(char uplo, Scalar<T> alpha, ConstView<T> dA, const Scalar<T>* dX, int incx, Scalar<T> beta, T* dY,
          int incy);

// B := X with op(A) X = alpha B (side L) or X op(A) = alpha B (side R)
template <class T>
void trsm(char side, char uplo, char trans, char diag, Scalar<T> alpha, ConstView<T> dA, MatrixView<T> dB);

// B := alpha op(A) B (side L) or alpha B op(A) (side R)
template <class T>
void trmm(char side, char uplo, char trans, char diag, Scalar<T> alpha, ConstView<T> dA, MatrixView<T> dB);

// C := alpha A B + beta C (side L) or alpha B A + beta C (side R). symm and hemm differ in when they work by
// blocks.
template <class T>
void symm(char side, char uplo, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
          MatrixView<T> dC);
template <class T>
void hemm(char side, char uplo, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
          MatrixView<T> dC);

// One triangle of C := alpha op(A) op(A)^T + beta C
template <class T>
void syrk(char uplo, char trans, Scalar<T> alpha, ConstView<T> dA, Scalar<T> beta, MatrixView<T> dC);
// One triangle of C := alpha op(A) op(A)^H + beta C; complex types only
template <class T>
void herk(char uplo, char trans, RealScalar<T> alpha, ConstView<T> dA, RealScalar<T> beta, MatrixView<T> dC);

// One triangle of C := alpha op(A) op(B)^H + conj(alpha) op(B) op(A)^H + beta C, with the real part of beta
template <class T>
void syr2k(char uplo, char trans, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
           MatrixView<T> dC);
template <class T>
void her2k(char uplo, char trans, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, RealScalar<T> beta,
           MatrixView<T> dC) {
  syr2k(uplo, trans, alpha, dA, dB, T(beta), dC);
}

}  // namespace tovi::blas

#endif
