// How good a least-squares solution is: in double precision, from the operands that the solver was given.
// One right-hand side. Norms are 2-norms of vectors and Frobenius norms of matrices, eps = 2^-24, r = b - A
// x.

#ifndef TOVI_TOOLS_OPTIMALITY_H
#define TOVI_TOOLS_OPTIMALITY_H

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "tools/tovi/householder.h"
#include "tools/tovi/matrix.h"

namespace tool {

constexpr double eps = std::numeric_limits<float>::epsilon() / 2.0;

template <class W>
double norm(const Matrix<W>& a) {
  double squares = 0.0;
  for (const W& value : a.values) squares += std::norm(value);
  return std::sqrt(squares);
}

template <class W>
Matrix<W> residual(const Matrix<W>& a, const Matrix<W>& x, Matrix<W> b) {
  addProduct(b, -1.0, a, x);
  return b;
}

// ||r|| / ((||A|| ||x|| + ||b||) max(m,n) eps): at most of order one where A x = b has a solution and x is
// one.
template <class W>
double residualRatio(const Matrix<W>& a, const Matrix<W>& x, const Matrix<W>& b) {
  const double length = norm(residual(a, x, b));
  return length == 0.0 ? 0.0 : length / ((norm(a) * norm(x) + norm(b)) * std::max(a.rows, a.columns) * eps);
}

// Whether r is no longer than what rounding makes of A x and b, ten roundings of each of the terms.
template <class W>
bool isRoundingError(const Matrix<W>& a, const Matrix<W>& x, const Matrix<W>& b) {
  double terms = norm(b);
  for (int j = 0; j < a.columns; ++j) terms += std::abs(x(j, 0)) * norm(columnOf(a, j));
  return norm(residual(a, x, b)) <= 10.0 * eps * terms;
}

// ||A^H r|| / (||A|| ||r|| max(m,n) eps): of order one where x makes ||r|| least. With a constraint, what the
// gradient A^H r has in the rows of the constraint's matrix does not count.
template <class W>
double optimalityRatio(const Matrix<W>& a, const Matrix<W>& x, const Matrix<W>& b,
                       const std::optional<Matrix<W>>& constraint) {
  const Matrix<W> r = residual(a, x, b);
  Matrix<W> gradient(a.columns, 1);
  for (int j = 0; j < a.columns; ++j)
    for (int i = 0; i < a.rows; ++i) gradient(j, 0) += conjugated(a(i, j)) * r(i, 0);
  if (constraint) {
    HouseholderQr<W>(conjugateTransposed(*constraint)).applyQConjugateTransposed(gradient);
    gradient = rowsOf(gradient, constraint->rows, a.columns - constraint->rows);
  }
  const double length = norm(gradient);
  return length == 0.0 ? 0.0 : length / (norm(a) * norm(r) * std::max(a.rows, a.columns) * eps);
}

}  // namespace tool

#endif
