#include "lapack/qr.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "cudalib/stream.h"
#include "ground/complex.h"
#include "ground/phase.h"
#include "host/lapack.h"
#include "lapack/block_reflector.h"
#include "lapack/block_size.h"
#include "lapack/host_call.h"
#include "lapack/host_panel.h"
#include "lapack/transfers.h"
#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
#include "src/basic/Set.h"
#include "src/basic/Transpose.h"
#include "src/blas/blas.h"

namespace tovi::lapack {
namespace {

using cudalib::LinearMemory;

// What the three factorizations differ in. The lines of A are its columns for QR and its rows for LQ and RQ,
// numbered from 0 in the order in which they are factored: RQ begins with the last row. A panel is some
// lines, less what earlier panels have made final; its reflectors are V, and its corner is the square block
// in which R or L stands beside V's triangle. On the host a panel is always tall.
//
// The panel of lines 2 and 3, with C for its corner and V for the rest of it; R or L and v are final, and *
// is what H updates:
//
//            QR                        LQ                        RQ
//    line    0 1 2 3 4 5          0    L v v v v v v        5    * * * * * R R
//            R R R R R R          1    L L v v v v v        4    * * * * * R R
//            v R R R R R          2    L L C C V V V        3    V V V C C R R
//            v v C C * *          3    L L C C V V V        2    V V V C C R R
//            v v C C * *          4    L L * * * * *        1    v v v v v R R
//            v v V V * *          5    L L * * * * *        0    v v v v v v R
//            v v V V * *
//            v v V V * *

// QR: H = I - V T V^H, of which H^H is applied from the left.
template <class T>
class Columns {
 public:
  Columns(MatrixView<T> dA, int /*nb*/) : dA_(dA) {}

  // How V stands in A, and how on the host.
  using Block = QrBlock;
  using HostBlock = QrBlock;

  int lines() const { return dA_.cols; }
  int length() const { return dA_.rows; }
  MatrixView<T> panel(int first, int count) const { return part(first, first, count); }
  // Lines of what the panel that begins at line `panel` updates.
  MatrixView<T> part(int panel, int first, int count) const {
    return dA_.block(panel, first, dA_.rows - panel, count);
  }
  // The scalar factors of a panel begin here.
  int tau(int first, int /*count*/) const { return first; }

  // Sends for a panel as the default stream leaves it.
  void fetch(int first, int count, T* hPanel, int ldh, const cudalib::Stream& stream) const {
    stream.afterDefault();
    cudalib::downloadAsync<T>(panel(first, count), hPanel, ldh, stream.get());
  }
  void send(const T* hPanel, int ldh, int first, int count) const {
    cudalib::upload(hPanel, ldh, panel(first, count));
  }
  // C := H^H C = C - V Y, Y := T^H V^H C
  static void update(MatrixView<T> dV, MatrixView<T> dT, T* dRoom, MatrixView<T> dC) {
    const MatrixView<T> dY(dRoom, dV.cols, dC.cols, dV.cols);
    const auto multiplyByT = [&](MatrixView<T> dX) {
      blas::trmm('L', Block::triangleOfT, adjoint<T>, 'N', T(1), dT, dX);
    };
    if (dC.cols > dV.rows) {
      const MatrixView<T> dW(dY.data + size(dY.ld) * size(dY.cols), dV.cols, dV.rows, dV.cols);
      basic::transpose<T>(dV, dW, true);
      multiplyByT(dW);
      blas::gemm('N', 'N', T(1), dW, dC, T(0), dY);
    } else {
      blas::gemm(adjoint<T>, 'N', T(1), dV, dC, T(0), dY);
      multiplyByT(dY);
    }
    blas::gemm('N', 'N', T(-1), dV, dY, T(1), dC);
  }
  static int factorOnHost(MatrixView<T> hA, T* hTau, T* work, int lwork) {
    return host::geqrf(hA.rows, hA.cols, hA.data, hA.ld, hTau, work, lwork);
  }

 private:
  MatrixView<T> dA_;
};

// LQ (forward) and RQ (backward): H = I - V T V^H, applied from the right. A panel is V^H, and travels as its
// conjugate transpose, by way of a buffer of its own: the host factors tall panels more than twice as fast as
// wide ones, and L Q is the conjugate transpose of Q R, R Q that of Q L, with the same scalar factors.
template <class T, Direction direction>
class Rows {
 public:
  Rows(MatrixView<T> dA, int nb)
      : dA_(dA), dTransposed_(static_cast<std::size_t>(dA.cols), static_cast<std::size_t>(nb)) {}

  using Block = BlockForm<AsRows, direction>;
  using HostBlock = BlockForm<AsColumns, direction>;

  int lines() const { return dA_.rows; }
  int length() const { return dA_.cols; }
  MatrixView<T> panel(int first, int count) const { return part(first, first, count); }
  MatrixView<T> part(int panel, int first, int count) const {
    return backward ? dA_.block(dA_.rows - first - count, 0, count, dA_.cols - panel)
                    : dA_.block(first, panel, count, dA_.cols - panel);
  }
  int tau(int first, int count) const {
    return backward ? std::max(std::min(dA_.rows, dA_.cols) - first - count, 0) : first;
  }

  void fetch(int first, int count, T* hPanel, int ldh, const cudalib::Stream& stream) const {
    basic::transpose<T>(panel(first, count), transposed(first, count), true);
    stream.afterDefault();
    cudalib::downloadAsync<T>(transposed(first, count), hPanel, ldh, stream.get());
  }
  void send(const T* hPanel, int ldh, int first, int count) const {
    cudalib::upload(hPanel, ldh, transposed(first, count));
    basic::transpose<T>(transposed(first, count), panel(first, count), true);
  }
  // C := C H = C - Y V^H, Y := C V T
  static void update(MatrixView<T> dVh, MatrixView<T> dT, T* dRoom, MatrixView<T> dC) {
    const MatrixView<T> dY(dRoom, dC.rows, dVh.rows, dC.rows);
    const auto multiplyByT = [&](MatrixView<T> dX) {
      blas::trmm('R', Block::triangleOfT, 'N', 'N', T(1), dT, dX);
    };
    if (dC.rows > dVh.cols) {
      const MatrixView<T> dW(dY.data + size(dY.ld) * size(dY.cols), dVh.cols, dVh.rows, dVh.cols);
      basic::transpose<T>(dVh, dW, true);
      multiplyByT(dW);
      blas::gemm('N', 'N', T(1), dC, dW, T(0), dY);
    } else {
      blas::gemm('N', adjoint<T>, T(1), dC, dVh, T(0), dY);
      multiplyByT(dY);
    }
    blas::gemm('N', 'N', T(-1), dY, dVh, T(1), dC);
  }
  static int factorOnHost(MatrixView<T> hA, T* hTau, T* work, int lwork) {
    return backward ? host::gerqf(hA.rows, hA.cols, hA.data, hA.ld, hTau, work, lwork)
                    : host::gelqf(hA.rows, hA.cols, hA.data, hA.ld, hTau, work, lwork);
  }

 private:
  static constexpr bool backward = direction == Direction::backward;

  MatrixView<T> transposed(int first, int count) const { return dTransposed_.view(dA_.cols - first, count); }

  MatrixView<T> dA_;
  LinearMemory<T> dTransposed_;
};

// Factors panels of nb lines while more than nb of the k reflectors are left; returns the number of lines
// done. Panels are factored on the host; while the device updates the rest of the lines, those of the next
// panel, updated first, are already on their way.
template <class T, class Form>
int factorPanels(const Form& form, int k, int nb, T* hTau, std::vector<T>& hWork) {
  const auto width = static_cast<std::size_t>(nb), length = static_cast<std::size_t>(form.length());
  const int ldh = form.length();
  const cudalib::PageLockedMemory<T> hPanel(length, width);
  std::vector<T> hTriangle(width * width);
  const MatrixView<T> hT(hTriangle.data(), nb, nb, nb);
  const LinearMemory<T> dTriangle(width, width), dSaved(width, width),
      dRoom(width, length + static_cast<std::size_t>(form.lines()));
  const MatrixView<T> dT = dTriangle.view(nb, nb), dSave = dSaved.view(nb, nb);
  const cudalib::Stream stream;

  form.fetch(0, nb, hPanel.get(), ldh, stream);
  int i = 0;
  for (; i < k - nb; i += nb) {
    finishTransfers(stream);
    const MatrixView<T> hP(hPanel.get(), form.length() - i, nb, ldh);
    factorPanel<typename Form::HostBlock>(hP, hTau + form.tau(i, nb), hT, hWork);
    form.send(hP.data, ldh, i, nb);
    cudalib::upload(hT.data, hT.ld, dT);

    // Until all lines are updated, the corner is V's triangle and nothing else.
    const MatrixView<T> dV = form.panel(i, nb), dCorner = Form::Block::split(dV).part1;
    basic::copyMatrix<T>(dCorner, dSave);
    basic::setTriangular(Form::Block::triangleOfV, 'U', dCorner);

    // C := H^H C (QR) or C H (LQ, RQ), C being all lines that are left, those of the next panel first.
    const int left = form.lines() - i - nb;
    const int next = std::min(left, nb), rest = left - next;
    form.update(dV, dT, dRoom.get(), form.part(i, i + nb, next));
    form.fetch(i + nb, next, hPanel.get(), ldh, stream);
    if (rest > 0) form.update(dV, dT, dRoom.get(), form.part(i, i + nb + next, rest));
    basic::copyMatrix<T>(dSave, dCorner);
  }
  finishTransfers(stream);  // the last download must not outlive its buffer
  return i;
}

// Factors the lines from `done` on without the device.
template <class Form, class T>
void factorRemainder(const Form& form, int done, T* hTau, std::vector<T>& hWork) {
  const int left = form.lines() - done;
  const MatrixView<T> dRemainder = form.panel(done, left);
  std::vector<T> hRemainder(roomForRows(dRemainder.rows, dRemainder.cols));
  const MatrixView<T> hA(hRemainder.data(), dRemainder.rows, dRemainder.cols, dRemainder.rows);
  cudalib::download<T>(dRemainder, hA.data, hA.ld);
  withWorkspace(hWork, left, [&](T* work, int lwork) {
    return Form::factorOnHost(hA, hTau + form.tau(done, left), work, lwork);
  });
  cudalib::upload(hA.data, hA.ld, dRemainder);
}

template <class Form, class T>
void factor(MatrixView<T> dA, T* dTau) {
  const int k = std::min(dA.rows, dA.cols), nb = reflectorPanelWidth<T>();
  if (k <= 0) return;
  const Phase phase;
  std::vector<T> hTau(static_cast<std::size_t>(k)), hWork;
  if (k <= nb) {
    factorRemainder(Form(dA, 0), 0, hTau.data(), hWork);
  } else {
    const Form form(dA, nb);
    const int done = factorPanels(form, k, nb, hTau.data(), hWork);
    factorRemainder(form, done, hTau.data(), hWork);
  }
  copyToDevice(hTau, dTau);
}

}  // namespace

template <class T>
void geqrf(MatrixView<T> dA, T* dTau) {
  factor<Columns<T>>(dA, dTau);
}

template <class T>
void gelqf(MatrixView<T> dA, T* dTau) {
  factor<Rows<T, Direction::forward>>(dA, dTau);
}

template <class T>
void gerqf(MatrixView<T> dA, T* dTau) {
  factor<Rows<T, Direction::backward>>(dA, dTau);
}

#define TOVI_INSTANCES(T)               \
  template decltype(geqrf<T>) geqrf<T>; \
  template decltype(gelqf<T>) gelqf<T>; \
  template decltype(gerqf<T>) gerqf<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
