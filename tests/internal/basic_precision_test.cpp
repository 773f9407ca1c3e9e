// Conversion between single and double precision: every element, nothing beside them, and the numbers that
// the narrower type does not have.

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "src/basic/Precision.h"
#include "tests/support/matrix.h"

namespace {

using namespace testing_support;
namespace basic = tovi::basic;

template <class T>
T converted(basic::OtherPrecision<T> x) {
  if constexpr (tovi::isComplex<T>)
    return T(static_cast<Real<T>>(x.re), static_cast<Real<T>>(x.im));
  else
    return static_cast<T>(x);
}

// Full of digits, so that a conversion to the narrower type rounds.
template <class S>
HostMatrix<S> sample(int rows, int cols) {
  return HostMatrix<S>::random(rows, cols, 1 + cols % 3, static_cast<std::uint64_t>(rows + 7 * cols));
}
// What stands in the destination before; its own leading dimension.
template <class T>
HostMatrix<T> earlier(int rows, int cols) {
  HostMatrix<T> b(rows, cols, 2 + rows % 2);
  b.fill(makeElement<T>(-17, 3));
  return b;
}

// T: the destination
template <class T>
class BasicPrecision : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(BasicPrecision, Elements);

TYPED_TEST(BasicPrecision, ConvertsAWholeMatrix) {
  using T = TypeParam;
  using S = basic::OtherPrecision<T>;
  const std::pair<int, int> shapes[] = {
      {1, 1}, {15, 17}, {16, 16}, {17, 33}, {1, 257}, {257, 3}, {1, 65535 * 16 + 1}, {65535 * 16 + 1, 1}};
  for (const auto& [m, n] : shapes) {
    SCOPED_TRACE(testing::Message() << m << " x " << n);
    const HostMatrix<S> a = sample<S>(m, n);
    HostMatrix<T> b = earlier<T>(m, n), expected = b;
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) expected(i, j) = converted<T>(a(i, j));
    const DeviceArray<S> dA(a);
    const DeviceArray<T> dB(b);
    basic::convertPrecision<T>({dA.data(), m, n, a.ld()}, {dB.data(), m, n, b.ld()});
    dB.download(b);
    EXPECT_TRUE(b.sameBits(expected));
    HostMatrix<S> after = a;
    dA.download(after);
    EXPECT_TRUE(after.sameBits(a));
  }
}

// Of the source, too, only the triangle is there: the rest is NaN, and stays out of the destination.
TYPED_TEST(BasicPrecision, ConvertsOneTriangle) {
  using T = TypeParam;
  using S = basic::OtherPrecision<T>;
  for (const int n : {1, 2, 15, 16, 17, 33, 100})
    for (const char uplo : {'U', 'L', 'u', 'l'}) {
      SCOPED_TRACE(testing::Message() << n << ' ' << uplo);
      const bool upper = uplo == 'U' || uplo == 'u';
      HostMatrix<S> a = sample<S>(n, n);
      HostMatrix<T> b = earlier<T>(n, n), expected = b;
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
          if (upper ? i <= j : i >= j)
            expected(i, j) = converted<T>(a(i, j));
          else
            a(i, j) = quietNaN<S>();
      const DeviceArray<S> dA(a);
      const DeviceArray<T> dB(b);
      basic::convertPrecisionTriangular<T>(uplo, {dA.data(), n, n, a.ld()}, {dB.data(), n, n, b.ld()});
      dB.download(b);
      EXPECT_TRUE(b.sameBits(expected));
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
  const DeviceArray<float> dA(a), dBack(8);
  const DeviceArray<double> dWide(8);
  basic::convertPrecision<double>({dA.data(), 8, 1, 8}, {dWide.data(), 8, 1, 8});
  basic::convertPrecision<float>({dWide.data(), 8, 1, 8}, {dBack.data(), 8, 1, 8});
  HostMatrix<float> back(8, 1);
  dBack.download(back);
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
  HostMatrix<Complex<float>> expected(n, 1), b(n, 1);
  for (int i = 0; i < n; ++i) {
    a(i, 0) = {cases[i].first, -cases[n - 1 - i].first};
    expected(i, 0) = {cases[i].second, -cases[n - 1 - i].second};
  }
  const DeviceArray<Complex<double>> dA(a);
  const DeviceArray<Complex<float>> dB(b);
  basic::convertPrecision<Complex<float>>({dA.data(), n, 1, n}, {dB.data(), n, 1, n});
  dB.download(b);
  EXPECT_TRUE(b.sameBits(expected));
}

}  // namespace
