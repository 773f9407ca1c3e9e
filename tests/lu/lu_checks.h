// What every LU factorization and every solve must satisfy, whatever the device.

#ifndef TOVI_TESTS_LU_LU_CHECKS_H
#define TOVI_TESTS_LU_LU_CHECKS_H

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

// A random m x n matrix is factored with a small residual, with pivots in range, and with its padding
// untouched.
template <class T>
void checkFactorization(Memory where, int m, int n, int padding = 3) {
  SCOPED_TRACE(shape(where, m, n));
  const HostMatrix<T> a = HostMatrix<T>::random(m, n, padding, static_cast<std::uint64_t>(m * 10007 + n));
  HostMatrix<T> lu = a;
  std::vector<int> ipiv(static_cast<std::size_t>(std::min(m, n)), -7);
  ASSERT_EQ(factor(where, lu, ipiv), toviNoError) << toviGetErrorInfo();
  EXPECT_TRUE(lu.paddingIntact());
  CHECK_RATIO(luRatio(a, lu, ipiv), luBound);
  // Partial pivoting: no multiplier is larger than 1.
  double largest = 0;
  for (int j = 0; j < std::min(m, n); ++j)
    for (int i = j + 1; i < m; ++i) worsen(largest, magnitude(lu(i, j)));
  EXPECT_LE(largest, tovi::isComplex<T> ? 1.4143 : 1.0001);  // complex pivots are chosen by |re| + |im|
}

template <class T>
void checkSolve(Memory where, int n, int nrhs, int padding = 2) {
  SCOPED_TRACE(shape(where, n, nrhs));
  const HostMatrix<T> a = HostMatrix<T>::random(n, n, padding, static_cast<std::uint64_t>(n));
  const HostMatrix<T> b = HostMatrix<T>::random(n, nrhs, padding + 1, static_cast<std::uint64_t>(n + nrhs));
  HostMatrix<T> lu = a, x = b;
  std::vector<int> ipiv(static_cast<std::size_t>(n), -7);
  ASSERT_EQ(solve(where, lu, ipiv, x), toviNoError) << toviGetErrorInfo();
  EXPECT_TRUE(lu.paddingIntact() && x.paddingIntact());
  CHECK_RATIO(solveRatio(a, x, b), luBound);
  CHECK_RATIO(luRatio(a, lu, ipiv), luBound);
}

// A matrix of known factors, which are computed without any rounding in whatever order. Pivots are +-4 and
// multipliers 0 and +-1/2, of complex types also times i. Columns 5, 102, 199, ... and the last one are
// scaled down: their pivots are subnormal, most of them too small for a reciprocal. The solution is as exact,
// with its largest elements where those pivots are.
template <class T>
struct ExactSystem {
  HostMatrix<T> a, lu, x, b;
  std::vector<int> ipiv;
};

template <class T>
ExactSystem<T> exactSystem(int m, int n) {
  using W = Wide<T>;
  Random random(static_cast<std::uint64_t>(m * 10007 + n));
  const auto number = [&](double size) {
    const double signedSize = random.below(2) == 0 ? size : -size;
    return tovi::isComplex<T> && random.below(2) == 0 ? makeElement<W>(0, signedSize)
                                                      : makeElement<W>(signedSize, 0);
  };
  const int k = std::min(m, n), least = std::numeric_limits<Real<T>>::min_exponent - 1;  // of a power of 2
  HostMatrix<W> lower(m, k), upper(k, n), factors(m, n), x(n, 3);
  for (int j = 0; j < n; ++j) {
    const bool small = j < k && (j % 97 == 5 || j == k - 1);
    // 2^(least - 1) has a reciprocal
    const double scale = small ? std::ldexp(1, least - 3 - 2 * random.below(3)) : 1;
    for (int i = 0; i < m; ++i)
      if (i <= j && i < k)
        upper(i, j) = factors(i, j) = number(i == j ? 4 * scale : random.below(2) * scale);
      else if (i > j)
        lower(i, j) = factors(i, j) = number(random.below(2) * 0.5);
    if (j < k) lower(j, j) = W(1);
    for (int r = 0; r < x.cols(); ++r) x(j, r) = number(small ? std::ldexp(1, -least - 4) : random.below(2));
  }
  HostMatrix<W> a = product(lower, upper);
  std::vector<int> ipiv(static_cast<std::size_t>(k));
  for (int i = k - 1; i >= 0; --i) {
    const int p = i + random.below(m - i);
    ipiv[static_cast<std::size_t>(i)] = p + 1;
    for (int j = 0; j < n && p != i; ++j) std::swap(a(i, j), a(p, j));
  }
  return {narrow<T>(a), narrow<T>(factors), narrow<T>(x), narrow<T>(product(a, x)), ipiv};
}

template <class T>
void checkSmallPivots(Memory where, int m, int n) {
  SCOPED_TRACE(shape(where, m, n) + ", small pivots");
  const ExactSystem<T> exact = exactSystem<T>(m, n);
  HostMatrix<T> lu = exact.a, x = exact.b;
  std::vector<int> ipiv(exact.ipiv.size());
  ASSERT_EQ(factor(where, lu, ipiv), toviNoError);
  EXPECT_EQ(ipiv, exact.ipiv);
  EXPECT_EQ(norm1(minus(lu, exact.lu)), 0);
  if (m != n) return;
  lu = exact.a;
  ASSERT_EQ(solve(where, lu, ipiv, x), toviNoError);
  EXPECT_EQ(norm1(minus(x, exact.x)), 0);
}

// Columns `zeros` (1-based) of an upper triangular start are zero on and below the diagonal, so that the
// pivots there are exactly zero: the matrix is upper triangular with ones on the diagonal but for those
// columns.
template <class T>
void checkSingular(Memory where, int n, const std::vector<int>& zeros) {
  SCOPED_TRACE(shape(where, n, n) + " singular");
  HostMatrix<T> a = HostMatrix<T>::random(n, n, 1, 99);
  a.set([&](int i, int j) { return i < j ? a(i, j) : i == j ? T(1) : T(0); });
  for (const int column : zeros) a(column - 1, column - 1) = T(0);
  HostMatrix<T> lu = a;
  std::vector<int> ipiv(static_cast<std::size_t>(n), -7);
  EXPECT_EQ(factor(where, lu, ipiv), toviDataError);
  EXPECT_EQ(toviGetErrorInfo(), zeros.front());
  // Complete factors and pivots all the same.
  CHECK_RATIO(luRatio(a, lu, ipiv), luBound);

  HostMatrix<T> again = a, b = HostMatrix<T>::random(n, 2, 1, 5);
  const HostMatrix<T> before = b;
  std::vector<int> ipivAgain(ipiv.size(), -7);
  EXPECT_EQ(solve(where, again, ipivAgain, b), toviDataError);
  EXPECT_EQ(toviGetErrorInfo(), zeros.front());
  EXPECT_TRUE(b.sameBits(before)) << "the right-hand sides were touched";
  EXPECT_TRUE(again.sameBits(lu) && ipivAgain == ipiv);
}

}  // namespace testing_support

#endif
