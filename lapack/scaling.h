// The scaling of matrices whose elements are so large or so small that their squares leave the range.

#ifndef TOVI_LAPACK_SCALING_H
#define TOVI_LAPACK_SCALING_H

#include <cmath>
#include <limits>

#include "ground/complex.h"
#include "ground/matrix_view.h"
#include "src/basic/MADD.h"

namespace tovi::lapack {

// The power of 2 that takes the largest element into the range in which squares neither overflow nor lose
// their digits; 1 where it is there already, or is zero, infinite or NaN.
template <class R>
R safeFactor(R largest) {
  const R least = std::sqrt(std::numeric_limits<R>::min()) / std::numeric_limits<R>::epsilon();
  const R most = 1 / least;
  if (!(largest > 0) || !std::isfinite(largest) || (largest >= least && largest <= most)) return 1;
  return std::ldexp(R(1), std::ilogb(largest < least ? least : most) - std::ilogb(largest));
}

// A := factor A
template <class T>
void scale(Real<T> factor, MatrixView<T> dA) {
  if (factor != 1) basic::madd<T>('N', 'N', factor, dA, 0, dA, dA);
}

}  // namespace tovi::lapack

#endif
