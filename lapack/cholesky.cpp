#include "lapack/cholesky.h"

#include <algorithm>
#include <cstddef>

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/copy2d.h"
#include "cudalib/stream.h"
#include "ground/complex.h"
#include "ground/outcomes.h"
#include "ground/phase.h"
#include "host/blas.h"
#include "host/lapack.h"
#include "lapack/block_size.h"
#include "lapack/host_call.h"
#include "lapack/transfers.h"
#include "lapack/triangular.h"
#include "src/basic/LACPY.h"
#include "src/blas/blas.h"

namespace tovi::lapack {
namespace {

// The triangle that the factor overwrites. Rows and columns are counted from 0. What an elimination step
// leaves beside its diagonal block D, A(j:j+jb, j:j+jb), is a panel P: below D in L, on its right in U, where
// what is said of P holds for P^H.
template <class T>
class Triangle {
 public:
  Triangle(char uplo, MatrixView<T> dA) : uplo_(uplo), dA_(dA) {}

  char uplo() const { return uplo_; }
  int order() const { return dA_.rows; }
  MatrixView<T> diagonal(int j, int jb) const { return dA_.block(j, j, jb, jb); }

  // The lines first .. first+count-1 of P := P D^-H
  void eliminate(int j, int jb, int first, int count) const {
    if (lower())
      blas::trsm('R', 'L', 'C', 'N', T(1), diagonal(j, jb), panel(j, jb, first, count));
    else
      blas::trsm('L', 'U', 'C', 'N', T(1), diagonal(j, jb), panel(j, jb, first, count));
  }
  // A diagonal block := itself - P P^H
  void updateDiagonal(int j, int jb, int first, int count) const {
    const ConstView<T> dP = panel(j, jb, first, count);
    const char trans = lower() ? 'N' : isComplex<T> ? 'C' : 'T';
    if constexpr (isComplex<T>)
      blas::herk(uplo_, trans, Real<T>(-1), dP, Real<T>(1), diagonal(first, count));
    else
      blas::syrk(uplo_, trans, T(-1), dP, T(1), diagonal(first, count));
  }
  // What stands beside that, Q := Q - P2 P1^H, P1 being the lines first .. first+count-1 and P2 those behind.
  void updatePanel(int j, int jb, int first, int count) const {
    const int second = first + count, rest = order() - second;
    const ConstView<T> dP1 = panel(j, jb, first, count), dP2 = panel(j, jb, second, rest);
    const MatrixView<T> dQ = panel(first, count, second, rest);
    if (lower())
      blas::gemm('N', 'C', T(-1), dP2, dP1, T(1), dQ);
    else
      blas::gemm('C', 'N', T(-1), dP1, dP2, T(1), dQ);
  }

 private:
  bool lower() const { return uplo_ == 'L'; }
  MatrixView<T> panel(int j, int jb, int first, int count) const {
    return lower() ? dA_.block(first, j, count, jb) : dA_.block(j, first, jb, count);
  }

  char uplo_;
  MatrixView<T> dA_;
};

// Factors a block that has come to the host. Returns the order of the leading minor that is not positive
// definite, 0 for none: host::potrf may go on with NaN.
template <class T>
int factorOnHost(char uplo, int n, T* hA) {
  const int info = host::potrf(uplo, n, hA, n);
  if (info < 0) checkHostInfo(info);
  const int factored = info > 0 ? info - 1 : n;
  const MatrixView<const T> factor(hA, n, n, n);
  for (int i = 0; i < factored; ++i)
    if (!(real(*factor.at(i, i)) > 0)) return i + 1;
  return info;
}

// Right-looking, by blocks of nb. Diagonal blocks are factored on the host; while the device updates the
// rest, the next one, updated first, is already on its way. Of what comes back only the triangle is put in
// place.
template <class T>
int factor(const Triangle<T>& triangle, int nb) {
  const int n = triangle.order();
  const cudalib::PageLockedMemory<T> hBlock(size(nb), size(nb));
  const cudalib::PaddedMemory<T> dBlock(size(nb), size(nb));
  const cudalib::Stream stream;
  const auto fetch = [&](int j, int jb) {
    stream.afterDefault();
    cudalib::downloadAsync<T>(triangle.diagonal(j, jb), hBlock.get(), jb, stream.get());
  };

  fetch(0, nb);
  for (int j = 0; j < n; j += nb) {
    const int jb = std::min(n - j, nb), next = j + jb, right = n - next;
    finishTransfers(stream);
    const int info = factorOnHost(triangle.uplo(), jb, hBlock.get());
    if (info > 0) return j + info;
    const MatrixView<T> dFactored = dBlock.view(jb, jb);
    cudalib::uploadAsync(hBlock.get(), jb, dFactored, stream.get());
    stream.beforeDefault();
    basic::lacpy<T>(triangle.uplo(), dFactored, triangle.diagonal(j, jb));
    if (right == 0) break;

    // Look-ahead: the next diagonal block, which then leaves for the host.
    const int width = std::min(nb, right), rest = right - width;
    triangle.eliminate(j, jb, next, width);
    triangle.updateDiagonal(j, jb, next, width);
    fetch(next, width);
    if (rest == 0) continue;
    triangle.eliminate(j, jb, next + width, rest);
    triangle.updatePanel(j, jb, next, width);
    triangle.updateDiagonal(j, jb, next + width, rest);
  }
  finishTransfers(stream);  // the last upload must not outlive its buffer
  return 0;
}

}  // namespace

template <class T>
void potrf(char uplo, MatrixView<T> dA) {
  if (dA.empty()) return;
  const Phase phase;
  const int nb = std::min(dA.rows, choleskyBlockWidth<T>());
  const int minor = factor(Triangle<T>(uplo, dA), nb);
  if (minor == 0) return;
  cudalib::completionCheck();  // an update that has failed comes before what it has led to
  dataError(minor);
}

template <class T>
void potrs(char uplo, ConstView<T> dA, MatrixView<T> dB) {
  if (dB.empty()) return;
  const Phase phase;
  const char first = uplo == 'L' ? 'N' : 'C', second = uplo == 'L' ? 'C' : 'N';
  solveTriangular<T>(uplo, first, 'N', dA, dB);   // B := L^-1 B or U^-H B
  solveTriangular<T>(uplo, second, 'N', dA, dB);  // B := L^-H B or U^-1 B
}

template <class T>
void potrsOnHost(char uplo, int n, const T* hA, int lda, T* hB) {
  const char first = uplo == 'L' ? 'N' : 'C', second = uplo == 'L' ? 'C' : 'N';
  solveVector(n, hB, [&](T* b) {
    host::trsv(uplo, first, 'N', n, hA, lda, b);
    host::trsv(uplo, second, 'N', n, hA, lda, b);
  });
}

template <class T>
void posv(char uplo, MatrixView<T> dA, MatrixView<T> dB) {
  potrf(uplo, dA);
  potrs<T>(uplo, dA, dB);
}

#define TOVI_INSTANCES(T)                           \
  template decltype(potrf<T>) potrf<T>;             \
  template decltype(potrs<T>) potrs<T>;             \
  template decltype(potrsOnHost<T>) potrsOnHost<T>; \
  template decltype(posv<T>) posv<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::lapack
