// Eigenvalues and eigenvectors of Hermitian (symmetric) matrices on device memory. Arguments have been
// checked by the caller; failures are exceptions.

#ifndef TOVI_LAPACK_EIGEN_H
#define TOVI_LAPACK_EIGEN_H

#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::lapack {

// A = Z diag(w) Z^H. dA holds the triangle uplo of A. dW takes the n eigenvalues in ascending order; with
// jobz "V" dA becomes Z, with "N" it stays as it is. A NaN or an infinity in the triangle makes all that is
// returned NaN. Values that do not converge are a data error, with the host's info; dW and dA are as they
// were then.
template <class T>
void heevd(char jobz, char uplo, MatrixView<T> dA, Real<T>* dW);

// What one call computes vectors of: beyond, the workspace of the host's stedc cannot be counted.
constexpr int mostEigenvectors = 46000;

}  // namespace tovi::lapack

#endif
