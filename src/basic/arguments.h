// What the wrappers of this floor share: argument checks in the manner of LAPACK. Positions count in the
// argument list of the wrapper's kernel, which is launched on the default stream.

#ifndef TOVI_BASIC_ARGUMENTS_H
#define TOVI_BASIC_ARGUMENTS_H

#include "ground/matrix_view.h"
#include "ground/options.h"
#include "ground/outcomes.h"

namespace tovi::basic {

// `letter` in upper case, which must be one of `letters`.
inline char oneOf(std::string_view letters, char letter, int position) {
  letter = upperCase(letter);
  if (!isOneOf(letters, letter)) argumentError(-position);
  return letter;
}

inline void checkSize(int size, int position) {
  if (size < 0) argumentError(-position);
}

// Rows stand at `position` and columns behind them, as everywhere on this floor.
template <class T>
void checkShape(MatrixView<T> a, int position) {
  checkSize(a.rows, position);
  checkSize(a.cols, position + 1);
}

inline void checkPointer(const void* p, int position) {
  if (p == nullptr) argumentError(-position);
}

// A further operand of a shape that the first one settles.
template <class T>
void checkOperand(MatrixView<T> a, int rows, int cols, int position) {
  if (a.rows != rows || a.cols != cols || a.data == nullptr) argumentError(-position);
}

}  // namespace tovi::basic

#endif
