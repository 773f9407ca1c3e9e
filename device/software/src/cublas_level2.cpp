// Level 2 of the device's BLAS: gemv, symv, hemv.

#include <cublas.h>

#include "device/software/src/cublas_call.h"
#include "device/software/src/cublas_tiles.h"

namespace software_device {

namespace {

using tovi::Complex;

template <class T>
void gemv(char trans, int m, int n, T alpha, const T* dA, int lda, const T* dx, int incx, T beta, T* dy,
          int incy) {
  const bool plain = tovi::isOption(trans, 'N');
  BlasCall call(Entry::gemv, {trans, m, n, lda, incx, incy}, isDouble<T>);
  call.require(oneOf(trans, "NTC") && m >= 0 && n >= 0 && validLd(lda, m) && incx != 0 && incy != 0);
  if (m == 0 || n == 0) return;
  if (alpha != T(0)) call.matrix(m, n, dA, lda).vector(plain ? n : m, dx, incx);
  call.vector(plain ? m : n, dy, incy);
  auto room = call.room<T>(tiles::gemvRoom(trans, m, n, alpha, incx));
  call.run([=, room = std::move(room)] {
    tiles::gemv(trans, m, n, alpha, dA, lda, dx, incx, beta, dy, incy, room.get());
  });
}

// The symmetric product of real types is the Hermitian one.
template <class T>
void hemv(char uplo, int n, T alpha, const T* dA, int lda, const T* dx, int incx, T beta, T* dy, int incy) {
  BlasCall call(Entry::hemv, {uplo, n, lda, incx, incy}, isDouble<T>);
  call.require(oneOf(uplo, "UL") && n >= 0 && validLd(lda, n) && incx != 0 && incy != 0);
  if (n == 0) return;
  if (alpha != T(0)) call.matrix(n, n, dA, lda).vector(n, dx, incx);
  call.vector(n, dy, incy);
  auto room = call.room<T>(tiles::hemvRoom(n, alpha));
  call.run([=, room = std::move(room)] {
    tiles::hemv(uplo, n, alpha, dA, lda, dx, incx, beta, dy, incy, room.get());
  });
}

}  // namespace

}  // namespace software_device

using namespace software_device;

void CUBLASWINAPI cublasSgemv(char trans, int m, int n, float alpha, const float* A, int lda, const float* x,
                              int incx, float beta, float* y, int incy) {
  gemv<float>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasDgemv(char trans, int m, int n, double alpha, const double* A, int lda,
                              const double* x, int incx, double beta, double* y, int incy) {
  gemv<double>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasCgemv(char trans, int m, int n, cuComplex alpha, const cuComplex* A, int lda,
                              const cuComplex* x, int incx, cuComplex beta, cuComplex* y, int incy) {
  gemv<Complex<float>>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasZgemv(char trans, int m, int n, cuDoubleComplex alpha, const cuDoubleComplex* A,
                              int lda, const cuDoubleComplex* x, int incx, cuDoubleComplex beta,
                              cuDoubleComplex* y, int incy) {
  gemv<Complex<double>>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasSsymv(char uplo, int n, float alpha, const float* A, int lda, const float* x,
                              int incx, float beta, float* y, int incy) {
  hemv<float>(uplo, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasDsymv(char uplo, int n, double alpha, const double* A, int lda, const double* x,
                              int incx, double beta, double* y, int incy) {
  hemv<double>(uplo, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasChemv(char uplo, int n, cuComplex alpha, const cuComplex* A, int lda,
                              const cuComplex* x, int incx, cuComplex beta, cuComplex* y, int incy) {
  hemv<Complex<float>>(uplo, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasZhemv(char uplo, int n, cuDoubleComplex alpha, const cuDoubleComplex* A, int lda,
                              const cuDoubleComplex* x, int incx, cuDoubleComplex beta, cuDoubleComplex* y,
                              int incy) {
  hemv<Complex<double>>(uplo, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
