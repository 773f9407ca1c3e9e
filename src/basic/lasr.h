// Sequences of plane rotations applied to a matrix in device memory, as LAPACK's lasr does.

#ifndef TOVI_BASIC_LASR_H
#define TOVI_BASIC_LASR_H

#include "device/runtime.h"
#include "ground/complex.h"

namespace tovi {

// The rotations k = 0, 1, ... in increasing order (direct 'F') or in decreasing order ('B'). Rotation k takes
// rows k and k + 1 of the m x n matrix A (side 'L') or columns k and k + 1 (side 'R'), x and y, to
//   x := c[k] x + s[k] y,  y := c[k] y - s[k] x,
// where x is the former one on both right-hand sides. A rotation with c = 1 and s = 0 touches nothing. There
// is no instance for other pivots than 'V'.
template <class Map, char side, char pivot, char direct, class T>
__global__ void LASR_k(int m, int n, const Real<T>* c, const Real<T>* s, T* A, int lda);

namespace basic {

// dC and dS hold the cosines and sines, m - 1 of each for side "L" and n - 1 for side "R". Pivots "T" and "B"
// are accepted and apply nothing: every caller rotates neighbours, pivot "V".
template <class T>
void lasr(char side, char pivot, char direct, int m, int n, const Real<T>* dC, const Real<T>* dS, T* dA,
          int lda);

}  // namespace basic
}  // namespace tovi

#endif
