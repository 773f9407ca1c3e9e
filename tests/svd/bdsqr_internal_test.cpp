// The singular values and vectors of bidiagonal matrices.

#include <functional>
#include <limits>
#include <optional>
#include <utility>

#include "tests/svd/bdsqr_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(BdsqrTest, LibraryTest, AllTypes);

template <class R>
using Limits = std::numeric_limits<R>;

template <class R>
Bidiagonal<R> made(char uplo, int n, const std::function<double(int)>& d,
                   const std::function<double(int)>& e) {
  Bidiagonal<R> b = randomBidiagonal<R>(uplo, n);
  for (int i = 0; i < n; ++i) b.d[static_cast<std::size_t>(i)] = static_cast<R>(d(i));
  for (int i = 0; i + 1 < n; ++i) b.e[static_cast<std::size_t>(i)] = static_cast<R>(e(i));
  return b;
}

TYPED_TEST(BdsqrTest, UpperAndLower) {
  for (const int n : {1, 2, 3, 4, 5, 17, 64, 100, 257})
    for (const char uplo : {'U', 'L'})
      for (const std::uint64_t seed : {1, 2, 3}) {
        SCOPED_TRACE(std::string(1, uplo) + " order " + std::to_string(n));
        checkDecomposition<TypeParam>(randomBidiagonal<Real<TypeParam>>(uplo, n, seed));
      }
}

// Large at either end, or in the middle, so that blocks are swept both ways: from the larger end to the
// smaller one. The other way costs more rotations, twice as many in double precision and four times in
// single.
TYPED_TEST(BdsqrTest, GradedMatricesAreSweptTheShortWay) {
  constexpr int most = sizeof(Real<TypeParam>) == sizeof(double) ? 20 : 10;  // sweeps over the matrix
  for (const char uplo : {'U', 'L'})
    for (const double step : {0.5, 1.0})
      for (const int large : {0, 17, 35}) {
        const auto grade = [&](int i) { return std::pow(10.0, -step * std::abs(i - large)); };
        std::optional<RotationLimit> limit;
        if (large != 17) limit.emplace(most * 36);
        checkDecomposition<TypeParam>(
            made<Real<TypeParam>>(uplo, 36, grade, [&](int i) { return 0.7 * grade(i); }));
      }
}

TYPED_TEST(BdsqrTest, ZerosAndClusters) {
  using Rule = double (*)(int);
  const Rule zero = [](int) { return 0.0; }, one = [](int) { return 1.0; },
             steps = [](int i) { return i - 20.0; },
             small = [](int) { return std::sqrt(epsilon<TypeParam>()) / 2; },
             three = [](int i) { return 1 + i % 3 + 16 * epsilon<TypeParam>() * i; };
  const std::pair<Rule, Rule> rules[] = {{zero, zero}, {one, zero},   {zero, one},   {one, one},
                                         {one, small}, {steps, zero}, {three, small}};
  for (const char uplo : {'U', 'L'}) {
    for (const int n : {1, 2, 3, 50})
      for (const auto& [d, e] : rules) {
        SCOPED_TRACE(n);
        checkDecomposition<TypeParam>(made<Real<TypeParam>>(uplo, n, d, e));
      }
    for (const std::size_t at : {0, 1, 25, 48, 49}) {
      SCOPED_TRACE(at);
      Bidiagonal<Real<TypeParam>> b = randomBidiagonal<Real<TypeParam>>(uplo, 50), c = b;
      b.d[at] = c.e[std::min<std::size_t>(at, 48)] = 0;
      checkDecomposition<TypeParam>(b);
      checkDecomposition<TypeParam>(c);
    }
  }
}

TYPED_TEST(BdsqrTest, TinyAndHuge) {
  using R = Real<TypeParam>;
  for (const char uplo : {'U', 'L'})
    for (const R size : {Limits<R>::min() * R(0x1p26), Limits<R>::max() * R(0x1p-28)}) {
      Bidiagonal<R> b = randomBidiagonal<R>(uplo, 60);
      for (R& x : b.d) x *= size;
      for (R& x : b.e) x *= size;
      checkDecomposition<TypeParam>(b);
      for (std::size_t i = 0; i < 60; i += 2) b.d[i] /= size;  // side by side
      checkDecomposition<TypeParam>(b);
    }
}

// No sweep at all, some, and all but a few.
TYPED_TEST(BdsqrTest, TheLimitLeavesABidiagonalMatrix) {
  using R = Real<TypeParam>;
  const int n = 60;
  for (const char uplo : {'U', 'L'})
    for (const int most : {0, 1, 200, 2000}) {
      SCOPED_TRACE(std::string(1, uplo) + ", limit " + std::to_string(most));
      const Bidiagonal<R> b = randomBidiagonal<R>(uplo, n);
      const Decomposition<TypeParam> found = [&] {
        const RotationLimit limit(most);
        return decompose<TypeParam>(b);
      }();
      const auto& e = found.result.e;
      EXPECT_EQ(found.info, n - 2 - std::count(e.begin() + 1, e.end(), R(0)));  // all but the first count
      EXPECT_TRUE(most != 0 || found.info == n - 2) << "nothing has been swept";
      expectSimilar(b, found);
      std::vector<double> left = exactValues(found.result), exact = exactValues(b);
      for (std::size_t i = 0; i < left.size(); ++i)
        EXPECT_NEAR(left[i], exact[i], bdsqrBound * n * epsilon<R>() * exact[0]);

      checkDecomposition<TypeParam>(b);
    }
  // Blocks of order 2 need no sweep.
  const RotationLimit limit(0);
  Bidiagonal<R> b = randomBidiagonal<R>('U', 50);
  for (std::size_t i = 1; i < 49; i += 2) b.e[i] = 0;
  checkDecomposition<TypeParam>(b);
}

template <class T>
void expectNaN(const Bidiagonal<Real<T>>& b) {
  const Decomposition<T> found = decompose<T>(b);
  EXPECT_EQ(found.info, 0);
  for (const Real<T> x : found.result.d) EXPECT_TRUE(std::isnan(x));
  EXPECT_TRUE(found.vt.sameBits(identity<T>(b.n(), 2)));
  EXPECT_TRUE(found.u.sameBits(identity<T>(b.n(), 3)));
  for (const Real<T> x : valuesOf(b).result.d) EXPECT_TRUE(std::isnan(x));
}

TYPED_TEST(BdsqrTest, WhatIsNoNumberMakesNaN) {
  using R = Real<TypeParam>;
  for (const R bad : {Limits<R>::quiet_NaN(), Limits<R>::infinity(), -Limits<R>::infinity()})
    for (const int n : {1, 2, 3, 50})
      for (const int at : {0, n / 2, n - 1}) {
        SCOPED_TRACE(std::to_string(bad) + " at " + std::to_string(at) + " of " + std::to_string(n));
        Bidiagonal<R> b = randomBidiagonal<R>('U', n);
        b.d[static_cast<std::size_t>(at)] = bad;
        expectNaN<TypeParam>(b);
        if (at == n - 1) continue;
        b = randomBidiagonal<R>('L', n);
        b.e[static_cast<std::size_t>(at)] = bad;
        expectNaN<TypeParam>(b);
      }
}

// Values beyond the largest number: the iteration overflows and ends, by failing or without a number. The
// rotations of such a sweep are not worth having.
TYPED_TEST(BdsqrTest, OverflowEnds) {
  using R = Real<TypeParam>;
  const auto huge = [](int) { return Limits<R>::max(); };
  const auto ends = [](const auto& found) {
    return found.info > 0 || !(found.result.d[0] <= Limits<R>::max());
  };
  for (const char uplo : {'U', 'L'})
    for (const int n : {2, 3, 4, 80}) {
      const Bidiagonal<R> b = made<R>(uplo, n, huge, huge);
      EXPECT_TRUE(ends(decompose<TypeParam>(b)) && ends(valuesOf(b))) << n;
    }
}

}  // namespace
}  // namespace testing_support
