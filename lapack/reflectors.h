// Householder reflectors on device memory: products with the orthogonal (unitary) factor Q of a
// factorization, and Q itself. Arguments have been checked by the caller; failures are exceptions.

#ifndef TOVI_LAPACK_REFLECTORS_H
#define TOVI_LAPACK_REFLECTORS_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// Which factorization left the reflectors, and with that where they stand (pictures: block_reflector.h). A
// block of k of them of order nq is H = I - V T V^H, where V is nq x k and has an implicit unit triangle:
//   qr: V is stored, unit lower trapezoidal, T is upper triangular, Q = H1 H2 ...
//   lq: V^H is stored, unit upper trapezoidal, T is upper triangular, Q = ... H2^H H1^H
//   rq: V^H is stored, with its unit lower triangle in the last columns, T is lower triangular,
//       Q = H1^H H2^H ...
enum class Reflectors { qr, lq, rq };

// C := Q C (side L, trans N), Q^H C (L, C), C Q (R, N) or C Q^H (R, C). trans "T" is "C" for real types. The
// k reflectors are the first k columns of dA, which has as many rows as Q (qr), or the first k rows of dA,
// which has as many columns as Q (lq, rq).
template <class T>
void applyReflectors(Reflectors kind, char side, char trans, int k, ConstView<T> dA, const T* dTau,
                     MatrixView<T> dC);

// dA, m x n, := the first n columns of Q (qr, m >= n >= k) or the first m rows (lq, n >= m >= k), from the k
// reflectors that it holds. Not provided for rq: FeatNotImplException.
template <class T>
void generateQ(Reflectors kind, int k, MatrixView<T> dA, const T* dTau);

}  // namespace tovi::lapack

#endif
