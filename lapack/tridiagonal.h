// The tridiagonal form of a Hermitian (symmetric) matrix on device memory. Arguments have been checked by the
// caller; failures are exceptions.

#ifndef TOVI_LAPACK_TRIDIAGONAL_H
#define TOVI_LAPACK_TRIDIAGONAL_H

#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::lapack {

// A = Q T Q^H, the lower triangle of A being given and T real. dD takes the n diagonal elements of T, dE the
// n - 1 beside them, dTau as many scalar factors. Q leaves the first element of a vector alone; on the others
// it is the Q of Reflectors::qr, whose vectors stand in dA without its first row and last column. What else
// the triangle held is destroyed, the other one is not touched.
template <class T>
void hetrd(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTau);

}  // namespace tovi::lapack

#endif
