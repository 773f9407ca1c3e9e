// Decompositions of bidiagonal matrices, held against the matrix and against values that bisection finds.

#ifndef TOVI_TESTS_SVD_BDSQR_CHECKS_H
#define TOVI_TESTS_SVD_BDSQR_CHECKS_H

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "ground/outcomes.h"
#include "lapack/bdsqr.h"
#include "lapack/sweep_limit.h"
#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

constexpr double bdsqrBound = 50;

// Another limit for the iteration, in a program of one source: the linker finds it there, and takes none from
// the library (lapack/sweep_limit.h).
// While it lives, no sweep begins once so many rotations have been made.
class RotationLimit {
 public:
  explicit RotationLimit(double most) { inForce() = most; }
  ~RotationLimit() { inForce().reset(); }
  RotationLimit(const RotationLimit&) = delete;
  RotationLimit& operator=(const RotationLimit&) = delete;

  static std::optional<double>& inForce() {
    static std::optional<double> limit;
    return limit;
  }
};

}  // namespace testing_support

double tovi::lapack::mostRotations(int n) {
  return testing_support::RotationLimit::inForce().value_or(static_cast<double>(sweepsPerValue) * n * n);
}

namespace testing_support {

template <class R>
struct Bidiagonal {
  char uplo;
  std::vector<R> d, e;
  int n() const { return static_cast<int>(d.size()); }
};

template <class R>
Bidiagonal<R> randomBidiagonal(char uplo, int n, std::uint64_t seed = 1) {
  Bidiagonal<R> b{uplo, std::vector<R>(static_cast<std::size_t>(n)),
                  std::vector<R>(static_cast<std::size_t>(n) - 1)};
  Random random(seed + static_cast<std::uint64_t>(n));
  for (R& x : b.d) x = random.element<R>();
  for (R& x : b.e) x = random.element<R>();
  return b;
}

template <class W, class R>
HostMatrix<W> dense(const Bidiagonal<R>& b) {
  return HostMatrix<W>(b.n(), b.n()).set([&](int i, int j) {
    const int beside = b.uplo == 'U' ? i : j;
    if (i == j) return W(static_cast<double>(b.d[static_cast<std::size_t>(i)]));
    return i + j == 2 * beside + 1 ? W(static_cast<double>(b.e[static_cast<std::size_t>(beside)])) : W(0);
  });
}

// How many singular values are less than x > 0: the negative pivots of B^T B - x^2 I, by the qd transform
// with a shift, which keeps them to high relative accuracy. The squares need the exponents of long double.
template <class R>
int valuesBelow(long double x, const Bidiagonal<R>& b) {
  const auto square = [](long double y) { return y * y; };
  long double t = -square(x);  // the pivot less the square of the diagonal element
  int count = 0;
  for (std::size_t i = 0; i < b.d.size(); ++i) {
    const long double pivot = square(static_cast<long double>(b.d[i])) + t;
    count += pivot < 0;
    if (i + 1 == b.d.size()) break;
    const long double beside = square(static_cast<long double>(b.e[i]));
    const long double ratio = std::isinf(pivot) ? 1 : t / pivot;
    t = (beside == 0 ? 0 : beside * ratio) - square(x);
  }
  return count;
}

// The singular values to a few digits more than R has, in descending order.
template <class R>
std::vector<double> exactValues(const Bidiagonal<R>& b) {
  const auto norm = [](const std::vector<R>& x) {
    R largest = 0;
    for (const R element : x) largest = std::max(largest, std::abs(element));
    return static_cast<long double>(largest);
  };
  const long double top = 2 * (norm(b.d) + norm(b.e)), least = std::numeric_limits<R>::denorm_min();
  const long double digits = static_cast<long double>(std::numeric_limits<R>::epsilon()) / 64;
  std::vector<double> values;
  for (int i = b.n() - 1; i >= 0; --i) {
    long double low = least, high = std::max(top, 2 * least);
    while (high - low > digits * low) {
      const long double middle = std::sqrt(low * high);
      (valuesBelow(middle, b) > i ? high : low) = middle;
    }
    values.push_back(low == least ? 0 : static_cast<double>(low));
  }
  return values;
}

// What bdsqr was given, and what it made of that.
template <class T>
struct Decomposition {
  using R = Real<T>;

  Decomposition(const Bidiagonal<R>& b, HostMatrix<T> vt_, HostMatrix<T> u_, HostMatrix<T> c_)
      : result(b), vt(vt_), u(u_), c(c_) {
    const R sentinel = -7;
    result.d.push_back(sentinel);
    result.e.push_back(sentinel);
    const DeviceArray<R> dD(result.d), dE(result.e);
    const OnDevice<T> dVt(vt), dU(u), dC(c);
    try {
      tovi::lapack::bdsqr<T>(b.uplo, b.n(), dD.data(), dE.data(), dVt.view, dU.view, dC.view);
    } catch (const tovi::InfoException& failure) {
      EXPECT_EQ(failure.status(), tovi::Outcome::dataError);
      EXPECT_GT(failure.info(), 0);
      info = failure.info();
    }
    dD.download(result.d.data());
    dE.download(result.e.data());
    vt = dVt.downloaded(vt), u = dU.downloaded(u), c = dC.downloaded(c);
    EXPECT_TRUE(result.d.back() == sentinel && result.e.back() == sentinel);
    result.d.pop_back();
    result.e.pop_back();
    result.uplo = 'U';
    EXPECT_TRUE(vt.paddingIntact() && u.paddingIntact() && c.paddingIntact());
  }

  Bidiagonal<R> result;
  HostMatrix<T> vt, u, c;
  int info = 0;
};

template <class T>
Decomposition<T> decompose(const Bidiagonal<Real<T>>& b) {
  return {b, identity<T>(b.n(), 2), identity<T>(b.n(), 3), HostMatrix<T>(b.n(), 0)};
}
template <class R>
Decomposition<R> valuesOf(const Bidiagonal<R>& b) {
  return {b, HostMatrix<R>(b.n(), 0), HostMatrix<R>(0, b.n()), HostMatrix<R>(b.n(), 0)};
}

// Elements up to here count as zero, lest they underflow.
template <class R>
double underflow(int n) {
  return 6.0 * n * n * static_cast<double>(std::numeric_limits<R>::min());
}

// In descending order, and each with a small error of its own: even the least is accurate to its last digits.
template <class R>
void expectValues(const std::vector<R>& values, const std::vector<double>& exact) {
  const int n = static_cast<int>(values.size());
  double worst = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_FALSE(std::signbit(values[i]));
    if (i > 0) {
      EXPECT_FALSE(!(values[i] <= values[i - 1])) << i;
    }
    const double error = std::abs(static_cast<double>(values[i]) - exact[i]);
    worsen(worst, error / (n * epsilon<R>() * exact[i] + underflow<R>(n)));
  }
  CHECK_RATIO(worst, bdsqrBound);
}

// U B' VT = B for what stands in d and e afterwards, with orthogonal U and VT that began as the identity.
template <class T>
void expectSimilar(const Bidiagonal<Real<T>>& b, const Decomposition<T>& found) {
  using W = Wide<T>;
  const HostMatrix<W> u = widen(found.u), vt = widen(found.vt), a = dense<W>(b);
  const double scale = norm1(a) + underflow<Real<T>>(b.n()) / (b.n() * epsilon<T>());
  const HostMatrix<W> whole = product(product(u, dense<W>(found.result)), vt);
  CHECK_RATIO(scaled(norm1(minus(whole, a)), b.n() * scale * epsilon<T>()), bdsqrBound);
  CHECK_RATIO(orthogonalityRatio<T>(u), bdsqrBound);
  CHECK_RATIO(orthogonalityRatio<T>(vt), bdsqrBound);
}

// With both kinds of vectors, and without any.
template <class T>
void checkDecomposition(const Bidiagonal<Real<T>>& b) {
  const std::vector<double> exact = exactValues(b);
  const Decomposition<T> found = decompose<T>(b);
  EXPECT_EQ(found.info, 0);
  EXPECT_TRUE(std::all_of(found.result.e.begin(), found.result.e.end(), [](auto x) { return x == 0; }));
  expectValues(found.result.d, exact);
  expectSimilar(b, found);
  const Decomposition<Real<T>> alone = valuesOf(b);
  EXPECT_EQ(alone.info, 0);
  expectValues(alone.result.d, exact);
}

}  // namespace testing_support

#endif
