#include "lapack/lu.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/copy2d.h"
#include "cudalib/stream.h"
#include "ground/complex.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "ground/scalars.h"
#include "host/blas.h"
#include "host/lapack.h"
#include "lapack/block_size.h"
#include "lapack/host_call.h"
#include "lapack/transfers.h"
#include "lapack/triangular.h"
#include "src/basic/LASWP.h"
#include "src/basic/Transpose.h"
#include "src/blas/blas.h"

namespace tovi::lapack {
namespace {

// Square matrices of a higher order are factored in transposed storage.
constexpr int transposedAbove = 512;

// How a block column is reached in A as it lies. Rows and columns are counted from 0; a panel is A(j:m,
// j:j+jb).
template <class T>
class Straight {
 public:
  Straight(MatrixView<T> dA, int /*nb*/) : dA_(dA) {}

  // Sends for a panel as the default stream leaves it.
  void fetch(int j, int jb, T* hPanel, const cudalib::Stream& stream) const {
    stream.afterDefault();
    cudalib::downloadAsync<T>(dA_.block(j, j, dA_.rows - j, jb), hPanel, dA_.rows - j, stream.get());
  }
  void send(int j, int jb, const T* hPanel, const cudalib::Stream& stream) const {
    cudalib::uploadAsync(hPanel, dA_.rows - j, dA_.block(j, j, dA_.rows - j, jb), stream.get());
  }
  // The factored panel has arrived on the device.
  void place(int /*j*/, int /*jb*/) const {}
  // Interchanges rows j .. j+jb-1 of `count` columns from `column` on.
  void interchange(const int* hIpiv, int j, int jb, int column, int count) const {
    basic::laswp(count, dA_.at(0, column), dA_.ld, j + 1, j + jb, hIpiv, 1);
  }
  void eliminate(int j, int jb, int column, int count) const {
    const int below = dA_.rows - j - jb;
    const MatrixView<T> dU12 = dA_.block(j, column, jb, count);
    // U12 := L11^-1 A12
    blas::trsm('L', 'L', 'N', 'U', T(1), dA_.block(j, j, jb, jb), dU12);
    // A22 := A22 - L21 U12
    if (below > 0)
      blas::gemm('N', 'N', T(-1), dA_.block(j + jb, j, below, jb), dU12, T(1),
                 dA_.block(j + jb, column, below, count));
  }

 private:
  MatrixView<T> dA_;
};

// The same for a square matrix whose device copy holds the transpose, so that a row of A is a contiguous
// column. A panel is transposed into a buffer of its own on the way to the host, and back from there.
template <class T>
class Transposed {
 public:
  Transposed(MatrixView<T> dAt, int nb)
      : dAt_(dAt), dPanel_(static_cast<std::size_t>(dAt.rows), static_cast<std::size_t>(nb)) {}

  void fetch(int j, int jb, T* hPanel, const cudalib::Stream& stream) const {
    basic::transpose<T>(dAt_.block(j, j, jb, dAt_.cols - j), panel(j, jb));
    stream.afterDefault();
    cudalib::downloadAsync<T>(panel(j, jb), hPanel, dAt_.cols - j, stream.get());
  }
  void send(int j, int jb, const T* hPanel, const cudalib::Stream& stream) const {
    cudalib::uploadAsync(hPanel, dAt_.cols - j, panel(j, jb), stream.get());
  }
  void place(int j, int jb) const { basic::transpose<T>(panel(j, jb), dAt_.block(j, j, jb, dAt_.cols - j)); }
  void interchange(const int* hIpiv, int j, int jb, int column, int count) const {
    basic::laswpCol(count, dAt_.at(column, 0), dAt_.ld, j + 1, j + jb, hIpiv, 1);
  }
  void eliminate(int j, int jb, int column, int count) const {
    const int below = dAt_.cols - j - jb;
    const MatrixView<T> dU12t = dAt_.block(column, j, count, jb);
    // U12^T := A12^T L11^-T
    blas::trsm('R', 'U', 'N', 'U', T(1), dAt_.block(j, j, jb, jb), dU12t);
    // A22^T := A22^T - U12^T L21^T
    if (below > 0)
      blas::gemm('N', 'N', T(-1), dU12t, dAt_.block(j, j + jb, jb, below), T(1),
                 dAt_.block(column, j + jb, count, below));
  }

 private:
  MatrixView<T> panel(int j, int jb) const { return {dPanel_.get(), dAt_.cols - j, jb, dAt_.cols - j}; }

  MatrixView<T> dAt_;
  cudalib::LinearMemory<T> dPanel_;
};

// Factors a panel that has come to the host. host::getrf cannot be relied on where a pivot is subnormal, and
// may leave an element in its place that is no larger, or zero; complex ones are compared by the sum of their
// parts, hence the 2. Then fetchAgain() brings the panel once more. Returns the position of the first zero
// pivot, 0 for none.
template <class T, class Fetch>
int factorSafely(int rows, int cols, T* hPanel, int* hIpiv, const Fetch& fetchAgain) {
  int info = host::getrf(rows, cols, hPanel, rows, hIpiv);
  const MatrixView<const T> factors(hPanel, rows, cols, rows);
  bool suspicious = false;
  for (int i = 0; i < std::min(rows, cols); ++i)
    suspicious = suspicious || greatestPartOf(*factors.at(i, i)) < 2 * Range<Real<T>>::least;
  if (suspicious && info >= 0) {
    fetchAgain();
    info = host::getrf2(rows, cols, hPanel, rows, hIpiv);
  }
  if (info < 0) checkHostInfo(info);
  return info;
}

// The whole matrix is narrow enough to be one panel.
template <class T>
int factorOnHost(MatrixView<T> dA, int* hIpiv) {
  std::vector<T> hA(static_cast<std::size_t>(dA.rows) * static_cast<std::size_t>(dA.cols));
  const auto fetch = [&] { cudalib::download<T>(dA, hA.data(), dA.rows); };
  fetch();
  const int info = factorSafely(dA.rows, dA.cols, hA.data(), hIpiv, fetch);
  cudalib::upload(hA.data(), dA.rows, dA);
  return info;
}

// Right-looking blocked factorization of an m x n matrix. Panels are factored on the host; while the device
// updates the rest of the trailing matrix, the next panel, updated first, is already on its way. What nobody
// waits for, the interchange on the left, comes last.
template <class T, class Storage>
int factorBlocked(const Storage& storage, int m, int n, int nb, int* hIpiv) {
  const int k = std::min(m, n);
  const cudalib::PageLockedMemory<T> hPanel(static_cast<std::size_t>(m), static_cast<std::size_t>(nb));
  const cudalib::Stream stream;
  int firstZero = 0;

  storage.fetch(0, nb, hPanel.get(), stream);
  for (int j = 0; j < k; j += nb) {
    const int jb = std::min(k - j, nb);
    const int rows = m - j;
    finishTransfers(stream);  // the panel has come, and the one before has gone
    const int info = factorSafely(rows, jb, hPanel.get(), hIpiv + j, [&] {
      storage.fetch(j, jb, hPanel.get(), stream);
      finishTransfers(stream);
    });
    if (info > 0 && firstZero == 0) firstZero = info + j;
    storage.send(j, jb, hPanel.get(), stream);
    for (int i = j; i < std::min(m, j + jb); ++i) hIpiv[i] += j;

    // Look-ahead: the columns of the next panel, which then leaves for the host.
    const int right = n - j - jb, next = std::min(jb, right), rest = right - next;
    if (next > 0) storage.interchange(hIpiv, j, jb, j + jb, next);
    stream.beforeDefault();
    storage.place(j, jb);
    if (next > 0) storage.eliminate(j, jb, j + jb, next);
    if (next > 0 && rows > jb) storage.fetch(j + jb, next, hPanel.get(), stream);
    if (rest > 0) {
      storage.interchange(hIpiv, j, jb, j + 2 * jb, rest);
      storage.eliminate(j, jb, j + 2 * jb, rest);
    }
    storage.interchange(hIpiv, j, jb, 0, j);
  }
  finishTransfers(stream);  // the last upload must not outlive its buffer
  return firstZero;
}

template <class T>
int factorTransposed(MatrixView<T> dA, int nb, int* hIpiv) {
  basic::transposeInplace(dA);
  const int firstZero = factorBlocked<T>(Transposed<T>(dA, nb), dA.rows, dA.cols, nb, hIpiv);
  basic::transposeInplace(dA);
  return firstZero;
}

// Of n rows; a bad one is getrs's sixth argument.
void checkPivots(int n, const int* hIpiv) {
  if (!std::all_of(hIpiv, hIpiv + n, [=](int row) { return row >= 1 && row <= n; })) argumentError(-6);
}

// Interchanges, of row i with row ipiv[i], 1-based, that undo these when they are made in the same order.
void undo(std::vector<int>& ipiv) {
  const std::size_t n = ipiv.size();
  // Rows counted from 0. to[i]: which row they are to bring to i; at: where a row is meanwhile, content:
  // which row is at a place.
  std::vector<std::size_t> to(n), at, content;
  std::iota(to.begin(), to.end(), std::size_t{0});
  at = content = to;
  for (std::size_t i = n; i-- > 0;) std::swap(to[i], to[static_cast<std::size_t>(ipiv[i]) - 1]);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t p = at[to[i]];
    ipiv[i] = static_cast<int>(p) + 1;
    std::swap(content[i], content[p]);
    at[content[i]] = i, at[content[p]] = p;
  }
}

}  // namespace

template <class T>
void getrf(MatrixView<T> dA, int* dIpiv) {
  if (dA.empty()) return;
  const Phase phase;
  const int k = std::min(dA.rows, dA.cols);
  const int nb = luPanelWidth<T>();
  std::vector<int> hIpiv(static_cast<std::size_t>(k));

  int firstZero = 0;
  if (nb >= k)
    firstZero = factorOnHost(dA, hIpiv.data());
  else if (dA.rows == dA.cols && dA.rows > transposedAbove)
    firstZero = factorTransposed(dA, nb, hIpiv.data());
  else
    firstZero = factorBlocked<T>(Straight<T>(dA, nb), dA.rows, dA.cols, nb, hIpiv.data());

  copyToDevice(hIpiv, dIpiv);
  if (firstZero == 0) return;
  cudalib::completionCheck();  // a data error promises complete factors
  dataError(firstZero);
}

template <class T>
void getrs(char trans, ConstView<T> dA, const int* dIpiv, MatrixView<T> dB) {
  if (dB.empty()) return;
  const Phase phase;
  std::vector<int> hIpiv(static_cast<std::size_t>(dA.rows));
  copyToHost(dIpiv, hIpiv);
  checkPivots(dA.rows, hIpiv.data());
  const auto interchange = [&] { basic::laswp(dB.cols, dB.data, dB.ld, 1, dA.rows, hIpiv.data(), 1); };
  if (trans == 'N') {
    interchange();                              // B := P B
    solveTriangular<T>('L', 'N', 'U', dA, dB);  // B := L^-1 B
    solveTriangular<T>('U', 'N', 'N', dA, dB);  // B := U^-1 B
  } else {
    solveTriangular<T>('U', trans, 'N', dA, dB);  // B := op(U)^-1 B
    solveTriangular<T>('L', trans, 'U', dA, dB);  // B := op(L)^-1 B
    undo(hIpiv);
    interchange();  // B := P^T B
  }
}

template <class T>
void getrsOnHost(char trans, int n, const T* hA, int lda, const int* hIpiv, T* hB) {
  checkPivots(n, hIpiv);
  solveVector(n, hB, [&](T* b) {
    const auto interchange = [&](int i) { std::swap(b[i], b[hIpiv[i] - 1]); };
    if (trans == 'N') {
      for (int i = 0; i < n; ++i) interchange(i);
      host::trsv('L', 'N', 'U', n, hA, lda, b);
      host::trsv('U', 'N', 'N', n, hA, lda, b);
    } else {
      host::trsv('U', trans, 'N', n, hA, lda, b);
      host::trsv('L', trans, 'U', n, hA, lda, b);
      for (int i = n; i-- > 0;) interchange(i);
    }
  });
}

template <class T>
void gesv(MatrixView<T> dA, int* dIpiv, MatrixView<T> dB) {
  getrf(dA, dIpiv);
  getrs<T>('N', dA, dIpiv, dB);
}

#define TOVI_INSTANCES(T)                           \
  template decltype(getrf<T>) getrf<T>;             \
  template decltype(getrs<T>) getrs<T>;             \
  template decltype(getrsOnHost<T>) getrsOnHost<T>; \
  template decltype(gesv<T>) gesv<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
