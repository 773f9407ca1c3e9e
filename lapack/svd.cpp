#include "lapack/svd.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string_view>

#include "cudalib/buffer_cache.h"
#include "ground/options.h"
#include "ground/phase.h"
#include "lapack/bdsqr.h"
#include "lapack/bidiagonal.h"
#include "lapack/qr.h"
#include "lapack/reflectors.h"
#include "lapack/scaling.h"
#include "src/basic/LACPY.h"
#include "src/basic/LASET.h"
#include "src/basic/lange.h"
#include "src/blas/blas.h"

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
  gebrd(dA, dS, dE.get(), dTauq.get(), dTaup.get());

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

bool separate(char job) { return isOneOf("AS", job); }

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

// A matrix that is not nearly square is reduced to its triangle first. The two cases are the same but for the
// exchange of sides. The long vectors, of max(m, n) elements, are those that Q takes part in, the short ones
// have min(m, n).

// m >= n: A = Q R, R = U1 Sigma V^H, A = (Q U1) Sigma V^H; the left vectors are the long ones.
template <class T>
struct Tall {
  static constexpr char triangle = 'U', opposite = 'L';
  static constexpr Reflectors reflectors = Reflectors::qr;

  static void factor(MatrixView<T> dA, T* dTau) { geqrf(dA, dTau); }
  static MatrixView<T> strictlyOpposite(MatrixView<T> dR) { return dR.block(1, 0, dR.rows - 1, dR.cols - 1); }
  static void decomposeTriangle(MatrixView<T> dR, Real<T>* dS, MatrixView<T> dU1, MatrixView<T> dVt) {
    decompose(dR, dS, dU1, dVt);
  }
  // U := Q U1
  static void multiply(MatrixView<T> dQ, MatrixView<T> dU1, MatrixView<T> dU) {
    blas::gemm('N', 'N', T(1), dQ, dU1, T(0), dU);
  }
};

// m < n: A = L Q, L = U Sigma V1^H, A = U Sigma (V1^H Q); the right vectors are the long ones.
template <class T>
struct Wide {
  static constexpr char triangle = 'L', opposite = 'U';
  static constexpr Reflectors reflectors = Reflectors::lq;

  static void factor(MatrixView<T> dA, T* dTau) { gelqf(dA, dTau); }
  static MatrixView<T> strictlyOpposite(MatrixView<T> dL) { return dL.block(0, 1, dL.rows - 1, dL.cols - 1); }
  static void decomposeTriangle(MatrixView<T> dL, Real<T>* dS, MatrixView<T> dV1t, MatrixView<T> dU) {
    decompose(dL, dS, dU, dV1t);
  }
  // V^H := V1^H Q
  static void multiply(MatrixView<T> dQ, MatrixView<T> dV1t, MatrixView<T> dVt) {
    blas::gemm('N', 'N', T(1), dV1t, dQ, T(0), dVt);
  }
};

// Where a matrix stands: in A, in a work matrix, in the output of the long or of the short vectors.
enum class Where { none, a, w1, w2, longOut, shortOut };

// How a pair of jobs is done. Everything but Q and its product is square, of order min(m, n).
struct Path {
  std::string_view longJobs, shortJobs;
  Where q;                    // Q
  Where triangle;             // R or L, which is reduced there
  Where longPart, shortPart;  // the triangle's own vectors, where they are wanted
  Where product;              // of Q and longPart; from here it is copied to where it belongs
};
constexpr Path paths[] = {
    {"N", "NOSA", Where::none, Where::a, Where::none, Where::a, Where::none},
    {"O", "N", Where::a, Where::w2, Where::w2, Where::none, Where::w1},
    {"O", "SA", Where::a, Where::shortOut, Where::w2, Where::shortOut, Where::w1},
    {"S", "N", Where::a, Where::w1, Where::w1, Where::none, Where::longOut},
    {"S", "O", Where::a, Where::w1, Where::w1, Where::w2, Where::longOut},
    {"S", "SA", Where::a, Where::w1, Where::w1, Where::shortOut, Where::longOut},
    {"A", "N", Where::longOut, Where::w1, Where::w1, Where::none, Where::a},
    {"A", "O", Where::longOut, Where::w1, Where::w1, Where::w2, Where::a},
    {"A", "SA", Where::longOut, Where::w1, Where::w1, Where::shortOut, Where::a},
};
const Path& choosePath(char longJob, char shortJob) {
  return *std::find_if(std::begin(paths), std::end(paths), [&](const Path& path) {
    return isOneOf(path.longJobs, longJob) && isOneOf(path.shortJobs, shortJob);
  });
}

// In the names below A is tall; where it is wide read L for R, and V1^H for U1.
template <class T, class Form>
class ByTriangle {
 public:
  ByTriangle(char longJob, char shortJob, MatrixView<T> dA, MatrixView<T> dLong, MatrixView<T> dShort)
      : longJob_(longJob),
        shortJob_(shortJob),
        path_(choosePath(longJob, shortJob)),
        dA_(dA),
        dLong_(dLong),
        dShort_(dShort),
        dW1_(!needsW1()                   ? 0
             : path_.product == Where::w1 ? dA.rows
                                          : k_,
             path_.product == Where::w1 ? dA.cols : k_),
        dW2_(needsW2() ? k_ : 0, k_),
        dTau_(k_) {}

  void run(Real<T>* dS) const {
    Form::factor(dA_, dTau_.get());  // A = Q R
    const MatrixView<T> dR = takeTriangle(), dU1 = square(path_.longPart);
    if (path_.q != Where::none)
      generateQ(Form::reflectors, k_, path_.q == Where::longOut ? dLong_ : dA_, dTau_.get());
    // R = U1 Sigma V^H
    Form::decomposeTriangle(dR, dS, dU1, square(shortJob_ == 'N' ? Where::none : path_.shortPart));

    if (longJob_ != 'N') {
      const Phase phase;
      Form::multiply(whole(path_.q), dU1, whole(path_.product));
      deliver(whole(path_.product), whole(home(longJob_, Where::longOut)));
    }
    if (shortJob_ != 'N') deliver(square(path_.shortPart), square(home(shortJob_, Where::shortOut)));
  }

 private:
  bool needsW2() const { return path_.longPart == Where::w2 || path_.shortPart == Where::w2; }
  // As large as A where it takes the product, of W2 and the Q that is in A.
  bool needsW1() const { return path_.triangle == Where::w1 || path_.product == Where::w1; }

  MatrixView<T> at(Where place, int rows, int cols) const {
    switch (place) {
      case Where::a:
        return dA_.block(0, 0, rows, cols);
      case Where::w1:
        return dW1_.view(rows, cols);
      case Where::w2:
        return dW2_.view(rows, cols);
      case Where::longOut:
        return dLong_.block(0, 0, rows, cols);
      case Where::shortOut:
        return dShort_.block(0, 0, rows, cols);
      default:
        return MatrixView<T>();
    }
  }
  MatrixView<T> square(Where place) const { return at(place, k_, k_); }
  MatrixView<T> whole(Where place) const { return at(place, dA_.rows, dA_.cols); }

  // R where it is reduced, with zeros in the other triangle. The reflectors go where Q is formed.
  MatrixView<T> takeTriangle() const {
    if (path_.q == Where::longOut) basic::lacpy<T>(Form::opposite, dA_, whole(path_.q));
    const MatrixView<T> dR = square(path_.triangle);
    if (path_.triangle != Where::a) basic::lacpy<T>(Form::triangle, square(Where::a), dR);
    basic::laset(Form::opposite, T(0), T(0), Form::strictlyOpposite(dR));
    return dR;
  }

  // To where the vectors of a job belong.
  static Where home(char job, Where out) { return job == 'O' ? Where::a : out; }
  static void deliver(MatrixView<T> dFrom, MatrixView<T> dTo) {
    if (dFrom.data != dTo.data) basic::lacpy<T>('F', dFrom, dTo);
  }

  const char longJob_, shortJob_;
  const Path& path_;
  const MatrixView<T> dA_, dLong_, dShort_;
  const int k_ = std::min(dA_.rows, dA_.cols);
  const Work<T> dW1_, dW2_, dTau_;
};

}  // namespace

bool farFromSquare(int m, int n) { return std::max(m, n) >= std::trunc(std::min(m, n) * 1.6); }

template <class T>
void gesvd(char jobu, char jobvt, MatrixView<T> dA, Real<T>* dS, MatrixView<T> dU, MatrixView<T> dVt) {
  if (dA.empty()) return;
  const int m = dA.rows, n = dA.cols, k = std::min(m, n);
  const Real<T> factor = safeFactor(basic::lange<T>('M', dA));
  scale(factor, dA);

  dU = {dU.data, m, jobu == 'A' ? m : k, dU.ld};
  dVt = {dVt.data, jobvt == 'A' ? n : k, n, dVt.ld};
  if (!farFromSquare(m, n))
    decomposeDirectly(jobu, jobvt, dA, dS, dU, dVt);
  else if (m >= n)
    ByTriangle<T, Tall<T>>(jobu, jobvt, dA, dU, dVt).run(dS);
  else
    ByTriangle<T, Wide<T>>(jobvt, jobu, dA, dVt, dU).run(dS);
  scale(1 / factor, MatrixView<Real<T>>(dS, k, 1, k));
}

#define TOVI_INSTANCES(T) template decltype(gesvd<T>) gesvd<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
