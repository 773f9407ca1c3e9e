// What stands behind the exported BLAS routines: for every family one body, for operands in host or in device
// memory.
//
// Families that share their operands share their body; the routine, and its argument check where that
// differs, are template arguments. Operands are staged in the order of the argument list and released in the
// opposite one. A result that is not read (beta = 0) is not uploaded, unless only a part of it will be
// written. Empty results need no operands.

#ifndef TOVI_API_BLAS_ROUTINES_H
#define TOVI_API_BLAS_ROUTINES_H

#include "api/checks.h"
#include "api/operands.h"
#include "src/blas/blas.h"

namespace tovi::api {

template <class Place, class T>
toviStatus gemm(char transa, char transb, int m, int n, int k, T alpha, const T* a, int lda, const T* b,
                int ldb, T beta, T* c, int ldc) {
  const auto check = [&] { checkGemm(transa, transb, m, n, k, a, lda, b, ldb, c, ldc); };
  return routine<Place, T>(check, [&] {
    const unsigned in = readOnly(m, n);
    const Matrix<Place, const T> dA(a, transa == 'N' ? m : k, transa == 'N' ? k : m, lda, in);
    const Matrix<Place, const T> dB(b, transb == 'N' ? k : n, transb == 'N' ? n : k, ldb, in);
    Matrix<Place, T> dC(c, m, n, ldc, overwritten(beta));
    compute<Place, T>([&] { blas::gemm(transa, transb, alpha, dA.view(), dB.view(), beta, dC.view()); });
    dC.copyBack();
  });
}

template <class Place, class T>
toviStatus gemv(char trans, int m, int n, T alpha, const T* a, int lda, const T* x, int incx, T beta, T* y,
                int incy) {
  const auto check = [&] { checkGemv(trans, m, n, a, lda, x, incx, y, incy); };
  return routine<Place, T>(check, [&] {
    const unsigned in = readOnly(m, n);
    const Matrix<Place, const T> dA(a, m, n, lda, in);
    const Vector<Place, const T> dX(x, trans == 'N' ? n : m, incx, in);
    Vector<Place, T> dY(y, trans == 'N' ? m : n, incy, in == 0 ? 0 : overwritten(beta));
    compute<Place, T>([&] {
      blas::gemv(trans, alpha, dA.view(), dX.data(), dX.increment(), beta, dY.data(), dY.increment());
    });
    dY.copyBack();
  });
}

// trsm, trmm
template <class Place, class T, auto Check, auto Routine>
toviStatus triangular(char side, char uplo, char trans, char diag, int m, int n, T alpha, const T* a, int lda,
                      T* b, int ldb) {
  const auto check = [&] { Check(side, uplo, trans, diag, m, n, a, lda, b, ldb); };
  return routine<Place, T>(check, [&] {
    const int order = side == 'L' ? m : n;
    const Matrix<Place, const T> dA(a, order, order, lda, readOnly(m, n));
    Matrix<Place, T> dB(b, m, n, ldb, StageIn | StageOut);
    compute<Place, T>([&] { Routine(side, uplo, trans, diag, alpha, dA.view(), dB.view()); });
    dB.copyBack();
  });
}

// symm, hemm
template <class Place, class T, auto Routine>
toviStatus symmetric(char side, char uplo, int m, int n, T alpha, const T* a, int lda, const T* b, int ldb,
                     T beta, T* c, int ldc) {
  const auto check = [&] { checkSymm(side, uplo, m, n, a, lda, b, ldb, c, ldc); };
  return routine<Place, T>(check, [&] {
    const int order = side == 'L' ? m : n;
    const Matrix<Place, const T> dA(a, order, order, lda, readOnly(m, n));
    const Matrix<Place, const T> dB(b, m, n, ldb, StageIn);
    Matrix<Place, T> dC(c, m, n, ldc, overwritten(beta));
    compute<Place, T>([&] { Routine(side, uplo, alpha, dA.view(), dB.view(), beta, dC.view()); });
    dC.copyBack();
  });
}

// syrk, herk. Only one triangle of C is written, so C is uploaded whatever beta is: the other one must come
// back as it was. The factors are real for herk.
template <class Place, class T, auto Check, auto Routine, class Factor>
toviStatus rankK(char uplo, char trans, int n, int k, Factor alpha, const T* a, int lda, Factor beta, T* c,
                 int ldc) {
  const auto check = [&] { Check(uplo, trans, n, k, a, lda, c, ldc); };
  return routine<Place, T>(check, [&] {
    const Matrix<Place, const T> dA(a, trans == 'N' ? n : k, trans == 'N' ? k : n, lda, StageIn);
    Matrix<Place, T> dC(c, n, n, ldc, StageIn | StageOut);
    compute<Place, T>([&] { Routine(uplo, trans, alpha, dA.view(), beta, dC.view()); });
    dC.copyBack();
  });
}

// syr2k, her2k. As above; beta is real for her2k.
template <class Place, class T, auto Check, auto Routine, class Factor>
toviStatus rank2K(char uplo, char trans, int n, int k, T alpha, const T* a, int lda, const T* b, int ldb,
                  Factor beta, T* c, int ldc) {
  const auto check = [&] { Check(uplo, trans, n, k, a, lda, b, ldb, c, ldc); };
  return routine<Place, T>(check, [&] {
    const int rows = trans == 'N' ? n : k, cols = trans == 'N' ? k : n;
    const Matrix<Place, const T> dA(a, rows, cols, lda, StageIn), dB(b, rows, cols, ldb, StageIn);
    Matrix<Place, T> dC(c, n, n, ldc, StageIn | StageOut);
    compute<Place, T>([&] { Routine(uplo, trans, alpha, dA.view(), dB.view(), beta, dC.view()); });
    dC.copyBack();
  });
}

}  // namespace tovi::api

#endif
