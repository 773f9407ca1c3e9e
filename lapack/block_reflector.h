// A block of k reflectors, H = I - V T V^H, as a factorization leaves it: V, or V^H, with a triangle V1 that
// is unit triangular and the rest V2.
//
//       QR                QL                LQ                   RQ
//
//       1 . .             v v v             1 v v v v v          v v v 1 . .
//       v 1 .  V1         v v v  V2         . 1 v v v v          v v v v 1 .
//       v v 1             v v v             . . 1 v v v          v v v v v 1
//       v v v             1 v v
//       v v v  V2         . 1 v  V1         V1^H   V2^H          V2^H   V1^H
//       v v v             . . 1
//
//       T upper           T lower           T upper              T lower
//
// What is 1 or . here belongs to another matrix, R or L, and is not read.

#ifndef TOVI_LAPACK_BLOCK_REFLECTOR_H
#define TOVI_LAPACK_BLOCK_REFLECTOR_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// V1 comes first, or last. As factors: Q = H(1) H(2) ... H(k) of QR, Q = H(k) ... H(2) H(1) of QL.
enum class Direction { forward, backward };

// The shape of a matrix of vectors.
struct Shape {
  int rows, cols;
};

// Vectors that are the columns of a matrix.
struct AsColumns {
  static constexpr char storev = 'C';
  // The letters with which what is stored stands for V and for V^H.
  static constexpr char plain = 'N', adjoint = 'C';

  static Shape shape(int count, int length) { return {length, count}; }
  template <class T>
  static int count(MatrixView<T> dV) {
    return dV.cols;
  }
  template <class T>
  static int length(MatrixView<T> dV) {
    return dV.rows;
  }
  template <class T>
  static MatrixView<T> vectors(MatrixView<T> dV, int first, int count) {
    return dV.columns(first, count);
  }
  // Some elements of all vectors.
  template <class T>
  static MatrixView<T> elements(MatrixView<T> dV, int first, int count) {
    return dV.block(first, 0, count, dV.cols);
  }
};

// Vectors, conjugated, that are the rows of a matrix.
struct AsRows {
  static constexpr char storev = 'R';
  static constexpr char plain = 'C', adjoint = 'N';

  static Shape shape(int count, int length) { return {count, length}; }
  template <class T>
  static int count(MatrixView<T> dV) {
    return dV.rows;
  }
  template <class T>
  static int length(MatrixView<T> dV) {
    return dV.cols;
  }
  template <class T>
  static MatrixView<T> vectors(MatrixView<T> dV, int first, int count) {
    return AsColumns::elements(dV, first, count);
  }
  template <class T>
  static MatrixView<T> elements(MatrixView<T> dV, int first, int count) {
    return AsColumns::vectors(dV, first, count);
  }
};

template <class Lines, Direction direction_>
struct BlockForm : Lines {
  static constexpr Direction direction = direction_;
  static constexpr bool forward = direction == Direction::forward;
  static constexpr char direct = forward ? 'F' : 'B';
  static constexpr char triangleOfT = forward ? 'U' : 'L';
  static constexpr char triangleOfV = (Lines::storev == 'C') == forward ? 'L' : 'U';  // as it is stored

  // The parts of a matrix that are, or meet, V1 and V2.
  template <class T>
  struct Parts {
    MatrixView<T> part1, part2;
  };
  // V1 and V2
  template <class T>
  static Parts<T> split(MatrixView<T> dV) {
    return splitElements<Lines>(dV, Lines::count(dV));
  }
  // C1 and C2 of H C: V^H C = V1^H C1 + V2^H C2.
  template <class T>
  static Parts<T> splitRows(MatrixView<T> dC, int k) {
    return splitElements<AsColumns>(dC, k);
  }
  // C1 and C2 of C H: C V = C1 V1 + C2 V2.
  template <class T>
  static Parts<T> splitColumns(MatrixView<T> dC, int k) {
    return splitElements<AsRows>(dC, k);
  }

 private:
  template <class As, class T>
  static Parts<T> splitElements(MatrixView<T> dX, int k) {
    const int rest = As::length(dX) - k;
    if (forward) return {As::elements(dX, 0, k), As::elements(dX, k, rest)};
    return {As::elements(dX, rest, k), As::elements(dX, 0, rest)};
  }
};

using QrBlock = BlockForm<AsColumns, Direction::forward>;
using QlBlock = BlockForm<AsColumns, Direction::backward>;
using LqBlock = BlockForm<AsRows, Direction::forward>;
using RqBlock = BlockForm<AsRows, Direction::backward>;

}  // namespace tovi::lapack

#endif
