// A dense matrix in host memory: column-major, leading dimension equal to its rows.

#ifndef TOVI_TOOLS_MATRIX_H
#define TOVI_TOOLS_MATRIX_H

#include <algorithm>
#include <complex>
#include <cstddef>
#include <type_traits>
#include <vector>

namespace tool {

template <class T>
constexpr bool isComplex = !std::is_floating_point_v<T>;

// The type of the same numbers in double precision.
template <class T>
using Wide = std::conditional_t<isComplex<T>, std::complex<double>, double>;

template <class T>
struct Matrix {
  int rows, columns;
  std::vector<T> values;

  Matrix(int rowCount, int columnCount, T value = T(0))
      : rows(rowCount),
        columns(columnCount),
        values(static_cast<std::size_t>(rowCount) * static_cast<std::size_t>(columnCount), value) {}

  std::size_t index(int i, int j) const {
    return static_cast<std::size_t>(j) * static_cast<std::size_t>(rows) + static_cast<std::size_t>(i);
  }
  T& operator()(int i, int j) { return values[index(i, j)]; }
  const T& operator()(int i, int j) const { return values[index(i, j)]; }
};

template <class T, class U>
Matrix<T> converted(const Matrix<U>& a) {
  Matrix<T> result(a.rows, a.columns);
  for (std::size_t k = 0; k < a.values.size(); ++k) result.values[k] = T(a.values[k]);
  return result;
}

template <class T>
Matrix<T> columnOf(const Matrix<T>& a, int j) {
  Matrix<T> column(a.rows, 1);
  std::copy(&a(0, j), &a(0, j) + a.rows, column.values.begin());
  return column;
}

}  // namespace tool

#endif
