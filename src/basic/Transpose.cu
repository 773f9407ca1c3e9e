#include "src/basic/Transpose.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/scalars.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

constexpr int tileSize = 16;

}  // namespace

// A block owns one 16 x 16 tile of A. Thread (x, y) reads element (x, y) of the tile and writes element (x,
// y) of the transposed tile, so that neighbouring threads read and write neighbouring addresses. The tile
// waits in shared memory, whose columns are one element longer to keep a row of it out of a single bank.
template <class T, bool conj>
__global__ void Transpose_k(T* B, int ldb, const T* A, int lda, int rows, int cols) {
  TOVI_SHARED(T, tile, [tileSize][tileSize + 1]);
  const auto x = static_cast<std::ptrdiff_t>(threadIdx.x), y = static_cast<std::ptrdiff_t>(threadIdx.y);
  const std::ptrdiff_t row = cudalib::Map2D::row() - x, col = cudalib::Map2D::col() - y;  // of the tile in A
  if (row + x < rows && col + y < cols) tile[y][x] = conjugateIf<conj>(element(A, lda, row + x, col + y));
  __syncthreads();
  if (col + x < cols && row + y < rows) element(B, ldb, col + x, row + y) = tile[x][y];
}

// The thread of element (i, j) with i > j owns the pair (i, j), (j, i) and exchanges it; the threads of the
// diagonal conjugate their element; those above it do nothing.
template <class T, bool conj>
__global__ void TransposeInplace_k(T* A, int lda, int n) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i >= n || j > i) return;
  T& lower = element(A, lda, i, j);
  T& upper = element(A, lda, j, i);
  const T transposed = conjugateIf<conj>(lower);
  lower = conjugateIf<conj>(upper);
  upper = transposed;
}

namespace basic {

template <class T>
void transpose(ConstView<T> dA, MatrixView<T> dB, bool conjugate) {
  checkShape(dA, 5);
  if (dA.empty()) return;
  checkOperand(dB, dA.cols, dA.rows, 1);
  checkPointer(dA.data, 3);
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    const cudalib::Map2D map(m, n);
    if (conjugate && isComplex<T>)
      cudalib::launch<&Transpose_k<T, true>, native::Transpose<T, true>>(map, dB.at(j, i), dB.ld, dA.at(i, j),
                                                                         dA.ld, m, n);
    else
      cudalib::launch<&Transpose_k<T, false>, native::Transpose<T, false>>(map, dB.at(j, i), dB.ld,
                                                                           dA.at(i, j), dA.ld, m, n);
  });
}

template <class T>
void transposeInplace(MatrixView<T> dA, bool conjugate) {
  checkSize(dA.rows, 3);
  if (dA.rows != dA.cols) argumentError(-3);
  if (dA.empty()) return;
  checkPointer(dA.data, 1);
  const cudalib::Map2D map(dA.rows, dA.cols);
  if (conjugate && isComplex<T>)
    cudalib::launch<&TransposeInplace_k<T, true>, native::TransposeInplace<T, true>>(map, dA.data, dA.ld,
                                                                                     dA.rows);
  else
    cudalib::launch<&TransposeInplace_k<T, false>, native::TransposeInplace<T, false>>(map, dA.data, dA.ld,
                                                                                       dA.rows);
}

#define TOVI_INSTANCES(T)                       \
  template decltype(transpose<T>) transpose<T>; \
  template decltype(transposeInplace<T>) transposeInplace<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
