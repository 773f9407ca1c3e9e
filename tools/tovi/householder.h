// A QR factorization in double precision on the processor, to judge the library's results by: plain
// Householder reflections, column by column, nothing of the library. W is double or std::complex<double>.

#ifndef TOVI_TOOLS_HOUSEHOLDER_H
#define TOVI_TOOLS_HOUSEHOLDER_H

#include <cmath>
#include <complex>
#include <vector>

#include "tools/tovi/matrix.h"

namespace tool {

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
  explicit HouseholderQr(Matrix<W> a) : a_(std::move(a)), scale_(scaleOf(a_)) {
    for (W& value : a_.values) value /= scale_;
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

  void applyQConjugateTransposed(Matrix<W>& b) const {
    for (int k = 0; k < a_.columns; ++k)
      for (int j = 0; j < b.columns; ++j) reflect(k, b, j);
  }

  Matrix<W> r() const {
    Matrix<W> result(a_.columns, a_.columns);
    for (int j = 0; j < a_.columns; ++j) {
      for (int i = 0; i < j; ++i) result(i, j) = scale_ * a_(i, j);
      result(j, j) = scale_ * diagonal_[static_cast<std::size_t>(j)];
    }
    return result;
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
  double scale_;  // what A has been divided by
  std::vector<W> diagonal_;
  std::vector<double> scales_;
};

}  // namespace tool

#endif
