#include "src/blas/gemv.h"

#include <cstddef>
#include <utility>

#include "cudalib/device_table.h"
#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/scalars.h"
#include "src/basic/addressing.h"
#include "src/blas/blas.h"
#include "src/blas/cublas.h"

namespace tovi {

namespace {

// A row's part in the sums of the columns first + C, the last of which is `last`: written out for each
// column, so that the sums stay in registers and the loads are under way together. Beyond the last column it
// is read again.
template <bool conj, class T, int... C>
__device__ __forceinline__ void addRow(const T* row, int lda, int first, int last, T xi,
                                       T (&sums)[sizeof...(C)], std::integer_sequence<int, C...>) {
  ((sums[C] += conjugateIf<conj>(element(row, lda, 0, first + C < last ? first + C : last)) * xi), ...);
}

}  // namespace

// A block owns BX columns. Each of its threads owns every BX BY-th row of them, so that the block reads a
// column in runs of BX BY elements, and has a sum for each of `together` columns. The sums of BY columns at a
// time go through shared memory: row y of the threads adds up those of column y, and its first thread writes.
// A multiprocessor holds two blocks, one of capability 2.0, which has half the registers, holds one.
template <class T, int BX, int BY, bool conj>
__global__ void __launch_bounds__(BX* BY, 2) gemvt_k(int m, int n, T alpha, int m_main, const T* A, int lda,
                                                     T beta, const T* x, int incx, T* y, int incy) {
  constexpr int threads = BX * BY, together = BY < 8 ? BY : 8;
  constexpr std::make_integer_sequence<int, together> columns{};
  static_assert(BX % BY == 0 && BY % together == 0, "the columns are brought together BY at a time");
  TOVI_SHARED(T, parts, [BY][threads]);
  const int tx = static_cast<int>(threadIdx.x), ty = static_cast<int>(threadIdx.y), thread = ty * BX + tx;
  const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(blockIdx.x) * BX;
  const int last = n - first < BX ? static_cast<int>(n - first) - 1 : BX - 1;
  if (last < 0) return;
  A += first * lda;
  x = firstElement(m, x, incx);
  y = firstElement(n, y, incy);

  for (int c = 0; c < BX; c += BY) {
    for (int k = 0; k < BY; k += together) {
      T sums[together];
      for (T& sum : sums) sum = T(0);
      if (alpha != T(0)) {
        std::ptrdiff_t i = thread;
#pragma unroll 1  // more rows at once would not leave the second block its registers
        for (; i < m_main; i += threads)
          addRow<conj>(A + i, lda, c + k, last, element(x, incx, i), sums, columns);
        if (i < m) addRow<conj>(A + i, lda, c + k, last, element(x, incx, i), sums, columns);
      }
      for (int l = 0; l < together; ++l) parts[k + l][thread] = sums[l];
    }
    __syncthreads();
    T sum = T(0);
    for (int k = 0; k < BY; ++k) sum += parts[ty][tx + k * BX];
    parts[ty][tx] = sum;
    __syncthreads();
    if (tx == 0 && c + ty <= last) {
      for (int k = 1; k < BX; ++k) sum += parts[ty][k];
      T& yj = element(y, incy, first + c + ty);
      T result = beta == T(0) ? T(0) : beta == T(1) ? yj : beta * yj;
      if (alpha != T(0)) result += alpha * sum;
      yj = result;
    }
    __syncthreads();
  }
}

namespace blas {

namespace {

template <bool conj, class T>
void launchTransposed(T alpha, MatrixView<const T> dA, const T* dX, int incx, T beta, T* dY, int incy) {
  constexpr int bx = GemvBlock<T>::x, by = GemvBlock<T>::y;
  const cudalib::StaticMap2D<bx, by> map(dA.cols, 1);  // BX entries of y a block, made by all its threads
  cudalib::launch<&gemvt_k<T, bx, by, conj>, native::MultiplyTransposed<T, conj>>(
      map, dA.rows, dA.cols, alpha, dA.rows / (bx * by) * (bx * by), dA.data, dA.ld, beta, dX, incx, dY,
      incy);
}

// Whether the current device takes a grid with blocks for so many columns.
template <class T>
bool fitOneLaunch(int cols) {
  return (cols - 1) / GemvBlock<T>::x < cudalib::currentDevice().properties.maxGridSize[0];
}

}  // namespace

template <class T>
void gemv(char trans, Scalar<T> alpha, ConstView<T> dA, const Scalar<T>* dX, int incx, Scalar<T> beta, T* dY,
          int incy) {
  if (dA.empty() || (alpha == T(0) && beta == T(1))) return;
  if (trans == 'N') return cublas::gemv<T>(trans, alpha, dA, dX, incx, beta, dY, incy);
  if (!fitOneLaunch<T>(dA.cols)) {
    // By halves of the columns; with a negative increment the first entries of y stand last.
    const int left = dA.cols / 2, right = dA.cols - left;
    const std::ptrdiff_t step = incy;
    gemv(trans, alpha, dA.columns(0, left), dX, incx, beta, incy < 0 ? dY - right * step : dY, incy);
    gemv(trans, alpha, dA.columns(left, right), dX, incx, beta, incy < 0 ? dY : dY + left * step, incy);
  } else if (trans == 'C') {
    launchTransposed<true, T>(alpha, dA, dX, incx, beta, dY, incy);
  } else {
    launchTransposed<false, T>(alpha, dA, dX, incx, beta, dY, incy);
  }
}

#define TOVI_INSTANCES(T) template decltype(gemv<T>) gemv<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace blas
}  // namespace tovi
