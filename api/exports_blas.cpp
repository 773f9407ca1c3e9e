// The exported BLAS routines.

#include "api/blas_routines.h"
#include "api/complex_arguments.h"
#include "include/tovi.h"

using namespace tovi;
using namespace tovi::api;

// ----------------------------------------------------------------------------------------------------- gemm

toviStatus toviSgemm(char transa, char transb, int m, int n, int k, float alpha, const float* a, int lda,
                     const float* b, int ldb, float beta, float* c, int ldc) {
  return gemm<OnHost, float>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

toviStatus toviDgemm(char transa, char transb, int m, int n, int k, double alpha, const double* a, int lda,
                     const double* b, int ldb, double beta, double* c, int ldc) {
  return gemm<OnHost, double>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

toviStatus toviCgemm(char transa, char transb, int m, int n, int k, toviFloatComplex alpha,
                     const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                     toviFloatComplex beta, toviFloatComplex* c, int ldc) {
  return gemm<OnHost, Complex<float>>(transa, transb, m, n, k, native(alpha), native(a), lda, native(b), ldb,
                                      native(beta), native(c), ldc);
}

toviStatus toviZgemm(char transa, char transb, int m, int n, int k, toviDoubleComplex alpha,
                     const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                     toviDoubleComplex beta, toviDoubleComplex* c, int ldc) {
  return gemm<OnHost, Complex<double>>(transa, transb, m, n, k, native(alpha), native(a), lda, native(b), ldb,
                                       native(beta), native(c), ldc);
}

toviStatus toviDeviceSgemm(char transa, char transb, int m, int n, int k, float alpha, const float* a,
                           int lda, const float* b, int ldb, float beta, float* c, int ldc) {
  return gemm<OnDevice, float>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

toviStatus toviDeviceDgemm(char transa, char transb, int m, int n, int k, double alpha, const double* a,
                           int lda, const double* b, int ldb, double beta, double* c, int ldc) {
  return gemm<OnDevice, double>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

toviStatus toviDeviceCgemm(char transa, char transb, int m, int n, int k, toviFloatComplex alpha,
                           const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                           toviFloatComplex beta, toviFloatComplex* c, int ldc) {
  return gemm<OnDevice, Complex<float>>(transa, transb, m, n, k, native(alpha), native(a), lda, native(b),
                                        ldb, native(beta), native(c), ldc);
}

toviStatus toviDeviceZgemm(char transa, char transb, int m, int n, int k, toviDoubleComplex alpha,
                           const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                           toviDoubleComplex beta, toviDoubleComplex* c, int ldc) {
  return gemm<OnDevice, Complex<double>>(transa, transb, m, n, k, native(alpha), native(a), lda, native(b),
                                         ldb, native(beta), native(c), ldc);
}

// ----------------------------------------------------------------------------------------------------- gemv

toviStatus toviSgemv(char trans, int m, int n, float alpha, const float* a, int lda, const float* x, int incx,
                     float beta, float* y, int incy) {
  return gemv<OnHost, float>(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}

toviStatus toviDgemv(char trans, int m, int n, double alpha, const double* a, int lda, const double* x,
                     int incx, double beta, double* y, int incy) {
  return gemv<OnHost, double>(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}

toviStatus toviCgemv(char trans, int m, int n, toviFloatComplex alpha, const toviFloatComplex* a, int lda,
                     const toviFloatComplex* x, int incx, toviFloatComplex beta, toviFloatComplex* y,
                     int incy) {
  return gemv<OnHost, Complex<float>>(trans, m, n, native(alpha), native(a), lda, native(x), incx,
                                      native(beta), native(y), incy);
}

toviStatus toviZgemv(char trans, int m, int n, toviDoubleComplex alpha, const toviDoubleComplex* a, int lda,
                     const toviDoubleComplex* x, int incx, toviDoubleComplex beta, toviDoubleComplex* y,
                     int incy) {
  return gemv<OnHost, Complex<double>>(trans, m, n, native(alpha), native(a), lda, native(x), incx,
                                       native(beta), native(y), incy);
}

toviStatus toviDeviceSgemv(char trans, int m, int n, float alpha, const float* a, int lda, const float* x,
                           int incx, float beta, float* y, int incy) {
  return gemv<OnDevice, float>(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}

toviStatus toviDeviceDgemv(char trans, int m, int n, double alpha, const double* a, int lda, const double* x,
                           int incx, double beta, double* y, int incy) {
  return gemv<OnDevice, double>(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}

toviStatus toviDeviceCgemv(char trans, int m, int n, toviFloatComplex alpha, const toviFloatComplex* a,
                           int lda, const toviFloatComplex* x, int incx, toviFloatComplex beta,
                           toviFloatComplex* y, int incy) {
  return gemv<OnDevice, Complex<float>>(trans, m, n, native(alpha), native(a), lda, native(x), incx,
                                        native(beta), native(y), incy);
}

toviStatus toviDeviceZgemv(char trans, int m, int n, toviDoubleComplex alpha, const toviDoubleComplex* a,
                           int lda, const toviDoubleComplex* x, int incx, toviDoubleComplex beta,
                           toviDoubleComplex* y, int incy) {
  return gemv<OnDevice, Complex<double>>(trans, m, n, native(alpha), native(a), lda, native(x), incx,
                                         native(beta), native(y), incy);
}

// ----------------------------------------------------------------------------------------------------- trsm

toviStatus toviStrsm(char side, char uplo, char transa, char diag, int m, int n, float alpha, const float* a,
                     int lda, float* b, int ldb) {
  return triangular<OnHost, float, checkTrsm, blas::trsm<float>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                 lda, b, ldb);
}

toviStatus toviDtrsm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                     const double* a, int lda, double* b, int ldb) {
  return triangular<OnHost, double, checkTrsm, blas::trsm<double>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                   lda, b, ldb);
}

toviStatus toviCtrsm(char side, char uplo, char transa, char diag, int m, int n, toviFloatComplex alpha,
                     const toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb) {
  return triangular<OnHost, Complex<float>, checkTrsm, blas::trsm<Complex<float>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

toviStatus toviZtrsm(char side, char uplo, char transa, char diag, int m, int n, toviDoubleComplex alpha,
                     const toviDoubleComplex* a, int lda, toviDoubleComplex* b, int ldb) {
  return triangular<OnHost, Complex<double>, checkTrsm, blas::trsm<Complex<double>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

toviStatus toviDeviceStrsm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                           const float* a, int lda, float* b, int ldb) {
  return triangular<OnDevice, float, checkTrsm, blas::trsm<float>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                   lda, b, ldb);
}

toviStatus toviDeviceDtrsm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                           const double* a, int lda, double* b, int ldb) {
  return triangular<OnDevice, double, checkTrsm, blas::trsm<double>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                     lda, b, ldb);
}

toviStatus toviDeviceCtrsm(char side, char uplo, char transa, char diag, int m, int n, toviFloatComplex alpha,
                           const toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb) {
  return triangular<OnDevice, Complex<float>, checkTrsm, blas::trsm<Complex<float>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

toviStatus toviDeviceZtrsm(char side, char uplo, char transa, char diag, int m, int n,
                           toviDoubleComplex alpha, const toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                           int ldb) {
  return triangular<OnDevice, Complex<double>, checkTrsm, blas::trsm<Complex<double>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

// ----------------------------------------------------------------------------------------------------- trmm

toviStatus toviStrmm(char side, char uplo, char transa, char diag, int m, int n, float alpha, const float* a,
                     int lda, float* b, int ldb) {
  return triangular<OnHost, float, checkTrmm, blas::trmm<float>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                 lda, b, ldb);
}

toviStatus toviDtrmm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                     const double* a, int lda, double* b, int ldb) {
  return triangular<OnHost, double, checkTrmm, blas::trmm<double>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                   lda, b, ldb);
}

toviStatus toviCtrmm(char side, char uplo, char transa, char diag, int m, int n, toviFloatComplex alpha,
                     const toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb) {
  return triangular<OnHost, Complex<float>, checkTrmm, blas::trmm<Complex<float>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

toviStatus toviZtrmm(char side, char uplo, char transa, char diag, int m, int n, toviDoubleComplex alpha,
                     const toviDoubleComplex* a, int lda, toviDoubleComplex* b, int ldb) {
  return triangular<OnHost, Complex<double>, checkTrmm, blas::trmm<Complex<double>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

toviStatus toviDeviceStrmm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                           const float* a, int lda, float* b, int ldb) {
  return triangular<OnDevice, float, checkTrmm, blas::trmm<float>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                   lda, b, ldb);
}

toviStatus toviDeviceDtrmm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                           const double* a, int lda, double* b, int ldb) {
  return triangular<OnDevice, double, checkTrmm, blas::trmm<double>>(side, uplo, transa, diag, m, n, alpha, a,
                                                                     lda, b, ldb);
}

toviStatus toviDeviceCtrmm(char side, char uplo, char transa, char diag, int m, int n, toviFloatComplex alpha,
                           const toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb) {
  return triangular<OnDevice, Complex<float>, checkTrmm, blas::trmm<Complex<float>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

toviStatus toviDeviceZtrmm(char side, char uplo, char transa, char diag, int m, int n,
                           toviDoubleComplex alpha, const toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                           int ldb) {
  return triangular<OnDevice, Complex<double>, checkTrmm, blas::trmm<Complex<double>>>(
      side, uplo, transa, diag, m, n, native(alpha), native(a), lda, native(b), ldb);
}

// ----------------------------------------------------------------------------------------------------- symm

toviStatus toviSsymm(char side, char uplo, int m, int n, float alpha, const float* a, int lda, const float* b,
                     int ldb, float beta, float* c, int ldc) {
  return symmetric<OnHost, float, blas::symm<float>>(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}

toviStatus toviDsymm(char side, char uplo, int m, int n, double alpha, const double* a, int lda,
                     const double* b, int ldb, double beta, double* c, int ldc) {
  return symmetric<OnHost, double, blas::symm<double>>(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}

toviStatus toviCsymm(char side, char uplo, int m, int n, toviFloatComplex alpha, const toviFloatComplex* a,
                     int lda, const toviFloatComplex* b, int ldb, toviFloatComplex beta, toviFloatComplex* c,
                     int ldc) {
  return symmetric<OnHost, Complex<float>, blas::symm<Complex<float>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviZsymm(char side, char uplo, int m, int n, toviDoubleComplex alpha, const toviDoubleComplex* a,
                     int lda, const toviDoubleComplex* b, int ldb, toviDoubleComplex beta,
                     toviDoubleComplex* c, int ldc) {
  return symmetric<OnHost, Complex<double>, blas::symm<Complex<double>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviDeviceSsymm(char side, char uplo, int m, int n, float alpha, const float* a, int lda,
                           const float* b, int ldb, float beta, float* c, int ldc) {
  return symmetric<OnDevice, float, blas::symm<float>>(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}

toviStatus toviDeviceDsymm(char side, char uplo, int m, int n, double alpha, const double* a, int lda,
                           const double* b, int ldb, double beta, double* c, int ldc) {
  return symmetric<OnDevice, double, blas::symm<double>>(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c,
                                                         ldc);
}

toviStatus toviDeviceCsymm(char side, char uplo, int m, int n, toviFloatComplex alpha,
                           const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                           toviFloatComplex beta, toviFloatComplex* c, int ldc) {
  return symmetric<OnDevice, Complex<float>, blas::symm<Complex<float>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviDeviceZsymm(char side, char uplo, int m, int n, toviDoubleComplex alpha,
                           const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                           toviDoubleComplex beta, toviDoubleComplex* c, int ldc) {
  return symmetric<OnDevice, Complex<double>, blas::symm<Complex<double>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

// ----------------------------------------------------------------------------------------------------- hemm

toviStatus toviChemm(char side, char uplo, int m, int n, toviFloatComplex alpha, const toviFloatComplex* a,
                     int lda, const toviFloatComplex* b, int ldb, toviFloatComplex beta, toviFloatComplex* c,
                     int ldc) {
  return symmetric<OnHost, Complex<float>, blas::hemm<Complex<float>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviZhemm(char side, char uplo, int m, int n, toviDoubleComplex alpha, const toviDoubleComplex* a,
                     int lda, const toviDoubleComplex* b, int ldb, toviDoubleComplex beta,
                     toviDoubleComplex* c, int ldc) {
  return symmetric<OnHost, Complex<double>, blas::hemm<Complex<double>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviDeviceChemm(char side, char uplo, int m, int n, toviFloatComplex alpha,
                           const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                           toviFloatComplex beta, toviFloatComplex* c, int ldc) {
  return symmetric<OnDevice, Complex<float>, blas::hemm<Complex<float>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviDeviceZhemm(char side, char uplo, int m, int n, toviDoubleComplex alpha,
                           const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                           toviDoubleComplex beta, toviDoubleComplex* c, int ldc) {
  return symmetric<OnDevice, Complex<double>, blas::hemm<Complex<double>>>(
      side, uplo, m, n, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

// ----------------------------------------------------------------------------------------------------- syrk

toviStatus toviSsyrk(char uplo, char trans, int n, int k, float alpha, const float* a, int lda, float beta,
                     float* c, int ldc) {
  return rankK<OnHost, float, checkSyrk, blas::syrk<float>>(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);
}

toviStatus toviDsyrk(char uplo, char trans, int n, int k, double alpha, const double* a, int lda, double beta,
                     double* c, int ldc) {
  return rankK<OnHost, double, checkSyrk, blas::syrk<double>>(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);
}

toviStatus toviCsyrk(char uplo, char trans, int n, int k, toviFloatComplex alpha, const toviFloatComplex* a,
                     int lda, toviFloatComplex beta, toviFloatComplex* c, int ldc) {
  return rankK<OnHost, Complex<float>, checkSyrk, blas::syrk<Complex<float>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(beta), native(c), ldc);
}

toviStatus toviZsyrk(char uplo, char trans, int n, int k, toviDoubleComplex alpha, const toviDoubleComplex* a,
                     int lda, toviDoubleComplex beta, toviDoubleComplex* c, int ldc) {
  return rankK<OnHost, Complex<double>, checkSyrk, blas::syrk<Complex<double>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(beta), native(c), ldc);
}

toviStatus toviDeviceSsyrk(char uplo, char trans, int n, int k, float alpha, const float* a, int lda,
                           float beta, float* c, int ldc) {
  return rankK<OnDevice, float, checkSyrk, blas::syrk<float>>(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);
}

toviStatus toviDeviceDsyrk(char uplo, char trans, int n, int k, double alpha, const double* a, int lda,
                           double beta, double* c, int ldc) {
  return rankK<OnDevice, double, checkSyrk, blas::syrk<double>>(uplo, trans, n, k, alpha, a, lda, beta, c,
                                                                ldc);
}

toviStatus toviDeviceCsyrk(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                           const toviFloatComplex* a, int lda, toviFloatComplex beta, toviFloatComplex* c,
                           int ldc) {
  return rankK<OnDevice, Complex<float>, checkSyrk, blas::syrk<Complex<float>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(beta), native(c), ldc);
}

toviStatus toviDeviceZsyrk(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                           const toviDoubleComplex* a, int lda, toviDoubleComplex beta, toviDoubleComplex* c,
                           int ldc) {
  return rankK<OnDevice, Complex<double>, checkSyrk, blas::syrk<Complex<double>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(beta), native(c), ldc);
}

// ----------------------------------------------------------------------------------------------------- herk

toviStatus toviCherk(char uplo, char trans, int n, int k, float alpha, const toviFloatComplex* a, int lda,
                     float beta, toviFloatComplex* c, int ldc) {
  return rankK<OnHost, Complex<float>, checkHerk, blas::herk<Complex<float>>>(
      uplo, trans, n, k, alpha, native(a), lda, beta, native(c), ldc);
}

toviStatus toviZherk(char uplo, char trans, int n, int k, double alpha, const toviDoubleComplex* a, int lda,
                     double beta, toviDoubleComplex* c, int ldc) {
  return rankK<OnHost, Complex<double>, checkHerk, blas::herk<Complex<double>>>(
      uplo, trans, n, k, alpha, native(a), lda, beta, native(c), ldc);
}

toviStatus toviDeviceCherk(char uplo, char trans, int n, int k, float alpha, const toviFloatComplex* a,
                           int lda, float beta, toviFloatComplex* c, int ldc) {
  return rankK<OnDevice, Complex<float>, checkHerk, blas::herk<Complex<float>>>(
      uplo, trans, n, k, alpha, native(a), lda, beta, native(c), ldc);
}

toviStatus toviDeviceZherk(char uplo, char trans, int n, int k, double alpha, const toviDoubleComplex* a,
                           int lda, double beta, toviDoubleComplex* c, int ldc) {
  return rankK<OnDevice, Complex<double>, checkHerk, blas::herk<Complex<double>>>(
      uplo, trans, n, k, alpha, native(a), lda, beta, native(c), ldc);
}

// ---------------------------------------------------------------------------------------------------- syr2k

toviStatus toviSsyr2k(char uplo, char trans, int n, int k, float alpha, const float* a, int lda,
                      const float* b, int ldb, float beta, float* c, int ldc) {
  return rank2K<OnHost, float, checkSyr2k, blas::syr2k<float>>(uplo, trans, n, k, alpha, a, lda, b, ldb, beta,
                                                               c, ldc);
}

toviStatus toviDsyr2k(char uplo, char trans, int n, int k, double alpha, const double* a, int lda,
                      const double* b, int ldb, double beta, double* c, int ldc) {
  return rank2K<OnHost, double, checkSyr2k, blas::syr2k<double>>(uplo, trans, n, k, alpha, a, lda, b, ldb,
                                                                 beta, c, ldc);
}

toviStatus toviCsyr2k(char uplo, char trans, int n, int k, toviFloatComplex alpha, const toviFloatComplex* a,
                      int lda, const toviFloatComplex* b, int ldb, toviFloatComplex beta, toviFloatComplex* c,
                      int ldc) {
  return rank2K<OnHost, Complex<float>, checkSyr2k, blas::syr2k<Complex<float>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviZsyr2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                      const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                      toviDoubleComplex beta, toviDoubleComplex* c, int ldc) {
  return rank2K<OnHost, Complex<double>, checkSyr2k, blas::syr2k<Complex<double>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviDeviceSsyr2k(char uplo, char trans, int n, int k, float alpha, const float* a, int lda,
                            const float* b, int ldb, float beta, float* c, int ldc) {
  return rank2K<OnDevice, float, checkSyr2k, blas::syr2k<float>>(uplo, trans, n, k, alpha, a, lda, b, ldb,
                                                                 beta, c, ldc);
}

toviStatus toviDeviceDsyr2k(char uplo, char trans, int n, int k, double alpha, const double* a, int lda,
                            const double* b, int ldb, double beta, double* c, int ldc) {
  return rank2K<OnDevice, double, checkSyr2k, blas::syr2k<double>>(uplo, trans, n, k, alpha, a, lda, b, ldb,
                                                                   beta, c, ldc);
}

toviStatus toviDeviceCsyr2k(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                            const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                            toviFloatComplex beta, toviFloatComplex* c, int ldc) {
  return rank2K<OnDevice, Complex<float>, checkSyr2k, blas::syr2k<Complex<float>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

toviStatus toviDeviceZsyr2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                            const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                            toviDoubleComplex beta, toviDoubleComplex* c, int ldc) {
  return rank2K<OnDevice, Complex<double>, checkSyr2k, blas::syr2k<Complex<double>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, native(beta), native(c), ldc);
}

// ---------------------------------------------------------------------------------------------------- her2k

toviStatus toviCher2k(char uplo, char trans, int n, int k, toviFloatComplex alpha, const toviFloatComplex* a,
                      int lda, const toviFloatComplex* b, int ldb, float beta, toviFloatComplex* c, int ldc) {
  return rank2K<OnHost, Complex<float>, checkHer2k, blas::her2k<Complex<float>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, beta, native(c), ldc);
}

toviStatus toviZher2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                      const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb, double beta,
                      toviDoubleComplex* c, int ldc) {
  return rank2K<OnHost, Complex<double>, checkHer2k, blas::her2k<Complex<double>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, beta, native(c), ldc);
}

toviStatus toviDeviceCher2k(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                            const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                            float beta, toviFloatComplex* c, int ldc) {
  return rank2K<OnDevice, Complex<float>, checkHer2k, blas::her2k<Complex<float>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, beta, native(c), ldc);
}

toviStatus toviDeviceZher2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                            const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                            double beta, toviDoubleComplex* c, int ldc) {
  return rank2K<OnDevice, Complex<double>, checkHer2k, blas::her2k<Complex<double>>>(
      uplo, trans, n, k, native(alpha), native(a), lda, native(b), ldb, beta, native(c), ldc);
}
