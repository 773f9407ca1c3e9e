// What stands behind the exported BLAS routines: for every family a worker on device operands, and one on
// host operands that stages them, calls the device worker, and copies the result back when that has
// succeeded.
//
// Families that share their operands share their workers; the routine, and its argument check where that
// differs, are template arguments. Operands are staged in the order of the argument list and released in the
// opposite one. A result that is not read (beta = 0) is not uploaded, unless only a part of it will be
// written. Empty results need no operands.

#ifndef TOVI_API_BLAS_WORKERS_H
#define TOVI_API_BLAS_WORKERS_H

#include "api/checks.h"
#include "api/frame.h"
#include "src/blas/blas.h"
#include "src/blas/staged_matrix.h"

namespace tovi::api {

using blas::StagedMatrix;
using blas::StagedVector;
using blas::StageIn;
using blas::StageOut;

// How an operand that is only read, and one that is written as a whole, are staged.
inline unsigned readOnly(int m, int n) { return m == 0 || n == 0 ? 0 : StageIn; }
template <class T>
unsigned overwritten(T beta) {
  return beta == T(0) ? StageOut : StageIn | StageOut;
}

template <class Result>
toviStatus copyBackOn(toviStatus status, Result& result) {
  if (status == toviNoError) result.copyBack();
  return status;
}

// ------------------------------------------------------------------------------------------------------ gemm

template <class T>
toviStatus deviceGemm(char transa, char transb, int m, int n, int k, T alpha, const T* dA, int lda,
                      const T* dB, int ldb, T beta, T* dC, int ldc) {
  const auto check = [&] { checkGemm(transa, transb, m, n, k, dA, lda, dB, ldb, dC, ldc); };
  return deviceRoutine<T>(check, [&] {
    const MatrixView<const T> viewA(dA, transa == 'N' ? m : k, transa == 'N' ? k : m, lda);
    const MatrixView<const T> viewB(dB, transb == 'N' ? k : n, transb == 'N' ? n : k, ldb);
    blas::gemm(transa, transb, alpha, viewA, viewB, beta, MatrixView<T>(dC, m, n, ldc));
  });
}

template <class T>
toviStatus hostGemm(char transa, char transb, int m, int n, int k, T alpha, const T* hA, int lda, const T* hB,
                    int ldb, T beta, T* hC, int ldc) {
  const auto check = [&] { checkGemm(transa, transb, m, n, k, hA, lda, hB, ldb, hC, ldc); };
  return hostRoutine(check, [&] {
    const unsigned in = readOnly(m, n);
    const StagedMatrix<const T> dA(hA, transa == 'N' ? m : k, transa == 'N' ? k : m, lda, in);
    const StagedMatrix<const T> dB(hB, transb == 'N' ? k : n, transb == 'N' ? n : k, ldb, in);
    StagedMatrix<T> dC(hC, m, n, ldc, overwritten(beta));
    return copyBackOn(deviceGemm(transa, transb, m, n, k, alpha, dA.data(), dA.ld(), dB.data(), dB.ld(), beta,
                                 dC.data(), dC.ld()),
                      dC);
  });
}

// ------------------------------------------------------------------------------------------------------ gemv

template <class T>
toviStatus deviceGemv(char trans, int m, int n, T alpha, const T* dA, int lda, const T* dX, int incx, T beta,
                      T* dY, int incy) {
  const auto check = [&] { checkGemv(trans, m, n, dA, lda, dX, incx, dY, incy); };
  return deviceRoutine<T>(
      check, [&] { blas::gemv(trans, alpha, MatrixView<const T>(dA, m, n, lda), dX, incx, beta, dY, incy); });
}

template <class T>
toviStatus hostGemv(char trans, int m, int n, T alpha, const T* hA, int lda, const T* hX, int incx, T beta,
                    T* hY, int incy) {
  const auto check = [&] { checkGemv(trans, m, n, hA, lda, hX, incx, hY, incy); };
  return hostRoutine(check, [&] {
    const unsigned in = readOnly(m, n);
    const StagedMatrix<const T> dA(hA, m, n, lda, in);
    const StagedVector<const T> dX(hX, trans == 'N' ? n : m, incx, in);
    StagedVector<T> dY(hY, trans == 'N' ? m : n, incy, in == 0 ? 0 : overwritten(beta));
    return copyBackOn(deviceGemv(trans, m, n, alpha, dA.data(), dA.ld(), dX.data(), dX.increment(), beta,
                                 dY.data(), dY.increment()),
                      dY);
  });
}

// ------------------------------------------------------------------------------------------------ trsm, trmm

template <class T, auto Check, auto Routine>
toviStatus deviceTriangular(char side, char uplo, char trans, char diag, int m, int n, T alpha, const T* dA,
                            int lda, T* dB, int ldb) {
  const auto check = [&] { Check(side, uplo, trans, diag, m, n, dA, lda, dB, ldb); };
  return deviceRoutine<T>(check, [&] {
    const int order = side == 'L' ? m : n;
    Routine(side, uplo, trans, diag, alpha, MatrixView<const T>(dA, order, order, lda),
            MatrixView<T>(dB, m, n, ldb));
  });
}

template <class T, auto Check, auto Routine>
toviStatus hostTriangular(char side, char uplo, char trans, char diag, int m, int n, T alpha, const T* hA,
                          int lda, T* hB, int ldb) {
  const auto check = [&] { Check(side, uplo, trans, diag, m, n, hA, lda, hB, ldb); };
  return hostRoutine(check, [&] {
    const int order = side == 'L' ? m : n;
    const StagedMatrix<const T> dA(hA, order, order, lda, readOnly(m, n));
    StagedMatrix<T> dB(hB, m, n, ldb, StageIn | StageOut);
    return copyBackOn(deviceTriangular<T, Check, Routine>(side, uplo, trans, diag, m, n, alpha, dA.data(),
                                                          dA.ld(), dB.data(), dB.ld()),
                      dB);
  });
}

// ------------------------------------------------------------------------------------------------ symm, hemm

template <class T, auto Routine>
toviStatus deviceSymmetric(char side, char uplo, int m, int n, T alpha, const T* dA, int lda, const T* dB,
                           int ldb, T beta, T* dC, int ldc) {
  const auto check = [&] { checkSymm(side, uplo, m, n, dA, lda, dB, ldb, dC, ldc); };
  return deviceRoutine<T>(check, [&] {
    const int order = side == 'L' ? m : n;
    Routine(side, uplo, alpha, MatrixView<const T>(dA, order, order, lda), MatrixView<const T>(dB, m, n, ldb),
            beta, MatrixView<T>(dC, m, n, ldc));
  });
}

template <class T, auto Routine>
toviStatus hostSymmetric(char side, char uplo, int m, int n, T alpha, const T* hA, int lda, const T* hB,
                         int ldb, T beta, T* hC, int ldc) {
  const auto check = [&] { checkSymm(side, uplo, m, n, hA, lda, hB, ldb, hC, ldc); };
  return hostRoutine(check, [&] {
    const int order = side == 'L' ? m : n;
    const StagedMatrix<const T> dA(hA, order, order, lda, readOnly(m, n));
    const StagedMatrix<const T> dB(hB, m, n, ldb, StageIn);
    StagedMatrix<T> dC(hC, m, n, ldc, overwritten(beta));
    return copyBackOn(deviceSymmetric<T, Routine>(side, uplo, m, n, alpha, dA.data(), dA.ld(), dB.data(),
                                                  dB.ld(), beta, dC.data(), dC.ld()),
                      dC);
  });
}

// ------------------------------------------------------------------------------------------------ syrk, herk

// Only one triangle of C is written, so C is uploaded whatever beta is: the other one must come back as it
// was. The factors are real for herk.

template <class T, auto Check, auto Routine, class Factor>
toviStatus deviceRankK(char uplo, char trans, int n, int k, Factor alpha, const T* dA, int lda, Factor beta,
                       T* dC, int ldc) {
  const auto check = [&] { Check(uplo, trans, n, k, dA, lda, dC, ldc); };
  return deviceRoutine<T>(check, [&] {
    const MatrixView<const T> viewA(dA, trans == 'N' ? n : k, trans == 'N' ? k : n, lda);
    Routine(uplo, trans, alpha, viewA, beta, MatrixView<T>(dC, n, n, ldc));
  });
}

template <class T, auto Check, auto Routine, class Factor>
toviStatus hostRankK(char uplo, char trans, int n, int k, Factor alpha, const T* hA, int lda, Factor beta,
                     T* hC, int ldc) {
  const auto check = [&] { Check(uplo, trans, n, k, hA, lda, hC, ldc); };
  return hostRoutine(check, [&] {
    const StagedMatrix<const T> dA(hA, trans == 'N' ? n : k, trans == 'N' ? k : n, lda, StageIn);
    StagedMatrix<T> dC(hC, n, n, ldc, StageIn | StageOut);
    return copyBackOn(deviceRankK<T, Check, Routine>(uplo, trans, n, k, alpha, dA.data(), dA.ld(), beta,
                                                     dC.data(), dC.ld()),
                      dC);
  });
}

// ---------------------------------------------------------------------------------------------- syr2k, her2k

// As above; beta is real for her2k.

template <class T, auto Check, auto Routine, class Factor>
toviStatus deviceRank2K(char uplo, char trans, int n, int k, T alpha, const T* dA, int lda, const T* dB,
                        int ldb, Factor beta, T* dC, int ldc) {
  const auto check = [&] { Check(uplo, trans, n, k, dA, lda, dB, ldb, dC, ldc); };
  return deviceRoutine<T>(check, [&] {
    const int rows = trans == 'N' ? n : k, cols = trans == 'N' ? k : n;
    Routine(uplo, trans, alpha, MatrixView<const T>(dA, rows, cols, lda),
            MatrixView<const T>(dB, rows, cols, ldb), beta, MatrixView<T>(dC, n, n, ldc));
  });
}

template <class T, auto Check, auto Routine, class Factor>
toviStatus hostRank2K(char uplo, char trans, int n, int k, T alpha, const T* hA, int lda, const T* hB,
                      int ldb, Factor beta, T* hC, int ldc) {
  const auto check = [&] { Check(uplo, trans, n, k, hA, lda, hB, ldb, hC, ldc); };
  return hostRoutine(check, [&] {
    const int rows = trans == 'N' ? n : k, cols = trans == 'N' ? k : n;
    const StagedMatrix<const T> dA(hA, rows, cols, lda, StageIn);
    const StagedMatrix<const T> dB(hB, rows, cols, ldb, StageIn);
    StagedMatrix<T> dC(hC, n, n, ldc, StageIn | StageOut);
    return copyBackOn(deviceRank2K<T, Check, Routine>(uplo, trans, n, k, alpha, dA.data(), dA.ld(), dB.data(),
                                                      dB.ld(), beta, dC.data(), dC.ld()),
                      dC);
  });
}

}  // namespace tovi::api

#endif
