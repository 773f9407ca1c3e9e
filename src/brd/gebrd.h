// Reduction to bidiagonal form on device memory, with the outputs and the storage of LAPACK's gebrd.
// Arguments have been checked by the caller; failures are exceptions.

#ifndef TOVI_SRC_BRD_GEBRD_H
#define TOVI_SRC_BRD_GEBRD_H

#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::brd {

// A = Q B P^H, B upper bidiagonal for m >= n, lower for m < n. dD takes the min(m, n) diagonal elements of B,
// dE the min(m, n) - 1 beside it, both real. A keeps B and the reflectors of Q, below the (sub)diagonal, and
// of P, right of the (super)diagonal; dTauq and dTaup take min(m, n) scalar factors each.
template <class T>
void gebrd(MatrixView<T> dA, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup);

// Reduces the first nb rows and columns of A, nb < min(m, n), and returns in dX (m x nb) and dY (n x nb) what
// the rest of A is to be updated with: A := A - V Y^H - X U, where V holds the reflectors of Q as columns and
// U those of P, conjugated, as rows, both as they then lie in A. The elements of B are left in dD (nb), dE
// (nb) and, in their places in A, the ones that V and U begin with. dRow is room for n elements.
template <class T>
void labrd(MatrixView<T> dA, int nb, Real<T>* dD, Real<T>* dE, T* dTauq, T* dTaup, MatrixView<T> dX,
           MatrixView<T> dY, T* dRow);

}  // namespace tovi::brd

#endif
