// Triangular solves of the drivers, on device memory.

#ifndef TOVI_LAPACK_TRIANGULAR_H
#define TOVI_LAPACK_TRIANGULAR_H

#include "ground/matrix_view.h"
#include "src/blas/blas.h"

namespace tovi::lapack {

// B := X with op(A) X = B. The device's own routine has nothing to share out where there are few right-hand
// sides; by halves almost all is products, which have.
template <class T>
void solveTriangular(char uplo, char trans, char diag, ConstView<T> dA, MatrixView<T> dB) {
  constexpr int few = 32, leaf = 256;
  const int n = dA.rows, n1 = n / 2, n2 = n - n1;
  if (n <= leaf || dB.cols > few) return blas::trsm('L', uplo, trans, diag, T(1), dA, dB);
  const bool forward = (uplo == 'L') == (trans == 'N');  // op(A) is lower triangular
  const ConstView<T> dOff = uplo == 'L' ? dA.block(n1, 0, n2, n1) : dA.block(0, n1, n1, n2);
  const MatrixView<T> dB1 = dB.block(0, 0, n1, dB.cols), dB2 = dB.block(n1, 0, n2, dB.cols);
  const MatrixView<T> dFree = forward ? dB1 : dB2, dBound = forward ? dB2 : dB1;
  const auto solvePart = [&](MatrixView<T> dPart, bool leading) {
    solveTriangular<T>(uplo, trans, diag, leading ? dA.block(0, 0, n1, n1) : dA.block(n1, n1, n2, n2), dPart);
  };
  solvePart(dFree, forward);
  // The other part of B := itself - op(A)off X
  if (dB.cols == 1)
    blas::gemv(trans, T(-1), dOff, dFree.data, 1, T(1), dBound.data, 1);
  else
    blas::gemm(trans, 'N', T(-1), dOff, dFree, T(1), dBound);
  solvePart(dBound, !forward);
}

}  // namespace tovi::lapack

#endif
