// How well a matrix determines a solution: estimates in double precision, from the factors that the library
// has left in single precision.

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

// A condition number, and the largest one that can be told from infinity.
struct Condition {
  double value = 0.0, resolved = INFINITY;

  // For an m x n matrix. A factorization's errors are sums along the longer side, and grow like its root:
  // columns that depend on each other have been seen with conditions from a few times this value on.
  Condition(double estimate, int m, int n)
      : value(std::isnan(estimate) ? INFINITY : estimate),  // an overflow on the way
        resolved(1.0 / (eps * std::sqrt(static_cast<double>(std::max(m, n))))) {}
  Condition() = default;

  // How many decimal digits of the solution it leaves; none where it is not resolved.
  double digits() const { return value <= resolved ? std::log10(resolved / value) : 0.0; }
  bool isResolved() const { return value <= resolved; }

  std::string text() const;     // one line of a report
  std::string warning() const;  // "condition 2e+13, ...", for one that is not resolved
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
  std::vector<double> lengths;
  for (int j = 0; j < a.columns; ++j) lengths.push_back(norm(converted<Wide<T>>(columnOf(a, j))));
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

inline std::vector<double> ones(int count) {
  return std::vector<double>(static_cast<std::size_t>(count), 1.0);
}

// --- What depends on what

struct Dependence {
  int column;
  std::vector<int> others;  // none: the column is zero
};

// The columns of A that are combinations of those before them, to single precision: what U has on its
// diagonal is what such a column has beside them. A = Q U or L U of m rows; of u the upper triangle is read.
// The one that comes nearest to that is always among them.
template <class T>
std::vector<Dependence> dependentColumns(const Matrix<T>& u, double resolved) {
  using W = Wide<T>;
  const int n = u.columns;
  std::vector<double> lengths, parts;  // of the columns; what is left of them, over their lengths
  for (int j = 0; j < n; ++j) {
    double squares = 0.0;
    for (int i = 0; i <= j; ++i) squares += std::norm(W(u(i, j)));
    lengths.push_back(std::sqrt(squares));
    parts.push_back(squares == 0.0 ? 0.0 : std::abs(W(u(j, j))) / lengths.back());
  }
  const double bound =
      std::max(std::sqrt(static_cast<double>(n)) / resolved, *std::min_element(parts.begin(), parts.end()));
  const auto at = [](int j) { return static_cast<std::size_t>(j); };
  std::vector<Dependence> found;
  for (int j = 0; j < n; ++j) {
    if (parts[at(j)] > bound) continue;
    // The combination, by substitution; none of them depends on others itself.
    Matrix<W> rest(n, 1);
    std::vector<double> shares(at(j));
    for (int i = 0; i < j; ++i) rest(i, 0) = W(u(i, j));
    for (int k = j - 1; k >= 0; --k) {
      if (parts[at(k)] <= bound) continue;
      const W factor = rest(k, 0) / W(u(k, k));
      for (int i = 0; i < k; ++i) rest(i, 0) -= factor * W(u(i, k));
      shares[at(k)] = std::abs(factor) * lengths[at(k)];
    }
    constexpr double negligible = 1e-3;
    Dependence dependence{j, {}};
    for (int k = 0; k < j; ++k)
      if (shares[at(k)] > negligible * *std::max_element(shares.begin(), shares.end()))
        dependence.others.push_back(k);
    if (lengths[at(j)] == 0.0 || !dependence.others.empty()) found.push_back(dependence);
  }
  return found;
}

// One line each, of the first few: "t.csv: to single precision column 'b' depends on 'a'". what: "column".
std::vector<std::string> describe(const std::string& path, const std::vector<Dependence>& dependences,
                                  const std::string& what, const std::function<std::string(int)>& name);

}  // namespace tool

#endif
