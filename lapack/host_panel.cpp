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

// Where a slice S stands beside the columns D that are done and those that are left, L. All of them are taken
// from the rows on which the slice's reflectors act; D's own triangle, and the R or L of the panel that D has
// come to, are in the other rows.
//
//       QR                      QL
//
//       d * * * * *             L L S S D D
//       d d * * * *             L L S S D D
//       D D S S L L             L L S S D D
//       D D S S L L             L L S S D D
//       D D S S L L             * * * * d d
//       D D S S L L             * * * * * d
template <class Block>
struct Slice {
  Slice(int cols, int done)
      : width(std::min(cols - done, sliceWidth)),
        doneCount(done),
        leftCount(cols - done - width),
        doneAt(Block::forward ? 0 : leftCount + width),
        at(Block::forward ? done : leftCount),
        leftAt(Block::forward ? done + width : 0) {}

  template <class T>
  MatrixView<T> activeRows(MatrixView<T> hP) const {
    return hP.block(Block::forward ? doneCount : 0, 0, hP.rows - doneCount, hP.cols);
  }

  int width, doneCount, leftCount;
  int doneAt, at, leftAt;
};

// S = Q R (Q L) with Q = I - V T V^H; V takes the place of S.
template <class Block, class T>
void factorSlice(MatrixView<T> hS, T* hTau, MatrixView<T> hT, std::vector<T>& hWork) {
  const auto routine = Block::forward ? &host::geqrf<T> : &host::geqlf<T>;
  withWorkspace(hWork, hS.cols, [&](T* work, int lwork) {
    return routine(hS.rows, hS.cols, hS.data, hS.ld, hTau, work, lwork);
  });
  host::larft(Block::direct, Block::storev, hS.rows, hS.cols, hS.data, hS.ld, hTau, hT.data, hT.ld);
}

// C := Q^H C with Q = I - V T V^H.
template <class Block, class T>
void applyAdjoint(MatrixView<T> hV, MatrixView<T> hT, MatrixView<T> hC, std::vector<T>& hWork) {
  const std::size_t need = static_cast<std::size_t>(hC.cols) * static_cast<std::size_t>(hV.cols);
  hWork.resize(std::max(hWork.size(), need));
  host::larfb('L', adjoint<T>, Block::direct, Block::storev, hC.rows, hC.cols, hV.cols, hV.data, hV.ld,
              hT.data, hT.ld, hC.data, hC.ld, hWork.data());
}

// The product of two block reflectors, those of D and those of S, is one whose T has both triangular factors
// on its diagonal and, beside them, G := -T_D (D^H S) T_S:
//
//       QR:  ( T_D   G  )        QL:  ( T_S      )
//            (      T_S )             (  G   T_D )
template <class Block, class T>
void joinTriangles(MatrixView<T> hD, MatrixView<T> hS, MatrixView<T> hTd, MatrixView<T> hTs,
                   MatrixView<T> hG) {
  // S1 is unit triangular; D1 are the same rows of D.
  const auto [hS1, hS2] = Block::split(hS);
  const auto [hD1, hD2] = Block::splitRows(hD, hS.cols);
  // G := D1^H
  for (int j = 0; j < hG.cols; ++j)
    for (int i = 0; i < hG.rows; ++i) *hG.at(i, j) = conj(*hD1.at(j, i));
  // G := G S1
  host::trmm('R', Block::triangleOfV, 'N', 'U', hG.rows, hG.cols, T(1), hS1.data, hS1.ld, hG.data, hG.ld);
  // G := G + D2^H S2
  host::gemm(adjoint<T>, 'N', hG.rows, hG.cols, hS2.rows, T(1), hD2.data, hD2.ld, hS2.data, hS2.ld, T(1),
             hG.data, hG.ld);
  // G := -T_D G
  host::trmm('L', Block::triangleOfT, 'N', 'N', hG.rows, hG.cols, T(-1), hTd.data, hTd.ld, hG.data, hG.ld);
  // G := G T_S
  host::trmm('R', Block::triangleOfT, 'N', 'N', hG.rows, hG.cols, T(1), hTs.data, hTs.ld, hG.data, hG.ld);
}

}  // namespace

template <class Block, class T>
void factorPanel(MatrixView<T> hP, T* hTau, MatrixView<T> hT, std::vector<T>& hWork) {
  for (int done = 0; done < hP.cols; done += sliceWidth) {
    const Slice<Block> slice(hP.cols, done);
    const int width = slice.width, left = slice.leftCount;
    const MatrixView<T> hActive = slice.activeRows(hP);
    const MatrixView<T> hD = hActive.columns(slice.doneAt, done), hS = hActive.columns(slice.at, width),
                        hL = hActive.columns(slice.leftAt, left);
    const MatrixView<T> hTd = hT.block(slice.doneAt, slice.doneAt, done, done),
                        hTs = hT.block(slice.at, slice.at, width, width),
                        hG = hT.block(slice.doneAt, slice.at, done, width);

    factorSlice<Block>(hS, hTau + slice.at, hTs, hWork);
    // L := (I - S T_S S^H)^H L
    if (left > 0) applyAdjoint<Block>(hS, hTs, hL, hWork);
    if (done > 0) joinTriangles<Block>(hD, hS, hTd, hTs, hG);
  }
}

#define TOVI_INSTANCES(T)                                             \
  template decltype(factorPanel<QrBlock, T>) factorPanel<QrBlock, T>; \
  template decltype(factorPanel<QlBlock, T>) factorPanel<QlBlock, T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
