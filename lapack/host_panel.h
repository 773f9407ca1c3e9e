// The host's share of the blocked factorizations by reflectors: one tall panel and the triangular factor of
// its block reflector.

#ifndef TOVI_LAPACK_HOST_PANEL_H
#define TOVI_LAPACK_HOST_PANEL_H

#include <vector>

#include "ground/matrix_view.h"
#include "lapack/block_reflector.h"

namespace tovi::lapack {

// P = Q R (QrBlock) or P = Q L (QlBlock). Factors the panel hP, which has at least as many rows as columns,
// and forms the triangular factor hT of Q = I - V T V^H; the other triangle of hT is not touched. hWork keeps
// its memory from call to call.
template <class Block, class T>
void factorPanel(MatrixView<T> hP, T* hTau, MatrixView<T> hT, std::vector<T>& hWork);

}  // namespace tovi::lapack

#endif
