// What every LU factorization and every solve must satisfy, whatever the device.

#ifndef TOVI_TESTS_SUPPORT_LU_CHECKS_H
#define TOVI_TESTS_SUPPORT_LU_CHECKS_H

#include <string>
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
  EXPECT_TRUE(lu.paddingIntact());
  EXPECT_TRUE(x.paddingIntact());
  CHECK_RATIO(solveRatio(a, x, b), luBound);
  CHECK_RATIO(luRatio(a, lu, ipiv), luBound);
}

// Columns `zeros` (1-based) of an upper triangular start are zero on and below the diagonal, so that the
// pivots there are exactly zero: the matrix is upper triangular with ones on the diagonal but for those
// columns.
template <class T>
void checkSingular(Memory where, int n, const std::vector<int>& zeros) {
  SCOPED_TRACE(shape(where, n, n) + " singular");
  HostMatrix<T> a = HostMatrix<T>::random(n, n, 1, 99);
  for (int j = 0; j < n; ++j) {
    for (int i = j + 1; i < n; ++i) a(i, j) = T(0);
    a(j, j) = T(1);
  }
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
  EXPECT_TRUE(again.sameBits(lu));
  EXPECT_EQ(ipivAgain, ipiv);
}

}  // namespace testing_support

#endif
