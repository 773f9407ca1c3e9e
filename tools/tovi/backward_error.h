// How far the computed solution is from solving the system that was asked: in double precision, from the
// operands that the solver was given.

#ifndef TOVI_TOOLS_BACKWARD_ERROR_H
#define TOVI_TOOLS_BACKWARD_ERROR_H

#include <algorithm>
#include <cmath>
#include <vector>

#include "tools/tovi/matrix.h"

namespace tool {

// The largest ||b - A x|| / (n ||A|| ||x|| eps) over the columns of b and x, 1-norms, eps of a rounding to
// T. x is finite.
template <class T>
double backwardError(const Matrix<T>& a, const Matrix<T>& b, const Matrix<T>& x) {
  using W = Wide<T>;
  double normA = 0.0;
  for (int j = 0; j < a.columns; ++j) {
    double sum = 0.0;
    for (int i = 0; i < a.rows; ++i) sum += std::abs(W(a(i, j)));
    normA = std::max(normA, sum);
  }

  double worst = 0.0;
  std::vector<W> residual(static_cast<std::size_t>(a.rows));
  for (int column = 0; column < x.columns; ++column) {
    for (int i = 0; i < a.rows; ++i) residual[static_cast<std::size_t>(i)] = W(b(i, column));
    double normX = 0.0, normResidual = 0.0;
    for (int j = 0; j < a.columns; ++j) {
      const W xj(x(j, column));
      normX += std::abs(xj);
      for (int i = 0; i < a.rows; ++i) residual[static_cast<std::size_t>(i)] -= W(a(i, j)) * xj;
    }
    for (const W& r : residual) normResidual += std::abs(r);
    if (normResidual > 0.0) worst = std::max(worst, normResidual / (a.rows * normA * normX * eps<T>));
  }
  return worst;
}

}  // namespace tool

#endif
