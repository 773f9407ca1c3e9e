// The host's share of the blocked factorizations by reflectors: one tall panel and the triangular factor of
// its block reflector.

#ifndef TOVI_LAPACK_HOST_PANEL_H
#define TOVI_LAPACK_HOST_PANEL_H

#include <vector>

#include "ground/matrix_view.h"

namespace tovi::lapack {

// Forward: P = Q R, Q = H(1) H(2) ... H(k). Backward: P = Q L, Q = H(k) ... H(2) H(1), as geqrf and geqlf
// leave them.
enum class Direction { forward, backward };

// Factors the panel hP, which has at least as many rows as columns, and forms the triangular factor hT of Q =
// I - V T V^H, upper (forward) or lower (backward); the other triangle of hT is not touched. hWork keeps its
// memory from call to call.
template <class T>
void factorPanel(Direction direction, MatrixView<T> hP, T* hTau, MatrixView<T> hT, std::vector<T>& hWork);

}  // namespace tovi::lapack

#endif
