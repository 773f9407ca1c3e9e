// How good a least-squares solution is: in double precision, from the operands that the solver was given.
// One right-hand side. Norms are 2-norms of vectors and Frobenius norms of matrices, eps that of a rounding
// to T, the type of the operands, r = b - A x.

#ifndef TOVI_TOOLS_OPTIMALITY_H
#define TOVI_TOOLS_OPTIMALITY_H

#include <algorithm>
#include <cmath>
#include <optional>

#include "tools/tovi/householder.h"
#include "tools/tovi/matrix.h"

namespace tool {

template <class W>
double norm(const Matrix<W>& a) {
  const double scale = scaleOf(a);
  double squares = 0.0;
  for (const W& value : a.values) squares += std::norm(value / scale);
  return scale * std::sqrt(squares);
}

template <class W>
Matrix<W> residual(const Matrix<W>& a, const Matrix<W>& x, Matrix<W> b) {
  addProduct(b, -1.0, a, x);
  return b;
}

// ||r|| / ((||A|| ||x|| + ||b||) max(m,n) eps): at most of order one where A x = b has a solution and x is
// one.
template <class T>
double residualRatio(const Matrix<Wide<T>>& a, const Matrix<Wide<T>>& x, const Matrix<Wide<T>>& b) {
  const double length = norm(residual(a, x, b));
  return length == 0.0 ? 0.0
                       : length / ((norm(a) * norm(x) + norm(b)) * std::max(a.rows, a.columns) * eps<T>);
}

// Whether r is no longer than what rounding makes of A x and b, ten roundings of each of the terms.
template <class T>
bool isRoundingError(const Matrix<Wide<T>>& a, const Matrix<Wide<T>>& x, const Matrix<Wide<T>>& b) {
  double terms = norm(b);
  for (int j = 0; j < a.columns; ++j) terms += std::abs(x(j, 0)) * norm(columnOf(a, j));
  return norm(residual(a, x, b)) <= 10.0 * eps<T> * terms;
}

// ||A^H r|| / (||A|| ||r|| max(m,n) eps): of order one where x makes ||r|| least. With a constraint, what the
// gradient A^H r has in the rows of the constraint's matrix does not count.
template <class T>
double optimalityRatio(const Matrix<Wide<T>>& a, const Matrix<Wide<T>>& x, const Matrix<Wide<T>>& b,
                       const std::optional<Matrix<Wide<T>>>& constraint) {
  using W = Wide<T>;
  const Matrix<W> r = residual(a, x, b);
  Matrix<W> gradient(a.columns, 1);
  const double scaleA = scaleOf(a), scaleR = scaleOf(r);
  for (int j = 0; j < a.columns; ++j)
    for (int i = 0; i < a.rows; ++i) gradient(j, 0) += conjugated(a(i, j) / scaleA) * (r(i, 0) / scaleR);
  if (constraint) {
    HouseholderQr<W>(conjugateTransposed(*constraint)).applyQConjugateTransposed(gradient);
    gradient = rowsOf(gradient, constraint->rows, a.columns - constraint->rows);
  }
  const double length = norm(gradient);
  return length == 0.0
             ? 0.0
             : length / (norm(a) / scaleA * (norm(r) / scaleR) * std::max(a.rows, a.columns) * eps<T>);
}

}  // namespace tool

#endif
