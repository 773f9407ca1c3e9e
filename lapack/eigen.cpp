#include "lapack/eigen.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "host/lapack.h"
#include "lapack/device_products.h"
#include "lapack/host_call.h"
#include "lapack/reflectors.h"
#include "lapack/scaling.h"
#include "lapack/transfers.h"
#include "lapack/tridiagonal.h"
#include "lapack/upload_real.h"
#include "src/basic/Copy.h"
#include "src/basic/LASET.h"
#include "src/basic/Transpose.h"
#include "src/basic/lange.h"

namespace tovi::lapack {
namespace {

// The eigenvalues of T, and its eigenvectors where Z has room for them; Z is square.
template <class R>
void solveTridiagonal(std::vector<R>& hD, std::vector<R>& hE, MatrixView<R> hZ) {
  const Phase phase;
  const int n = static_cast<int>(hD.size());
  if (!finite(hD) || !finite(hE)) {
    const R nan = std::numeric_limits<R>::quiet_NaN();
    std::fill(hD.begin(), hD.end(), nan);
    return static_cast<void>(std::fill_n(hZ.data, size(hZ.rows) * size(hZ.cols), nan));
  }
  if (hZ.empty()) return checkIteration(host::sterf(n, hD.data(), hE.data()));
  const cudalib::PageLockedMemory<R> work(size(n) + 5, size(n));  // 1 + 4 n + n^2 and a little more
  std::vector<int> integers(3 + 5 * size(n));
  iterateWithDevice(
      [&] { return host::stedc(n, hD.data(), hE.data(), hZ.data, hZ.ld, work.get(), integers.data()); });
}

}  // namespace

template <class T>
void heevd(char jobz, char uplo, MatrixView<T> dA, Real<T>* dW) {
  using R = Real<T>;
  if (dA.empty()) return;
  const int n = dA.rows;
  const bool vectors = jobz == 'V';
  if (vectors && n > mostEigenvectors) throw FeatNotImplException();

  std::vector<R> hD(size(n)), hE(size(n - 1));
  const R largest = basic::lanhe<T>('M', uplo, dA);
  if (!std::isfinite(largest)) {
    const R nan = std::numeric_limits<R>::quiet_NaN();
    if (vectors) basic::laset('F', T(nan), T(nan), dA);
    std::fill(hD.begin(), hD.end(), nan);
    return copyToDevice(hD, dW);
  }

  // A is reduced in a copy, which has it in its lower triangle; nobody reads the other one.
  const cudalib::PaddedMemory<T> dCopy(size(n), size(n));
  const MatrixView<T> dR = dCopy.view(n, n);
  if (uplo == 'L')
    basic::copyMatrix<T>(dA, dR);
  else
    basic::transpose<T>(dA, dR, true);
  const R factor = safeFactor(largest);
  scale(factor, dR);

  // A = Q T Q^H, T = Z diag(w) Z^T, A = (Q Z) diag(w) (Q Z)^H
  const cudalib::LinearMemory<R> dD(size(n), 1), dE(size(n), 1);
  const cudalib::LinearMemory<T> dTau(size(n), 1);
  hetrd(dR, dD.get(), dE.get(), dTau.get());
  copyToHost(dD.get(), hD);
  if (n > 1) copyToHost(dE.get(), hE);
  const cudalib::PageLockedMemory<R> hZ(size(vectors ? n : 0), size(n));
  solveTridiagonal(hD, hE, vectors ? MatrixView<R>(hZ.get(), n, n, n) : MatrixView<R>());
  for (R& value : hD) value /= factor;
  copyToDevice(hD, dW);
  if (!vectors) return;
  uploadReal(hZ.get(), n, dA);
  applyReflectors(Reflectors::qr, 'L', 'N', n - 1, dR.block(1, 0, n - 1, n - 1), dTau.get(),
                  dA.block(1, 0, n - 1, n));
}

#define TOVI_INSTANCES(T) template decltype(heevd<T>) heevd<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
