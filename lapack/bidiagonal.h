// The bidiagonal form A = Q B P^H on device memory: the reduction, with the outputs and the storage of
// LAPACK's gebrd, and the factors that its reflectors make. Arguments have been checked by the caller;
// failures are exceptions.

#ifndef TOVI_LAPACK_BIDIAGONAL_H
#define TOVI_LAPACK_BIDIAGONAL_H

#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::lapack {

// A = Q B P^H, B upper bidiagonal for m >= n, lower for m < n. dD takes the min(m, n) diagonal elements of B,
// dE the min(m, n) - 1 beside it, both real. A keeps B and the reflectors of Q, below the (sub)diagonal, and
// of P, right of the (super)diagonal; dTauq and dTaup take min(m, n) scalar factors each.
template <class T>
void gebrd(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup);

// dA, m x n, holds the reflectors that gebrd left there. Of a matrix A = Q B P^H:
//   vect "Q", A of k columns: dA := the first n columns of Q; m >= n >= min(m, k). Where m < k the order of A
//     was m x k, and Q is square: m = n.
//   vect "P", A of k rows: dA := the first m rows of P^H; n >= m >= min(n, k). Where n <= k, P is square.
// dTau has min(m, k) ("Q") or min(n, k) ("P") scalar factors.
template <class T>
void orgbr(char vect, MatrixView<T> dA, int k, const T* dTau);

}  // namespace tovi::lapack

#endif
