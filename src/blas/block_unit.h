// Block sizes of the recursive forms.

#ifndef TOVI_BLAS_BLOCK_UNIT_H
#define TOVI_BLAS_BLOCK_UNIT_H

#include "cudalib/device_table.h"
#include "cudalib/padding.h"

namespace tovi::blas {

// The block unit NB: diagonal blocks up to this order are one CUBLAS call. Four padding units of leading
// dimensions on levels 10 to 13; later two, three, three and six (of 96, 64, 64 and 32 elements) for float,
// double and their complex types, 192 elements each time.
template <class T>
int blockUnit() {
  return cudalib::smallBlocks() ? 4 * static_cast<int>(PaddingUnit<T>::first) : 192;
}

// Where a dimension d > nb is cut: about in the middle, after a multiple of nb.
inline int leadingPart(int d, int nb) { return nb * (1 + (d - nb) / (2 * nb)); }

}  // namespace tovi::blas

#endif
