// Conjugation in device memory. For a real type there is nothing to do, and the wrappers launch nothing.

#ifndef TOVI_BASIC_CONJUGATE_H
#define TOVI_BASIC_CONJUGATE_H

#include "device/runtime.h"
#include "ground/matrix_view.h"

namespace tovi {

template <class Map, class T>
__global__ void ConjugateVector_k(int n, T* x, int incx);
template <class Map, class T>
__global__ void ConjugateMatrix_k(int m, int n, T* A, int lda);

namespace basic {

template <class T>
void conjugateVector(int n, T* dX, int incx);
template <class T>
void conjugateMatrix(MatrixView<T> dA);

}  // namespace basic
}  // namespace tovi

#endif
