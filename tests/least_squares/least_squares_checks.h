// What every solution of a least-squares problem must satisfy, with and without constraints, whatever the
// device. Factors are never compared: residuals and conditions of optimality are, in double precision.

#ifndef TOVI_TESTS_LEAST_SQUARES_LEAST_SQUARES_CHECKS_H
#define TOVI_TESTS_LEAST_SQUARES_LEAST_SQUARES_CHECKS_H

#include <string>
#include <vector>

#include "host/lapack.h"
#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

constexpr double leastSquaresBound = 30;
constexpr double constrainedBound = 20;

// The operands of gels: b has max(m, n) rows, of which the right-hand sides fill the first ones.
template <class T>
struct LeastSquares {
  char trans;
  HostMatrix<T> a, b;

  bool transposed() const { return trans != 'N' && trans != 'n'; }
  // Of op(A)
  int rows() const { return transposed() ? a.cols() : a.rows(); }
  int cols() const { return transposed() ? a.rows() : a.cols(); }

  toviStatus run(Memory where) {
    const Placed<T> dA(where, a), dB(where, b);
    const toviStatus status =
        gels(where, trans, a.rows(), a.cols(), b.cols(), dA.data(), a.ld(), dB.data(), b.ld());
    dA.fetch();
    dB.fetch();
    return status;
  }
  bool paddingIntact() const { return a.paddingIntact() && b.paddingIntact(); }
  bool sameBits(const LeastSquares& other) const { return a.sameBits(other.a) && b.sameBits(other.b); }
};

// The operands of gglse.
template <class T>
struct Constrained {
  HostMatrix<T> a, b, c, d, x;

  toviStatus run(Memory where) {
    const Placed<T> dA(where, a), dB(where, b), dC(where, c), dD(where, d), dX(where, x);
    const toviStatus status = gglse(where, a.rows(), a.cols(), b.rows(), dA.data(), a.ld(), dB.data(), b.ld(),
                                    dC.data(), dD.data(), dX.data());
    for (const Placed<T>* operand : {&dA, &dB, &dC, &dD, &dX}) operand->fetch();
    return status;
  }
  bool paddingIntact() const { return a.paddingIntact() && b.paddingIntact(); }
  bool sameBits(const Constrained& other) const {
    return a.sameBits(other.a) && b.sameBits(other.b) && c.sameBits(other.c) && d.sameBits(other.d) &&
           x.sameBits(other.x);
  }
};

// Random, with more weight on a diagonal that starts in column `first`, so that its condition stays small.
template <class T>
HostMatrix<T> wellConditioned(int m, int n, int padding, std::uint64_t seed, int first = 0) {
  HostMatrix<T> a = HostMatrix<T>::random(m, n, padding, seed);
  const double weight = 3 * std::sqrt(std::max(m, n));
  for (int i = 0; i < std::min(m, n - first); ++i) a(i, first + i) += makeElement<T>(weight, 0);
  return a;
}

template <class T>
LeastSquares<T> leastSquaresProblem(char trans, int m, int n, int nrhs, int padding = 2) {
  const auto seed = static_cast<std::uint64_t>(m * 10007 + n * 31 + nrhs);
  LeastSquares<T> problem{trans, wellConditioned<T>(m, n, padding, seed),
                          HostMatrix<T>::random(std::max(m, n), nrhs, padding + 1, seed + 1)};
  return problem;
}

// c is random, so not in the range of A: the residual is not zero unless p = n - m.
template <class T>
Constrained<T> constrainedProblem(int m, int n, int p, int padding = 2) {
  const auto seed = static_cast<std::uint64_t>(m * 10007 + n * 31 + p);
  Constrained<T> problem{wellConditioned<T>(m, n, padding, seed),
                         wellConditioned<T>(p, n, padding + 1, seed + 1, n - p),
                         HostMatrix<T>::random(m, 1, 0, seed + 2), HostMatrix<T>::random(p, 1, 0, seed + 3),
                         HostMatrix<T>(n, 1)};
  problem.x.fill(quietNaN<T>());
  return problem;
}

template <class T>
HostMatrix<Wide<T>> wideAdjoint(const HostMatrix<T>& a) {
  HostMatrix<Wide<T>> c(a.cols(), a.rows());
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) c(j, i) = tovi::conj(widen(a(i, j)));
  return c;
}

// B - A X, from the first rows of B and X.
template <class T, class W>
HostMatrix<W> residual(const HostMatrix<W>& a, const HostMatrix<T>& x, const HostMatrix<T>& b) {
  return minus(leading(b, a.rows(), b.cols()), product(a, leading(x, a.cols(), x.cols())));
}

// Multiplies the first rows of X by Q^H, with Q from the QR factorization of A, which has full rank: what
// then stands below the first a.cols() rows is the part of X that is orthogonal to all columns of A.
template <class W>
HostMatrix<W> rotate(HostMatrix<W> a, const HostMatrix<W>& x) {
  HostMatrix<W> rotated = leading(x, a.rows(), x.cols());
  const int lwork = 64 * std::max({1, a.rows(), x.cols()});
  std::vector<W> tau(static_cast<std::size_t>(a.cols())), work(static_cast<std::size_t>(lwork));
  if (host::geqrf(a.rows(), a.cols(), a.data(), a.ld(), tau.data(), work.data(), lwork) != 0 ||
      host::ormqr('L', tovi::isComplex<W> ? 'C' : 'T', a.rows(), x.cols(), a.cols(), a.data(), a.ld(),
                  tau.data(), rotated.data(), rotated.ld(), work.data(), lwork) != 0)
    rotated.fill(quietNaN<W>());
  return rotated;
}

// How well X solves op(A) X = B, the largest over the columns:
//   more rows than columns: || op(A)^H R || / (||A|| ||R|| max(m, n) eps), R = B - op(A) X
//   otherwise               || R || / (||A|| ||X|| max(m, n) eps)
template <class T>
double leastSquaresRatio(const LeastSquares<T>& problem, const HostMatrix<T>& x) {
  const HostMatrix<Wide<T>> a = problem.transposed() ? wideAdjoint(problem.a) : widen(problem.a);
  const HostMatrix<Wide<T>> r = residual(a, x, problem.b), g = product('C', a, 'N', r);
  const double scale = norm1(a) * std::max(a.rows(), a.cols()) * epsilon<T>();
  double worst = 0;
  for (int j = 0; j < r.cols(); ++j) {
    const double size = columnNorm(r, j, 0, r.rows());
    worsen(worst, a.rows() > a.cols() ? scaled(columnNorm(g, j, 0, g.rows()), scale * size)
                                      : scaled(size, scale * columnNorm(x, j, 0, a.cols())));
  }
  return worst;
}

// How much of X no right-hand side calls for: || the part of X outside the row space of op(A) || / (||X||
// max(m, n) eps). Zero unless op(A) has fewer rows than columns.
template <class T>
double minimumNormRatio(const LeastSquares<T>& problem, const HostMatrix<T>& x) {
  const HostMatrix<Wide<T>> rowSpace = problem.transposed() ? widen(problem.a) : wideAdjoint(problem.a);
  const int n = rowSpace.rows();
  if (rowSpace.cols() >= n) return 0;
  const HostMatrix<Wide<T>> rotated = rotate(rowSpace, widen(x));
  double worst = 0;
  for (int j = 0; j < x.cols(); ++j)
    worsen(worst,
           scaled(columnNorm(rotated, j, rowSpace.cols(), n), columnNorm(x, j, 0, n) * n * epsilon<T>()));
  return worst;
}

// The elements of b below the solution have the norm of the residual.
template <class T>
double residualNormRatio(const LeastSquares<T>& problem, const HostMatrix<T>& x) {
  const HostMatrix<Wide<T>> a = problem.transposed() ? wideAdjoint(problem.a) : widen(problem.a);
  const HostMatrix<Wide<T>> r = residual(a, x, problem.b);
  if (a.rows() <= a.cols()) return 0;
  double worst = 0;
  for (int j = 0; j < r.cols(); ++j)
    worsen(worst, std::abs(columnNorm(x, j, a.cols(), a.rows()) - columnNorm(r, j, 0, a.rows())) /
                      (columnNorm(problem.b, j, 0, a.rows()) * a.rows() * epsilon<T>()));
  return worst;
}

template <class T>
void expectSolved(const LeastSquares<T>& problem, const LeastSquares<T>& solved) {
  EXPECT_TRUE(solved.paddingIntact());
  CHECK_RATIO(leastSquaresRatio(problem, solved.b), leastSquaresBound);
  CHECK_RATIO(minimumNormRatio(problem, solved.b), leastSquaresBound);
  CHECK_RATIO(residualNormRatio(problem, solved.b), leastSquaresBound);
}

template <class T>
void checkLeastSquares(Memory where, char trans, int m, int n, int nrhs) {
  SCOPED_TRACE(shape(where, m, n) + " " + trans + ", " + std::to_string(nrhs));
  const LeastSquares<T> problem = leastSquaresProblem<T>(trans, m, n, nrhs);
  LeastSquares<T> solved = problem;
  ASSERT_EQ(solved.run(where), toviNoError) << toviGetErrorInfo();
  expectSolved(problem, solved);
}

// The constraints hold; the gradient A^H R of the residual has no part along which the constraints would let
// x move; where that leaves no residual at all (p = n - m), there is none; and c tells its norm.
template <class T>
void expectSolved(const Constrained<T>& problem, const Constrained<T>& solved) {
  const int m = problem.a.rows(), n = problem.a.cols(), p = problem.b.rows();
  const double eps = std::max(m, n) * epsilon<T>();
  EXPECT_TRUE(solved.paddingIntact());
  const double x = columnNorm(solved.x, 0, 0, n);
  const HostMatrix<Wide<T>> a = widen(problem.a), b = widen(problem.b);
  const double missed = columnNorm(residual(b, solved.x, problem.d), 0, 0, p);
  CHECK_RATIO(scaled(missed, norm1(b) * x * eps), constrainedBound);

  const HostMatrix<Wide<T>> r = residual(a, solved.x, problem.c);
  const double size = columnNorm(r, 0, 0, m), scale = norm1(a) * eps;
  if (n - p == m) {
    CHECK_RATIO(scaled(size, scale * x), constrainedBound);
  } else {
    const HostMatrix<Wide<T>> gradient = rotate(wideAdjoint(problem.b), product('C', a, 'N', r));
    CHECK_RATIO(scaled(columnNorm(gradient, 0, p, n), scale * size), constrainedBound);
  }
  const double told = columnNorm(solved.c, 0, n - p, m);
  CHECK_RATIO(scaled(std::abs(told - size), eps * (columnNorm(problem.c, 0, 0, m) + norm1(a) * x)),
              constrainedBound);
}

template <class T>
void checkConstrained(Memory where, int m, int n, int p) {
  SCOPED_TRACE(shape(where, m, n) + ", p = " + std::to_string(p));
  const Constrained<T> problem = constrainedProblem<T>(m, n, p);
  Constrained<T> solved = problem;
  ASSERT_EQ(solved.run(where), toviNoError) << toviGetErrorInfo();
  expectSolved(problem, solved);
}

// Rows (wide A) or columns of zeros, 1-based, leave exact zeros on the diagonal of the triangular factor.
template <class T>
void checkDeficient(Memory where, char trans, int m, int n, const std::vector<int>& zeros) {
  SCOPED_TRACE(shape(where, m, n) + " " + trans + ", zero " + std::to_string(zeros.front()));
  LeastSquares<T> problem = leastSquaresProblem<T>(trans, m, n, 2);
  for (const int zero : zeros)
    for (int i = 0; i < std::max(m, n); ++i)
      (m >= n ? problem.a(i, zero - 1) : problem.a(zero - 1, i)) = T(0);
  LeastSquares<T> solved = problem;
  EXPECT_EQ(solved.run(where), toviDataError);
  EXPECT_EQ(toviGetErrorInfo(), zeros.front());
  EXPECT_TRUE(solved.paddingIntact());
  for (const int zero : zeros) EXPECT_TRUE(solved.a(zero - 1, zero - 1) == T(0));
  if (problem.rows() < problem.cols() || (m == n && problem.transposed())) {
    EXPECT_TRUE(solved.b.sameBits(problem.b)) << "the right-hand sides were touched";
    return;
  }
  // Multiplied by an orthogonal matrix and nothing else.
  for (int j = 0; j < 2; ++j) {
    const double before = columnNorm(problem.b, j, 0, problem.rows());
    CHECK_RATIO(std::abs(columnNorm(solved.b, j, 0, problem.rows()) - before) /
                    (before * problem.rows() * epsilon<T>()),
                leastSquaresBound);
  }
}

// Zero rows (1-based) of B leave zeros on the diagonal of T12. Where B is (0 T12) already, with a real
// diagonal, Q is the identity: then zero columns of A leave zeros on the diagonal of R11.
template <class T>
void checkDeficient(Memory where, int m, int n, int p, const std::vector<int>& zerosOfT12,
                    const std::vector<int>& zerosOfR11, int info) {
  SCOPED_TRACE(shape(where, m, n) + ", p = " + std::to_string(p) + ", info " + std::to_string(info));
  Constrained<T> problem = constrainedProblem<T>(m, n, p);
  if (!zerosOfR11.empty())
    for (int i = 0; i < p; ++i) {
      for (int j = 0; j < n - p + i; ++j) problem.b(i, j) = T(0);
      problem.b(i, n - p + i) = T(1);
    }
  for (const int zero : zerosOfT12)
    for (int j = 0; j < n; ++j) problem.b(zero - 1, j) = T(0);
  for (const int zero : zerosOfR11)
    for (int i = 0; i < m; ++i) problem.a(i, zero - 1) = T(0);
  Constrained<T> solved = problem;
  EXPECT_EQ(solved.run(where), toviDataError);
  EXPECT_EQ(toviGetErrorInfo(), info);
  EXPECT_TRUE(solved.paddingIntact());
  for (const int zero : zerosOfT12) EXPECT_TRUE(solved.b(zero - 1, n - p + zero - 1) == T(0));
  for (const int zero : zerosOfR11) EXPECT_TRUE(solved.a(zero - 1, zero - 1) == T(0));
  if (where == Memory::host) {
    EXPECT_TRUE(solved.x.sameBits(problem.x)) << "x was touched";
  }
}

}  // namespace testing_support

#endif
