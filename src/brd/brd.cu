#include "src/brd/brd.h"

#include <algorithm>
#include <cstddef>

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/complex.h"
#include "ground/reflector.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"
#include "src/basic/block_team.h"

namespace tovi {

// A block owns `width` columns, of which it takes some at a time: their products with v, for which a thread
// adds up every threads-th row, and, while the cache still has them, theirs with x, where a thread owns those
// rows of the part.
template <int threads, class T>
__global__ void __launch_bounds__(threads)
    MultiplyBothWays_k(int m, int n, int width, const T* A, int lda, const T* v, const T* tau, T* y, T* x,
                       T* parts, int ldp) {
  constexpr int together = sizeof(T) == 16 ? 2 : 4;  // 16 KB are more than the first devices have to give
  TOVI_SHARED(T, sums, [together][threads]);
  const std::ptrdiff_t thread = static_cast<std::ptrdiff_t>(threadIdx.x),
                       block = static_cast<std::ptrdiff_t>(blockIdx.x);
  const std::ptrdiff_t end = block * width + width < n ? block * width + width : n;
  T* const part = parts + block * ldp;
  for (std::ptrdiff_t i = thread; i < m; i += threads) part[i] = T(0);

  for (std::ptrdiff_t j = block * width; j < end; j += together) {
    const int count = end - j < together ? static_cast<int>(end - j) : together;
    const T* const columns = A + j * lda;
    T sum[together];
    for (T& s : sum) s = T(0);
    for (std::ptrdiff_t i = thread; i < m; i += threads)
      for (int c = 0; c < together; ++c)
        if (c < count) sum[c] += conj(element(columns, lda, i, c)) * v[i];
    for (int c = 0; c < together; ++c) sums[c][thread] = sum[c];
    __syncthreads();
    for (int half = threads / 2; half > 0; half /= 2) {
      if (thread < half)
        for (int c = 0; c < together; ++c) sums[c][thread] += sums[c][thread + half];
      __syncthreads();
    }
    if (thread < count) {
      const T yj = *tau * (sums[thread][0] + y[j + thread]);
      y[j + thread] = yj;
      x[j + thread] -= yj;
      sums[thread][0] = x[j + thread];
    }
    __syncthreads();
    for (std::ptrdiff_t i = thread; i < m; i += threads) {
      T product = part[i];
      for (int c = 0; c < count; ++c) product += element(columns, lda, i, c) * sums[c][0];
      part[i] = product;
    }
    __syncthreads();
  }
}

// A thread owns one row. With u = (x - beta e1) / (x1 - beta) and tau = (beta - x1) / beta, tau A u is
// A e1 - A x / beta.
template <class Map, class T>
__global__ void AddReflected_k(int m, int n, const T* A, int lda, const T* u, const Real<T>* beta,
                               const T* tau, int count, const T* parts, int ldp, T* x) {
  const std::ptrdiff_t i = Map::index();
  if (i >= m) return;
  T sum = T(0);
  if (productsLoseDigits(*tau, *beta)) {
    for (std::ptrdiff_t j = 0; j < n; ++j) sum += element(A, lda, i, j) * u[j];
    sum = *tau * sum;
  } else if (*tau != T(0)) {
    for (std::ptrdiff_t part = 0; part < count; ++part) sum += element(parts, ldp, i, part);
    sum = A[i] - dividedBy(*beta, sum);
  }
  x[i] = *tau * x[i] + sum;
}

// The threads of the one block own every threads-th row or column, and in the products with panels every
// threads-th column of those.
template <class Map, class T>
__global__ void __launch_bounds__(Map::threads)
    ReducePanel_k(int steps, int m, int n, const T* A, int lda, T* L, int ldl, T* R, int ldr, Real<T>* d,
                  Real<T>* e, T* tauq, T* taup) {
  TOVI_SHARED(Real<T>, parts, [Map::threads]);
  TOVI_SHARED(T, products, [2 * brd::panelWidth]);
  const std::ptrdiff_t thread = Map::index();
  for (int i = 0; i < steps; ++i) {
    const int rows = m - i, right = n - i - 1, made = 2 * i;
    const T *const a = A + (static_cast<std::ptrdiff_t>(i + 1) * lda + i), *const rowOfL = L + i,
                   *const rowOfR = R + i, *const R1 = R + (i + 1);
    T *const v = L + (static_cast<std::ptrdiff_t>(made) * ldl + i), *const x = v + (ldl + 1);
    T *const y = R + (static_cast<std::ptrdiff_t>(made) * ldr + i + 1), *const u = y + ldr;

    for (std::ptrdiff_t r = thread; r < rows; r += Map::threads) {
      T sum = v[r];
      for (int k = 0; k < made; ++k) sum -= element(rowOfL, ldl, r, k) * conj(element(rowOfR, ldr, 0, k));
      v[r] = sum;
    }
    __syncthreads();
    makeReflector(BlockTeam<Map, Real<T>>{parts}, rows, v, v + 1, 1, tauq + i, d + i);
    __syncthreads();
    for (std::ptrdiff_t k = thread; k < made; k += Map::threads) {
      T sum(0);
      for (int r = 0; r < rows; ++r) sum += conj(element(rowOfL, ldl, r, k)) * v[r];
      products[k] = sum;
    }
    __syncthreads();
    for (std::ptrdiff_t j = thread; j < right; j += Map::threads) {
      T sum(0), row = u[j];
      for (int r = 0; r < rows; ++r) sum += conj(element(a, lda, r, j)) * v[r];
      for (int k = 0; k < made; ++k) {
        sum -= element(R1, ldr, j, k) * products[k];
        row -= element(R1, ldr, j, k) * conj(element(rowOfL, ldl, 0, k));
      }
      y[j] = tauq[i] * sum;
      u[j] = row - y[j];
    }
    __syncthreads();
    makeReflector(BlockTeam<Map, Real<T>>{parts}, right, u, u + 1, 1, taup + i, e + i);
    __syncthreads();
    for (std::ptrdiff_t k = thread; k < made + 1; k += Map::threads) {
      T sum(0);
      for (int j = 0; j < right; ++j) sum += conj(element(R1, ldr, j, k)) * u[j];
      products[k] = sum;
    }
    __syncthreads();
    for (std::ptrdiff_t r = thread; r < rows - 1; r += Map::threads) {
      T sum(0);
      for (int j = 0; j < right; ++j) sum += element(a, lda, r + 1, j) * u[j];
      for (int k = 0; k < made + 1; ++k) sum -= element(rowOfL, ldl, r + 1, k) * products[k];
      x[r] = taup[i] * sum;
    }
    __syncthreads();
  }
}

// A thread owns one row and moves its elements from the diagonal on to the left, so that each is read before
// it is overwritten.
template <class T>
__global__ void ORGBR_COPY_L_k(int n, T* A, int lda) {
  const std::ptrdiff_t i = cudalib::Map1D::index() + 1;
  if (i >= n) return;
  for (std::ptrdiff_t j = i - 1; j >= 1; --j) element(A, lda, i, j) = element(A, lda, i, j - 1);
}

// The same for columns, from the diagonal up.
template <class T>
__global__ void ORGBR_COPY_U_k(int n, T* A, int lda) {
  const std::ptrdiff_t j = cudalib::Map1D::index() + 1;
  if (j >= n) return;
  for (std::ptrdiff_t i = j - 1; i >= 1; --i) element(A, lda, i, j) = element(A, lda, i - 1, j);
}

namespace brd {

int partsOfBothWays(int rows, int cols) {
  constexpr double least = 0x1p15, most = 64;  // elements of a part, parts
  return static_cast<int>(std::clamp(static_cast<double>(rows) * cols / least, 1.0, most));
}

template <class T>
void multiplyBothWays(ConstView<T> dA, const T* dV, const T* dTau, T* dY, T* dX, MatrixView<T> dParts) {
  basic::checkShape(dA, 1);
  if (dA.empty()) return;
  basic::checkPointer(dA.data, 4);
  constexpr int threads = 256, unit = 8;
  const int width = ((dA.cols - 1) / dParts.cols / unit + 1) * unit;
  const cudalib::StaticMap1D<threads> map(threads * dParts.cols);
  cudalib::launch<&MultiplyBothWays_k<threads, T>, native::MultiplyBothWays<T>>(
      map, dA.rows, dA.cols, width, dA.data, dA.ld, dV, dTau, dY, dX, dParts.data, dParts.ld);
}

template <class T>
void addReflected(ConstView<T> dA, const T* dU, const Real<T>* dBeta, const T* dTau, ConstView<T> dParts,
                  T* dX) {
  basic::checkShape(dA, 1);
  if (dA.empty()) return;
  basic::checkPointer(dA.data, 3);
  cudalib::launch<&AddReflected_k<cudalib::Map1D, T>, native::AddReflected<T>>(
      cudalib::Map1D(dA.rows), dA.rows, dA.cols, dA.data, dA.ld, dU, dBeta, dTau, dParts.cols, dParts.data,
      dParts.ld, dX);
}

bool reducedAtOnce(int rows, int cols) { return partsOfBothWays(rows, cols) == 1; }

template <class T>
void reducePanel(ConstView<T> dA, MatrixView<T> dL, MatrixView<T> dR, Real<T>* dD, Real<T>* dE, T* dTauq,
                 T* dTaup) {
  using Map = cudalib::StaticOneBlockMap1D<256>;
  cudalib::launch<&ReducePanel_k<Map, T>, native::ReducePanel<T>>(Map(), dL.cols / 2, dA.rows, dA.cols,
                                                                  dA.data, dA.ld, dL.data, dL.ld, dR.data,
                                                                  dR.ld, dD, dE, dTauq, dTaup);
}

template <class T>
void orgbrCopy(char uplo, int n, T* dA, int lda) {
  uplo = basic::oneOf("LU", uplo, 1);
  basic::checkSize(n, 2);
  if (lda < std::max(1, n)) argumentError(-4);
  if (n <= 1) return;
  basic::checkPointer(dA, 3);
  const cudalib::Map1D map(n - 1);
  if (uplo == 'L')
    cudalib::launch<&ORGBR_COPY_L_k<T>>(map, n, dA, lda);
  else
    cudalib::launch<&ORGBR_COPY_U_k<T>>(map, n, dA, lda);
}

#define TOVI_INSTANCES(T)                                     \
  template decltype(multiplyBothWays<T>) multiplyBothWays<T>; \
  template decltype(addReflected<T>) addReflected<T>;         \
  template decltype(reducePanel<T>) reducePanel<T>;           \
  template decltype(orgbrCopy<T>) orgbrCopy<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace brd
}  // namespace tovi
