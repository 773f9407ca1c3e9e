// Kernels of the bidiagonal form: the two products with the matrix that a step of the reduction takes, all
// steps of a panel of a small matrix, and the shift of the reflectors that precedes the generation of an
// orthogonal factor, as in LAPACK's orgbr.

#ifndef TOVI_BRD_BRD_H
#define TOVI_BRD_BRD_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// y := tau (A^H v + y), x := x - y, and parts whose sum is A x. A is m x n; `width` of its columns, the last
// ones fewer or none, make one column of the parts.
template <int threads, class T>
__global__ void MultiplyBothWays_k(int m, int n, int width, const T* A, int lda, const T* v, const T* tau,
                                   T* y, T* x, T* parts, int ldp);
// x := tau (A u + x), where tau, beta and u are larfg's of a vector whose product with A the `count` parts
// add up to.
template <class Map, class T>
__global__ void AddReflected_k(int m, int n, const T* A, int lda, const T* u, const Real<T>* beta,
                               const T* tau, int count, const T* parts, int ldp, T* x);
// The reduction of the first `steps` rows and columns, as lapack/bidiagonal.cpp describes it.
template <class Map, class T>
__global__ void ReducePanel_k(int steps, int m, int n, const T* A, int lda, T* L, int ldl, T* R, int ldr,
                              Real<T>* d, Real<T>* e, T* tauq, T* taup);

// The columns below the diagonal move to the right: A(i, j) := A(i, j - 1) for 1 <= j < i < n.
template <class T>
__global__ void ORGBR_COPY_L_k(int n, T* A, int lda);
// The rows above the diagonal move down: A(i, j) := A(i - 1, j) for 1 <= i < j < n.
template <class T>
__global__ void ORGBR_COPY_U_k(int n, T* A, int lda);

namespace brd {

// A step of the reduction needs A^H v, and then A u, where u is the reflector of a vector x that A^H v is a
// part of. As u = (x - beta e1) / (x1 - beta), A x will do, which the pass over A that makes A^H v can make.
//
// The pass: y := tau (A^H v + y), x := x - y, and A x in parts, the columns of a matrix of as many rows as A.
// How many there are depends on the shape alone, so that no machine changes the sums.
int partsOfBothWays(int rows, int cols);
template <class T>
void multiplyBothWays(ConstView<T> dA, const T* dV, const T* dTau, T* dY, T* dX, MatrixView<T> dParts);
// x := tau (A u + x), with what larfg has made of the pass's x; A may lack the first rows that the pass had.
// Products with a tiny x lose digits: there A is read once more.
template <class T>
void addReflected(ConstView<T> dA, const T* dU, const Real<T>* dBeta, const T* dTau, ConstView<T> dParts,
                  T* dX);

// Panels are so wide at most.
constexpr int panelWidth = 32;
// Whether the work on a panel of such a matrix is no more than a block does in the time that the launches of
// its steps take.
bool reducedAtOnce(int rows, int cols);
// dA, which is not wide, has half as many rows and columns reduced as dL = (v x v x ...) and dR = (y u y u
// ...) have columns. Those of A are where the v and the u are to be, the rows conjugated.
template <class T>
void reducePanel(ConstView<T> dA, MatrixView<T> dL, MatrixView<T> dR, Real<T>* dD, Real<T>* dE, T* dTauq,
                 T* dTaup);

// The shift in the n x n matrix dA: "L" for the reflectors of Q, which are columns, "U" for those of P, which
// are rows. The first row and the first column are left for the caller to fill with the identity's.
template <class T>
void orgbrCopy(char uplo, int n, T* dA, int lda);

}  // namespace brd
}  // namespace tovi

#endif
