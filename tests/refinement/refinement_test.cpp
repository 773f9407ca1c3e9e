// Systems factored in single precision and refined to double, through the exported functions, on whatever
// device is there.

#include <cmath>
#include <cstdint>
#include <vector>

#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {
namespace {

using DoubleTypes = ::testing::Types<double, Complex<double>>;
TOVI_TYPED_SUITE(RefinementTest, LibraryTest, DoubleTypes);

template <class T>
struct Refined {
  HostMatrix<T> a, x;
  std::vector<int> ipiv;
  int iterations;
  toviStatus status;
  int info;
};

template <class T>
Refined<T> refine(Memory where, const HostMatrix<T>& a, const HostMatrix<T>& b) {
  Refined<T> result{a,
                    HostMatrix<T>(b.rows(), b.cols(), 4),
                    std::vector<int>(static_cast<std::size_t>(a.rows())),
                    99,
                    toviNoError,
                    0};
  result.x.fill(quietNaN<T>());
  HostMatrix<T> copy = b;
  {
    const Placed<T> dA(where, result.a), dB(where, copy), dX(where, result.x);
    const Placed<int> dIpiv(where, result.ipiv);
    result.status =
        gesvRefined(where, a.rows(), b.cols(), dA.data(), a.ld(), dIpiv.data(),
                    static_cast<const T*>(dB.data()), b.ld(), dX.data(), result.x.ld(), &result.iterations);
    result.info = toviGetErrorInfo();
    dA.fetch(), dB.fetch(), dX.fetch(), dIpiv.fetch();
  }
  EXPECT_TRUE(copy.sameBits(b) && result.x.paddingIntact() && result.a.paddingIntact());
  return result;
}

// A diagonal between two reflections, from 1 down to 1 / condition.
template <class T>
HostMatrix<T> ofCondition(int n, double condition) {
  const auto reflected = [&](const HostMatrix<T>& a, std::uint64_t seed) {
    const HostMatrix<T> v = HostMatrix<T>::random(n, 1, 0, seed);
    const double length = columnNorm(v, 0, 0, n);
    HostMatrix<T> w = product('C', v, 'N', a), result = a;
    return result.set([&](int i, int j) { return a(i, j) - T(2 / length / length) * v(i, 0) * w(0, j); });
  };
  HostMatrix<T> d(n, n, 2);
  for (int i = 0; i < n; ++i) d(i, i) = T(std::pow(condition, -static_cast<double>(i) / std::max(1, n - 1)));
  const HostMatrix<T> half = reflected(d, 1);
  HostMatrix<T> turned(n, n, 2);
  turned.set([&](int i, int j) { return tovi::conj(half(j, i)); });
  return reflected(turned, 2);
}

TYPED_TEST(RefinementTest, RefinesToDoublePrecision) {
  using T = TypeParam;
  for (const Memory where : bothInterfaces)
    for (const int n : {1, 2, 64, 193, 520})
      for (const int nrhs : {0, 1, 5, 70}) {
        SCOPED_TRACE(shape(where, n, nrhs));
        const HostMatrix<T> a = ofCondition<T>(n, 1e3), b = HostMatrix<T>::random(n, nrhs, 1, 3);
        const Refined<T> result = refine(where, a, b);
        ASSERT_EQ(result.status, toviNoError) << result.info;
        EXPECT_TRUE(result.iterations >= 0 && result.iterations <= 5) << result.iterations;
        EXPECT_TRUE(nrhs == 0 || n < 64 || result.iterations > 0);
        EXPECT_TRUE(result.a.sameBits(a)) << "success leaves A as it was";
        CHECK_RATIO(solveRatio(a, result.x, b), luBound);
      }
}

// |re| + |im|, by which vectors are measured
double sumOfParts(double x) { return std::abs(x); }
double sumOfParts(Complex<double> z) { return std::abs(z.re) + std::abs(z.im); }

// max |b - A x| / (max |x| |A| sqrt(n) eps): at most 1 where refinement has stopped, but for the rounding of
// the residual, whose share is small.
template <class T>
double stoppingRatio(const HostMatrix<T>& a, const HostMatrix<T>& x, const HostMatrix<T>& b) {
  const HostMatrix<T> residual = minus(b, product(a, x));
  double largest = 0, solution = 0, norm = 0;
  for (int i = 0; i < a.rows(); ++i) {
    double sum = 0;
    for (int j = 0; j < a.cols(); ++j) sum += magnitude(a(i, j));
    worsen(largest, sumOfParts(residual(i, 0)));
    worsen(solution, sumOfParts(x(i, 0)));
    worsen(norm, sum);
  }
  return largest / (solution * norm * std::sqrt(a.rows()) * epsilon<T>());
}

// Steps are short where the condition is large: one too few shows. The norm is that of rows: that of columns
// is many times as large.
TYPED_TEST(RefinementTest, StopsWhereTheReferenceDoes) {
  using T = TypeParam;
  for (const int n : {80, 90, 100, 110, 120, 130})
    for (const std::uint64_t seed : {3, 4}) {
      HostMatrix<T> a = ofCondition<T>(n, 1e8);
      for (int i = 0; i < n; ++i) a(i, n / 2) *= T(1024);
      const HostMatrix<T> b = HostMatrix<T>::random(n, 1, 1, seed);
      const Refined<T> result = refine(Memory::host, a, b);
      ASSERT_GT(result.iterations, 0);
      EXPECT_LE(stoppingRatio(a, result.x, b), 1.1) << n << ", " << seed;
    }
}

// What single precision cannot do is left to double: A then holds its factors there.
template <class T>
void checkFallback(Memory where, const HostMatrix<T>& a, int reason) {
  SCOPED_TRACE(shape(where, a.rows(), a.cols()) + ", " + std::to_string(reason));
  const HostMatrix<T> b = HostMatrix<T>::random(a.rows(), 2, 1, 3);
  const Refined<T> result = refine(where, a, b);
  ASSERT_EQ(result.status, toviNoError) << result.info;
  EXPECT_EQ(result.iterations, reason);
  CHECK_RATIO(luRatio(a, result.a, result.ipiv), luBound);
  CHECK_RATIO(solveRatio(a, result.x, b), luBound);
}

TYPED_TEST(RefinementTest, FallsBackToDoublePrecision) {
  using T = TypeParam;
  for (const Memory where : bothInterfaces)
    for (const int n : {3, 200}) {
      HostMatrix<T> large = ofCondition<T>(n, 10);
      large(n / 2, n / 3) = T(1e39);
      checkFallback(where, large, -2);
      HostMatrix<T> singular = ofCondition<T>(n, 10);  // in single precision
      for (int i = 0; i < n; ++i) singular(i, n / 2) *= T(1e-60);
      checkFallback(where, singular, -3);
      if (n == 3) continue;
      checkFallback(where, ofCondition<T>(n, 1e10), -31);
      checkFallback(where, ofCondition<T>(n, 1e12), -2);  // residuals grow until they are too large
    }
}

TYPED_TEST(RefinementTest, ReportsAZeroPivotInDoublePrecision) {
  using T = TypeParam;
  constexpr int n = 300;
  HostMatrix<T> a = ofCondition<T>(n, 10);
  for (int i = 0; i < n; ++i) a(i, 0) = T(0);
  const HostMatrix<T> b = HostMatrix<T>::random(n, 2, 1, 3);
  for (const Memory where : bothInterfaces) {
    const Refined<T> result = refine(where, a, b);
    EXPECT_EQ(result.status, toviDataError);
    EXPECT_EQ(result.info, 1);
    EXPECT_EQ(result.iterations, -3);
    CHECK_RATIO(luRatio(a, result.a, result.ipiv), luBound);
    EXPECT_TRUE(where == Memory::device || std::isnan(norm1(result.x))) << "X was touched";
  }
}

TYPED_TEST(RefinementTest, NaNReachesTheSolution) {
  using T = TypeParam;
  HostMatrix<T> a = ofCondition<T>(50, 10);
  a(20, 10) = quietNaN<T>();
  const Refined<T> result = refine(Memory::host, a, HostMatrix<T>::random(50, 1, 0, 3));
  EXPECT_EQ(result.status, toviNoError);
  EXPECT_EQ(result.iterations, -2);
  EXPECT_TRUE(std::isnan(norm1(result.x)));
}

TYPED_TEST(RefinementTest, AnEmptySystemHasNoIterations) {
  TypeParam* const none = nullptr;
  int iterations = 99, *const nowhere = nullptr;
  for (const Memory where : bothInterfaces) {
    EXPECT_EQ(gesvRefined(where, 0, 3, none, 1, nowhere, static_cast<const TypeParam*>(none), 1, none, 1,
                          &iterations),
              toviNoError);
    EXPECT_EQ(iterations, 0);
    iterations = 99;
  }
}

}  // namespace
}  // namespace testing_support
