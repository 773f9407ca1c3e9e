// Transposition in device memory, out of place and in place.

#ifndef TOVI_BASIC_TRANSPOSE_H
#define TOVI_BASIC_TRANSPOSE_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// B := A^T, or A^H when conj is true. A is rows x cols.
template <class T, bool conj>
__global__ void Transpose_k(T* B, int ldb, const T* A, int lda, int rows, int cols);

// The n x n matrix A replaced by its transpose, or its conjugate transpose when conj is true.
template <class T, bool conj>
__global__ void TransposeInplace_k(T* A, int lda, int n);

namespace basic {

// dB := dA^T (dA^H); dB has as many rows as dA has columns and the other way round.
template <class T>
void transpose(ConstView<T> dA, MatrixView<T> dB, bool conjugate = false);

// dA := dA^T (dA^H); dA is square.
template <class T>
void transposeInplace(MatrixView<T> dA, bool conjugate = false);

}  // namespace basic
}  // namespace tovi

#endif
