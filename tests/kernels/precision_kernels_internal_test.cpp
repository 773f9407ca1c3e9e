// Conversion between single and double precision: every element, nothing beside them, and the numbers that
// the narrower type does not have.

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "src/basic/Precision.h"
#include "tests/support/ratios.h"

namespace {

using namespace testing_support;
namespace basic = tovi::basic;

// Full of digits, so that a conversion to the narrower type rounds.
template <class S>
HostMatrix<S> sample(int rows, int cols) {
  return HostMatrix<S>::random(rows, cols, 1 + cols % 3, static_cast<std::uint64_t>(rows + 7 * cols));
}

// T: the destination
template <class T>
class BasicPrecision : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(BasicPrecision, Elements);

// What stands in the destination before, and what is to stand there for each element that is picked.
template <class T, class S, class Picks>
std::pair<HostMatrix<T>, HostMatrix<T>> beforeAndAfter(const HostMatrix<S>& a, Picks picks) {
  HostMatrix<T> before(a.rows(), a.cols(), 2 + a.rows() % 2);  // a leading dimension of its own
  before.fill(makeElement<T>(-17, 3));
  HostMatrix<T> after = before;
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i)
      if (picks(i, j)) after(i, j) = narrow<T>(widen(a(i, j)));
  return {before, after};
}

TYPED_TEST(BasicPrecision, ConvertsAWholeMatrix) {
  using T = TypeParam;
  using S = basic::OtherPrecision<T>;
  const std::pair<int, int> shapes[] = {
      {1, 1}, {15, 17}, {16, 16}, {17, 33}, {1, 257}, {257, 3}, {1, 65535 * 16 + 1}, {65535 * 16 + 1, 1}};
  for (const auto& [m, n] : shapes) {
    const HostMatrix<S> a = sample<S>(m, n);
    const auto [before, after] = beforeAndAfter<T>(a, [](int, int) { return true; });
    const OnDevice<S> dA(a);
    const OnDevice<T> dB(before);
    basic::convertPrecision<T>(dA.view, dB.view);
    EXPECT_TRUE(dB.holds(after)) << m << " x " << n;
    EXPECT_TRUE(dA.holds(a)) << m << " x " << n;
  }
}

// Of the source, too, only the triangle is there: the rest is NaN, and stays out of the destination.
TYPED_TEST(BasicPrecision, ConvertsOneTriangle) {
  using T = TypeParam;
  using S = basic::OtherPrecision<T>;
  for (const int n : {1, 2, 15, 16, 17, 33, 100})
    for (const char uplo : {'U', 'L', 'u', 'l'}) {
      const auto stored = [&](int i, int j) { return uplo == 'U' || uplo == 'u' ? i <= j : i >= j; };
      HostMatrix<S> a = sample<S>(n, n);
      const auto [before, after] = beforeAndAfter<T>(a, stored);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
          if (!stored(i, j)) a(i, j) = quietNaN<S>();
      const OnDevice<S> dA(a);
      const OnDevice<T> dB(before);
      basic::convertPrecisionTriangular<T>(uplo, dA.view, dB.view);
      EXPECT_TRUE(dB.holds(after)) << n << ' ' << uplo;
    }
}

// There and back again loses nothing, not even a NaN or the sign of a zero.
TEST(BasicPrecisionOf, WideningIsExact) {
  using Limits = std::numeric_limits<float>;
  HostMatrix<float> a(8, 1);
  const float values[] = {0.0f,
                          -0.0f,
                          1.0f / 3,
                          Limits::max(),
                          Limits::min(),
                          -Limits::infinity(),
                          Limits::denorm_min(),
                          Limits::quiet_NaN()};
  for (int i = 0; i < 8; ++i) a(i, 0) = values[i];
  const OnDevice<float> dA(a), dBack(HostMatrix<float>(8, 1));
  const OnDevice<double> dWide(HostMatrix<double>(8, 1));
  basic::convertPrecision<double>(dA.view, dWide.view);
  basic::convertPrecision<float>(dWide.view, dBack.view);
  HostMatrix<float> back = dBack.downloaded(a);
  EXPECT_TRUE(std::isnan(back(7, 0)));
  back(7, 0) = a(7, 0);
  EXPECT_TRUE(back.sameBits(a));
}

// To nearest, ties to even; beyond the range to infinity, below it to the denormalized numbers and to zero.
TEST(BasicPrecisionOf, NarrowingRounds) {
  const double ulp = 0x1p-23;
  const std::pair<double, float> cases[] = {{1 + 0.5 * ulp, 1.0f},
                                            {1 + 0.5 * ulp + 0x1p-40, 0x1.000002p0f},
                                            {1 + 1.5 * ulp, 0x1.000004p0f},
                                            {-1 - 0.75 * ulp, -0x1.000002p0f},
                                            {1e300, std::numeric_limits<float>::infinity()},
                                            {-0x1.ffffffp127, -std::numeric_limits<float>::infinity()},
                                            {0x1.fffffep127, std::numeric_limits<float>::max()},
                                            {0x1p-149, std::numeric_limits<float>::denorm_min()},
                                            {0x1p-150, 0.0f},
                                            {-1e-300, -0.0f}};
  constexpr int n = static_cast<int>(std::size(cases));
  HostMatrix<Complex<double>> a(n, 1);
  HostMatrix<Complex<float>> expected(n, 1);
  for (int i = 0; i < n; ++i) {
    a(i, 0) = {cases[i].first, -cases[n - 1 - i].first};
    expected(i, 0) = {cases[i].second, -cases[n - 1 - i].second};
  }
  const OnDevice<Complex<double>> dA(a);
  const OnDevice<Complex<float>> dB(HostMatrix<Complex<float>>(n, 1));
  basic::convertPrecision<Complex<float>>(dA.view, dB.view);
  EXPECT_TRUE(dB.holds(expected));
}

}  // namespace
