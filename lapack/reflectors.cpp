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
#include "lapack/block_reflector.h"
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

// The three forms of Q: a product of the blocks H or H^H (opOfBlock "N" or "C"), in ascending order or the
// other way round. To generate Q's first vectors they are applied to those of the identity, from `side`.

// Q = H1 H2 ...
struct Qr : QrBlock {
  static constexpr bool ascending = true;
  static constexpr char opOfBlock = 'N', side = 'L';
  template <class T>
  static constexpr auto multiplyOnHost = &host::ormqr<T>;
  template <class T>
  static constexpr auto generateOnHost = &host::orgqr<T>;
};

// Q = ... H2^H H1^H
struct Lq : LqBlock {
  static constexpr bool ascending = false;
  static constexpr char opOfBlock = 'C', side = 'R';
  template <class T>
  static constexpr auto multiplyOnHost = &host::ormlq<T>;
  template <class T>
  static constexpr auto generateOnHost = &host::orglq<T>;
};

// Q = H1^H H2^H ...
struct Rq : RqBlock {
  static constexpr bool ascending = true;
  static constexpr char opOfBlock = 'C';
  template <class T>
  static constexpr auto multiplyOnHost = &host::ormrq<T>;
};

// visit(form), with a form of the type that kind names.
template <class Visit>
void withForm(Reflectors kind, const Visit& visit) {
  switch (kind) {
    case Reflectors::qr:
      return visit(Qr());
    case Reflectors::lq:
      return visit(Lq());
    case Reflectors::rq:
      return visit(Rq());
  }
}

// The number of vectors in C on which H acts: its columns (side L) or its rows (side R).
template <class T>
int vectorsIn(MatrixView<T> dC, char side) {
  return side == 'L' ? dC.cols : dC.rows;
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

// C := op(H) C = C - V op(T) V^H C. W has as many rows as C has columns, and k columns. dV holds V or V^H,
// and the letters of the form say which.
template <class Form, class T>
void applyLeft(char op, ConstView<T> dV, ConstView<T> dT, MatrixView<T> dC, MatrixView<T> dW) {
  const auto [dV1, dV2] = Form::split(dV);
  const auto [dC1, dC2] = Form::splitRows(dC, dT.cols);
  // W := (V^H C)^H = C1^H V1 + C2^H V2
  basic::transpose<T>(dC1, dW, true);
  blas::trmm('R', Form::triangleOfV, Form::plain, 'U', T(1), dV1, dW);
  if (!dV2.empty()) addProduct(Form::plain, dV2, dC2, dW);
  // W := W op(T)^H
  blas::trmm('R', Form::triangleOfT, op == 'N' ? 'C' : 'N', 'N', T(1), dT, dW);
  // C2 := C2 - V2 W^H
  blas::gemm(Form::plain, 'C', T(-1), dV2, dW, T(1), dC2);
  // C1 := C1 - V1 W^H = C1 - (W V1^H)^H
  blas::trmm('R', Form::triangleOfV, Form::adjoint, 'U', T(1), dV1, dW);
  basic::conjugateMatrix(dW);
  basic::subtractMatrix<T>('T', 'N', dW, dC1);
}

// C := C op(H) = C - C V op(T) V^H. W has as many rows as C, and k columns.
template <class Form, class T>
void applyRight(char op, ConstView<T> dV, ConstView<T> dT, MatrixView<T> dC, MatrixView<T> dW) {
  const auto [dV1, dV2] = Form::split(dV);
  const auto [dC1, dC2] = Form::splitColumns(dC, dT.cols);
  // W := C V = C1 V1 + C2 V2
  basic::copyMatrix<T>(dC1, dW);
  blas::trmm('R', Form::triangleOfV, Form::plain, 'U', T(1), dV1, dW);
  if (!dV2.empty()) blas::gemm('N', Form::plain, T(1), dC2, dV2, T(1), dW);
  // W := W op(T)
  blas::trmm('R', Form::triangleOfT, op, 'N', T(1), dT, dW);
  // C2 := C2 - W V2^H
  blas::gemm('N', Form::adjoint, T(-1), dW, dV2, T(1), dC2);
  // C1 := C1 - W V1^H
  blas::trmm('R', Form::triangleOfV, Form::adjoint, 'U', T(1), dV1, dW);
  basic::subtractMatrix<T>('N', 'N', dW, dC1);
}

template <class Form, class T>
void applyBlock(char side, char op, ConstView<T> dV, ConstView<T> dT, MatrixView<T> dC, MatrixView<T> dW) {
  if (side == 'L')
    applyLeft<Form, T>(op, dV, dT, dC, dW);
  else
    applyRight<Form, T>(op, dV, dT, dC, dW);
}

// One block of many: V, without the elements that are zero, begins at reflector `first` and acts on the
// elements from `element` on of a vector.
template <class T>
struct Panel {
  int first, element;
  MatrixView<const T> dV;
};

// The reflectors first .. first+count-1 of those in dV.
template <class Form, class T>
Panel<T> panelOf(MatrixView<const T> dV, int first, int count) {
  const MatrixView<const T> dLong = Form::vectors(dV, first, count);
  const int length = Form::length(dV), after = Form::count(dV) - first - count;
  if (Form::forward) return {first, first, Form::elements(dLong, first, length - first)};
  return {first, 0, Form::elements(dLong, 0, length - after)};
}

// Walks over the reflectors in dV by blocks, from the first to the last or the other way round, and calls
// apply(panel, dT) for each, dT being the triangular factor. What apply queues on the device runs while the
// next panel, sent for beforehand, travels to the host and its T is formed there.
template <class Form, class T, class Apply>
void forEachBlock(bool lastFirst, ConstView<T> dV, const T* dTau, const Apply& apply) {
  const int nb = reflectorPanelWidth<T>(), k = Form::count(dV), nq = Form::length(dV);
  const int ldPanel = Form::shape(nb, nq).rows;
  std::vector<T> hTau(size(k));
  copyToHost(dTau, hTau);  // comes after what V is made by, too
  const cudalib::PageLockedMemory<T> hPanel(roomForRows(nb, nq), 1), hT(size(nb), size(nb));
  std::fill_n(hT.get(), size(nb) * size(nb), T(0));
  const PaddedMemory<T> dT(size(nb), size(nb));
  const cudalib::Stream stream;

  const int blocks = (k + nb - 1) / nb;
  const auto at = [&](int step) {
    const int first = (lastFirst ? blocks - 1 - step : step) * nb;
    return panelOf<Form, T>(dV, first, std::min(nb, k - first));
  };
  const auto fetch = [&](const Panel<T>& panel) {
    cudalib::downloadAsync<T>(panel.dV, hPanel.get(), ldPanel, stream.get());
  };

  fetch(at(0));
  for (int step = 0; step < blocks; ++step) {
    const Panel<T> panel = at(step);
    const int ib = Form::count(panel.dV);
    finishTransfers(stream);
    host::larft(Form::direct, Form::storev, Form::length(panel.dV), ib, hPanel.get(), ldPanel,
                hTau.data() + panel.first, hT.get(), nb);
    stream.afterDefault();  // what was queued last reads the T before
    cudalib::uploadAsync<T>(hT.get(), nb, dT.view(nb, nb), stream.get());
    stream.beforeDefault();
    if (step + 1 < blocks) fetch(at(step + 1));
    apply(panel, ConstView<T>(dT.view(ib, ib)));
  }
  finishTransfers(stream);  // the last uploads must not outlive their buffers
}

// A matrix that the host works on.
template <class T>
class HostCopy {
 public:
  explicit HostCopy(ConstView<T> dA) : ld_(std::max(1, dA.rows)), elements_(roomForRows(dA.rows, dA.cols)) {
    cudalib::download<T>(dA, data(), ld());
  }
  T* data() { return elements_.data(); }
  int ld() const { return ld_; }
  void upload(MatrixView<T> dA) const { cudalib::upload<T>(elements_.data(), ld(), dA); }

 private:
  int ld_;
  std::vector<T> elements_;
};

// Few reflectors: one block, left to the host.
template <class Form, class T>
void multiplyOnHost(char side, char trans, ConstView<T> dV, const T* dTau, MatrixView<T> dC) {
  const int k = Form::count(dV);
  std::vector<T> hTau(size(k));
  copyToHost(dTau, hTau);
  HostCopy<T> hV(dV), hC(dC);
  if (!isComplex<T> && trans == 'C') trans = 'T';
  // The workspace that the routine asks for does not always fit into an int; this is what it needs.
  withWorkspace<T>(vectorsIn(dC, side), [&](T* work, int lwork) {
    return Form::template multiplyOnHost<T>(side, trans, dC.rows, dC.cols, k, hV.data(), hV.ld(), hTau.data(),
                                            hC.data(), hC.ld(), work, lwork);
  });
  hC.upload(dC);
}

// C := op(Q) C or C op(Q), Q being made of the reflectors in dV.
template <class Form, class T>
void multiply(char side, char trans, ConstView<T> dV, const T* dTau, MatrixView<T> dC) {
  const int nb = reflectorPanelWidth<T>();
  if (nb >= Form::count(dV)) return multiplyOnHost<Form, T>(side, trans, dV, dTau, dC);

  const bool left = side == 'L', plain = trans == 'N';
  // Where the blocks ascend from left to right, Q C and C Q^H meet the last one first.
  const bool lastFirst = (left == plain) == Form::ascending;
  const char op = plain == (Form::opOfBlock == 'N') ? 'N' : 'C';
  const int vectors = vectorsIn(dC, side);
  const PaddedMemory<T> dW(size(vectors), size(nb));
  forEachBlock<Form, T>(lastFirst, dV, dTau, [&](const Panel<T>& panel, ConstView<T> dT) {
    const int length = Form::length(panel.dV);
    applyBlock<Form, T>(
        side, op, panel.dV, dT,
        left ? dC.block(panel.element, 0, length, dC.cols) : dC.columns(panel.element, length),
        dW.view(vectors, dT.cols));
  });
}

template <class Form, class T>
void generateOnHost(int k, MatrixView<T> dA, const T* dTau) {
  std::vector<T> hTau(size(k));
  copyToHost(dTau, hTau);
  HostCopy<T> hA(dA);
  withWorkspace<T>(1, [&](T* work, int lwork) {
    return Form::template generateOnHost<T>(dA.rows, dA.cols, k, hA.data(), hA.ld(), hTau.data(), work,
                                            lwork);
  });
  hA.upload(dA);
}

// The vectors first .. first+count-1 in A become those of the identity.
template <class Form, class T>
void setIdentity(int first, int count, MatrixView<T> dA) {
  const MatrixView<T> dQ = Form::vectors(dA, first, count);
  basic::laset('F', T(0), T(0), Form::elements(dQ, 0, first));
  basic::laset('F', T(0), T(1), Form::elements(dQ, first, Form::length(dA) - first));
}

template <class Form, class T>
void generate(int k, MatrixView<T> dA, const T* dTau) {
  const int nb = reflectorPanelWidth<T>();
  if (nb >= k) return generateOnHost<Form>(k, dA, dTau);

  const int vectors = Form::count(dA);
  const Shape shape = Form::shape(nb, Form::length(dA));
  const PaddedMemory<T> dW(size(vectors), size(nb)), dCopy(size(shape.rows), size(shape.cols));
  setIdentity<Form>(k, vectors - k, dA);
  // The first columns of Q are H1 (H2 (... I)), the first rows of an LQ factorization's Q are
  // ((I ...) H2^H) H1^H. A block leaves the vectors before it as they are, so that their reflectors can wait
  // there; its own are moved out of the way.
  forEachBlock<Form, T>(true, Form::vectors(dA, 0, k), dTau, [&](const Panel<T>& panel, ConstView<T> dT) {
    const int i = panel.first;
    const MatrixView<T> dV = dCopy.view(panel.dV.rows, panel.dV.cols);
    basic::copyMatrix<T>(panel.dV, dV);
    setIdentity<Form>(i, dT.cols, dA);
    applyBlock<Form, T>(Form::side, Form::opOfBlock, dV, dT, dA.block(i, i, dA.rows - i, dA.cols - i),
                        dW.view(vectors - i, dT.cols));
  });
}

}  // namespace

template <class T>
void applyReflectors(Reflectors kind, char side, char trans, int k, ConstView<T> dA, const T* dTau,
                     MatrixView<T> dC) {
  if (k == 0 || dC.empty()) return;
  const Phase phase;
  withForm(kind, [&](auto form) {
    using Form = decltype(form);
    multiply<Form, T>(side, trans, Form::vectors(dA, 0, k), dTau, dC);
  });
}

template <class T>
void generateQ(Reflectors kind, int k, MatrixView<T> dA, const T* dTau) {
  if (kind == Reflectors::rq) throw FeatNotImplException();
  if (dA.empty()) return;
  const Phase phase;
  if (kind == Reflectors::qr)
    generate<Qr>(k, dA, dTau);
  else
    generate<Lq>(k, dA, dTau);
}

#define TOVI_INSTANCES(T)                                   \
  template decltype(applyReflectors<T>) applyReflectors<T>; \
  template decltype(generateQ<T>) generateQ<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
