// Decompositions of bidiagonal matrices, held against the matrix and against the host's qd algorithm in
// double precision.

#ifndef TOVI_TESTS_SVD_BDSQR_CHECKS_H
#define TOVI_TESTS_SVD_BDSQR_CHECKS_H

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "ground/outcomes.h"
#include "lapack/bdsqr.h"
#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

constexpr double bdsqrBound = 50;

struct Bidiagonal {
  char uplo;
  std::vector<float> d, e;
  int n() const { return static_cast<int>(d.size()); }
};

inline Bidiagonal randomBidiagonal(char uplo, int n, std::uint64_t seed = 1) {
  Bidiagonal b{uplo, std::vector<float>(static_cast<std::size_t>(n)),
               std::vector<float>(static_cast<std::size_t>(n) - 1)};
  Random random(seed + static_cast<std::uint64_t>(n));
  for (float& x : b.d) x = random.element<float>();
  for (float& x : b.e) x = random.element<float>();
  return b;
}

template <class W>
HostMatrix<W> dense(const Bidiagonal& b) {
  HostMatrix<W> a(b.n(), b.n());
  for (int i = 0; i < b.n(); ++i) {
    a(i, i) = W(static_cast<double>(b.d[static_cast<std::size_t>(i)]));
    if (i + 1 == b.n()) break;
    const W beside(static_cast<double>(b.e[static_cast<std::size_t>(i)]));
    (b.uplo == 'U' ? a(i, i + 1) : a(i + 1, i)) = beside;
  }
  return a;
}

inline std::vector<double> exactValues(const Bidiagonal& b) {
  std::vector<double> d(b.d.begin(), b.d.end()), e(b.e.begin(), b.e.end()), work(4 * d.size());
  e.push_back(0);
  EXPECT_EQ(host::lasq1(b.n(), d.data(), e.data(), work.data()), 0);
  return d;
}

// What bdsqr was given, and what it made of that.
template <class T>
struct Decomposition {
  Decomposition(const Bidiagonal& b, HostMatrix<T> vt_, HostMatrix<T> u_, HostMatrix<T> c_)
      : result(b), vt(vt_), u(u_), c(c_) {
    const float sentinel = -7;
    result.d.push_back(sentinel);
    result.e.push_back(sentinel);
    {
      const DeviceArray<float> dD(result.d.data(), result.d.size()), dE(result.e.data(), result.e.size());
      const DeviceArray<T> dVt(vt), dU(u), dC(c);
      try {
        tovi::lapack::bdsqr<T>(
            b.uplo, b.n(), dD.data(), dE.data(), {dVt.data(), vt.rows(), vt.cols(), vt.ld()},
            {dU.data(), u.rows(), u.cols(), u.ld()}, {dC.data(), c.rows(), c.cols(), c.ld()});
      } catch (const tovi::InfoException& failure) {
        EXPECT_EQ(failure.status(), tovi::Outcome::dataError);
        EXPECT_GT(failure.info(), 0);
        info = failure.info();
      }
      dD.download(result.d.data());
      dE.download(result.e.data());
      dVt.download(vt);
      dU.download(u);
      dC.download(c);
    }
    EXPECT_EQ(result.d.back(), sentinel);
    EXPECT_EQ(result.e.back(), sentinel);
    result.d.pop_back();
    result.e.pop_back();
    result.uplo = 'U';
    EXPECT_TRUE(vt.paddingIntact() && u.paddingIntact() && c.paddingIntact());
  }

  Bidiagonal result;
  HostMatrix<T> vt, u, c;
  int info = 0;
};

template <class T>
Decomposition<T> decompose(const Bidiagonal& b) {
  return {b, identity<T>(b.n(), 2), identity<T>(b.n(), 3), HostMatrix<T>(b.n(), 0)};
}
inline Decomposition<float> valuesOf(const Bidiagonal& b) {
  return {b, HostMatrix<float>(b.n(), 0), HostMatrix<float>(0, b.n()), HostMatrix<float>(b.n(), 0)};
}

// Elements up to here count as zero, lest they underflow.
inline double underflow(int n) {
  return 6.0 * n * n * static_cast<double>(std::numeric_limits<float>::min());
}

// In descending order, and each with a small error of its own: even the least is accurate to its last digits.
inline void expectValues(const std::vector<float>& values, const Bidiagonal& b) {
  const std::vector<double> exact = exactValues(b);
  double worst = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_FALSE(std::signbit(values[i]));
    if (i > 0) {
      EXPECT_FALSE(!(values[i] <= values[i - 1])) << i;
    }
    const double error = std::abs(static_cast<double>(values[i]) - exact[i]);
    worsen(worst, error / (b.n() * epsilon<float>() * exact[i] + underflow(b.n())));
  }
  CHECK_RATIO(worst, bdsqrBound);
}

// U B' VT = B for what stands in d and e afterwards, with orthogonal U and VT that began as the identity.
template <class T>
void expectSimilar(const Bidiagonal& b, const Decomposition<T>& found) {
  using W = Wide<T>;
  const HostMatrix<W> u = widen(found.u), vt = widen(found.vt), a = dense<W>(b);
  const double scale = norm1(a) + underflow(b.n()) / (b.n() * epsilon<T>());
  const HostMatrix<W> whole = product(product(u, dense<W>(found.result)), vt);
  CHECK_RATIO(scaled(norm1(minus(whole, a)), b.n() * scale * epsilon<T>()), bdsqrBound);
  CHECK_RATIO(orthogonalityRatio<T>(u), bdsqrBound);
  CHECK_RATIO(orthogonalityRatio<T>(vt), bdsqrBound);
}

// With both kinds of vectors, and without any.
template <class T>
void checkDecomposition(const Bidiagonal& b) {
  const Decomposition<T> found = decompose<T>(b);
  EXPECT_EQ(found.info, 0);
  EXPECT_TRUE(std::all_of(found.result.e.begin(), found.result.e.end(), [](float x) { return x == 0; }));
  expectValues(found.result.d, b);
  expectSimilar(b, found);
  const Decomposition<float> alone = valuesOf(b);
  EXPECT_EQ(alone.info, 0);
  expectValues(alone.result.d, b);
}

}  // namespace testing_support

#endif
