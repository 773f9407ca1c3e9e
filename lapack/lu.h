// LU factorization with partial pivoting and the solution of linear systems, on device memory. Arguments have
// been checked by the caller; failures are exceptions.

#ifndef TOVI_LAPACK_LU_H
#define TOVI_LAPACK_LU_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// A = P L U. L (unit diagonal, not stored) and U overwrite A; dIpiv receives min(m, n) pivots, 1-based: row i
// was interchanged with row dIpiv[i]. An exactly zero pivot does not stop the factorization: when all is
// written, the first one is reported as a data error at its 1-based column.
// A last block column of width 1 leaves the columns on its left as they are: the row interchanges of a single
// pivot are none (basic::laswp). That shows for m > n only.
template <class T>
void getrf(MatrixView<T> dA, int* dIpiv);

// Solves op(A) X = B with the factors and pivots of getrf; X overwrites B. op(A) is A, A^T or A^H for trans
// "N", "T" and "C". Pivots that are no rows of A are a bad argument, the sixth.
template <class T>
void getrs(char trans, ConstView<T> dA, const int* dIpiv, MatrixView<T> dB);

// The same for one right-hand side, by the host, where the operands are: each element of A is used once,
// which takes less time than to send it to the device.
template <class T>
void getrsOnHost(char trans, int n, const T* hA, int lda, const int* hIpiv, T* hB);

// Solves A X = B by getrf and getrs. A singular A ends in getrf's data error, with B untouched.
template <class T>
void gesv(MatrixView<T> dA, int* dIpiv, MatrixView<T> dB);

}  // namespace tovi::lapack

#endif
