// LAPACK's lacpy in device memory.

#ifndef TOVI_BASIC_LACPY_H
#define TOVI_BASIC_LACPY_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// The whole of the m x n matrix A, its lower or its upper triangle, the diagonal included, to the same place
// in B.
template <class T>
__global__ void LACPY_G_Kernel(int m, int n, const T* A, int lda, T* B, int ldb);
template <class T>
__global__ void LACPY_L_Kernel(int m, int n, const T* A, int lda, T* B, int ldb);
template <class T>
__global__ void LACPY_U_Kernel(int m, int n, const T* A, int lda, T* B, int ldb);

namespace basic {

// uplo "L": the lower triangle, "U": the upper one, any other letter: everything. dB has the shape of dA.
template <class T>
void lacpy(char uplo, ConstView<T> dA, MatrixView<T> dB);

}  // namespace basic
}  // namespace tovi

#endif
