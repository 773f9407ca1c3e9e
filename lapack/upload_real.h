// Real vectors of the host as those of a matrix in device memory.

#ifndef TOVI_LAPACK_UPLOAD_REAL_H
#define TOVI_LAPACK_UPLOAD_REAL_H

#include <algorithm>
#include <cstddef>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"
#include "src/basic/Copy.h"

namespace tovi::lapack {

// dA := hA. Complex types: some columns at a time, by way of a real matrix on the device.
template <class T>
void uploadReal(const Real<T>* hA, int ldh, MatrixView<T> dA) {
  if constexpr (!isComplex<T>) {
    cudalib::upload(hA, ldh, dA);
  } else {
    const int width = std::min(dA.cols, 256);
    const cudalib::PaddedMemory<Real<T>> dPart(size(dA.rows), size(width));
    for (int j = 0; j < dA.cols; j += width) {
      const int count = std::min(width, dA.cols - j);
      const MatrixView<Real<T>> dReal = dPart.view(dA.rows, count);
      cudalib::upload(hA + size(j) * size(ldh), ldh, dReal);
      basic::copyMatrixRealToComplex<T>(dReal, dA.columns(j, count));
    }
  }
}

}  // namespace tovi::lapack

#endif
