// The orthogonal (unitary) factors of a reduction to bidiagonal form, on device memory. Arguments have been
// checked by the caller; failures are exceptions.

#ifndef TOVI_LAPACK_ORGBR_H
#define TOVI_LAPACK_ORGBR_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// dA, m x n, holds the reflectors that brd::gebrd left there. Of a matrix A = Q B P^H:
//   vect "Q", A of k columns: dA := the first n columns of Q; m >= n >= min(m, k). Where m < k the order of A
//     was m x k, and Q is square: m = n.
//   vect "P", A of k rows: dA := the first m rows of P^H; n >= m >= min(n, k). Where n <= k, P is square.
// dTau has min(m, k) ("Q") or min(n, k) ("P") scalar factors.
template <class T>
void orgbr(char vect, MatrixView<T> dA, int k, const T* dTau);

}  // namespace tovi::lapack

#endif
