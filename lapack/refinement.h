// Linear systems in double precision, real and complex, whose matrix is factored in single precision: what is
// lost is won back by iterative refinement. Operands are in device memory. Arguments have been checked by the
// caller; failures are exceptions.

#ifndef TOVI_LAPACK_REFINEMENT_H
#define TOVI_LAPACK_REFINEMENT_H

#include "ground/matrix_view.h"

namespace tovi::lapack {

// Solves A X = B. iterations := how many there were, or why there was no refinement that succeeded, as the
// reference routine has it: -2, an element that single precision cannot hold, or that is no number; -3, the
// single-precision factor is singular; -31, thirty iterations have not been enough. Then, and only then, A is
// overwritten, with its factors in double precision, which has solved the system. dIpiv receives the pivots
// of the factors that X comes from. A zero pivot of those in double precision is a data error as in gesv,
// after iterations is set.
template <class T>
void gesvRefined(MatrixView<T> dA, int* dIpiv, ConstView<T> dB, MatrixView<T> dX, int& iterations);

}  // namespace tovi::lapack

#endif
