#include "lapack/tridiagonal.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "cudalib/device_table.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "host/lapack.h"
#include "lapack/host_call.h"
#include "lapack/transfers.h"
#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
#include "src/basic/larfg.h"
#include "src/basic/weight.h"
#include "src/blas/blas.h"

namespace tovi::lapack {
namespace {

// Columns that are reduced before the rest of the matrix is updated; the first generation of devices
// (capability 1.0 to 1.3) takes fewer.
int tridiagonalPanelWidth() { return cudalib::smallBlocks() ? 16 : 48; }

// What is not larger is left to the host.
int hostOrder() { return cudalib::smallBlocks() ? 32 : 128; }

// The reduction of the leading columns. Of the matrix as it was, A, only they are brought up to date: what A
// has become is A - V W^H - W V^H, where V holds the reflectors so far. A step makes one more, v, and the
// column of W that goes with it:
//   w = y - (tau/2 y^H v) v,  y = tau (A - V W^H - W V^H) v.
// V and W stand side by side, W mirrored: (w3 w2 w1 v1 v2 v3). Where one has its element of a row the other
// has it in the mirrored row, so that a product with both takes the row, or V^H v and W^H v, backwards.
template <class T>
class Panel {
 public:
  // dBoth has as many rows as dA, dWeights too, which has nb columns and holds W once more, the right way
  // round. dProducts: 2 nb elements
  Panel(MatrixView<T> dA, MatrixView<T> dBoth, MatrixView<T> dWeights, T* dProducts)
      : dA_(dA), dBoth_(dBoth), dWeights_(dWeights), dProducts_(dProducts) {}

  // The leading columns become those of V, with the diagonal of T above them, and the others what is left of
  // A.
  void reduce(Real<T>* dBeside, T* dTau) const {
    const int nb = dWeights_.cols, below = dA_.rows - nb;
    const MatrixView<T> dLeading = dA_.columns(0, nb), dV = dBoth_.columns(nb, nb);
    basic::copyMatrix<T>(dLeading, dV);
    for (int j = 0; j < nb; ++j) reduceColumn(j, dBeside + j, dTau + j);
    basic::copyMatrix<T>(dV, dLeading);
    // A22 := A22 - V2 W2^H - W2 V2^H
    blas::her2k('L', 'N', T(-1), dV.block(nb, 0, below, nb), dWeights_.block(nb, 0, below, nb), Real<T>(1),
                dA_.block(nb, nb, below, below));
  }

 private:
  void reduceColumn(int j, Real<T>* dBeside, T* dTau) const {
    const int nb = dWeights_.cols, below = dA_.rows - j - 1;
    const MatrixView<T> dSoFar = dBoth_.block(j, nb - j, below + 1, 2 * j);
    // a := a - W V(j,:)^H - V W(j,:)^H
    T* const dColumn = dBoth_.at(j, nb + j);
    if constexpr (isComplex<T>) {
      basic::copyVector<T>(2 * j, dSoFar.data, dSoFar.ld, dProducts_, 1);
      basic::conjugateVector(2 * j, dProducts_, 1);
      blas::gemv('N', T(-1), dSoFar, dProducts_, -1, T(1), dColumn, 1);
    } else {
      blas::gemv('N', T(-1), dSoFar, dSoFar.data, -dSoFar.ld, T(1), dColumn, 1);
    }
    T *const dv = dColumn + 1, *const dw = dBoth_.at(j + 1, nb - 1 - j);
    basic::larfg(below, dv, dTau, dBeside);

    // y / tau = A v - V (W^H v) - W (V^H v)
    const MatrixView<T> dBelow = dSoFar.block(1, 0, below, 2 * j);
    blas::hemv('L', T(1), dA_.block(j + 1, j + 1, below, below), dv, 1, T(0), dw, 1);
    blas::gemv('C', T(1), dBelow, dv, 1, T(0), dProducts_, 1);
    blas::gemv('N', T(-1), dBelow, dProducts_, -1, T(1), dw, 1);
    basic::completeWeight(below, dv, dTau, dw, dWeights_.at(j + 1, j));
  }

  MatrixView<T> dA_, dBoth_, dWeights_;
  T* dProducts_;
};

template <class T>
void reduceOnHost(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTau) {
  const int n = dA.rows;
  std::vector<T> hA(roomForRows(n, n)), hTau(size(n - 1));
  std::vector<Real<T>> hD(size(n)), hE(size(n - 1));
  cudalib::download<T>(dA, hA.data(), n);
  withWorkspace<T>(1, [&](T* work, int lwork) {
    return host::hetrd('L', n, hA.data(), n, hD.data(), hE.data(), hTau.data(), work, lwork);
  });
  // Its other triangle may hold anything; of the reflectors it gets nothing.
  cudalib::upload(hA.data(), n, dA);
  copyToDevice(hD, dD);
  if (n == 1) return;
  copyToDevice(hE, dE);
  copyToDevice(hTau, dTau);
}

}  // namespace

template <class T>
void hetrd(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTau) {
  if (dA.empty()) return;
  const Phase phase;
  const int n = dA.rows, nb = tridiagonalPanelWidth();
  int i = 0;
  if (n > hostOrder()) {
    const cudalib::PaddedMemory<T> dBoth(size(n), 2 * size(nb)), dWeights(size(n), size(nb));
    const cudalib::LinearMemory<T> dProducts(2 * size(nb), 1);
    for (; n - i > hostOrder(); i += nb) {
      const int left = n - i;
      const Panel<T> panel(dA.block(i, i, left, left), dBoth.view(left, 2 * nb), dWeights.view(left, nb),
                           dProducts.get());
      panel.reduce(dE + i, dTau + i);
    }
    // The real parts of the diagonal so far.
    constexpr int parts = isComplex<T> ? 2 : 1;
    basic::copyVector<Real<T>>(i, reinterpret_cast<Real<T>*>(dA.data), parts * (dA.ld + 1), dD, 1);
  }
  reduceOnHost(dA.block(i, i, n - i, n - i), dD + i, dE + i, dTau + i);
}

#define TOVI_INSTANCES(T) template decltype(hetrd<T>) hetrd<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
