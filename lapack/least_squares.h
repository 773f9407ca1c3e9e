// Least squares, minimum norm and least squares under equality constraints, on device memory. Arguments have
// been checked by the caller; failures are exceptions. Matrices have full rank: that they have not is noticed
// only where a triangular factor has an exactly zero on its diagonal.

#ifndef TOVI_LAPACK_LEAST_SQUARES_H
#define TOVI_LAPACK_LEAST_SQUARES_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// Solves op(A) X = B for the leading n x n triangle of A; X overwrites the n rows of B. The first element of
// the diagonal that is exactly zero is a data error at its 1-based position, with B untouched; with diag "U"
// the diagonal is not looked at.
template <class T>
void trtrs(char uplo, char trans, char diag, int n, ConstView<T> dA, MatrixView<T> dB);

// X with || B - op(A) X || minimal where op(A) has at least as many rows as columns, else the X of minimal
// norm with op(A) X = B. op(A) is A for trans "N" and A^H otherwise. B has max(m, n) rows: its first ones
// hold the right-hand sides and afterwards X. A is overwritten with its QR (m >= n) or LQ factors. A zero on
// the diagonal of R or L is a data error, with B as it was at the solve.
template <class T>
void gels(char trans, MatrixView<T> dA, MatrixView<T> dB);

// The x that minimizes || c - A x || under B x = d; A is m x n, B p x n, p <= n <= m + p. A and B are
// overwritten with their generalized RQ factors, c (m elements) with what the residual is read from: its norm
// is that of the elements from n - p on. d (p elements) is overwritten. A zero on the diagonal of T12 or R11
// is a data error at its position in that triangle.
template <class T>
void gglse(MatrixView<T> dA, MatrixView<T> dB, T* dC, T* dD, T* dX);

}  // namespace tovi::lapack

#endif
