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
#include "src/basic/Scale.h"
#include "src/basic/Set.h"
#include "src/basic/larfg.h"
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
// The small products in it are formed in the rows of that column that nobody needs.
template <class T>
class Panel {
 public:
  Panel(MatrixView<T> dA, MatrixView<T> dW) : dA_(dA), dW_(dW) {}

  void reduceColumn(int j, Real<T>* dDiagonal, Real<T>* dBeside, T* dTau) const {
    const int rows = dA_.rows - j, below = rows - 1;
    // a := a - W V(j,:)^H - V W(j,:)^H. Row j of W has then done its duty and may stay conjugated.
    basic::conjugateVector(j, dA_.at(j, 0), dA_.ld);
    blas::gemv('N', T(-1), dW_.block(j, 0, rows, j), dA_.at(j, 0), dA_.ld, T(1), dA_.at(j, j), 1);
    basic::conjugateVector(j, dA_.at(j, 0), dA_.ld);
    basic::conjugateVector(j, dW_.at(j, 0), dW_.ld);
    blas::gemv('N', T(-1), dA_.block(j, 0, rows, j), dW_.at(j, 0), dW_.ld, T(1), dA_.at(j, j), 1);
    basic::copyComplexToReal<T>(dA_.at(j, j), dDiagonal);

    T* const dv = dA_.at(j + 1, j);
    basic::larfg(below, dv, dv + 1, 1, dTau);
    basic::copyComplexToReal<T>(dv, dBeside);
    basic::setSingle(basic::Fill::one, dv);

    // y := A v - V (W^H v) - W (V^H v)
    const MatrixView<T> dV = dA_.block(j + 1, 0, below, j), dW = dW_.block(j + 1, 0, below, j);
    T *const dw = dW.at(0, j), *const dProduct = dW_.at(0, j);
    blas::hemv('L', T(1), dA_.block(j + 1, j + 1, below, below), dv, 1, T(0), dw, 1);
    blas::gemv('C', T(1), dW, dv, 1, T(0), dProduct, 1);
    blas::gemv('N', T(-1), dV, dProduct, 1, T(1), dw, 1);
    blas::gemv('C', T(1), dV, dv, 1, T(0), dProduct, 1);
    blas::gemv('N', T(-1), dW, dProduct, 1, T(1), dw, 1);
    basic::scaleVector(below, dw, dTau, 1);
    // w := y - (tau/2 y^H v) v
    T* const dFactor = dW_.at(j, j);
    blas::gemv('C', T(Real<T>(-0.5)), MatrixView<T>(dw, below, 1, below), dv, 1, T(0), dFactor, 1);
    basic::scaleVector(1, dFactor, dTau, 1);
    blas::gemv('N', T(1), MatrixView<T>(dv, below, 1, below), dFactor, 1, T(1), dw, 1);
  }

 private:
  MatrixView<T> dA_, dW_;
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
    const cudalib::LinearMemory<T> dWeights(size(n), size(nb));
    for (; n - i > hostOrder(); i += nb) {
      const int left = n - i, below = left - nb;
      const MatrixView<T> dRest = dA.block(i, i, left, left), dW = dWeights.view(left, nb);
      const Panel<T> panel(dRest, dW);
      for (int j = 0; j < nb; ++j) panel.reduceColumn(j, dD + i + j, dE + i + j, dTau + i + j);
      // A22 := A22 - V2 W2^H - W2 V2^H
      blas::her2k('L', 'N', T(-1), dRest.block(nb, 0, below, nb), dW.block(nb, 0, below, nb), Real<T>(1),
                  dRest.block(nb, nb, below, below));
    }
  }
  reduceOnHost(dA.block(i, i, n - i, n - i), dD + i, dE + i, dTau + i);
}

#define TOVI_INSTANCES(T) template decltype(hetrd<T>) hetrd<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
