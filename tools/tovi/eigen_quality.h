// How good eigenvalues and eigenvectors are: in double precision, from the matrix that the library was given
// and what it gave back, by plain loops on all cores of the host. Norms are Frobenius norms, eps that of T,
// the type of the matrix. What is to be small with vectors is a matrix of the same order: it is not made but
// applied to random vectors, which takes n^2 operations and not n^3.

#ifndef TOVI_TOOLS_EIGEN_QUALITY_H
#define TOVI_TOOLS_EIGEN_QUALITY_H

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "tools/tovi/matrix.h"
#include "tools/tovi/optimality.h"
#include "tools/tovi/svd_quality.h"

namespace tool {

// A = V diag(w) V^H, w ascending; V has no columns where only the values were asked for.
template <class T>
struct EigenDecomposition {
  std::vector<Real<T>> values;
  Matrix<T> vectors;
};

// The squares of ||M z|| for vectors z of signs, whose mean is that of ||M||: the root of that of sixteen.
// image(z): M z.
template <class W, class Image>
double estimatedNorm(int n, const Image& image) {
  constexpr int count = 16;
  std::mt19937 generator;  // the same vectors in every run
  Matrix<W> signs(n, count);
  for (W& sign : signs.values) sign = generator() % 2 == 0 ? 1.0 : -1.0;
  std::vector<double> lengths(count);
  forEachColumn(count,
                [&](int j) { lengths[static_cast<std::size_t>(j)] = norm(image(columnOf(signs, j))); });
  double squares = 0.0;
  for (const double length : lengths) squares += length * length;
  return std::sqrt(squares / count);
}

// m x / scale
template <class T>
Matrix<Wide<T>> image(const Matrix<T>& m, const Matrix<Wide<T>>& x, double scale = 1.0) {
  using W = Wide<T>;
  Matrix<W> result(m.rows, 1);
  for (int j = 0; j < m.columns; ++j) {
    const W factor = x(j, 0);
    for (int i = 0; i < m.rows; ++i) result(i, 0) += W(m(i, j)) / scale * factor;
  }
  return result;
}

// ||a / scale||^2
template <class T>
double squaresOf(const Matrix<T>& a, double scale) {
  double squares = 0.0;
  for (const T& value : a.values) squares += std::norm(Wide<T>(value) / scale);
  return squares;
}

// ||A V - V diag(w)|| / (||A|| n eps)
template <class T>
double eigenResidualRatio(const Matrix<T>& a, const EigenDecomposition<T>& eigen) {
  using W = Wide<T>;
  const double scale = scaleOf(a);
  const double length = estimatedNorm<W>(a.rows, [&](Matrix<W> z) {
    Matrix<W> difference = image(a, image(eigen.vectors, z), scale);
    for (int j = 0; j < a.rows; ++j)
      z(j, 0) *= static_cast<double>(eigen.values[static_cast<std::size_t>(j)]) / scale;
    const Matrix<W> other = image(eigen.vectors, z);
    for (int i = 0; i < a.rows; ++i) difference(i, 0) -= other(i, 0);
    return difference;
  });
  return length == 0.0 ? 0.0 : length / (std::sqrt(squaresOf(a, scale)) * a.rows * eps<T>);
}

// ||I - V^H V|| / (n eps)
template <class T>
double eigenOrthogonalityRatio(const Matrix<T>& v) {
  using W = Wide<T>;
  return estimatedNorm<W>(v.columns,
                          [&](Matrix<W> z) {
                            const Matrix<W> sum = image(v, z);
                            for (int j = 0; j < v.columns; ++j)
                              for (int i = 0; i < v.rows; ++i) z(j, 0) -= conjugated(W(v(i, j))) * sum(i, 0);
                            return z;
                          }) /
         (v.rows * eps<T>);
}

// The larger one of |sum w - trace A| / (||A|| n eps) and |sum w^2 - ||A||^2| / (||A||^2 n eps): what values
// without vectors can be asked for.
template <class T>
double sumsRatio(const Matrix<T>& a, const std::vector<Real<T>>& values) {
  const double scale = scaleOf(a);
  const double squares = squaresOf(a, scale);
  double trace = 0.0, sum = 0.0, sumOfSquares = 0.0;
  for (int i = 0; i < a.rows; ++i) trace += static_cast<double>(std::real(a(i, i))) / scale;
  for (const Real<T> value : values) {
    const double scaled = static_cast<double>(value) / scale;
    sum += scaled;
    sumOfSquares += scaled * scaled;
  }
  const double worst = std::max(std::abs(sum - trace) * std::sqrt(squares), std::abs(sumOfSquares - squares));
  return worst == 0.0 ? 0.0 : worst / (squares * a.rows * eps<T>);
}

}  // namespace tool

#endif
