// Filling device memory with 0 or 1, and shaping a matrix into a triangular one.

#ifndef TOVI_BASIC_SET_H
#define TOVI_BASIC_SET_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// The fill value V is 0 or 1.
template <class Map, int V, class T>
__global__ void SetVector_k(int n, T* x, int incx);
template <class Map, int V, class T>
__global__ void SetMatrix_k(int m, int n, T* A, int lda);
template <int V, class T>
__global__ void SetSingle_k(T* p);

// Keeps the upper (lower) triangle of A and fills the strictly opposite one with V. The diagonal becomes
// value where setDiagonal is true and stays as it is otherwise.
template <int V, class T>
__global__ void SetTriangularMatrix_k(bool upper, bool setDiagonal, int m, int n, T* A, int lda, T value);

namespace basic {

enum class Fill { zero, one };

template <class T>
void setVector(Fill fill, int n, T* dX, int incx);
template <class T>
void setMatrix(Fill fill, MatrixView<T> dA);
template <class T>
void setSingle(Fill fill, T* dP);

// Shapes dA into the triangular matrix that uplo ("U" or "L") names: the opposite strict triangle becomes
// fill. The diagonal becomes one with diag "U", zero with "Z", and stays as it is with "N".
template <class T>
void setTriangular(char uplo, char diag, MatrixView<T> dA, Fill fill = Fill::zero);

}  // namespace basic
}  // namespace tovi

#endif
