// LAPACK's laset in device memory.

#ifndef TOVI_BASIC_LASET_H
#define TOVI_BASIC_LASET_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

template <class T>
__global__ void LASET_k(char uplo, int m, int n, T alpha, T beta, T* A, int lda);

namespace basic {

// The elements above the diagonal (uplo "U"), below it ("L") or on both sides of it (any other letter) become
// alpha, the diagonal becomes beta.
template <class T>
void laset(char uplo, Identity<T> alpha, Identity<T> beta, MatrixView<T> dA);

}  // namespace basic
}  // namespace tovi

#endif
