// The norms against the same norms in double precision, on matrices longer and wider than a block of threads.

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "src/basic/lange.h"
#include "tests/support/matrix.h"
#include "tests/support/ratios.h"

namespace {

using namespace testing_support;

template <class T>
class Norms : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(Norms, Elements);

template <class T>
double normOf(char norm, const HostMatrix<T>& a) {
  const DeviceArray<T> dA(a);
  return static_cast<double>(tovi::basic::lange<T>(norm, {dA.data(), a.rows(), a.cols(), a.ld()}));
}
template <class T>
double hermitianNormOf(char norm, char uplo, const HostMatrix<T>& a) {
  const DeviceArray<T> dA(a);
  return static_cast<double>(tovi::basic::lanhe<T>(norm, uplo, {dA.data(), a.rows(), a.cols(), a.ld()}));
}

// In the unit 2^exponent, in which the squares stay within the range of double.
template <class T>
double reference(char norm, const HostMatrix<T>& a, int exponent) {
  double greatest = 0, squares = 0;
  for (int j = 0; j < (norm == 'I' ? a.rows() : a.cols()); ++j) {
    double sum = 0;
    for (int i = 0; i < (norm == 'I' ? a.cols() : a.rows()); ++i) {
      const double x = std::ldexp(magnitude(widen(norm == 'I' ? a(j, i) : a(i, j))), -exponent);
      sum = norm == 'M' ? std::max(sum, x) : sum + x;
      squares += x * x;
    }
    greatest = std::max(greatest, sum);
  }
  return norm == 'F' ? std::sqrt(squares) : greatest;
}

const std::pair<int, int> shapes[] = {{1, 1}, {1, 300}, {300, 1}, {7, 257}, {256, 5}, {513, 520}};

TYPED_TEST(Norms, OfMatrices) {
  using T = TypeParam;
  using Limits = std::numeric_limits<Real<T>>;
  // Elements around 1, and so small and so large that squares are 0 or infinite.
  for (const int exponent : {0, Limits::min_exponent + 10, Limits::max_exponent - 20})
    for (const auto& [m, n] : shapes) {
      auto a = HostMatrix<T>::random(m, n, 3, 11);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) a(i, j) *= makeElement<T>(std::ldexp(1.0, exponent), 0);
      for (const char* letters : {"MM", "mM", "OO", "1O", "II", "iI", "FF", "eF"}) {
        SCOPED_TRACE(std::string(letters) + ", " + std::to_string(m) + " x " + std::to_string(n) + ", 2^" +
                     std::to_string(exponent));
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
    HostMatrix<T> whole = HostMatrix<T>::random(n, n, 1, 6);
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < j; ++i) whole(i, j) = tovi::conj(whole(j, i));
      whole(j, j) = T(tovi::real(whole(j, j)));
    }
    const double expected = reference('O', whole, 0);
    for (const char uplo : {'U', 'l'}) {
      HostMatrix<T> a = whole;
      for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i)
          if (i != j && (i > j) == (uplo == 'U')) a(i, j) = quietNaN<T>();
        if (tovi::isComplex<T>) a(j, j) = makeElement<T>(static_cast<double>(tovi::real(a(j, j))), NAN);
      }
      for (const char norm : {'O', '1', 'i'})
        CHECK_RATIO(std::abs(hermitianNormOf(norm, uplo, a) - expected) / (expected * epsilon<T>() * n), 4);
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
  EXPECT_TRUE(std::isnan(hermitianNormOf('1', 'L', square)));
  EXPECT_EQ(hermitianNormOf('1', 'U', square), 0);
  for (const char norm : {'M', 'O', 'I', 'F'}) EXPECT_EQ(normOf(norm, HostMatrix<T>(40, 50)), 0);
}

}  // namespace
