// A column-major matrix somewhere: pointer, shape and leading dimension. Inside the library matrices travel
// as views; device operands are named dX, host operands hX. A view owns nothing.

#ifndef TOVI_GROUND_MATRIX_VIEW_H
#define TOVI_GROUND_MATRIX_VIEW_H

#include <cstddef>
#include <type_traits>

#include "ground/identity.h"

namespace tovi {

constexpr std::size_t size(int n) { return static_cast<std::size_t>(n); }

template <class T>
struct MatrixView {
  T* data = nullptr;
  int rows = 0, cols = 0, ld = 0;

  MatrixView() = default;
  MatrixView(T* data_, int rows_, int cols_, int ld_) : data(data_), rows(rows_), cols(cols_), ld(ld_) {}
  // A view through which the elements can be written is also one through which they can be read.
  template <class U, class = std::enable_if_t<std::is_same_v<const U, T>>>
  MatrixView(const MatrixView<U>& other) : MatrixView(other.data, other.rows, other.cols, other.ld) {}

  // Address of element (i, j), counted from 0.
  T* at(int i, int j) const { return data + (static_cast<std::ptrdiff_t>(j) * ld + i); }
  // The r x c block whose first element is (i, j).
  MatrixView block(int i, int j, int r, int c) const { return MatrixView(at(i, j), r, c, ld); }
  MatrixView columns(int j, int c) const { return block(0, j, rows, c); }
  bool empty() const { return rows == 0 || cols == 0; }
};

template <class T>
using ConstView = MatrixView<const Identity<T>>;

}  // namespace tovi

#endif
