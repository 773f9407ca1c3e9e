// Cholesky factorization and the solution of positive definite systems, on device memory. Arguments have been
// checked by the caller; failures are exceptions. A matrix is given by its triangle uplo, "L" or "U"; what
// stands in the other one is neither used nor changed, nor are the imaginary parts of the diagonal used.

#ifndef TOVI_LAPACK_CHOLESKY_H
#define TOVI_LAPACK_CHOLESKY_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// A = L L^H or U^H U; the factor overwrites its triangle. Where A is not positive definite, or NaN has
// reached the diagonal, the order of the first leading minor that shows it is reported as a data error; the
// triangle is left in between then.
template <class T>
void potrf(char uplo, MatrixView<T> dA);

// Solves A X = B with the factor of potrf; X overwrites B.
template <class T>
void potrs(char uplo, ConstView<T> dA, MatrixView<T> dB);

// The same for one right-hand side, by the host, where the operands are: see getrsOnHost (lu.h).
template <class T>
void potrsOnHost(char uplo, int n, const T* hA, int lda, T* hB);

// Solves A X = B by potrf and potrs. Where potrf ends in a data error B is untouched.
template <class T>
void posv(char uplo, MatrixView<T> dA, MatrixView<T> dB);

}  // namespace tovi::lapack

#endif
