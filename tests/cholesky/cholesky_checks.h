// What every Cholesky factorization and every positive definite solve must satisfy, whatever the device.

#ifndef TOVI_TESTS_CHOLESKY_CHOLESKY_CHECKS_H
#define TOVI_TESTS_CHOLESKY_CHOLESKY_CHECKS_H

#include <algorithm>
#include <cmath>
#include <string>

#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

constexpr char bothTriangles[] = {'L', 'u'};

inline bool inTriangle(char uplo, int i, int j) { return uplo == 'L' ? i >= j : i <= j; }

// Positive definite, in one triangle. Nobody may look at the other one, nor at the imaginary parts of the
// diagonal.
template <class T>
HostMatrix<T> positive(char uplo, int n, int padding = 3) {
  HostMatrix<T> a = HostMatrix<T>::random(n, n, padding, static_cast<std::uint64_t>(n * 2 + (uplo == 'L')));
  return a.set([&](int i, int j) {
    if (!inTriangle(uplo, i, j)) return quietNaN<T>();
    return i == j ? a(i, i) + T(static_cast<Real<T>>(3 * std::sqrt(n))) : a(i, j);
  });
}

// The whole matrix, in double precision.
template <class T>
HostMatrix<Wide<T>> whole(char uplo, const HostMatrix<T>& a) {
  using W = Wide<T>;
  return HostMatrix<W>(a.rows(), a.cols()).set([&](int i, int j) {
    if (i == j) return W(tovi::real(widen(a(i, i))));
    return inTriangle(uplo, i, j) ? widen(a(i, j)) : tovi::conj(widen(a(j, i)));
  });
}

// || L L^H - A || / (n ||A|| eps), or the same with U^H U.
template <class T>
double choleskyRatio(char uplo, const HostMatrix<T>& a, const HostMatrix<T>& factored) {
  const int n = a.rows();
  const auto factor = leading(factored, n, n, [&](int i, int j) { return inTriangle(uplo, i, j); });
  const auto square = uplo == 'L' ? product('N', factor, 'C', factor) : product('C', factor, 'N', factor);
  const auto expected = whole(uplo, a);
  return scaled(norm1(minus(square, expected)), n * norm1(expected) * epsilon<T>());
}

// The padding and the other triangle have the bits that they had.
template <class T>
bool restIntact(char uplo, const HostMatrix<T>& before, HostMatrix<T> after) {
  return after.set([&](int i, int j) { return inTriangle(uplo, i, j) ? before(i, j) : after(i, j); })
      .sameBits(before);
}

template <class T>
toviStatus factorPositive(Memory where, char uplo, HostMatrix<T>& a) {
  const Placed<T> dA(where, a);
  const toviStatus status = potrf(where, uplo, a.rows(), dA.data(), a.ld());
  dA.fetch();
  return status;
}

template <class T>
toviStatus solvePositive(Memory where, char uplo, HostMatrix<T>& a, HostMatrix<T>& b) {
  const Placed<T> dA(where, a), dB(where, b);
  const toviStatus status = posv(where, uplo, a.rows(), b.cols(), dA.data(), a.ld(), dB.data(), b.ld());
  dA.fetch(), dB.fetch();
  return status;
}

template <class T>
void checkCholesky(Memory where, int n) {
  for (const char letter : bothTriangles) {
    SCOPED_TRACE(shape(where, n, n) + ' ' + letter);
    const char uplo = letter == 'L' ? 'L' : 'U';
    const HostMatrix<T> a = positive<T>(uplo, n);
    HostMatrix<T> factored = a;
    ASSERT_EQ(factorPositive(where, letter, factored), toviNoError) << toviGetErrorInfo();
    EXPECT_TRUE(restIntact(uplo, a, factored));
    CHECK_RATIO(choleskyRatio(uplo, a, factored), choleskyBound);
    for (int i = 0; i < n; ++i) EXPECT_TRUE(factored(i, i) == T(tovi::real(factored(i, i))));
  }
}

// posv, and potrs with its factor.
template <class T>
void checkPositiveSolve(Memory where, int n, int nrhs) {
  for (const char uplo : {'L', 'U'}) {
    SCOPED_TRACE(shape(where, n, nrhs) + ' ' + uplo);
    const HostMatrix<T> a = positive<T>(uplo, n), all = narrow<T>(whole(uplo, a));
    const HostMatrix<T> b = HostMatrix<T>::random(n, nrhs, 2, 7);
    HostMatrix<T> factored = a, x = b, again = b;
    ASSERT_EQ(solvePositive(where, uplo, factored, x), toviNoError) << toviGetErrorInfo();
    EXPECT_TRUE(restIntact(uplo, a, factored) && x.paddingIntact());
    CHECK_RATIO(choleskyRatio(uplo, a, factored), choleskyBound);
    CHECK_RATIO(solveRatio(all, x, b), choleskyBound);
    const Placed<T> dA(where, factored), dB(where, again);
    ASSERT_EQ(
        potrs(where, uplo, n, nrhs, static_cast<const T*>(dA.data()), factored.ld(), dB.data(), again.ld()),
        toviNoError);
    dB.fetch();
    EXPECT_TRUE(again.paddingIntact());
    CHECK_RATIO(solveRatio(all, again, b), choleskyBound);
  }
}

// An element (row, column), counted from 0, that makes the minor of order row + 1 the first one that is not
// positive definite. The host interface leaves all as it was, and nobody touches the right-hand sides.
template <class T>
void checkNotPositive(Memory where, int n, int row, int column, T value) {
  for (const char uplo : {'L', 'U'}) {
    SCOPED_TRACE(shape(where, n, n) + ' ' + uplo + ' ' + std::to_string(row));
    HostMatrix<T> a = positive<T>(uplo, n);
    (uplo == 'L' ? a(row, column) : a(column, row)) = value;
    const HostMatrix<T> b = HostMatrix<T>::random(n, 2, 2, 7);
    HostMatrix<T> factored = a, x = b;
    EXPECT_EQ(factorPositive(where, uplo, factored), toviDataError);
    EXPECT_EQ(toviGetErrorInfo(), row + 1);
    EXPECT_TRUE(restIntact(uplo, a, factored));
    EXPECT_TRUE(where == Memory::device || factored.sameBits(a));
    EXPECT_EQ(solvePositive(where, uplo, a, x), toviDataError);
    EXPECT_EQ(toviGetErrorInfo(), row + 1);
    EXPECT_TRUE(x.sameBits(b));
  }
}

}  // namespace testing_support

#endif
