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
#include "src/basic/LACPY.h"
#include "src/basic/Set.h"
#include "src/basic/Transpose.h"
#include "src/basic/larfg.h"
#include "src/blas/blas.h"
#include "src/brd/brd.h"

namespace tovi::lapack {
namespace {

// Rows and columns are reduced on the device by as many; the last of them, one to as many, are the host's.
// The first generation of devices (capability 1.0 to 1.3) takes fewer.
int bidiagonalBlockWidth() { return cudalib::smallBlocks() ? 32 : 96; }

// Those that are reduced before the rest of the matrix is updated. Measured on the software device: from 1024
// on 32 to 96 are the same, for 512 the reduction takes half as long with 32 as with 96.
constexpr int panelWidth = brd::panelWidth;

// The reduction of the leading rows and columns of A, which is not wide. Only they are brought up to date,
// in memory of their own: what A has become is A - L R^H, with the reflectors v of Q and u of P in
//   L = (v x v x ...), R = (y u y u ...),  y = tau (A - L R^H)^H v,  x = tau (A - L R^H) u,
// and A itself is as it was until finish().
template <class T>
class Panel {
 public:
  Panel(MatrixView<T> dA, MatrixView<T> dL, MatrixView<T> dR, T* dProduct, MatrixView<T> dParts)
      : dA_(dA), dL_(dL), dR_(dR), dProduct_(dProduct), dParts_(dParts) {
    basic::setVector(basic::Fill::zero, dA.cols, dR.data, 1);  // no product is there to begin the first y
    basic::copyMatrix<T>(dA.columns(0, panelWidth), dV_);
    basic::transpose<T>(dA.block(0, 1, panelWidth, dA.cols - 1), dU_.block(1, 0, dA.cols - 1, panelWidth),
                        true);
  }

  void reduce(Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup) const {
    if (brd::reducedAtOnce(dA_.rows, dA_.cols))
      return brd::reducePanel<T>(dA_, dL_, dR_, dD, dE, dTauq, dTaup);
    for (int i = 0; i < panelWidth; ++i) reduce(i, dD + i, dE + i, dTauq + i, dTaup + i);
  }

  // A22 := A22 - L R^H; the reflectors go to their places in A.
  void finish() const {
    const int below = dA_.rows - panelWidth, right = dA_.cols - panelWidth;
    blas::gemm('N', 'C', T(-1), dL_.block(panelWidth, 0, below, 2 * panelWidth),
               dR_.block(panelWidth, 0, right, 2 * panelWidth), T(1),
               dA_.block(panelWidth, panelWidth, below, right));
    basic::transpose<T>(dU_.block(1, 0, dA_.cols - 1, panelWidth), dA_.block(0, 1, panelWidth, dA_.cols - 1),
                        true);
    basic::lacpy<T>('L', dV_, dA_.columns(0, panelWidth));
  }

 private:
  void reduce(int i, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup) const {
    const int rows = dA_.rows - i, below = rows - 1, right = dA_.cols - i - 1, made = 2 * i;
    const MatrixView<T> dL = dL_.block(i, 0, rows, made), dR = dR_.block(i + 1, 0, right, made);
    const MatrixView<T> dLBelow = dL_.block(i + 1, 0, below, made + 1),
                        dRy = dR_.block(i + 1, 0, right, made + 1);
    T *const dv = dL_.at(i, made), *const dx = dL_.at(i + 1, made + 1);
    T *const dy = dR_.at(i + 1, made), *const du = dR_.at(i + 1, made + 1);

    // a := a - L R(i,:)^H
    subtractProduct(dL, dR_.at(i, 0), dR_.ld, dv);
    basic::larfg(rows, dv, dTauq, dD);
    // y := tau (A^H v - R L^H v). The row a^H := a^H - R L(i,:)^H, of which y is a part as v begins with 1.
    blas::gemv('C', T(1), dL, dv, 1, T(0), dProduct_, 1);
    blas::gemv('N', T(-1), dR, dProduct_, 1, T(0), dy, 1);
    subtractProduct(dR, dL_.at(i, 0), dL_.ld, du);
    brd::multiplyBothWays<T>(dA_.block(i, i + 1, rows, right), dv, dTauq, dy, du,
                             dParts_.block(0, 0, rows, dParts_.cols));
    basic::larfg(right, du, dTaup, dE);
    // x := tau (A u - L R^H u)
    blas::gemv('C', T(1), dRy, du, 1, T(0), dProduct_, 1);
    blas::gemv('N', T(-1), dLBelow, dProduct_, 1, T(0), dx, 1);
    brd::addReflected<T>(dA_.block(i + 1, i + 1, below, right), du, dE, dTaup,
                         dParts_.block(1, 0, below, dParts_.cols), dx);
  }

  // y := y - M x^H, x being a row.
  static void subtractProduct(MatrixView<T> dM, T* dX, int incx, T* dY) {
    basic::conjugateVector(dM.cols, dX, incx);
    blas::gemv('N', T(-1), dM, dX, incx, T(1), dY, 1);
    basic::conjugateVector(dM.cols, dX, incx);
  }
  const MatrixView<T> dA_, dL_, dR_;
  T* const dProduct_;
  const MatrixView<T> dParts_;
  // Every other column
  const MatrixView<T> dV_{dL_.data, dL_.rows, panelWidth, 2 * dL_.ld},
      dU_{dR_.at(0, 1), dR_.rows, panelWidth, 2 * dR_.ld};
};

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
void gebrd(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup) {
  if (dA.empty()) return;
  const Phase phase;
  constexpr int nb = panelWidth;
  const int m = dA.rows, n = dA.cols, k = std::min(m, n), block = bidiagonalBlockWidth();
  if (m < n && k > block) {
    // The same form of A^H = P B^H Q^H
    const cudalib::PaddedMemory<T> dAdjoint(size(n), size(m));
    const MatrixView<T> dH = dAdjoint.view(n, m);
    basic::transpose<T>(dA, dH, true);
    gebrd(dH, dD, dE, dTaup, dTauq);
    return basic::transpose<T>(dH, dA, true);
  }

  const int blocked = (k - 1) / block * block;
  const cudalib::PaddedMemory<T> dL(size(blocked == 0 ? 0 : m), size(2 * nb)),
      dR(size(blocked == 0 ? 0 : n), size(2 * nb));
  const int parts = brd::partsOfBothWays(m, n);
  const cudalib::LinearMemory<T> dParts(size(blocked == 0 ? 0 : m), size(parts)), dProduct(size(2 * nb), 1);
  for (int i = 0; i < blocked; i += nb) {
    const int rows = m - i, cols = n - i;
    const MatrixView<T> dRest = dA.block(i, i, rows, cols);
    const Panel<T> panel(dRest, dL.view(rows, 2 * nb), dR.view(cols, 2 * nb), dProduct.get(),
                         dParts.view(rows, parts));
    panel.reduce(dD + i, dE + i, dTauq + i, dTaup + i);
    panel.finish();
    basic::copyVectorRealToComplex(nb, dD + i, 1, dRest.data, dA.ld + 1);
    basic::copyVectorRealToComplex(nb, dE + i, 1, dRest.at(0, 1), dA.ld + 1);
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
  template decltype(gebrd<T>) gebrd<T>; \
  template decltype(orgbr<T>) orgbr<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
