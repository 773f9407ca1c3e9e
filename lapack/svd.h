// Singular value decomposition on device memory. Arguments have been checked by the caller; failures are
// exceptions.

#ifndef TOVI_LAPACK_SVD_H
#define TOVI_LAPACK_SVD_H

#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::lapack {

// A = U Sigma V^H. dS takes the k = min(m, n) singular values in descending order. jobu says what becomes of
// the left singular vectors, jobvt what of the right ones, the rows of V^H:
//   A: all of them to dU (m x m), to dVt (n x n); S: the first k ones to dU (m x k), to dVt (k x n)
//   O: the first k ones to the first columns (left) or rows (right) of A; not for both
//   N: they are not computed
// dU and dVt are not looked at for O and N. What else A held is destroyed. Values that do not converge are a
// data error, see bdsqr; dS and the vectors are undefined then.
template <class T>
void gesvd(char jobu, char jobvt, MatrixView<T> dA, Real<T>* dS, MatrixView<T> dU, MatrixView<T> dVt);

}  // namespace tovi::lapack

#endif
