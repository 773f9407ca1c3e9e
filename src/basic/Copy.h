// Copies in device memory: vectors, matrices, single elements, and between a real type and its complex type.

#ifndef TOVI_BASIC_COPY_H
#define TOVI_BASIC_COPY_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// y := x.
template <class Map, class T>
__global__ void CopyVector_k(int n, const T* x, int incx, T* y, int incy);

// x := y, y real; imaginary parts become zero.
template <class Map, class T>
__global__ void CopyVectorRealToComplex_k(int n, T* x, int incx, const Real<T>* y, int incy);

// B := A, both m x n.
template <class T>
__global__ void CopyMatrix_k(int m, int n, const T* A, int lda, T* B, int ldb);
// The same with A real; imaginary parts become zero.
template <class T>
__global__ void CopyMatrixRealToComplex_k(int m, int n, const Real<T>* A, int lda, T* B, int ldb);

// One element; the conversions give a zero imaginary part or take the real part.
template <class T>
__global__ void CopySingle_k(T* destination, const T* source);
template <class T>
__global__ void CopyComplexToReal_k(Real<T>* destination, const T* source);

// The wrappers name the source first, then the destination, whatever the order of their kernels. A vector
// with a negative increment is walked from its far end, as in the BLAS.
namespace basic {

template <class T>
void copyVector(int n, const T* dX, int incx, T* dY, int incy);

template <class T>
void copyVectorRealToComplex(int n, const Real<T>* dX, int incx, T* dY, int incy);

template <class T>
void copyMatrix(ConstView<T> dA, MatrixView<T> dB);
template <class T>
void copyMatrixRealToComplex(ConstView<Real<T>> dA, MatrixView<T> dB);

template <class T>
void copySingle(const T* dX, T* dY);
template <class T>
void copyComplexToReal(const T* dX, Real<T>* dY);

}  // namespace basic
}  // namespace tovi

#endif
