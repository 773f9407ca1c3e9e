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

// The same by divide and conquer, one job for both sides:
//   A: all vectors to dU (m x m) and dVt (n x n); S: the first k ones to dU (m x k) and dVt (k x n)
//   O: the first k ones, those of the longer side in place of A, the others to dVt (n x n) where m >= n, or
//      to dU (m x m)
//   N: none
// A NaN or an infinity in A makes all that is returned NaN. A data error has the info of the host's bdsdc
// (N: of gesvd).
template <class T>
void gesdd(char jobz, MatrixView<T> dA, Real<T>* dS, MatrixView<T> dU, MatrixView<T> dVt);

// The values that gesdd computes vectors of: beyond, the workspace of the host's bdsdc cannot be counted.
constexpr int mostDivided = 26000;

// Whether the QR (LQ) factorization before the reduction pays; LAPACK's crossover (ilaenv, ispec 6) is the
// same.
bool farFromSquare(int m, int n);

}  // namespace tovi::lapack

#endif
