// How good a singular value decomposition is: in double precision, from the matrix that the library was
// given and the factors that it gave back, by plain loops on all cores of the host. eps is that of T, the
// type of the matrix.

#ifndef TOVI_TOOLS_SVD_QUALITY_H
#define TOVI_TOOLS_SVD_QUALITY_H

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <thread>
#include <vector>

#include "tools/tovi/householder.h"
#include "tools/tovi/matrix.h"

namespace tool {

// A = U S V^H in economy size.
template <class T>
struct Decomposition {
  Matrix<T> u;
  std::vector<Real<T>> values;
  Matrix<T> vh;
};

// body(j) for each column, on all cores.
template <class Body>
void forEachColumn(int columns, const Body& body) {
  std::atomic<int> next{0};
  const auto work = [&] {
    for (int j = next++; j < columns; j = next++) body(j);
  };
  std::vector<std::future<void>> others;
  for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i)
    others.push_back(std::async(std::launch::async, work));
  work();
  for (std::future<void>& other : others) other.get();
}

// The sum of the first `rank` terms u(k) s(k) v(k)^H.
template <class T>
Matrix<Wide<T>> leadingPart(const Decomposition<T>& svd, int rank) {
  using W = Wide<T>;
  Matrix<W> sum(svd.u.rows, svd.vh.columns);
  forEachColumn(sum.columns, [&](int j) {
    W* column = &sum(0, j);
    for (int k = 0; k < rank; ++k) {
      const T* u = &svd.u(0, k);
      const W scale = static_cast<double>(svd.values[static_cast<std::size_t>(k)]) * W(svd.vh(k, j));
      for (int i = 0; i < sum.rows; ++i) column[i] += scale * W(u[i]);
    }
  });
  return sum;
}

// ||A - U S V^H|| / (||A|| max(m,n) eps), Frobenius norms. sum: U S V^H.
template <class T>
double reconstructionRatio(const Matrix<T>& a, const Matrix<Wide<T>>& sum) {
  const double scale = scaleOf(a);
  double squares = 0.0, residualSquares = 0.0;
  for (std::size_t k = 0; k < a.values.size(); ++k) {
    const Wide<T> value(a.values[k]);
    squares += std::norm(value / scale);
    residualSquares += std::norm((value - sum.values[k]) / scale);
  }
  return residualSquares == 0.0
             ? 0.0
             : std::sqrt(residualSquares / squares) / (std::max(a.rows, a.columns) * eps<T>);
}

// ||I - Q^H Q|| / (m eps), Frobenius norm, m the rows of Q, whose elements are numbers of T.
template <class T, class U>
double orthogonalityRatio(const Matrix<U>& q) {
  using W = Wide<T>;
  std::vector<double> squares(static_cast<std::size_t>(q.columns));
  forEachColumn(q.columns, [&](int j) {
    // Four products at a time, so that no sum waits for its own last addition.
    constexpr int together = 4;
    double columnSquares = 0.0;
    for (int first = 0; first <= j; first += together) {
      W sums[together] = {};
      const U* columns[together];
      for (int k = 0; k < together; ++k) columns[k] = &q(0, std::min(first + k, j));
      for (int i = 0; i < q.rows; ++i) {
        const W value(q(i, j));
        for (int k = 0; k < together; ++k) sums[k] += conjugated(W(columns[k][i])) * value;
      }
      for (int k = 0; k < together && first + k <= j; ++k)
        columnSquares += first + k == j ? std::norm(sums[k] - 1.0) : 2.0 * std::norm(sums[k]);
    }
    squares[static_cast<std::size_t>(j)] = columnSquares;
  });
  double sum = 0.0;
  for (const double value : squares) sum += value;
  return std::sqrt(sum) / (q.rows * eps<T>);
}

}  // namespace tool

#endif
