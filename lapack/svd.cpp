#include "lapack/svd.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>

#include "cudalib/buffer_cache.h"
#include "ground/phase.h"
#include "lapack/bdsqr.h"
#include "lapack/orgbr.h"
#include "lapack/qr.h"
#include "lapack/reflectors.h"
#include "src/basic/LACPY.h"
#include "src/basic/LASET.h"
#include "src/basic/MADD.h"
#include "src/basic/lange.h"
#include "src/blas/blas.h"
#include "src/brd/gebrd.h"

namespace tovi::lapack {
namespace {

// Work vectors and matrices: the leading dimension is the number of rows.
template <class T>
class Work : public cudalib::LinearMemory<T> {
 public:
  explicit Work(int rows, int cols = 1)
      : cudalib::LinearMemory<T>(static_cast<std::size_t>(rows), static_cast<std::size_t>(cols)) {}
};

// The decomposition of A by way of its bidiagonal form, A = Q B P^H and B = U Sigma V^H, in place of Q and
// P^H: dLeft := Q U and dRight := V^H P^H, of as many columns and rows as they have. An empty one is not
// wanted; one of the two may be A itself, or its first columns or rows.
template <class T>
void decompose(MatrixView<T> dA, Real<T>* dS, MatrixView<T> dLeft, MatrixView<T> dRight) {
  const int m = dA.rows, n = dA.cols, k = std::min(m, n);
  const Work<Real<T>> dE(k - 1);
  const Work<T> dTauq(k), dTaup(k);
  {
    const Phase phase;
    brd::gebrd(dA, dS, dE.get(), dTauq.get(), dTaup.get());
  }

  // The reflectors of Q stand below the diagonal and those of P above it: both leave A before either factor
  // is written over them.
  if (!dLeft.empty() && dLeft.data != dA.data) basic::lacpy<T>('L', dA.columns(0, k), dLeft.columns(0, k));
  if (!dRight.empty() && dRight.data != dA.data)
    basic::lacpy<T>('U', dA.block(0, 0, k, n), dRight.block(0, 0, k, n));
  if (!dRight.empty()) orgbr('P', dRight, m, dTaup.get());
  if (!dLeft.empty()) orgbr('Q', dLeft, n, dTauq.get());

  const MatrixView<T> none;
  bdsqr(m >= n ? 'U' : 'L', k, dS, dE.get(), dRight.empty() ? none : dRight.block(0, 0, k, n),
        dLeft.empty() ? none : dLeft.columns(0, k));
}

bool separate(char job) { return job == 'A' || job == 'S'; }

template <class T>
void decomposeDirectly(char jobu, char jobvt, MatrixView<T> dA, Real<T>* dS, MatrixView<T> dU,
                       MatrixView<T> dVt) {
  const int k = std::min(dA.rows, dA.cols);
  const MatrixView<T> none;
  decompose(dA, dS,
            separate(jobu) ? dU
            : jobu == 'O'  ? dA.columns(0, k)
                           : none,
            separate(jobvt) ? dVt
            : jobvt == 'O'  ? dA.block(0, 0, k, dA.cols)
                            : none);
}

// A matrix that is not nearly square is reduced to its triangle first: A = Q R (m >= n) or A = L Q (m < n).
// With the triangle's decomposition U Sigma V^H, that of A is (Q U) Sigma V^H or U Sigma (V^H Q). The long
// vectors, of max(m, n) elements, are those that Q takes part in: the left ones with Q R, the right ones with
// L Q. The two cases are the same but for the exchange of sides.

// Where a matrix stands: in A, in a work matrix, in the output of the long or of the short vectors.
enum class Place { none, a, w1, w2, longOut, shortOut };

// How a pair of jobs is done. Everything but Q and its product is square, of order min(m, n).
struct Path {
  std::string_view longJobs, shortJobs;
  Place q;                    // Q
  Place triangle;             // R or L, which is reduced there
  Place longPart, shortPart;  // the triangle's own vectors, where they are wanted
  Place product;              // of Q and longPart; from here it is copied to where it belongs
};
constexpr Path paths[] = {
    {"N", "NOSA", Place::none, Place::a, Place::none, Place::a, Place::none},
    {"O", "N", Place::a, Place::w2, Place::w2, Place::none, Place::w1},
    {"O", "SA", Place::a, Place::shortOut, Place::w2, Place::shortOut, Place::w1},
    {"S", "N", Place::a, Place::w1, Place::w1, Place::none, Place::longOut},
    {"S", "O", Place::a, Place::w1, Place::w1, Place::w2, Place::longOut},
    {"S", "SA", Place::a, Place::w1, Place::w1, Place::shortOut, Place::longOut},
    {"A", "N", Place::longOut, Place::w1, Place::w1, Place::none, Place::a},
    {"A", "O", Place::longOut, Place::w1, Place::w1, Place::w2, Place::a},
    {"A", "SA", Place::longOut, Place::w1, Place::w1, Place::shortOut, Place::a},
};
const Path& choosePath(char longJob, char shortJob) {
  return *std::find_if(std::begin(paths), std::end(paths), [&](const Path& path) {
    return path.longJobs.find(longJob) != std::string_view::npos &&
           path.shortJobs.find(shortJob) != std::string_view::npos;
  });
}

template <class T>
void decomposeTriangle(char jobu, char jobvt, MatrixView<T> dA, Real<T>* dS, MatrixView<T> dU,
                       MatrixView<T> dVt) {
  const int m = dA.rows, n = dA.cols, k = std::min(m, n);
  const bool tall = m >= n;
  const char longJob = tall ? jobu : jobvt, shortJob = tall ? jobvt : jobu;
  const MatrixView<T> dLong = tall ? dU : dVt, dShort = tall ? dVt : dU;
  const Path& path = choosePath(longJob, shortJob);
  const char triangle = tall ? 'U' : 'L', opposite = tall ? 'L' : 'U';
  const Reflectors kind = tall ? Reflectors::qr : Reflectors::lq;

  // W1 takes a product beside A where there is a W2 to make it from.
  const bool second = path.longPart == Place::w2 || path.shortPart == Place::w2;
  const bool first = path.triangle == Place::w1 || path.product == Place::w1;
  const Work<T> dW1(!first ? 0 : second ? dA.ld : k, path.product == Place::w1 ? n : k);
  const Work<T> dW2(second ? k : 0, k), dTau(k);
  const auto at = [&](Place place, int rows, int cols) {
    switch (place) {
      case Place::a:
        return dA.block(0, 0, rows, cols);
      case Place::w1:
        return dW1.view(rows, cols);
      case Place::w2:
        return dW2.view(rows, cols);
      case Place::longOut:
        return dLong.block(0, 0, rows, cols);
      case Place::shortOut:
        return dShort.block(0, 0, rows, cols);
      default:
        return MatrixView<T>();
    }
  };
  // To where the vectors of a job belong.
  const auto deliver = [&](Place from, char job, Place out, int rows, int cols) {
    const Place to = job == 'O' ? Place::a : out;
    if (from != to) basic::lacpy<T>('F', at(from, rows, cols), at(to, rows, cols));
  };

  if (tall)
    geqrf(dA, dTau.get());
  else
    gelqf(dA, dTau.get());
  if (path.q == Place::longOut) basic::lacpy<T>(opposite, dA, at(path.q, m, n));
  const MatrixView<T> dTriangle = at(path.triangle, k, k);
  if (path.triangle != Place::a) basic::lacpy<T>(triangle, at(Place::a, k, k), dTriangle);
  basic::laset(opposite, T(0), T(0), dTriangle.block(tall ? 1 : 0, tall ? 0 : 1, k - 1, k - 1));
  if (path.q != Place::none) generateQ(kind, k, path.q == Place::longOut ? dLong : dA, dTau.get());

  const MatrixView<T> dLongPart = at(path.longPart, k, k),
                      dShortPart = at(shortJob == 'N' ? Place::none : path.shortPart, k, k);
  decompose(dTriangle, dS, tall ? dLongPart : dShortPart, tall ? dShortPart : dLongPart);

  if (longJob != 'N') {
    const Phase phase;
    const MatrixView<T> dQ = at(path.q, m, n), dProduct = at(path.product, m, n);
    if (tall)
      blas::gemm('N', 'N', T(1), dQ, dLongPart, T(0), dProduct);
    else
      blas::gemm('N', 'N', T(1), dLongPart, dQ, T(0), dProduct);
    deliver(path.product, longJob, Place::longOut, m, n);
  }
  if (shortJob != 'N') deliver(path.shortPart, shortJob, Place::shortOut, k, k);
}

// The power of 2 that takes the largest element into the range in which squares neither overflow nor lose
// their digits; 1 where it is there already, or is zero, infinite or NaN.
template <class R>
R safeFactor(R largest) {
  const R least = std::sqrt(std::numeric_limits<R>::min()) / std::numeric_limits<R>::epsilon();
  const R most = 1 / least;
  if (!(largest > 0) || !std::isfinite(largest) || (largest >= least && largest <= most)) return 1;
  return std::ldexp(R(1), std::ilogb(largest < least ? least : most) - std::ilogb(largest));
}

// A := factor A
template <class T>
void scale(Real<T> factor, MatrixView<T> dA) {
  if (factor != 1) basic::madd<T>('N', 'N', factor, dA, 0, dA, dA);
}

}  // namespace

template <class T>
void gesvd(char jobu, char jobvt, MatrixView<T> dA, Real<T>* dS, MatrixView<T> dU, MatrixView<T> dVt) {
  if (dA.empty()) return;
  const int m = dA.rows, n = dA.cols, k = std::min(m, n);
  const Real<T> factor = safeFactor(basic::lange<T>('M', dA));
  scale(factor, dA);

  const bool nearlySquare = std::max(m, n) < std::trunc(k * 1.6);
  (nearlySquare ? decomposeDirectly<T> : decomposeTriangle<T>)(jobu, jobvt, dA, dS,
                                                               {dU.data, m, jobu == 'A' ? m : k, dU.ld},
                                                               {dVt.data, jobvt == 'A' ? n : k, n, dVt.ld});
  scale(1 / factor, MatrixView<Real<T>>(dS, k, 1, k));
}

template void gesvd(char, char, MatrixView<float>, float*, MatrixView<float>, MatrixView<float>);
template void gesvd(char, char, MatrixView<Complex<float>>, float*, MatrixView<Complex<float>>,
                    MatrixView<Complex<float>>);

}  // namespace tovi::lapack
