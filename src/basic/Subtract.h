// Differences of matrices in device memory, stored in place of the second one.

#ifndef TOVI_BASIC_SUBTRACT_H
#define TOVI_BASIC_SUBTRACT_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// op(B) := op(B) - op(A), an m x n difference; the letters give op for A and for B: N as it is, T transposed.
// With B transposed the difference lies transposed too, each element where B's own stood, so no thread reads
// what another one writes.
template <class T>
__global__ void SubtractMatrix_NN_k(int m, int n, const T* A, int lda, T* B, int ldb);
template <class T>
__global__ void SubtractMatrix_NT_k(int m, int n, const T* A, int lda, T* B, int ldb);
template <class T>
__global__ void SubtractMatrix_TN_k(int m, int n, const T* A, int lda, T* B, int ldb);
template <class T>
__global__ void SubtractMatrix_TT_k(int m, int n, const T* A, int lda, T* B, int ldb);

namespace basic {

// op(dB) := op(dB) - op(dA), transa and transb "N" or "T": "T", "N" is dB := dB - dA^T.
template <class T>
void subtractMatrix(char transa, char transb, ConstView<T> dA, MatrixView<T> dB);

}  // namespace basic
}  // namespace tovi

#endif
