// The singular value decomposition by divide and conquer. Beside gesvd (svd.cpp): vectors are those of the
// bidiagonal form, which the host computes, to which the reflectors of the reductions are applied; no Q is
// formed.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "host/lapack.h"
#include "lapack/bidiagonal.h"
#include "lapack/device_products.h"
#include "lapack/host_call.h"
#include "lapack/qr.h"
#include "lapack/reflectors.h"
#include "lapack/scaling.h"
#include "lapack/svd.h"
#include "lapack/transfers.h"
#include "lapack/upload_real.h"
#include "src/basic/LACPY.h"
#include "src/basic/LASET.h"
#include "src/basic/lange.h"

namespace tovi::lapack {
namespace {

using cudalib::LinearMemory;
using cudalib::PaddedMemory;

// dX := (A 0; 0 I), the square real matrix A of the host being its first block.
template <class T>
void embed(MatrixView<Real<T>> hA, MatrixView<T> dX) {
  const int k = hA.rows, below = dX.rows - k, right = dX.cols - k;
  uploadReal(hA.data, hA.ld, dX.block(0, 0, k, k));
  basic::laset('F', T(0), T(0), dX.block(k, 0, below, k));
  basic::laset('F', T(0), T(0), dX.block(0, k, k, right));
  basic::laset('F', T(0), T(1), dX.block(k, k, below, right));
}

// The bidiagonal form A = Q B P^H in place of A, and products with its factors.
template <class T>
class Bidiagonal {
 public:
  explicit Bidiagonal(MatrixView<T> dA)
      : dA_(dA), dD_(size(k_), 1), dE_(size(k_), 1), dTauq_(size(k_), 1), dTaup_(size(k_), 1) {
    gebrd(dA_, dD_.get(), dE_.get(), dTauq_.get(), dTaup_.get());
  }

  // B = U1 Sigma V1^T; U1 and V1^T are square, and their memory stays with this object.
  void solve(std::vector<Real<T>>& hS, MatrixView<Real<T>>& hU, MatrixView<Real<T>>& hVt) {
    using R = Real<T>;
    hS.resize(size(k_));
    std::vector<R> hE(size(k_ - 1));
    copyToHost(dD_.get(), hS);
    if (k_ > 1) copyToHost(dE_.get(), hE);
    const Phase phase;
    hVectors_ = cudalib::PageLockedMemory<R>(size(k_), 2 * size(k_));
    hU = {hVectors_.get(), k_, k_, k_};
    hVt = {hU.at(0, k_), k_, k_, k_};
    if (!finite(hS) || !finite(hE)) {
      const R nan = std::numeric_limits<R>::quiet_NaN();
      std::fill(hS.begin(), hS.end(), nan);
      return static_cast<void>(std::fill_n(hU.data, 2 * size(k_) * size(k_), nan));
    }
    const cudalib::PageLockedMemory<R> work(3 * size(k_) + 4, size(k_));
    std::vector<int> integers(8 * size(k_));
    iterateWithDevice([&] {
      return host::bdsdc(upper_ ? 'U' : 'L', k_, hS.data(), hE.data(), hU.data, hU.ld, hVt.data, hVt.ld,
                         work.get(), integers.data());
    });
  }

  // X := Q X. Beside a lower bidiagonal form Q leaves the first element of a vector alone.
  void multiplyByQ(MatrixView<T> dX) const {
    if (upper_)
      applyReflectors(Reflectors::qr, 'L', 'N', k_, dA_, dTauq_.get(), dX);
    else
      applyReflectors(Reflectors::qr, 'L', 'N', k_ - 1, dA_.block(1, 0, k_ - 1, k_ - 1), dTauq_.get(),
                      dX.block(1, 0, k_ - 1, dX.cols));
  }
  // X := X P^H. Beside an upper bidiagonal form P leaves the first element alone.
  void multiplyByP(MatrixView<T> dX) const {
    if (upper_)
      applyReflectors(Reflectors::lq, 'R', 'N', k_ - 1, dA_.block(0, 1, k_ - 1, k_ - 1), dTaup_.get(),
                      dX.columns(1, k_ - 1));
    else
      applyReflectors(Reflectors::lq, 'R', 'N', k_, dA_, dTaup_.get(), dX);
  }

 private:
  const MatrixView<T> dA_;
  const bool upper_ = dA_.rows >= dA_.cols;
  const int k_ = std::min(dA_.rows, dA_.cols);
  const LinearMemory<Real<T>> dD_, dE_;
  const LinearMemory<T> dTauq_, dTaup_;
  cudalib::PageLockedMemory<Real<T>> hVectors_;
};

// A = U Sigma V^H, U to dLeft and V^H to dRight: k vectors of the longer side, or all.
template <class T>
std::vector<Real<T>> decompose(MatrixView<T> dA, MatrixView<T> dLeft, MatrixView<T> dRight) {
  const int m = dA.rows, n = dA.cols, k = std::min(m, n);
  // Far from square: A = Q R, or A = L Q, and the triangle is decomposed, in memory of its own.
  const bool triangle = farFromSquare(m, n), tall = m >= n;
  const LinearMemory<T> dTau(size(triangle ? k : 0), 1);
  const PaddedMemory<T> dTriangle(size(triangle ? k : 0), size(k));
  MatrixView<T> dB = dA;
  if (triangle) {
    dB = dTriangle.view(k, k);
    if (tall)
      geqrf(dA, dTau.get());
    else
      gelqf(dA, dTau.get());
    basic::laset('F', T(0), T(0), dB);
    basic::lacpy<T>(tall ? 'U' : 'L', dA.block(0, 0, k, k), dB);
  }

  Bidiagonal<T> form(dB);
  std::vector<Real<T>> hS;
  MatrixView<Real<T>> hU, hVt;
  form.solve(hS, hU, hVt);
  embed(hU, dLeft);
  embed(hVt, dRight);
  form.multiplyByQ(triangle ? dLeft.block(0, 0, k, k) : dLeft);
  form.multiplyByP(triangle ? dRight.block(0, 0, k, k) : dRight);
  if (triangle && tall) applyReflectors(Reflectors::qr, 'L', 'N', k, dA, dTau.get(), dLeft);
  if (triangle && !tall) applyReflectors(Reflectors::lq, 'R', 'N', k, dA, dTau.get(), dRight);
  return hS;
}

}  // namespace

template <class T>
void gesdd(char jobz, MatrixView<T> dA, Real<T>* dS, MatrixView<T> dU, MatrixView<T> dVt) {
  using R = Real<T>;
  if (dA.empty()) return;
  if (jobz == 'N') return gesvd('N', 'N', dA, dS, dU, dVt);
  const int m = dA.rows, n = dA.cols, k = std::min(m, n);
  if (k > mostDivided) throw FeatNotImplException();
  // The vectors that are to replace A stand elsewhere as long as A has the reflectors.
  const bool leftToA = jobz == 'O' && m >= n, rightToA = jobz == 'O' && m < n;
  const PaddedMemory<T> dWork(size(jobz == 'O' ? m : 0), size(n));
  const MatrixView<T> dLeft =
      leftToA ? dWork.view(m, n) : MatrixView<T>(dU.data, m, jobz == 'A' ? m : k, dU.ld);
  const MatrixView<T> dRight =
      rightToA ? dWork.view(m, n) : MatrixView<T>(dVt.data, jobz == 'A' ? n : k, n, dVt.ld);

  const R largest = basic::lange<T>('M', dA);
  std::vector<R> hS(size(k), std::numeric_limits<R>::quiet_NaN());
  if (std::isfinite(largest)) {
    const R factor = safeFactor(largest);
    scale(factor, dA);
    hS = decompose(dA, dLeft, dRight);
    for (R& value : hS) value = std::fabs(value) / factor;  // the host's zeros may be negative
  } else {
    for (const MatrixView<T>& dX : {dLeft, dRight}) basic::laset('F', T(hS[0]), T(hS[0]), dX);
  }
  copyToDevice(hS, dS);
  if (jobz == 'O') basic::lacpy<T>('F', dWork.view(m, n), dA);
}

#define TOVI_INSTANCES(T) template decltype(gesdd<T>) gesdd<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
