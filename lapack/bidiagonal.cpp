#include "lapack/bidiagonal.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "cudalib/device_table.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "host/lapack.h"
#include "lapack/reflectors.h"
#include "lapack/transfers.h"
#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
#include "src/basic/Scale.h"
#include "src/basic/Set.h"
#include "src/basic/larfg.h"
#include "src/blas/blas.h"
#include "src/brd/brd.h"

namespace tovi::lapack {
namespace {

// Rows and columns that are reduced before the rest of the matrix is updated; the first generation of devices
// (capability 1.0 to 1.3) takes fewer.
int bidiagonalPanelWidth() { return cudalib::smallBlocks() ? 32 : 96; }

// The reduction of the leading rows and columns. Of the matrix as it was, A, only they are brought up to
// date: what A has become is A - V Y^H - X U, where V holds the reflectors of Q so far as columns and U those
// of P, conjugated, as rows. A step makes one more reflector and the column of Y, or of X, that goes with it:
//   Y(:,j) = tau (A - V Y^H - X U)^H v,  X(:,i) = tau (A - V Y^H - X U) u.
// The small products in them are formed in the rows of that column that nobody needs.
template <class T>
class Panel {
 public:
  Panel(MatrixView<T> dA, MatrixView<T> dX, MatrixView<T> dY, T* dRow)
      : dA_(dA), dX_(dX), dY_(dY), dRow_(dRow) {}

  // Reflector j of Q, from column j, rows `first` and on; p reflectors of P have been made.
  void reduceColumn(int j, int first, int p, Real<T>* dBeta, T* dTau) const {
    const int rows = dA_.rows - first, right = dA_.cols - j - 1;
    const MatrixView<T> dA = dA_.block(first, 0, rows, dA_.cols), dX = dX_.block(first, 0, rows, p);
    const MatrixView<T> dV = dA.columns(0, j), dU = dA_.block(0, j + 1, p, right);
    const MatrixView<T> dYRight = dY_.block(j + 1, 0, right, j);
    T *const dv = dA.at(0, j), *const dy = dYRight.at(0, j), *const dProduct = dY_.at(0, j);

    // a := a - V Y(j,:)^H - X U(:,j). Row j of Y has then done its duty and may stay conjugated.
    basic::conjugateVector(j, dY_.at(j, 0), dY_.ld);
    blas::gemv('N', T(-1), dV, dY_.at(j, 0), dY_.ld, T(1), dv, 1);
    blas::gemv('N', T(-1), dX, dA_.at(0, j), 1, T(1), dv, 1);
    reflect(rows, dv, dBeta, dTau);
    // y := tau (A^H v - Y (V^H v) - U^H (X^H v)); V and what is right of v lie side by side.
    blas::gemv('C', T(1), dA, dv, 1, T(0), dProduct, 1);
    blas::gemv('N', T(-1), dYRight, dProduct, 1, T(1), dy, 1);
    blas::gemv('C', T(1), dX, dv, 1, T(0), dProduct, 1);
    blas::gemv('C', T(-1), dU, dProduct, 1, T(1), dy, 1);
    basic::scaleVector(right, dy, dTau, 1);
  }

  // Reflector i of P, from row i, columns `first` and on, which are as many as the reflectors of Q so far.
  void reduceRow(int i, int first, Real<T>* dBeta, T* dTau) const {
    const int cols = dA_.cols - first, below = dA_.rows - i - 1;
    const MatrixView<T> dA = dA_.columns(first, cols), dY = dY_.block(first, 0, cols, first);
    const MatrixView<T> dU = dA.block(0, 0, i, cols), dV = dA_.block(i + 1, 0, below, first);
    const MatrixView<T> dXBelow = dX_.block(i + 1, 0, below, i);
    T *const du = dRow_ + first, *const dx = dXBelow.at(0, i), *const dProduct = dX_.at(0, i);

    // a^H := a^H - Y V(i,:)^H - U^H X(i,:)^H, where V(i,:) and a lie side by side. The work is done on a copy
    // that is contiguous. Row i of X may stay conjugated.
    basic::copyVector<T>(dA_.cols, dA_.at(i, 0), dA_.ld, dRow_, 1);
    basic::conjugateVector(dA_.cols, dRow_, 1);
    basic::conjugateVector(i, dX_.at(i, 0), dX_.ld);
    blas::gemv('N', T(-1), dY, dRow_, 1, T(1), du, 1);
    blas::gemv('C', T(-1), dU, dX_.at(i, 0), dX_.ld, T(1), du, 1);
    reflect(cols, du, dBeta, dTau);
    // x := tau (A u - X (U u) - V (Y^H u)); U and what is below u lie in the same columns.
    blas::gemv('N', T(1), dA, du, 1, T(0), dProduct, 1);
    blas::gemv('N', T(-1), dXBelow, dProduct, 1, T(1), dx, 1);
    blas::gemv('C', T(1), dY, du, 1, T(0), dProduct, 1);
    blas::gemv('N', T(-1), dV, dProduct, 1, T(1), dx, 1);
    basic::scaleVector(below, dx, dTau, 1);
    basic::conjugateVector(cols, du, 1);
    basic::copyVector<T>(cols, du, 1, dA.at(i, 0), dA_.ld);
  }

 private:
  // Makes the reflector that leaves of a vector of n elements only beta, which is real; the vector becomes v,
  // which begins with 1.
  static void reflect(int n, T* dv, Real<T>* dBeta, T* dTau) {
    basic::larfg(n, dv, dv + 1, 1, dTau);
    basic::copyComplexToReal<T>(dv, dBeta);
    basic::setSingle(basic::Fill::one, dv);
  }

  MatrixView<T> dA_, dX_, dY_;
  T* dRow_;
};

// Where the elements beside the diagonal of B begin.
template <class T>
T* besideDiagonal(MatrixView<T> dA) {
  return dA.rows >= dA.cols ? dA.at(0, 1) : dA.at(1, 0);
}

template <class T>
void reduceOnHost(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup) {
  const int m = dA.rows, n = dA.cols, k = std::min(m, n);
  std::vector<T> hA(host::roomForRows(m, n)), hTauq(size(k)), hTaup(size(k)), hWork(size(std::max(m, n)));
  std::vector<Real<T>> hD(size(k)), hE(size(k));
  cudalib::download<T>(dA, hA.data(), m);
  checkHostInfo(
      host::gebd2(m, n, hA.data(), m, hD.data(), hE.data(), hTauq.data(), hTaup.data(), hWork.data()));
  cudalib::upload(hA.data(), m, dA);
  hE.resize(size(k - 1));
  copyToDevice(hD, dD);
  if (k > 1) copyToDevice(hE, dE);
  copyToDevice(hTauq, dTauq);
  copyToDevice(hTaup, dTaup);
}

}  // namespace

template <class T>
void labrd(MatrixView<T> dA, int nb, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup, MatrixView<T> dX,
           MatrixView<T> dY, T* dRow) {
  const Panel<T> panel(dA, dX, dY, dRow);
  const bool upper = dA.rows >= dA.cols;
  for (int i = 0; i < nb; ++i) {
    if (upper) {
      panel.reduceColumn(i, i, i, dD + i, dTauq + i);
      panel.reduceRow(i, i + 1, dE + i, dTaup + i);
    } else {
      panel.reduceRow(i, i, dD + i, dTaup + i);
      panel.reduceColumn(i, i + 1, i + 1, dE + i, dTauq + i);
    }
  }
}

template <class T>
void gebrd(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup) {
  if (dA.empty()) return;
  const Phase phase;
  const int m = dA.rows, n = dA.cols, k = std::min(m, n), nb = bidiagonalPanelWidth();
  const int blocked = (k - 1) / nb * nb;  // the last 1 to nb rows and columns are left to the host

  const cudalib::LinearMemory<T> dX(size(m), size(nb)), dY(size(n), size(nb)), dRow(size(n), 1);
  for (int i = 0; i < blocked; i += nb) {
    const int below = m - i - nb, right = n - i - nb;
    const MatrixView<T> dRest = dA.block(i, i, m - i, n - i), dTrailing = dRest.block(nb, nb, below, right);
    const MatrixView<T> dXi = dX.view(m - i, nb), dYi = dY.view(n - i, nb);
    labrd(dRest, nb, dD + i, dE + i, dTauq + i, dTaup + i, dXi, dYi, dRow.get());
    // A22 := A22 - V2 Y2^H - X2 U2
    blas::gemm('N', 'C', T(-1), dRest.block(nb, 0, below, nb), dYi.block(nb, 0, right, nb), T(1), dTrailing);
    blas::gemm('N', 'N', T(-1), dXi.block(nb, 0, below, nb), dRest.block(0, nb, nb, right), T(1), dTrailing);
    basic::copyVectorRealToComplex(nb, dD + i, 1, dRest.data, dA.ld + 1);
    basic::copyVectorRealToComplex(nb, dE + i, 1, besideDiagonal(dRest), dA.ld + 1);
  }
  reduceOnHost(dA.block(blocked, blocked, m - blocked, n - blocked), dD + blocked, dE + blocked,
               dTauq + blocked, dTaup + blocked);
}

template <class T>
void orgbr(char vect, MatrixView<T> dA, int k, const T* dTau) {
  if (dA.empty()) return;
  const bool left = vect == 'Q';
  const int m = dA.rows, n = dA.cols;
  const Reflectors kind = left ? Reflectors::qr : Reflectors::lq;
  if (left ? m >= k : k < n) return generateQ(kind, k, dA, dTau);

  // The first vector of the factor is the identity's: the reflectors begin one element behind the diagonal.
  // They move to where generateQ looks for them in the matrix without its first row and column.
  brd::orgbrCopy(left ? 'L' : 'U', n, dA.data, dA.ld);
  basic::setSingle(basic::Fill::one, dA.data);
  basic::setVector(basic::Fill::zero, m - 1, dA.at(1, 0), 1);
  basic::setVector(basic::Fill::zero, n - 1, dA.at(0, 1), dA.ld);
  generateQ(kind, n - 1, dA.block(1, 1, m - 1, n - 1), dTau);
}

#define TOVI_INSTANCES(T)               \
  template decltype(labrd<T>) labrd<T>; \
  template decltype(gebrd<T>) gebrd<T>; \
  template decltype(orgbr<T>) orgbr<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
