// Scaled sums of matrices in device memory.

#ifndef TOVI_BASIC_MADD_H
#define TOVI_BASIC_MADD_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// C := alpha op(A) + beta op(B), C being m x n; the letters give op for A and for B: N as it is, T
// transposed. alpha and beta are real: S is the real type of T.
template <class T, class S>
__global__ void MADD_NN_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc);
template <class T, class S>
__global__ void MADD_NT_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc);
template <class T, class S>
__global__ void MADD_TN_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc);
template <class T, class S>
__global__ void MADD_TT_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc);

namespace basic {

// dC := alpha op(dA) + beta op(dB), transa and transb "N" or "T". dC may be an operand that is taken as it
// is, never one that is transposed.
template <class T>
void madd(char transa, char transb, Real<T> alpha, ConstView<T> dA, Real<T> beta, ConstView<T> dB,
          MatrixView<T> dC);

}  // namespace basic
}  // namespace tovi

#endif
