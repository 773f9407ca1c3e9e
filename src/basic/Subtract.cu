#include "src/basic/Subtract.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

// The four kernels differ in where they find their operands. A thread owns one element of B.
template <bool transA, bool transB, class T>
__device__ inline void subtract(int m, int n, const T* A, int lda, T* B, int ldb) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i < m && j < n)
    element(B, ldb, transB ? j : i, transB ? i : j) -= element(A, lda, transA ? j : i, transA ? i : j);
}

}  // namespace

template <class T>
__global__ void SubtractMatrix_NN_k(int m, int n, const T* A, int lda, T* B, int ldb) {
  subtract<false, false>(m, n, A, lda, B, ldb);
}

template <class T>
__global__ void SubtractMatrix_NT_k(int m, int n, const T* A, int lda, T* B, int ldb) {
  subtract<false, true>(m, n, A, lda, B, ldb);
}

template <class T>
__global__ void SubtractMatrix_TN_k(int m, int n, const T* A, int lda, T* B, int ldb) {
  subtract<true, false>(m, n, A, lda, B, ldb);
}

template <class T>
__global__ void SubtractMatrix_TT_k(int m, int n, const T* A, int lda, T* B, int ldb) {
  subtract<true, true>(m, n, A, lda, B, ldb);
}

namespace basic {

namespace {

template <auto Kernel, bool transA, bool transB, class T>
void launchSubtract(int rows, int cols, ConstView<T> dA, MatrixView<T> dB) {
  cudalib::forEachPart(rows, cols, [&](int i, int j, int m, int n) {
    cudalib::launch<Kernel>(cudalib::Map2D(m, n), m, n, transA ? dA.at(j, i) : dA.at(i, j), dA.ld,
                            transB ? dB.at(j, i) : dB.at(i, j), dB.ld);
  });
}

}  // namespace

template <class T>
void subtractMatrix(char transa, char transb, ConstView<T> dA, MatrixView<T> dB) {
  const bool transposedA = oneOf("NT", transa, 1) == 'T', transposedB = oneOf("NT", transb, 2) == 'T';
  checkShape(dB, 3);
  if (dB.empty()) return;
  const int m = transposedB ? dB.cols : dB.rows, n = transposedB ? dB.rows : dB.cols;  // the difference
  checkOperand(dA, transposedA ? n : m, transposedA ? m : n, 5);
  checkPointer(dB.data, 7);
  const auto launch = transposedA ? (transposedB ? &launchSubtract<&SubtractMatrix_TT_k<T>, true, true, T>
                                                 : &launchSubtract<&SubtractMatrix_TN_k<T>, true, false, T>)
                                  : (transposedB ? &launchSubtract<&SubtractMatrix_NT_k<T>, false, true, T>
                                                 : &launchSubtract<&SubtractMatrix_NN_k<T>, false, false, T>);
  launch(m, n, dA, dB);
}

#define TOVI_INSTANCES(T) template decltype(subtractMatrix<T>) subtractMatrix<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
