// Least squares in double precision on the processor, to hold the library's results against: plain
// Householder reflections, column by column, nothing of the library. W is double or std::complex<double>.

#ifndef TOVI_TOOLS_HOUSEHOLDER_H
#define TOVI_TOOLS_HOUSEHOLDER_H

#include <cmath>
#include <complex>
#include <vector>

#include "tools/tovi/matrix.h"

namespace tool {

inline double conjugated(double x) { return x; }
inline std::complex<double> conjugated(std::complex<double> z) { return std::conj(z); }

template <class W>
Matrix<W> conjugateTransposed(const Matrix<W>& a) {
  Matrix<W> result(a.columns, a.rows);
  for (int j = 0; j < a.columns; ++j)
    for (int i = 0; i < a.rows; ++i) result(j, i) = conjugated(a(i, j));
  return result;
}

// Rows first .. first + count - 1.
template <class W>
Matrix<W> rowsOf(const Matrix<W>& a, int first, int count) {
  Matrix<W> result(count, a.columns);
  for (int j = 0; j < a.columns; ++j)
    for (int i = 0; i < count; ++i) result(i, j) = a(first + i, j);
  return result;
}

// target := target + factor a b
template <class W>
void addProduct(Matrix<W>& target, double factor, const Matrix<W>& a, const Matrix<W>& b) {
  for (int j = 0; j < b.columns; ++j)
    for (int k = 0; k < a.columns; ++k) {
      const W scale = factor * b(k, j);
      for (int i = 0; i < a.rows; ++i) target(i, j) += scale * a(i, k);
    }
}

// A = Q R for a matrix with at least as many rows as columns. Q is a product of Hermitian reflections
// I - 2 v v^H / (v^H v): they stand, v(k) first, in the lower trapezoid; R above it and in diagonal_.
template <class W>
class HouseholderQr {
 public:
  explicit HouseholderQr(Matrix<W> a) : a_(std::move(a)) {
    for (int k = 0; k < a_.columns; ++k) {
      double squares = 0.0;
      for (int i = k; i < a_.rows; ++i) squares += std::norm(a_(i, k));
      const double length = std::sqrt(squares), head = std::abs(a_(k, k));
      // Away from the column's first element, so that nothing cancels.
      const W image = head == 0.0 ? W(-length) : -length / head * a_(k, k);
      diagonal_.push_back(image);
      a_(k, k) -= image;
      scales_.push_back(length == 0.0 ? 0.0 : 1.0 / (squares + length * head));  // 2 / (v^H v)
      for (int j = k + 1; j < a_.columns; ++j) reflect(k, a_, j);
    }
  }

  void applyQ(Matrix<W>& b) const {
    for (int k = a_.columns - 1; k >= 0; --k)
      for (int j = 0; j < b.columns; ++j) reflect(k, b, j);
  }
  void applyQConjugateTransposed(Matrix<W>& b) const {
    for (int k = 0; k < a_.columns; ++k)
      for (int j = 0; j < b.columns; ++j) reflect(k, b, j);
  }

  Matrix<W> r() const {
    Matrix<W> result(a_.columns, a_.columns);
    for (int j = 0; j < a_.columns; ++j) {
      for (int i = 0; i < j; ++i) result(i, j) = a_(i, j);
      result(j, j) = diagonal_[static_cast<std::size_t>(j)];
    }
    return result;
  }

  // b := R^-1 b and b := R^-H b, on the leading rows of b.
  void solveR(Matrix<W>& b) const {
    for (int j = 0; j < b.columns; ++j)
      for (int k = a_.columns - 1; k >= 0; --k) {
        b(k, j) /= diagonal_[static_cast<std::size_t>(k)];
        for (int i = 0; i < k; ++i) b(i, j) -= a_(i, k) * b(k, j);
      }
  }
  void solveRConjugateTransposed(Matrix<W>& b) const {
    for (int j = 0; j < b.columns; ++j)
      for (int k = 0; k < a_.columns; ++k) {
        for (int i = 0; i < k; ++i) b(k, j) -= conjugated(a_(i, k)) * b(i, j);
        b(k, j) /= conjugated(diagonal_[static_cast<std::size_t>(k)]);
      }
  }

 private:
  // Reflection k of column j of b.
  void reflect(int k, Matrix<W>& b, int j) const {
    W sum(0);
    for (int i = k; i < a_.rows; ++i) sum += conjugated(a_(i, k)) * b(i, j);
    sum *= scales_[static_cast<std::size_t>(k)];
    for (int i = k; i < a_.rows; ++i) b(i, j) -= sum * a_(i, k);
  }

  Matrix<W> a_;
  std::vector<W> diagonal_;
  std::vector<double> scales_;
};

// The x of least ||b - a x||, or, where a has more columns than rows, the x of least ||x|| with a x = b.
template <class W>
Matrix<W> leastSquares(const Matrix<W>& a, const Matrix<W>& b) {
  if (a.rows >= a.columns) {
    const HouseholderQr<W> qr(a);
    Matrix<W> x = b;
    qr.applyQConjugateTransposed(x);
    qr.solveR(x);
    return rowsOf(x, 0, a.columns);
  }
  const HouseholderQr<W> qr(conjugateTransposed(a));
  Matrix<W> x(a.columns, b.columns);
  for (int j = 0; j < b.columns; ++j)
    for (int i = 0; i < b.rows; ++i) x(i, j) = b(i, j);
  qr.solveRConjugateTransposed(x);
  qr.applyQ(x);
  return x;
}

// The x of least ||b - a x|| among those with constraint x = d. With constraint^H = Q R and x = Q y, the
// constraint fixes the leading part of y, y1 = R^-H d, and leaves an ordinary problem for the rest:
// || (b - A1 y1) - A2 y2 ||, (A1 A2) = a Q.
template <class W>
Matrix<W> constrainedLeastSquares(const Matrix<W>& a, const Matrix<W>& b, const Matrix<W>& constraint,
                                  const Matrix<W>& d) {
  const int n = a.columns, p = constraint.rows;
  const HouseholderQr<W> qr(conjugateTransposed(constraint));
  Matrix<W> rotated = conjugateTransposed(a);  // (a Q)^H = Q^H a^H
  qr.applyQConjugateTransposed(rotated);
  Matrix<W> y1 = d, rest = b;
  qr.solveRConjugateTransposed(y1);
  addProduct(rest, -1.0, conjugateTransposed(rowsOf(rotated, 0, p)), y1);
  const Matrix<W> y2 = leastSquares(conjugateTransposed(rowsOf(rotated, p, n - p)), rest);
  Matrix<W> x(n, b.columns);
  for (int j = 0; j < b.columns; ++j)
    for (int i = 0; i < n; ++i) x(i, j) = i < p ? y1(i, j) : y2(i - p, j);
  qr.applyQ(x);
  return x;
}

}  // namespace tool

#endif
