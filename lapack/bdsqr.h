// The singular value decomposition of a real bidiagonal matrix, on device memory, by implicit QR sweeps whose
// rotations the host computes and the device applies. Arguments have been checked by the caller; failures are
// exceptions.

#ifndef TOVI_LAPACK_BDSQR_H
#define TOVI_LAPACK_BDSQR_H

#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::lapack {

// B = Q S P^T of order n, upper (uplo "U") or lower ("L") bidiagonal, dD its diagonal and dE the n - 1
// elements beside it. dD becomes the singular values in descending order, dE is destroyed, and
//   dVt := P^T dVt (n rows),   dU := dU Q (n columns),   dC := Q^T dC (n rows).
// Those that nobody wants are empty views.
//
// Where the iteration does not converge: status 8 with, as its info, the number of elements beside the
// diagonal that have not become zero, the first of them not counted. dD and dE are then an upper bidiagonal
// matrix with the singular values of B, to which dVt, dU and dC belong. (With no vectors wanted, info and
// state are those of the host's lasq1.) A NaN or an infinity in B makes every value NaN; dE and the vectors
// stay as they are.
template <class T>
void bdsqr(char uplo, int n, Real<T>* dD, Real<T>* dE, MatrixView<T> dVt, MatrixView<T> dU,
           MatrixView<T> dC = {});

}  // namespace tovi::lapack

#endif
