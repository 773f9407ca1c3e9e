#include "lapack/least_squares.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/copy2d.h"
#include "ground/complex.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "lapack/qr.h"
#include "lapack/reflectors.h"
#include "src/basic/Copy.h"
#include "src/basic/LASET.h"
#include "src/basic/Subtract.h"
#include "src/blas/blas.h"

namespace tovi::lapack {
namespace {

using cudalib::LinearMemory;

template <class T>
LinearMemory<T> scalarFactors(int k) {
  return LinearMemory<T>(static_cast<std::size_t>(k), 1);
}

template <class T>
MatrixView<T> column(T* dX, int n) {
  return {dX, n, 1, std::max(1, n)};
}

// Waits for what A is being computed by.
template <class T>
void requireNonzeroDiagonal(int n, ConstView<T> dA) {
  std::vector<T> hDiagonal(static_cast<std::size_t>(n));
  const std::size_t step = static_cast<std::size_t>(dA.ld) + 1;
  cudalib::check(cudalib::copy2D(hDiagonal.data(), sizeof(T), dA.data, step * sizeof(T), sizeof(T),
                                 hDiagonal.size(), cudaMemcpyDeviceToHost, false, nullptr));
  const auto zero = std::find(hDiagonal.begin(), hDiagonal.end(), T(0));
  if (zero == hDiagonal.end()) return;
  cudalib::completionCheck();  // a data error promises complete factors
  dataError(static_cast<int>(zero - hDiagonal.begin()) + 1);
}

// Generalized RQ factorization: B = (0 T12) Q with T12 in the last p columns of B, and A = Z R Q. The QR
// factorization runs over all columns of A Q^H: beside R11, its leading n - p columns, the residual needs R12
// and R22.
template <class T>
void ggrqf(MatrixView<T> dB, T* dTauB, MatrixView<T> dA, T* dTauA) {
  gerqf(dB, dTauB);
  applyReflectors(Reflectors::rq, 'R', 'C', dB.rows, dB, dTauB, dA);
  geqrf(dA, dTauA);
}

}  // namespace

template <class T>
void trtrs(char uplo, char trans, char diag, int n, ConstView<T> dA, MatrixView<T> dB) {
  if (n == 0) return;
  const Phase phase;
  if (diag == 'N') requireNonzeroDiagonal<T>(n, dA);
  blas::trsm('L', uplo, trans, diag, T(1), dA.block(0, 0, n, n), dB);
}

template <class T>
void gels(char trans, MatrixView<T> dA, MatrixView<T> dB) {
  if (dA.empty() || dB.empty()) {
    if (dB.data != nullptr) basic::laset('F', T(0), T(0), dB);
    return;
  }
  const int k = std::min(dA.rows, dA.cols), nrhs = dB.cols;
  const bool tall = dA.rows >= dA.cols, transposed = trans != 'N';
  const LinearMemory<T> dTau = scalarFactors<T>(k);
  if (tall)
    geqrf(dA, dTau.get());
  else
    gelqf(dA, dTau.get());

  const MatrixView<T> dTop = dB.block(0, 0, k, nrhs);
  const auto solveTriangle = [&] { trtrs(tall ? 'U' : 'L', transposed ? 'C' : 'N', 'N', k, dA, dTop); };
  const auto applyQ = [&] {
    applyReflectors(tall ? Reflectors::qr : Reflectors::lq, 'L', transposed ? 'N' : 'C', k, dA, dTau.get(),
                    dB);
  };
  if (tall != transposed) {
    // op(A) = Q R or Q^H L^H, with columns that are a basis: X = R^-1 (Q^H B) or L^-H (Q B), first k rows.
    applyQ();
    solveTriangle();
  } else {
    // op(A) = R^H Q^H or L Q: with Y = R^-H B or L^-1 B, the solution of least norm is Q (Y 0) or Q^H (Y 0).
    solveTriangle();
    basic::laset('F', T(0), T(0), dB.block(k, 0, dB.rows - k, nrhs));
    applyQ();
  }
}

template <class T>
void gglse(MatrixView<T> dA, MatrixView<T> dB, T* dC, T* dD, T* dX) {
  const int m = dA.rows, n = dA.cols, p = dB.rows, k = std::min(m, n);
  if (n == 0) return;
  const int free = n - p;  // unknowns that the constraints do not settle; at most m
  const LinearMemory<T> dTauB = scalarFactors<T>(p), dTauA = scalarFactors<T>(k);

  // With x = Q^H (x1 x2): T12 x2 = d, and || Z^H c - R (x1 x2) || is to be minimal.
  ggrqf(dB, dTauB.get(), dA, dTauA.get());
  applyReflectors(Reflectors::qr, 'L', 'C', k, dA.columns(0, k), dTauA.get(), column(dC, m));

  if (p > 0) {
    // x2 := T12^-1 d, c1 := c1 - R12 x2
    trtrs('U', 'N', 'N', p, dB.columns(free, p), column(dD, p));
    basic::copyVector(p, dD, 1, dX + free, 1);
    blas::gemv('N', T(-1), dA.block(0, free, free, p), dD, 1, T(1), dC, 1);
  }
  // x1 := R11^-1 c1
  trtrs('U', 'N', 'N', free, dA, column(dC, free));
  basic::copyVector(free, dC, 1, dX, 1);

  // c2 := c2 - R22 x2. R22 has p rows, or fewer where A has fewer rows than columns: a triangle and what
  // stands right of it.
  const int rows = std::min(p, m - free);
  if (rows > 0) {
    blas::gemv('N', T(-1), dA.block(free, free + rows, rows, p - rows), dD + rows, 1, T(1), dC + free, 1);
    blas::trmm('L', 'U', 'N', 'N', T(1), dA.block(free, free, rows, rows), column(dD, rows));
    basic::subtractMatrix('N', 'N', column(dD, rows), column(dC + free, rows));
  }

  applyReflectors(Reflectors::rq, 'L', 'C', p, dB, dTauB.get(), column(dX, n));
}

#define TOVI_INSTANCES(T)               \
  template decltype(trtrs<T>) trtrs<T>; \
  template decltype(gels<T>) gels<T>;   \
  template decltype(gglse<T>) gglse<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
