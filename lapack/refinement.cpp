#include "lapack/refinement.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "ground/complex.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "lapack/lu.h"
#include "src/basic/Copy.h"
#include "src/basic/MADD.h"
#include "src/basic/Precision.h"
#include "src/basic/lange.h"
#include "src/blas/blas.h"

namespace tovi::lapack {
namespace {

constexpr int mostIterations = 30;
constexpr int cannotBeHeld = -2, isSingular = -3, hasNotConverged = -mostIterations - 1;

// A system whose matrix has been factored in single precision.
template <class T>
class Refinement {
 public:
  using Single = basic::OtherPrecision<T>;

  Refinement(ConstView<T> dA, int* dIpiv, ConstView<T> dB, MatrixView<T> dX)
      : dA_(dA),
        dB_(dB),
        dX_(dX),
        dIpiv_(dIpiv),
        factors_(size(dA.rows), size(dA.rows)),
        correction_(size(dA.rows), size(dB.cols)),
        residual_(size(dA.rows), size(dB.cols)) {}

  // The number of iterations, or what has kept X from converging.
  int run() const {
    const double norm = basic::lange<T>('I', dA_);
    // Residual <= bound * solution: what a backward stable solution in double precision has
    const double bound = norm * std::sqrt(dA_.rows) * (std::numeric_limits<double>::epsilon() / 2);
    const MatrixView<Single> dFactors = factors_.view(dA_.rows, dA_.rows);
    basic::convertPrecision<Single>(dA_, dFactors);
    // No element is larger than the norm: mostly that shows that all have been held.
    if (!(norm <= mostInSingle || isFinite(dFactors)) || !toSingle(dB_, dCorrection())) return cannotBeHeld;
    if (!factor(dFactors)) return isSingular;
    solve();
    basic::convertPrecision<T>(dCorrection(), dX_);
    for (int iteration = 0;; ++iteration) {
      computeResidual();
      if (converged(bound)) return iteration;
      if (iteration == mostIterations) return hasNotConverged;
      if (!toSingle(dResidual(), dCorrection())) return cannotBeHeld;
      solve();
      basic::convertPrecision<T>(dCorrection(), dResidual());
      basic::madd<T>('N', 'N', 1, dX_, 1, dResidual(), dX_);  // X := X + correction
    }
  }

 private:
  MatrixView<Single> dCorrection() const { return correction_.view(dB_.rows, dB_.cols); }
  MatrixView<T> dResidual() const { return residual_.view(dB_.rows, dB_.cols); }

  static constexpr float mostInSingle = std::numeric_limits<float>::max();

  static bool isFinite(ConstView<Single> dX) { return basic::lange<Single>('M', dX) <= mostInSingle; }
  // False where a number has become infinite, or is none.
  static bool toSingle(ConstView<T> dWide, MatrixView<Single> dNarrow) {
    basic::convertPrecision<Single>(dWide, dNarrow);
    return isFinite(dNarrow);
  }
  // False where a pivot is zero.
  bool factor(MatrixView<Single> dFactors) const {
    try {
      getrf(dFactors, dIpiv_);
    } catch (const InfoException& failure) {
      if (failure.status() != Outcome::dataError) throw;
      return false;
    }
    return true;
  }
  void solve() const { getrs<Single>('N', factors_.view(dA_.rows, dA_.rows), dIpiv_, dCorrection()); }
  // R := B - A X
  void computeResidual() const {
    basic::copyMatrix<T>(dB_, dResidual());
    if (dX_.cols == 1)
      blas::gemv('N', T(-1), dA_, dX_.data, 1, T(1), dResidual().data, 1);
    else
      blas::gemm('N', 'N', T(-1), dA_, dX_, T(1), dResidual());
  }
  bool converged(double bound) const {
    const std::vector<double> solutions = basic::greatestOfColumns<T>(dX_),
                              residuals = basic::greatestOfColumns<T>(dResidual());
    for (std::size_t j = 0; j < solutions.size(); ++j)
      if (!(residuals[j] <= solutions[j] * bound)) return false;  // NaN has not converged
    return true;
  }

  ConstView<T> dA_, dB_;
  MatrixView<T> dX_;
  int* dIpiv_;
  cudalib::PaddedMemory<Single> factors_, correction_;
  cudalib::PaddedMemory<T> residual_;
};

}  // namespace

template <class T>
void gesvRefined(MatrixView<T> dA, int* dIpiv, ConstView<T> dB, MatrixView<T> dX, int& iterations) {
  iterations = 0;
  if (dA.empty()) return;
  const Phase phase;
  iterations = Refinement<T>(dA, dIpiv, dB, dX).run();
  if (iterations >= 0) return;
  basic::copyMatrix<T>(dB, dX);
  gesv(dA, dIpiv, dX);
}

template decltype(gesvRefined<double>) gesvRefined<double>;
template decltype(gesvRefined<Complex<double>>) gesvRefined<Complex<double>>;

}  // namespace tovi::lapack
