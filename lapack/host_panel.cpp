#include "lapack/host_panel.h"

#include <algorithm>
#include <cstddef>

#include "ground/complex.h"
#include "host/blas.h"
#include "host/lapack.h"
#include "lapack/host_call.h"

namespace tovi::lapack {
namespace {

// The host LAPACK factors anything as narrow as a panel column by column, at the speed of memory. Slices of
// this width stay in the cache, and what is between them runs at the speed of products.
constexpr int sliceWidth = 32;

template <class T>
constexpr char adjoint = isComplex<T> ? 'C' : 'T';

}  // namespace

template <class T>
void factorPanel(Direction direction, MatrixView<T> hP, T* hTau, MatrixView<T> hT, std::vector<T>& hWork) {
  const bool forward = direction == Direction::forward;
  const char direct = forward ? 'F' : 'B', triangleOfT = forward ? 'U' : 'L';
  for (int done = 0; done < hP.cols; done += sliceWidth) {
    const int width = std::min(hP.cols - done, sliceWidth), left = hP.cols - done - width;
    const int rows = hP.rows - done;
    // The slice's columns, those done before it and those that are left; the first of the slice's rows, and
    // the first row of its corner, where V2 is unit triangular.
    const int column = forward ? done : left, doneColumn = forward ? 0 : left + width,
              leftColumn = forward ? done + width : 0;
    const int row = forward ? done : 0, corner = forward ? done : rows - width;

    const MatrixView<T> hV2 = hP.block(row, column, rows, width);
    const MatrixView<T> hT2 = hT.block(column, column, width, width);
    withWorkspace(hWork, width, [&](T* work, int lwork) {
      return forward ? host::geqrf(rows, width, hV2.data, hV2.ld, hTau + column, work, lwork)
                     : host::geqlf(rows, width, hV2.data, hV2.ld, hTau + column, work, lwork);
    });
    host::larft(direct, 'C', rows, width, hV2.data, hV2.ld, hTau + column, hT2.data, hT2.ld);

    if (left > 0) {
      // C := (I - V2 T2 V2^H)^H C
      hWork.resize(std::max(hWork.size(), static_cast<std::size_t>(left) * static_cast<std::size_t>(width)));
      host::larfb('L', adjoint<T>, direct, 'C', rows, left, width, hV2.data, hV2.ld, hT2.data, hT2.ld,
                  hP.at(row, leftColumn), hP.ld, hWork.data());
    }
    if (done > 0) {
      // The block of T between the reflectors V1 done before and these: G := -T1 (V1^H V2) T2, where V1^H V2
      // is the part of V2's corner and that of the full rows.
      const MatrixView<T> hG = hT.block(doneColumn, column, done, width);
      for (int j = 0; j < width; ++j)
        for (int i = 0; i < done; ++i) *hG.at(i, j) = conj(*hP.at(corner + j, doneColumn + i));
      host::trmm('R', forward ? 'L' : 'U', 'N', 'U', done, width, T(1), hP.at(corner, column), hP.ld, hG.data,
                 hG.ld);
      const int full = forward ? done + width : 0;
      host::gemm(adjoint<T>, 'N', done, width, rows - width, T(1), hP.at(full, doneColumn), hP.ld,
                 hP.at(full, column), hP.ld, T(1), hG.data, hG.ld);
      host::trmm('L', triangleOfT, 'N', 'N', done, width, T(-1), hT.at(doneColumn, doneColumn), hT.ld,
                 hG.data, hG.ld);
      host::trmm('R', triangleOfT, 'N', 'N', done, width, T(1), hT2.data, hT2.ld, hG.data, hG.ld);
    }
  }
}

template void factorPanel(Direction, MatrixView<float>, float*, MatrixView<float>, std::vector<float>&);
template void factorPanel(Direction, MatrixView<Complex<float>>, Complex<float>*, MatrixView<Complex<float>>,
                          std::vector<Complex<float>>&);

}  // namespace tovi::lapack
