// A dense matrix in host memory: column-major, leading dimension equal to its rows.

#ifndef TOVI_TOOLS_MATRIX_H
#define TOVI_TOOLS_MATRIX_H

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <vector>

namespace tool {

template <class T>
constexpr bool isComplex = !std::is_floating_point_v<T>;

// The type of a part of a number.
template <class T>
using Real = decltype(std::real(T()));

// The type of the same numbers in double precision.
template <class T>
using Wide = std::conditional_t<isComplex<T>, std::complex<double>, double>;

template <class T>
constexpr bool isDouble = std::is_same_v<Real<T>, double>;
template <class T>
constexpr const char* precisionOf = isDouble<T> ? "double precision" : "single precision";

// Of a rounding: 2^-24, or 2^-53.
template <class T>
constexpr double eps = std::numeric_limits<Real<T>>::epsilon() / 2.0;

inline double conjugated(double x) { return x; }
inline std::complex<double> conjugated(std::complex<double> z) { return std::conj(z); }

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

// A power of 2 by which numbers up to x are divided before they are squared, so that nothing overflows and no
// bit changes.
inline double scaleOf(double x) { return x > 0.0 && std::isfinite(x) ? std::ldexp(1.0, std::ilogb(x)) : 1.0; }
template <class T>
double scaleOf(const Matrix<T>& a) {
  double largest = 0.0;
  for (const T& value : a.values)
    largest = std::max({largest, std::abs(static_cast<double>(std::real(value))),
                        std::abs(static_cast<double>(std::imag(value)))});
  return scaleOf(largest);
}

template <class T>
Matrix<T> columnOf(const Matrix<T>& a, int j) {
  Matrix<T> column(a.rows, 1);
  std::copy(&a(0, j), &a(0, j) + a.rows, column.values.begin());
  return column;
}

}  // namespace tool

#endif
