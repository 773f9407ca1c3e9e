// trsm and trmm. With op(A) block lower triangular the first block of X depends on itself alone, with op(A)
// block upper triangular the last one (side L; the other way round for side R). A solve starts with that
// block; a product, which overwrites its operand, ends with it.

#include "src/blas/blas.h"
#include "src/blas/block_unit.h"
#include "src/blas/cublas.h"

namespace tovi::blas {
namespace {

// A and B cut at the same place.
template <class T>
struct Cut {
  MatrixView<const T> dFree,
      dBound;                     // diagonal blocks of A: of the independent part of X, and of the other one
  MatrixView<const T> dCoupling;  // the off-diagonal block as stored
  MatrixView<T> dBFree, dBBound;
};

template <class T>
Cut<T> cut(int nb, char side, char uplo, char trans, MatrixView<const T> dA, MatrixView<T> dB) {
  const int d = dA.rows, d1 = leadingPart(d, nb), d2 = d - d1;
  const auto dA11 = dA.block(0, 0, d1, d1), dA22 = dA.block(d1, d1, d2, d2);
  const auto dOff = uplo == 'L' ? dA.block(d1, 0, d2, d1) : dA.block(0, d1, d1, d2);
  const auto dB1 = side == 'L' ? dB.block(0, 0, d1, dB.cols) : dB.columns(0, d1);
  const auto dB2 = side == 'L' ? dB.block(d1, 0, d2, dB.cols) : dB.columns(d1, d2);
  const bool lower = (uplo == 'L') == (trans == 'N');  // op(A)
  if (lower == (side == 'L')) return {dA11, dA22, dOff, dB1, dB2};
  return {dA22, dA11, dOff, dB2, dB1};
}

template <class T>
void solveByBlocks(int nb, char side, char uplo, char trans, char diag, T alpha, MatrixView<const T> dA,
                   MatrixView<T> dB) {
  if (dA.rows <= nb) return cublas::trsm<T>(side, uplo, trans, diag, alpha, dA, dB);
  const Cut<T> c = cut<T>(nb, side, uplo, trans, dA, dB);
  // Xf from op(Aff) Xf = alpha Bf; Bb := alpha Bb - op(A)bf Xf; Xb from op(Abb) Xb = Bb. Side R: factors
  // exchanged.
  solveByBlocks<T>(nb, side, uplo, trans, diag, alpha, c.dFree, c.dBFree);
  if (side == 'L')
    gemm(trans, 'N', T(-1), c.dCoupling, c.dBFree, alpha, c.dBBound);
  else
    gemm('N', trans, T(-1), c.dBFree, c.dCoupling, alpha, c.dBBound);
  solveByBlocks<T>(nb, side, uplo, trans, diag, T(1), c.dBound, c.dBBound);
}

template <class T>
void multiplyByBlocks(int nb, char side, char uplo, char trans, char diag, T alpha, MatrixView<const T> dA,
                      MatrixView<T> dB) {
  if (dA.rows <= nb) return cublas::trmm<T>(side, uplo, trans, diag, alpha, dA, dB);
  const Cut<T> c = cut<T>(nb, side, uplo, trans, dA, dB);
  // Bb := alpha op(Abb) Bb; Bb := Bb + alpha op(A)bf Bf; Bf := alpha op(Aff) Bf. Side R: factors exchanged.
  multiplyByBlocks<T>(nb, side, uplo, trans, diag, alpha, c.dBound, c.dBBound);
  if (side == 'L')
    gemm(trans, 'N', alpha, c.dCoupling, c.dBFree, T(1), c.dBBound);
  else
    gemm('N', trans, alpha, c.dBFree, c.dCoupling, T(1), c.dBBound);
  multiplyByBlocks<T>(nb, side, uplo, trans, diag, alpha, c.dFree, c.dBFree);
}

}  // namespace

// With alpha = 0 the result is zero and A is not read: left to CUBLAS whatever the size.

template <class T>
void trsm(char side, char uplo, char trans, char diag, Scalar<T> alpha, ConstView<T> dA, MatrixView<T> dB) {
  if (dB.empty()) return;
  if (dB.rows >= 512 && dB.cols >= 512 && alpha != T(0))
    solveByBlocks<T>(blockUnit<T>(), side, uplo, trans, diag, alpha, dA, dB);
  else
    cublas::trsm<T>(side, uplo, trans, diag, alpha, dA, dB);
}

template <class T>
void trmm(char side, char uplo, char trans, char diag, Scalar<T> alpha, ConstView<T> dA, MatrixView<T> dB) {
  if (dB.empty()) return;
  if ((dB.rows >= 1024 || dB.cols >= 1024) && alpha != T(0))
    multiplyByBlocks<T>(blockUnit<T>(), side, uplo, trans, diag, alpha, dA, dB);
  else
    cublas::trmm<T>(side, uplo, trans, diag, alpha, dA, dB);
}

#define TOVI_INSTANCES(T)             \
  template decltype(trsm<T>) trsm<T>; \
  template decltype(trmm<T>) trmm<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::blas
