// Level 3 of the device's BLAS: the checks of each family, then its tiles. The exported names follow at the
// end.

#include <cublas.h>

#include "device/software/src/cublas_call.h"
#include "device/software/src/cublas_tiles.h"

namespace software_device {

namespace {

using tovi::Complex;

template <class T>
void gemm(char transa, char transb, int m, int n, int k, T alpha, const T* dA, int lda, const T* dB, int ldb,
          T beta, T* dC, int ldc) {
  const bool plainA = tovi::isOption(transa, 'N'), plainB = tovi::isOption(transb, 'N');
  const int rowsA = plainA ? m : k, colsA = plainA ? k : m, rowsB = plainB ? k : n, colsB = plainB ? n : k;
  BlasCall call(Entry::gemm, {transa, transb, m, n, k, lda, ldb, ldc}, isDouble<T>);
  call.require(oneOf(transa, "NTC") && oneOf(transb, "NTC") && m >= 0 && n >= 0 && k >= 0 &&
               validLd(lda, rowsA) && validLd(ldb, rowsB) && validLd(ldc, m));
  if (m == 0 || n == 0) return;
  if (alpha != T(0)) call.matrix(rowsA, colsA, dA, lda).matrix(rowsB, colsB, dB, ldb);
  call.matrix(m, n, dC, ldc).run([=] {
    tiles::gemm(transa, transb, m, n, k, alpha, dA, lda, dB, ldb, beta, dC, ldc);
  });
}

// trsm and trmm. routine: the tiles of one of them
template <class T, class Routine>
void triangular(Entry entry, Routine routine, char side, char uplo, char trans, char diag, int m, int n,
                T alpha, const T* dA, int lda, T* dB, int ldb) {
  const int order = tovi::isOption(side, 'L') ? m : n;
  BlasCall call(entry, {side, uplo, trans, diag, m, n}, isDouble<T>);
  call.require(oneOf(side, "LR") && oneOf(uplo, "UL") && oneOf(trans, "NTC") && oneOf(diag, "UN") && m >= 0 &&
               n >= 0 && validLd(lda, order) && validLd(ldb, m));
  if (m == 0 || n == 0) return;
  if (alpha != T(0)) call.matrix(order, order, dA, lda);
  call.matrix(m, n, dB, ldb).run([=] { routine(side, uplo, trans, diag, m, n, alpha, dA, lda, dB, ldb); });
}
template <class T>
void trsm(char side, char uplo, char trans, char diag, int m, int n, T alpha, const T* dA, int lda, T* dB,
          int ldb) {
  triangular(Entry::trsm, tiles::trsm<T>, side, uplo, trans, diag, m, n, alpha, dA, lda, dB, ldb);
}
template <class T>
void trmm(char side, char uplo, char trans, char diag, int m, int n, T alpha, const T* dA, int lda, T* dB,
          int ldb) {
  triangular(Entry::trmm, tiles::trmm<T>, side, uplo, trans, diag, m, n, alpha, dA, lda, dB, ldb);
}

template <class T, bool hermitian>
void symm(char side, char uplo, int m, int n, T alpha, const T* dA, int lda, const T* dB, int ldb, T beta,
          T* dC, int ldc) {
  const int order = tovi::isOption(side, 'L') ? m : n;
  BlasCall call(hermitian ? Entry::hemm : Entry::symm, {side, uplo, m, n}, isDouble<T>);
  call.require(oneOf(side, "LR") && oneOf(uplo, "UL") && m >= 0 && n >= 0 && validLd(lda, order) &&
               validLd(ldb, m) && validLd(ldc, m));
  if (m == 0 || n == 0) return;
  if (alpha != T(0)) call.matrix(order, order, dA, lda).matrix(m, n, dB, ldb);
  call.matrix(m, n, dC, ldc).run([=] {
    tiles::symm<hermitian>(side, uplo, m, n, alpha, dA, lda, dB, ldb, beta, dC, ldc);
  });
}

// The transpositions that make sense: the plain transpose of a complex matrix gives no Hermitian product, its
// conjugate transpose no symmetric one.
template <class T, bool hermitian>
constexpr const char* rankTranspositions = hermitian            ? "NC"
                                           : tovi::isComplex<T> ? "NT"
                                                                : "NTC";

template <class T, bool hermitian, class Factor>
void syrk(char uplo, char trans, int n, int k, Factor alpha, const T* dA, int lda, Factor beta, T* dC,
          int ldc) {
  const bool plain = tovi::isOption(trans, 'N');
  const int rowsA = plain ? n : k, colsA = plain ? k : n;
  BlasCall call(hermitian ? Entry::herk : Entry::syrk, {uplo, trans, n, k}, isDouble<T>);
  call.require(oneOf(uplo, "UL") && oneOf(trans, rankTranspositions<T, hermitian>) && n >= 0 && k >= 0 &&
               validLd(lda, rowsA) && validLd(ldc, n));
  if (n == 0) return;
  if (alpha != Factor(0)) call.matrix(rowsA, colsA, dA, lda);
  call.matrix(n, n, dC, ldc).run([=] {
    tiles::syrk<hermitian>(uplo, trans, n, k, alpha, dA, lda, beta, dC, ldc);
  });
}

template <class T, bool hermitian, class Beta>
void syr2k(char uplo, char trans, int n, int k, T alpha, const T* dA, int lda, const T* dB, int ldb,
           Beta beta, T* dC, int ldc) {
  const bool plain = tovi::isOption(trans, 'N');
  const int rows = plain ? n : k, cols = plain ? k : n;
  BlasCall call(hermitian ? Entry::her2k : Entry::syr2k, {uplo, trans, n, k}, isDouble<T>);
  call.require(oneOf(uplo, "UL") && oneOf(trans, rankTranspositions<T, hermitian>) && n >= 0 && k >= 0 &&
               validLd(lda, rows) && validLd(ldb, rows) && validLd(ldc, n));
  if (n == 0) return;
  if (alpha != T(0)) call.matrix(rows, cols, dA, lda).matrix(rows, cols, dB, ldb);
  call.matrix(n, n, dC, ldc).run([=] {
    tiles::syr2k<hermitian>(uplo, trans, n, k, alpha, dA, lda, dB, ldb, beta, dC, ldc);
  });
}

}  // namespace

}  // namespace software_device

using namespace software_device;

void CUBLASWINAPI cublasSgemm(char transa, char transb, int m, int n, int k, float alpha, const float* A,
                              int lda, const float* B, int ldb, float beta, float* C, int ldc) {
  gemm<float>(transa, transb, m, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasDgemm(char transa, char transb, int m, int n, int k, double alpha, const double* A,
                              int lda, const double* B, int ldb, double beta, double* C, int ldc) {
  gemm<double>(transa, transb, m, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasCgemm(char transa, char transb, int m, int n, int k, cuComplex alpha,
                              const cuComplex* A, int lda, const cuComplex* B, int ldb, cuComplex beta,
                              cuComplex* C, int ldc) {
  gemm<Complex<float>>(transa, transb, m, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasZgemm(char transa, char transb, int m, int n, int k, cuDoubleComplex alpha,
                              const cuDoubleComplex* A, int lda, const cuDoubleComplex* B, int ldb,
                              cuDoubleComplex beta, cuDoubleComplex* C, int ldc) {
  gemm<Complex<double>>(transa, transb, m, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasStrsm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                              const float* A, int lda, float* B, int ldb) {
  trsm<float>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasDtrsm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                              const double* A, int lda, double* B, int ldb) {
  trsm<double>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasCtrsm(char side, char uplo, char transa, char diag, int m, int n, cuComplex alpha,
                              const cuComplex* A, int lda, cuComplex* B, int ldb) {
  trsm<Complex<float>>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasZtrsm(char side, char uplo, char transa, char diag, int m, int n,
                              cuDoubleComplex alpha, const cuDoubleComplex* A, int lda, cuDoubleComplex* B,
                              int ldb) {
  trsm<Complex<double>>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasStrmm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                              const float* A, int lda, float* B, int ldb) {
  trmm<float>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasDtrmm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                              const double* A, int lda, double* B, int ldb) {
  trmm<double>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasCtrmm(char side, char uplo, char transa, char diag, int m, int n, cuComplex alpha,
                              const cuComplex* A, int lda, cuComplex* B, int ldb) {
  trmm<Complex<float>>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasZtrmm(char side, char uplo, char transa, char diag, int m, int n,
                              cuDoubleComplex alpha, const cuDoubleComplex* A, int lda, cuDoubleComplex* B,
                              int ldb) {
  trmm<Complex<double>>(side, uplo, transa, diag, m, n, as(alpha), as(A), lda, as(B), ldb);
}
void CUBLASWINAPI cublasSsymm(char side, char uplo, int m, int n, float alpha, const float* A, int lda,
                              const float* B, int ldb, float beta, float* C, int ldc) {
  symm<float, false>(side, uplo, m, n, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasDsymm(char side, char uplo, int m, int n, double alpha, const double* A, int lda,
                              const double* B, int ldb, double beta, double* C, int ldc) {
  symm<double, false>(side, uplo, m, n, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasCsymm(char side, char uplo, int m, int n, cuComplex alpha, const cuComplex* A,
                              int lda, const cuComplex* B, int ldb, cuComplex beta, cuComplex* C, int ldc) {
  symm<Complex<float>, false>(side, uplo, m, n, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasZsymm(char side, char uplo, int m, int n, cuDoubleComplex alpha,
                              const cuDoubleComplex* A, int lda, const cuDoubleComplex* B, int ldb,
                              cuDoubleComplex beta, cuDoubleComplex* C, int ldc) {
  symm<Complex<double>, false>(side, uplo, m, n, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasChemm(char side, char uplo, int m, int n, cuComplex alpha, const cuComplex* A,
                              int lda, const cuComplex* B, int ldb, cuComplex beta, cuComplex* C, int ldc) {
  symm<Complex<float>, true>(side, uplo, m, n, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasZhemm(char side, char uplo, int m, int n, cuDoubleComplex alpha,
                              const cuDoubleComplex* A, int lda, const cuDoubleComplex* B, int ldb,
                              cuDoubleComplex beta, cuDoubleComplex* C, int ldc) {
  symm<Complex<double>, true>(side, uplo, m, n, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasSsyrk(char uplo, char trans, int n, int k, float alpha, const float* A, int lda,
                              float beta, float* C, int ldc) {
  syrk<float, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasDsyrk(char uplo, char trans, int n, int k, double alpha, const double* A, int lda,
                              double beta, double* C, int ldc) {
  syrk<double, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasCsyrk(char uplo, char trans, int n, int k, cuComplex alpha, const cuComplex* A,
                              int lda, cuComplex beta, cuComplex* C, int ldc) {
  syrk<Complex<float>, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasZsyrk(char uplo, char trans, int n, int k, cuDoubleComplex alpha,
                              const cuDoubleComplex* A, int lda, cuDoubleComplex beta, cuDoubleComplex* C,
                              int ldc) {
  syrk<Complex<double>, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasCherk(char uplo, char trans, int n, int k, float alpha, const cuComplex* A, int lda,
                              float beta, cuComplex* C, int ldc) {
  syrk<Complex<float>, true>(uplo, trans, n, k, as(alpha), as(A), lda, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasZherk(char uplo, char trans, int n, int k, double alpha, const cuDoubleComplex* A,
                              int lda, double beta, cuDoubleComplex* C, int ldc) {
  syrk<Complex<double>, true>(uplo, trans, n, k, as(alpha), as(A), lda, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasSsyr2k(char uplo, char trans, int n, int k, float alpha, const float* A, int lda,
                               const float* B, int ldb, float beta, float* C, int ldc) {
  syr2k<float, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasDsyr2k(char uplo, char trans, int n, int k, double alpha, const double* A, int lda,
                               const double* B, int ldb, double beta, double* C, int ldc) {
  syr2k<double, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasCsyr2k(char uplo, char trans, int n, int k, cuComplex alpha, const cuComplex* A,
                               int lda, const cuComplex* B, int ldb, cuComplex beta, cuComplex* C, int ldc) {
  syr2k<Complex<float>, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasZsyr2k(char uplo, char trans, int n, int k, cuDoubleComplex alpha,
                               const cuDoubleComplex* A, int lda, const cuDoubleComplex* B, int ldb,
                               cuDoubleComplex beta, cuDoubleComplex* C, int ldc) {
  syr2k<Complex<double>, false>(uplo, trans, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasCher2k(char uplo, char trans, int n, int k, cuComplex alpha, const cuComplex* A,
                               int lda, const cuComplex* B, int ldb, float beta, cuComplex* C, int ldc) {
  syr2k<Complex<float>, true>(uplo, trans, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
void CUBLASWINAPI cublasZher2k(char uplo, char trans, int n, int k, cuDoubleComplex alpha,
                               const cuDoubleComplex* A, int lda, const cuDoubleComplex* B, int ldb,
                               double beta, cuDoubleComplex* C, int ldc) {
  syr2k<Complex<double>, true>(uplo, trans, n, k, as(alpha), as(A), lda, as(B), ldb, as(beta), as(C), ldc);
}
