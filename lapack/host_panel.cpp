#include "lapack/host_panel.h"

#include <algorithm>
#include <cstddef>

#include "ground/complex.h"
#include "host/blas.h"
#include "host/lapack.h"
#include "lapack/host_call.h"

namespace tovi::lapack {
namespace {

// The host LAPACK factors anything as narrow as a panel column by column, at the speed of memory. Columns as
// few as these stay in the cache; what is between them are products. Of 8 to 48 columns these gave the
// shortest times for panels of 8192 rows, or were within a tenth of them; but of float, with OpenBLAS's
// kernels for AVX2, 8 columns take three quarters of the time.
constexpr int leafWidth = 16;

// A panel by halves: D, whose columns are factored first, and S.
//
//       QR                QL
//
//       d * * *           S S D D
//       d d * *           S S D D
//       D D S S           S S D D
//       D D S S           S S D D
//       D D S S           * * d d
//       D D S S           * * * d
template <class Block>
struct Halves {
  explicit Halves(int cols)
      : widthD((cols / 2 + unit - 1) / unit * unit),
        widthS(cols - widthD),
        atD(Block::forward ? 0 : widthS),
        atS(Block::forward ? widthD : 0) {}

  // The rows on which the reflectors of S act.
  template <class T>
  MatrixView<T> active(MatrixView<T> hX) const {
    return hX.block(Block::forward ? widthD : 0, 0, hX.rows - widthD, hX.cols);
  }

  static constexpr int unit = 8;
  int widthD, widthS;
  int atD, atS;
};

// As long as it lives the corner of V has ones and zeros where V has, in the place of R or L.
template <class Block, class T>
class WholeCorner {
 public:
  // hRoom keeps what stands there.
  WholeCorner(MatrixView<T> hV, std::vector<T>& hRoom) : corner_(Block::split(hV).part1) {
    hRoom.resize(std::max(hRoom.size(), size(hV.cols) * size(hV.cols)));
    saved_ = hRoom.data();
    forEach([](T& saved, T& element, bool diagonal) {
      saved = element;
      element = diagonal ? T(1) : T(0);
    });
  }
  ~WholeCorner() {
    forEach([](T& saved, T& element, bool) { element = saved; });
  }
  WholeCorner(const WholeCorner&) = delete;
  WholeCorner& operator=(const WholeCorner&) = delete;

 private:
  template <class Visit>
  void forEach(const Visit& visit) const {
    const int n = corner_.cols;
    T* saved = saved_;
    for (int j = 0; j < n; ++j)
      for (int i = Block::forward ? 0 : j; i < (Block::forward ? j + 1 : n); ++i)
        visit(*saved++, *corner_.at(i, j), i == j);
  }

  MatrixView<T> corner_;
  T* saved_ = nullptr;
};

template <class T>
void multiply(char transa, T alpha, MatrixView<T> hA, MatrixView<T> hB, T beta, MatrixView<T> hC) {
  host::gemm(transa, 'N', hC.rows, hC.cols, hB.rows, alpha, hA.data, hA.ld, hB.data, hB.ld, beta, hC.data,
             hC.ld);
}
template <class Block, class T>
void multiplyByTriangle(char side, char trans, T alpha, MatrixView<T> hT, MatrixView<T> hX) {
  host::trmm(side, Block::triangleOfT, trans, 'N', hX.rows, hX.cols, alpha, hT.data, hT.ld, hX.data, hX.ld);
}

template <class Block, class T>
void factorLeaf(MatrixView<T> hP, T* hTau, MatrixView<T> hT, std::vector<T>& hWork) {
  const auto routine = Block::forward ? &host::geqrf<T> : &host::geqlf<T>;
  withWorkspace(hWork, hP.cols, [&](T* work, int lwork) {
    return routine(hP.rows, hP.cols, hP.data, hP.ld, hTau, work, lwork);
  });
  host::larft(Block::direct, Block::storev, hP.rows, hP.cols, hP.data, hP.ld, hTau, hT.data, hT.ld);
}

}  // namespace

template <class Block, class T>
void factorPanel(MatrixView<T> hP, T* hTau, MatrixView<T> hT, std::vector<T>& hWork) {
  if (hP.cols <= leafWidth) return factorLeaf<Block>(hP, hTau, hT, hWork);
  const Halves<Block> half(hP.cols);
  const MatrixView<T> hD = hP.columns(half.atD, half.widthD), hL = hP.columns(half.atS, half.widthS),
                      hS = half.active(hL);
  const MatrixView<T> hTd = hT.block(half.atD, half.atD, half.widthD, half.widthD),
                      hTs = hT.block(half.atS, half.atS, half.widthS, half.widthS),
                      hG = hT.block(half.atD, half.atS, half.widthD, half.widthS);

  factorPanel<Block>(hD, hTau + half.atD, hTd, hWork);
  {
    // L := (I - D T_D D^H)^H L
    const WholeCorner<Block, T> corner(hD, hWork);
    multiply(adjoint<T>, T(1), hD, hL, T(0), hG);
    multiplyByTriangle<Block>('L', adjoint<T>, T(1), hTd, hG);
    multiply('N', T(-1), hD, hG, T(1), hL);
  }
  factorPanel<Block>(hS, hTau + half.atS, hTs, hWork);

  // The product of two block reflectors, those of D and those of S, is one whose T has both triangular
  // factors on its diagonal and, beside them, G := -T_D (D^H S) T_S:
  //
  //       QR:  ( T_D   G  )        QL:  ( T_S      )
  //            (      T_S )             (  G   T_D )
  const WholeCorner<Block, T> corner(hS, hWork);
  multiply(adjoint<T>, T(1), half.active(hD), hS, T(0), hG);
  multiplyByTriangle<Block>('L', 'N', T(-1), hTd, hG);
  multiplyByTriangle<Block>('R', 'N', T(1), hTs, hG);
}

#define TOVI_INSTANCES(T)                                             \
  template decltype(factorPanel<QrBlock, T>) factorPanel<QrBlock, T>; \
  template decltype(factorPanel<QlBlock, T>) factorPanel<QlBlock, T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
