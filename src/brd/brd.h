// The shift of the reflectors of a bidiagonal reduction that precedes the generation of an orthogonal factor,
// as in LAPACK's orgbr.

#ifndef TOVI_SRC_BRD_BRD_H
#define TOVI_SRC_BRD_BRD_H

#include "device/runtime.h"

namespace tovi {

// The columns below the diagonal move to the right: A(i, j) := A(i, j - 1) for 1 <= j < i < n.
template <class T>
__global__ void ORGBR_COPY_L_k(int n, T* A, int lda);
// The rows above the diagonal move down: A(i, j) := A(i - 1, j) for 1 <= i < j < n.
template <class T>
__global__ void ORGBR_COPY_U_k(int n, T* A, int lda);

namespace brd {

// The shift in the n x n matrix dA: "L" for the reflectors of Q, which are columns, "U" for those of P, which
// are rows. The first row and the first column are left for the caller to fill with the identity's.
template <class T>
void orgbrCopy(char uplo, int n, T* dA, int lda);

}  // namespace brd
}  // namespace tovi

#endif
