// LAPACK's laset in device memory.

#ifndef TOVI_BASIC_LASET_H
#define TOVI_BASIC_LASET_H

#include "cudalib/matrix_view.h"
#include "platform/host/complex.h"
#include "platform/runtime.h"

namespace tovi {

template <class T>
__global__ void LASET_k(char uplo, int m, int n, T alpha, T beta, T* A, int lda);

namespace basic {

// The elements above the diagonal (uplo "U"), below it ("L") or on both sides of it (any other letter) become
// alpha, the diagonal becomes beta.
template <class T>
void laset(char uplo, typename Identity<T>::type alpha, typename Identity<T>::type beta, MatrixView<T> dA,
           cudaStream_t stream = nullptr);

}  // namespace basic
}  // namespace tovi

#endif
