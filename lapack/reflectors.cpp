#include "lapack/reflectors.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "cudalib/device_table.h"
#include "cudalib/stream.h"
#include "ground/complex.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "host/lapack.h"
#include "lapack/block_size.h"
#include "lapack/host_call.h"
#include "lapack/transfers.h"
#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
#include "src/basic/LASET.h"
#include "src/basic/Subtract.h"
#include "src/basic/Transpose.h"
#include "src/blas/blas.h"

namespace tovi::lapack {
namespace {

using cudalib::PaddedMemory;

bool rowwise(Reflectors kind) { return kind != Reflectors::qr; }

std::size_t size(int n) { return static_cast<std::size_t>(n); }

// `count` rows, or columns, of a matrix.
template <class T>
MatrixView<T> slice(MatrixView<T> dA, bool rows, int first, int count) {
  return rows ? dA.block(first, 0, count, dA.cols) : dA.columns(first, count);
}

// The elements of a vector of order nq that the reflectors i .. i+ib-1 of k touch.
struct Range {
  int first, count;
};
Range touched(Reflectors kind, int nq, int k, int i, int ib) {
  return kind == Reflectors::rq ? Range{0, nq - k + i + ib} : Range{i, nq - i};
}

// The first generation of devices reads a column at full speed only from a 64-byte boundary on.
template <class T>
bool misaligned(MatrixView<T> dC) {
  return cudalib::smallBlocks() &&
         (reinterpret_cast<std::uintptr_t>(dC.data) % 64 != 0 || size(dC.ld) * sizeof(T) % 64 != 0);
}

// W := W + C2^H V2, from an aligned copy of C2 where that is faster.
template <class T>
void addProduct(char transV, MatrixView<const T> dV2, MatrixView<T> dC2, MatrixView<T> dW) {
  if (!misaligned(dC2)) return blas::gemm('C', transV, T(1), dC2, dV2, T(1), dW);
  const PaddedMemory<T> dCopy(size(dC2.rows), size(dC2.cols));
  const MatrixView<T> dAligned = dCopy.view(dC2.rows, dC2.cols);
  basic::copyMatrix(dC2, dAligned);
  blas::gemm('C', transV, T(1), dAligned, dV2, T(1), dW);
}

// larfb with its workspace: dW has k columns, and as many rows as C has columns (side L) or rows (side R).
// V1 is the triangle of V and V2 the rest, C1 and C2 are the parts of C that they meet. V below stands for
// the matrix of columns, V^H of what is stored where the reflectors are rows.
template <class T>
void applyBlock(Reflectors kind, char side, char trans, MatrixView<const T> dV, MatrixView<const T> dT,
                MatrixView<T> dC, MatrixView<T> dW) {
  const bool rows = rowwise(kind), left = side == 'L', last = kind == Reflectors::rq;
  const int k = dT.cols, rest = (rows ? dV.cols : dV.rows) - k;
  const int at1 = last ? rest : 0, at2 = last ? 0 : k;
  const auto dV1 = slice(dV, !rows, at1, k), dV2 = slice(dV, !rows, at2, rest);
  const auto dC1 = slice(dC, left, at1, k), dC2 = slice(dC, left, at2, rest);
  const char uploV = kind == Reflectors::lq ? 'U' : 'L', uploT = last ? 'L' : 'U';
  const char plainV = rows ? 'C' : 'N', adjointV = rows ? 'N' : 'C';

  // Side L, C := C - V op(T) V^H C:  W := C1^H V1 + C2^H V2 = (V^H C)^H;  W := W op(T)^H;
  // C2 := C2 - V2 W^H;  C1 := C1 - V1 W^H.
  // Side R, C := C - C V op(T) V^H:  W := C1 V1 + C2 V2;  W := W op(T);  C2 := C2 - W V2^H;
  // C1 := C1 - W V1^H.
  if (left)
    basic::transpose<T>(dC1, dW, true);
  else
    basic::copyMatrix<T>(dC1, dW);
  blas::trmm('R', uploV, plainV, 'U', T(1), dV1, dW);
  if (rest > 0) {
    if (left)
      addProduct(plainV, dV2, dC2, dW);
    else
      blas::gemm('N', plainV, T(1), dC2, dV2, T(1), dW);
  }
  blas::trmm('R', uploT, left == (trans == 'N') ? 'C' : 'N', 'N', T(1), dT, dW);
  if (rest > 0) {
    if (left)
      blas::gemm(plainV, 'C', T(-1), dV2, dW, T(1), dC2);
    else
      blas::gemm('N', adjointV, T(-1), dW, dV2, T(1), dC2);
  }
  blas::trmm('R', uploV, adjointV, 'U', T(1), dV1, dW);
  if (left) basic::conjugateMatrix(dW);
  basic::subtractMatrix<T>(left ? 'T' : 'N', 'N', dW, dC1);
}

// Walks over the k reflectors of order nq in dA by blocks, from the first to the last or the other way round,
// and calls apply(i, dV, dT, range) for each: V begins at reflector i, acts on the elements `range`, and has
// the triangular factor T. What apply queues on the device runs while the next panel, sent for beforehand,
// travels to the host and its T is formed there.
template <class T, class Apply>
void forEachBlock(Reflectors kind, bool backwards, int nq, int k, MatrixView<T> dA, const T* dTau,
                  const Apply& apply) {
  const bool rows = rowwise(kind);
  const char direct = kind == Reflectors::rq ? 'B' : 'F', storev = rows ? 'R' : 'C';
  const int nb = panelWidth<T>(), ldPanel = rows ? nb : nq;
  std::vector<T> hTau(size(k));
  copyToHost(dTau, hTau);
  const cudalib::PageLockedMemory<T> hPanel(roomForRows(nb, nq), 1), hT(size(nb), size(nb));
  std::fill_n(hT.get(), size(nb) * size(nb), T(0));
  const PaddedMemory<T> dT(size(nb), size(nb));
  const cudalib::Stream stream;

  const int blocks = (k + nb - 1) / nb;
  const auto start = [&](int b) { return (backwards ? blocks - 1 - b : b) * nb; };
  const auto panel = [&](int i) {
    const int ib = std::min(nb, k - i);
    const Range range = touched(kind, nq, k, i, ib);
    return rows ? dA.block(i, range.first, ib, range.count) : dA.block(range.first, i, range.count, ib);
  };

  cudalib::downloadAsync<T>(panel(start(0)), hPanel.get(), ldPanel, stream.get());
  for (int b = 0; b < blocks; ++b) {
    const int i = start(b), ib = std::min(nb, k - i);
    const Range range = touched(kind, nq, k, i, ib);
    const MatrixView<T> dV = panel(i);
    finishTransfers(stream);
    host::larft(direct, storev, range.count, ib, hPanel.get(), ldPanel, hTau.data() + i, hT.get(), nb);
    cudalib::uploadAsync<T>(hT.get(), nb, dT.view(nb, nb), stream.get());
    cudalib::uploadAsync<T>(hPanel.get(), ldPanel, dV, stream.get());
    if (b + 1 < blocks) cudalib::downloadAsync<T>(panel(start(b + 1)), hPanel.get(), ldPanel, stream.get());
    apply(i, MatrixView<const T>(dV), MatrixView<const T>(dT.view(ib, ib)), range);
  }
  finishTransfers(stream);  // the last uploads must not outlive their buffers
}

// A matrix that the host works on.
template <class T>
class HostCopy {
 public:
  explicit HostCopy(MatrixView<T> dA) : dA_(dA), elements_(roomForRows(dA.rows, dA.cols)) {
    cudalib::download<T>(dA, data(), ld());
  }
  T* data() { return elements_.data(); }
  int ld() const { return std::max(1, dA_.rows); }
  void upload() const { cudalib::upload<T>(elements_.data(), ld(), dA_); }

 private:
  MatrixView<T> dA_;
  std::vector<T> elements_;
};

// Few reflectors: one block, left to the host.
template <class T>
void applyOnHost(Reflectors kind, char side, char trans, int k, MatrixView<T> dA, const T* dTau,
                 MatrixView<T> dC) {
  std::vector<T> hTau(size(k));
  copyToHost(dTau, hTau);
  HostCopy<T> hA(slice(dA, rowwise(kind), 0, k)), hC(dC);
  const auto routine = kind == Reflectors::qr   ? &host::ormqr<T>
                       : kind == Reflectors::lq ? &host::ormlq<T>
                                                : &host::ormrq<T>;
  if (!isComplex<T> && trans == 'C') trans = 'T';
  // The workspace that the routine asks for does not always fit into an int; this is what it needs.
  withWorkspace<T>(side == 'L' ? dC.cols : dC.rows, [&](T* work, int lwork) {
    return routine(side, trans, dC.rows, dC.cols, k, hA.data(), hA.ld(), hTau.data(), hC.data(), hC.ld(),
                   work, lwork);
  });
  hC.upload();
}

template <class T>
void generateOnHost(Reflectors kind, int k, MatrixView<T> dA, const T* dTau) {
  std::vector<T> hTau(size(k));
  copyToHost(dTau, hTau);
  HostCopy<T> hA(dA);
  const auto routine = kind == Reflectors::qr ? &host::orgqr<T> : &host::orglq<T>;
  withWorkspace<T>(1, [&](T* work, int lwork) {
    return routine(dA.rows, dA.cols, k, hA.data(), hA.ld(), hTau.data(), work, lwork);
  });
  hA.upload();
}

// Columns (rows, for row-wise reflectors) first .. first+count-1 of A become those of the identity.
template <class T>
void setIdentity(bool rows, int first, int count, MatrixView<T> dA) {
  const MatrixView<T> dQ = slice(dA, rows, first, count);
  basic::laset('F', T(0), T(0), slice(dQ, !rows, 0, first));
  basic::laset('F', T(0), T(1), slice(dQ, !rows, first, (rows ? dA.cols : dA.rows) - first));
}

}  // namespace

template <class T>
void larfb(Reflectors kind, char side, char trans, ConstView<T> dV, const T* dT, int ldt, MatrixView<T> dC) {
  const int k = rowwise(kind) ? dV.rows : dV.cols, rows = side == 'L' ? dC.cols : dC.rows;
  if (k == 0 || dC.empty()) return;
  const PaddedMemory<T> dW(size(rows), size(k));
  applyBlock<T>(kind, side, trans, dV, {dT, k, k, ldt}, dC, dW.view(rows, k));
}

template <class T>
void applyReflectors(Reflectors kind, char side, char trans, int k, MatrixView<T> dA, const T* dTau,
                     MatrixView<T> dC) {
  if (k == 0 || dC.empty()) return;
  const Phase phase;
  const int nb = panelWidth<T>();
  if (nb >= k) return applyOnHost(kind, side, trans, k, dA, dTau, dC);

  const bool left = side == 'L', plain = trans == 'N';
  // Q = H1 H2 ...: Q C and C Q^H meet the last block first. With rows, Q is made of the adjoints, in reverse
  // order for lq.
  const bool backwards = (left == plain) != (kind == Reflectors::lq);
  const char blockTrans = plain == rowwise(kind) ? 'C' : 'N';
  const int wRows = left ? dC.cols : dC.rows;
  const PaddedMemory<T> dW(size(wRows), size(nb));
  forEachBlock(kind, backwards, left ? dC.rows : dC.cols, k, dA, dTau,
               [&](int, MatrixView<const T> dV, MatrixView<const T> dT, Range range) {
                 applyBlock(kind, side, blockTrans, dV, dT, slice(dC, left, range.first, range.count),
                            dW.view(wRows, dT.cols));
               });
}

template <class T>
void generateQ(Reflectors kind, int k, MatrixView<T> dA, const T* dTau) {
  if (kind == Reflectors::rq) throw FeatNotImplException();
  if (dA.empty()) return;
  const Phase phase;
  const int nb = panelWidth<T>();
  if (nb >= k) return generateOnHost(kind, k, dA, dTau);

  const bool rows = rowwise(kind);
  const int nq = rows ? dA.cols : dA.rows, vectors = rows ? dA.rows : dA.cols;
  const PaddedMemory<T> dW(size(vectors), size(nb));
  const PaddedMemory<T> dVs(size(rows ? nb : nq), size(rows ? nq : nb));
  setIdentity(rows, k, vectors - k, dA);
  // The first columns of Q are H1 (H2 (... I)), the first rows of an LQ factorization's Q are
  // ((I ...) H2^H) H1^H. A block leaves the vectors before it as they are, so that their reflectors can wait
  // there; its own are moved out of the way.
  forEachBlock(kind, true, nq, k, dA, dTau,
               [&](int i, MatrixView<const T> dPanel, MatrixView<const T> dT, Range) {
                 const MatrixView<T> dV = dVs.view(dPanel.rows, dPanel.cols);
                 basic::copyMatrix(dPanel, dV);
                 setIdentity(rows, i, dT.cols, dA);
                 applyBlock<T>(kind, rows ? 'R' : 'L', rows ? 'C' : 'N', dV, dT,
                               dA.block(i, i, dA.rows - i, dA.cols - i), dW.view(vectors - i, dT.cols));
               });
}

template void larfb(Reflectors, char, char, ConstView<float>, const float*, int, MatrixView<float>);
template void larfb(Reflectors, char, char, ConstView<Complex<float>>, const Complex<float>*, int,
                    MatrixView<Complex<float>>);
template void applyReflectors(Reflectors, char, char, int, MatrixView<float>, const float*,
                              MatrixView<float>);
template void applyReflectors(Reflectors, char, char, int, MatrixView<Complex<float>>, const Complex<float>*,
                              MatrixView<Complex<float>>);
template void generateQ(Reflectors, int, MatrixView<float>, const float*);
template void generateQ(Reflectors, int, MatrixView<Complex<float>>, const Complex<float>*);

}  // namespace tovi::lapack
