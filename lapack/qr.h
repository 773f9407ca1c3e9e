// Orthogonal factorizations on device memory, in LAPACK's compact form: Q as k = min(m, n) reflectors whose
// vectors stand where A has become zero and whose scalar factors go to dTau (k elements). Arguments have been
// checked by the caller; failures are exceptions, and leave dTau as it was.

#ifndef TOVI_LAPACK_QR_H
#define TOVI_LAPACK_QR_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// A = Q R. R on and above the diagonal, the vectors below it.
template <class T>
void geqrf(MatrixView<T> dA, T* dTau);

// A = L Q. L on and below the diagonal, the vectors, conjugated, to the right of it.
template <class T>
void gelqf(MatrixView<T> dA, T* dTau);

// A = R Q. R is upper triangular against the lower right corner: it ends in the last column (m <= n) or in
// the last row; the vectors, conjugated, stand to the left of it.
template <class T>
void gerqf(MatrixView<T> dA, T* dTau);

}  // namespace tovi::lapack

#endif
