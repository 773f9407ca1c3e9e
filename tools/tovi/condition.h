// How well a matrix determines a solution: estimates in double precision, from the factors that the library
// has left in the precision of the problem, T.

#ifndef TOVI_TOOLS_CONDITION_H
#define TOVI_TOOLS_CONDITION_H

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "tools/tovi/householder.h"
#include "tools/tovi/matrix.h"
#include "tools/tovi/optimality.h"
#include "tools/tovi/report.h"

namespace tool {

// The largest condition of an m x n matrix that T can tell from infinity. A factorization's
// errors are sums along the longer side and grow like its root: matrices whose columns depend on each other
// have been seen with conditions from here on.
template <class T>
double resolvedCondition(int m, int n) {
  return 1.0 / (eps<T> * std::sqrt(static_cast<double>(std::max(m, n))));
}

struct Condition {
  // sensitivity: of the solution, which is that to A and more where the residual is large
  double value = 0.0, sensitivity = 0.0, resolved = 0.0;
  const char* precision = "";

  // Of an m x n matrix of T
  template <class T>
  static Condition of(double estimate, int m, int n) {
    const double value = std::isnan(estimate) ? INFINITY : estimate;  // an overflow on the way
    return {value, value, resolvedCondition<T>(m, n), precisionOf<T>};
  }

  // ratio: ||r|| / ||A x||, the tangent of the angle between b and A x. A change of A by a share e of it
  // moves the solution of least squares by up to e (K / cos + K^2 tan). Of the second term a factorization's
  // errors, one an element, make that over the root of their number.
  void addResidual(double ratio, int m, int n) {
    const double moved =
        value * std::sqrt(1.0 + ratio * ratio) + value * value * ratio / std::sqrt(std::max({m, n, 1}));
    sensitivity = std::max(sensitivity, std::isnan(moved) ? INFINITY : moved);
  }

  bool isResolved() const { return sensitivity <= resolved; }
  // How many decimal digits it leaves the solution
  double digits() const { return isResolved() ? std::log10(resolved / sensitivity) : 0.0; }

  std::string text() const;     // one line of a report
  std::string warning() const;  // of one that is not resolved
  void addTo(CsvRow& row) const;
};

// --- Estimates

enum class Triangle { upper, unitLower };

// x := T^-1 x or, adjoint, T^-H x; T is a triangle of a.
template <class T>
void solveTriangle(const Matrix<T>& a, Triangle triangle, bool adjoint, Matrix<Wide<T>>& x) {
  using W = Wide<T>;
  const bool upper = triangle == Triangle::upper;
  const int n = a.columns;
  for (int step = 0; step < n; ++step) {
    const int k = upper == adjoint ? step : n - 1 - step;
    const int first = upper ? 0 : k + 1, end = upper ? k : n;
    W value = x(k, 0);
    if (adjoint)
      for (int i = first; i < end; ++i) value -= conjugated(W(a(i, k))) * x(i, 0);
    if (upper) value /= adjoint ? conjugated(W(a(k, k))) : W(a(k, k));
    x(k, 0) = value;
    if (!adjoint)
      for (int i = first; i < end; ++i) x(i, 0) -= W(a(i, k)) * value;
  }
}

// The largest singular value of a matrix M of n columns, by the power method: up to a tenth too small where
// others are near. square(x): x := M^H M x.
template <class W, class Square>
double largestSingularValue(int n, const Square& square) {
  constexpr int steps = 8;
  std::mt19937 generator;  // the same numbers in every run
  Matrix<W> x(n, 1);
  for (W& value : x.values) value = static_cast<double>(generator()) - 0.5 * std::mt19937::max();
  double length = norm(x);
  for (int step = 0; step < steps; ++step) {
    for (W& value : x.values) value /= length;
    square(x);
    length = norm(x);
  }
  return std::sqrt(length);
}

template <class T>
std::vector<double> columnLengths(const Matrix<T>& a) {
  std::vector<double> lengths(static_cast<std::size_t>(a.columns));
  for (int j = 0; j < a.columns; ++j)
    lengths[static_cast<std::size_t>(j)] = norm(converted<Wide<T>>(columnOf(a, j)));
  return lengths;
}

// ||M||, the 2-norm, where M has the columns of a over these divisors.
template <class T>
double normOf(const Matrix<T>& a, const std::vector<double>& divisors) {
  using W = Wide<T>;
  return largestSingularValue<W>(a.columns, [&](Matrix<W>& x) {
    Matrix<W> image(a.rows, 1);
    for (int j = 0; j < a.columns; ++j) {
      const W factor = x(j, 0) / divisors[static_cast<std::size_t>(j)];
      for (int i = 0; i < a.rows; ++i) image(i, 0) += W(a(i, j)) * factor;
    }
    for (int j = 0; j < a.columns; ++j) {
      W sum(0);
      for (int i = 0; i < a.rows; ++i) sum += conjugated(W(a(i, j))) * image(i, 0);
      x(j, 0) = sum / divisors[static_cast<std::size_t>(j)];
    }
  });
}

// ||M^-1||, the same, from the factors of a, but for interchanges of its rows, which change nothing. R of a
// QR factorization, with zeros below its diagonal, is I R.
template <class T>
double normOfInverse(const Matrix<T>& lu, const std::vector<double>& divisors) {
  using W = Wide<T>;
  const auto multiply = [&](Matrix<W>& x) {
    for (int j = 0; j < x.rows; ++j) x(j, 0) *= divisors[static_cast<std::size_t>(j)];
  };
  return largestSingularValue<W>(lu.columns, [&](Matrix<W>& x) {  // of M^-H
    multiply(x);
    solveTriangle(lu, Triangle::upper, true, x);
    solveTriangle(lu, Triangle::unitLower, true, x);
    solveTriangle(lu, Triangle::unitLower, false, x);
    solveTriangle(lu, Triangle::upper, false, x);
    multiply(x);
  });
}

// ||A|| ||A^-1||, from A and its factors.
template <class T>
double conditionOf(const Matrix<T>& a, const Matrix<T>& factors) {
  const std::vector<double> units(static_cast<std::size_t>(a.columns), scaleOf(a));
  return normOf(a, units) * normOfInverse(factors, units);
}

// --- What depends on what

struct Dependence {
  int column;
  std::vector<int> others;  // none: the column is zero
};

struct Dependences {
  static constexpr std::size_t most = 5;
  std::vector<Dependence> first;  // at most so many of them
  int count = 0;
};

// The columns of A that are combinations of those before them, to its precision. A = Q U or L U, and of u
// the upper triangle is read: its diagonal is what each column has beside those before it. The one that has
// the smallest part is always among them.
template <class T>
Dependences dependentColumns(const Matrix<T>& u, double resolved) {
  using W = Wide<T>;
  const int n = u.columns;
  const auto at = [](int j) { return static_cast<std::size_t>(j); };
  std::vector<double> lengths(at(n)), parts(at(n));
  for (int j = 0; j < n; ++j) {
    Matrix<W> column(j + 1, 1);
    for (int i = 0; i <= j; ++i) column(i, 0) = W(u(i, j));
    lengths[at(j)] = norm(column);
    if (lengths[at(j)] > 0.0) parts[at(j)] = std::abs(W(u(j, j))) / lengths[at(j)];
  }
  const double bound =
      std::max(std::sqrt(static_cast<double>(n)) / resolved, *std::min_element(parts.begin(), parts.end()));

  Dependences dependences;
  for (int j = 0; j < n; ++j) {
    if (parts[at(j)] > bound) continue;
    if (dependences.first.size() == Dependences::most) {
      ++dependences.count;
      continue;
    }
    // The combination, by substitution; columns that depend on others themselves are left out.
    std::vector<W> rest(&u(0, j), &u(0, j) + j);
    std::vector<double> shares(at(j));
    for (int k = j - 1; k >= 0; --k) {
      if (parts[at(k)] <= bound) continue;
      const W factor = rest[at(k)] / W(u(k, k));
      for (int i = 0; i < k; ++i) rest[at(i)] -= factor * W(u(i, k));
      shares[at(k)] = std::abs(factor) * lengths[at(k)];
    }
    constexpr double negligible = 1e-3;
    Dependence dependence{j, {}};
    for (int k = 0; k < j; ++k)
      if (shares[at(k)] > negligible * *std::max_element(shares.begin(), shares.end()))
        dependence.others.push_back(k);
    if (dependence.others.empty() && lengths[at(j)] > 0.0) continue;  // only rounding stands before it
    dependences.first.push_back(dependence);
    ++dependences.count;
  }
  return dependences;
}

// One line each: "t.csv: to single precision column 'b' depends on 'a'". what: "column".
std::vector<std::string> describe(const std::string& path, const Dependences& dependences,
                                  const char* precision, const std::string& what,
                                  const std::function<std::string(int)>& name);

}  // namespace tool

#endif
