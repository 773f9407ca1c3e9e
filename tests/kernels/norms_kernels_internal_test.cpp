// The norms against the same norms in double precision, on matrices longer and wider than a block of threads.

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "src/basic/lange.h"
#include "tests/support/ratios.h"

namespace {

using namespace testing_support;

TOVI_TYPED_SUITE(Norms, ::testing::Test, AllTypes);

template <class T>
double normOf(char norm, const HostMatrix<T>& a) {
  return static_cast<double>(tovi::basic::lange<T>(norm, OnDevice<T>(a).view));
}
template <class T>
double hermitianNormOf(char norm, char uplo, const HostMatrix<T>& a) {
  return static_cast<double>(tovi::basic::lanhe<T>(norm, uplo, OnDevice<T>(a).view));
}

// In the unit 2^exponent, in which the squares stay within the range of double.
template <class T>
double reference(char norm, const HostMatrix<T>& a, int exponent) {
  double greatest = 0, squares = 0;
  std::vector<double> sums(static_cast<std::size_t>(std::max(a.rows(), a.cols())));
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) {
      const double x = std::ldexp(magnitude(widen(a(i, j))), -exponent);
      greatest = std::max(greatest, x), squares += x * x;
      sums[static_cast<std::size_t>(norm == 'I' ? i : j)] += x;
    }
  if (norm == 'M' || norm == 'F') return norm == 'M' ? greatest : std::sqrt(squares);
  return *std::max_element(sums.begin(), sums.end());
}

const std::pair<int, int> shapes[] = {{1, 1}, {1, 300}, {300, 1}, {7, 257}, {256, 5}, {513, 520}};

TYPED_TEST(Norms, OfMatrices) {
  using T = TypeParam;
  using Limits = std::numeric_limits<Real<T>>;
  // Elements around 1, and so small and so large that squares are 0 or infinite.
  for (const int exponent : {0, Limits::min_exponent + 10, Limits::max_exponent - 20})
    for (const auto& [m, n] : shapes) {
      auto a = HostMatrix<T>::random(m, n, 3, 11);
      a.set([&](int i, int j) { return a(i, j) * makeElement<T>(std::ldexp(1.0, exponent), 0); });
      for (const char* letters : {"MM", "mM", "OO", "1O", "II", "iI", "FF", "eF"}) {
        SCOPED_TRACE(testing::Message() << letters << ", " << m << " x " << n << ", 2^" << exponent);
        const double expected = reference(letters[1], a, exponent);
        const double result = std::ldexp(normOf(letters[0], a), -exponent);
        CHECK_RATIO(std::abs(result - expected) / (expected * epsilon<T>() * (m + n)), 4);
      }
    }
}

// One triangle is read, the other one holds NaN, as the imaginary parts of the diagonal do.
TYPED_TEST(Norms, OfHermitianMatrices) {
  using T = TypeParam;
  for (const int n : {1, 2, 255, 300}) {
    const HostMatrix<T> random = HostMatrix<T>::random(n, n, 1, 6);
    const HostMatrix<T> whole = HostMatrix<T>(random).set([&](int i, int j) {
      return i > j ? random(i, j) : i < j ? tovi::conj(random(j, i)) : T(tovi::real(random(i, i)));
    });
    const double expected = reference('O', whole, 0), greatest = reference('M', whole, 0);
    for (const char uplo : {'U', 'l'}) {
      const HostMatrix<T> a = HostMatrix<T>(whole).set([&](int i, int j) {
        if (i == j) return makeElement<T>(static_cast<double>(tovi::real(whole(i, i))), NAN);
        return (i > j) == (uplo == 'U') ? quietNaN<T>() : whole(i, j);
      });
      for (const char norm : {'O', '1', 'i'})
        CHECK_RATIO(std::abs(hermitianNormOf(norm, uplo, a) - expected) / (expected * epsilon<T>() * n), 4);
      CHECK_RATIO(std::abs(hermitianNormOf('m', uplo, a) - greatest) / (greatest * epsilon<T>()), 4);
    }
  }
}

TYPED_TEST(Norms, NaNAndInfinity) {
  using T = TypeParam;
  const double inf = HUGE_VAL, nan = NAN;
  for (const auto& [m, n] : {std::pair<int, int>(300, 20), std::pair<int, int>(20, 300)})
    for (const auto& [i, j] :
         {std::pair<int, int>(0, 0), std::pair<int, int>(m - 1, n - 1), std::pair<int, int>(13, 7)})
      for (const char norm : {'M', 'O', 'I', 'F'}) {
        SCOPED_TRACE(testing::Message() << norm << ' ' << i << ", " << j << " of " << m << " x " << n);
        auto a = HostMatrix<T>::random(m, n, 0, 2);
        a(i, j) = makeElement<T>(-inf, 1);
        EXPECT_EQ(normOf(norm, a), inf);
        a(m / 2, n / 2) = quietNaN<T>();  // wins over the infinity
        EXPECT_TRUE(std::isnan(normOf(norm, a)));
        a(m / 2, n / 2) = T(0);
        a(i, j) = tovi::isComplex<T> ? makeElement<T>(inf, nan) : quietNaN<T>();
        EXPECT_TRUE(std::isnan(normOf(norm, a)));
      }
  HostMatrix<T> square(300, 300);
  square(299, 1) = quietNaN<T>();
  for (const char norm : {'1', 'M'}) {
    EXPECT_TRUE(std::isnan(hermitianNormOf(norm, 'L', square)));
    EXPECT_EQ(hermitianNormOf(norm, 'U', square), 0);
  }
  for (const char norm : {'M', 'O', 'I', 'F'}) EXPECT_EQ(normOf(norm, HostMatrix<T>(40, 50)), 0);
}

}  // namespace
