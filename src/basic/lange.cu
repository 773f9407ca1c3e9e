#include "src/basic/lange.h"

#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/scalars.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

// What the calling thread owns of an m x n matrix: a column, or a row where Map is a row-wise map.
template <class T>
struct Line {
  bool exists;
  std::ptrdiff_t number;
  int length;
  const T* elements;
  std::ptrdiff_t stride;
  __device__ const T& operator[](int i) const { return elements[i * stride]; }
};

template <class Map>
constexpr bool byRows = false;
template <unsigned N>
constexpr bool byRows<cudalib::StaticRowWiseMap<N>> = true;

template <class Map, class T>
__device__ inline Line<T> ownLine(int m, int n, const T* A, int lda) {
  const std::ptrdiff_t number = Map::index();
  if constexpr (byRows<Map>)
    return {number < m, number, n, A + number, lda};
  else
    return {number < n, number, m, A + number * lda, 1};
}

}  // namespace

template <class Map, class T>
__global__ void LANGE_M_k(int m, int n, const T* A, int lda, Real<T>* work) {
  const Line<T> line = ownLine<Map>(m, n, A, lda);
  if (!line.exists) return;
  constexpr int together = 4;  // comparisons that do not wait for each other
  Real<T> greatest[together] = {};
  int i = 0;
  for (; i + together <= line.length; i += together)
    for (int c = 0; c < together; ++c) greatest[c] = greaterOf(greatest[c], modulus(line[i + c]));
  for (; i < line.length; ++i) greatest[0] = greaterOf(greatest[0], modulus(line[i]));
  for (int c = 1; c < together; ++c) greatest[0] = greaterOf(greatest[0], greatest[c]);
  work[line.number] = greatest[0];
}

template <class Map, class T>
__global__ void GreatestOfColumns_k(int m, int n, const T* A, int lda, Real<T>* work) {
  const Line<T> line = ownLine<Map>(m, n, A, lda);
  if (!line.exists) return;
  Real<T> greatest = 0;
  for (int i = 0; i < line.length; ++i)
    greatest = greaterOf(greatest, modulus(real(line[i])) + modulus(imaginary(line[i])));
  work[line.number] = greatest;
}

template <class Map, class T>
__global__ void LANGE_OI_k(int m, int n, const T* A, int lda, Real<T>* work) {
  const Line<T> line = ownLine<Map>(m, n, A, lda);
  if (!line.exists) return;
  Real<T> sum = 0;
  for (int i = 0; i < line.length; ++i) sum += modulus(line[i]);
  work[line.number] = sum;
}

template <class Map, class T>
__global__ void LANGE_F_k(int m, int n, const T* A, int lda, const Real<T>* scale, Real<T>* work) {
  const Line<T> line = ownLine<Map>(m, n, A, lda);
  if (!line.exists) return;
  const Real<T> divisor = *scale;
  Real<T> sum = 0;
  for (int i = 0; i < line.length; ++i) sum += squareOf(dividedBy(divisor, line[i]));
  work[line.number] = sum;
}

// A thread owns what the stored triangle has of one column.
template <class Map, class T>
__global__ void LANHE_M_k(bool upper, int n, const T* A, int lda, Real<T>* work) {
  const std::ptrdiff_t j = Map::index();
  if (j >= n) return;
  Real<T> greatest = modulus(real(element(A, lda, j, j)));
  const std::ptrdiff_t first = upper ? 0 : j + 1, last = upper ? j : n;
  for (std::ptrdiff_t i = first; i < last; ++i)
    greatest = greaterOf(greatest, modulus(element(A, lda, i, j)));
  work[j] = greatest;
}

// A thread owns one column of the Hermitian matrix: in the stored triangle that is a part of a column and,
// beyond the diagonal, a part of a row.
template <class Map, class T>
__global__ void LANHE_O_k(bool upper, int n, const T* A, int lda, Real<T>* work) {
  const std::ptrdiff_t j = Map::index();
  if (j >= n) return;
  Real<T> sum = 0;
  for (std::ptrdiff_t i = 0; i < j; ++i)
    sum += modulus(upper ? element(A, lda, i, j) : element(A, lda, j, i));
  sum += modulus(real(element(A, lda, j, j)));
  for (std::ptrdiff_t i = j + 1; i < n; ++i)
    sum += modulus(upper ? element(A, lda, j, i) : element(A, lda, i, j));
  work[j] = sum;
}

// In both of these a thread owns every Map::threads-th element; the first one brings together what the
// threads have found.
template <class Map, class R>
__global__ void findSum_k(int n, const R* x, R* result) {
  TOVI_SHARED(R, parts, [Map::threads]);
  const std::ptrdiff_t thread = Map::index();
  R sum = 0;
  for (std::ptrdiff_t i = thread; i < n; i += Map::threads) sum += x[i];
  parts[thread] = sum;
  __syncthreads();
  if (thread != 0) return;
  for (int t = 1; t < Map::threads; ++t) sum += parts[t];
  *result = sum;
}

template <class Map, class R>
__global__ void findMaxValue_k(int n, const R* x, R* result) {
  TOVI_SHARED(R, parts, [Map::threads]);
  const std::ptrdiff_t thread = Map::index();
  R greatest = 0;
  for (std::ptrdiff_t i = thread; i < n; i += Map::threads) greatest = greaterOf(greatest, x[i]);
  parts[thread] = greatest;
  __syncthreads();
  if (thread != 0) return;
  for (int t = 1; t < Map::threads; ++t) greatest = greaterOf(greatest, parts[t]);
  *result = greatest;
}

namespace basic {

namespace {

// A number for each of `count` lines of a matrix, and what findMaxValue_k and findSum_k make of them.
template <class R>
class Lines {
 public:
  explicit Lines(int count)
      : count_(count), memory_(static_cast<std::size_t>(count) + 2, 1), dGreatest_(get() + count) {}
  R* get() const { return memory_.get(); }

  // Found by the host, which has to wait anyway.
  R greatest() const {
    std::vector<R> hLines(size(count_));
    cudalib::download<R>({get(), count_, 1, count_}, hLines.data(), count_);
    return std::accumulate(hLines.begin(), hLines.end(), R(0), greaterOf<R>);
  }
  // Where it is found, in device memory.
  const R* findGreatest() const {
    cudalib::launch<&findMaxValue_k<OneBlock, R>>(OneBlock(), count_, get(), dGreatest_);
    return dGreatest_;
  }
  const R* findSum() const {
    cudalib::launch<&findSum_k<OneBlock, R>>(OneBlock(), count_, get(), dGreatest_ + 1);
    return dGreatest_ + 1;
  }

 private:
  using OneBlock = cudalib::StaticOneBlockMap1D<256>;
  int count_;
  cudalib::LinearMemory<R> memory_;
  R* dGreatest_;
};

template <class R>
R download(const R* dX) {
  R x;
  cudalib::download<R>({dX, 1, 1, 1}, &x, 1);
  return x;
}

template <class Map, class T>
Real<T> normByLines(char norm, ConstView<T> dA, int count) {
  using R = Real<T>;
  const Map map(dA.rows, dA.cols);
  const Lines<R> lines(count);
  if (norm == 'O' || norm == '1' || norm == 'I') {
    using Native = std::conditional_t<byRows<Map>, native::SumRows<T>, native::None>;
    cudalib::launch<&LANGE_OI_k<Map, T>, Native>(map, dA.rows, dA.cols, dA.data, dA.ld, lines.get());
    return lines.greatest();
  }
  cudalib::launch<&LANGE_M_k<Map, T>>(map, dA.rows, dA.cols, dA.data, dA.ld, lines.get());
  if (norm == 'M') return lines.greatest();
  const R* const dGreatest = lines.findGreatest();
  const R greatest = download(dGreatest);
  if (!(greatest > 0 && greatest <= std::numeric_limits<R>::max())) return greatest;
  cudalib::launch<&LANGE_F_k<Map, T>>(map, dA.rows, dA.cols, dA.data, dA.ld, dGreatest, lines.get());
  return greatest * std::sqrt(download(lines.findSum()));
}

}  // namespace

template <class T>
Real<T> lange(char norm, ConstView<T> dA) {
  norm = oneOf("MO1IFE", norm, 1);
  checkShape(dA, 2);
  if (dA.empty()) return 0;
  checkPointer(dA.data, 4);
  // "M" and "F" take the lines of which there are more: one thread each.
  const bool rows = norm == 'I' || (dA.rows > dA.cols && norm != 'O' && norm != '1');
  return rows ? normByLines<cudalib::StaticRowWiseMap<256>, T>(norm, dA, dA.rows)
              : normByLines<cudalib::StaticColumnWiseMap<256>, T>(norm, dA, dA.cols);
}

template <class T>
std::vector<Real<T>> greatestOfColumns(ConstView<T> dA) {
  using Map = cudalib::StaticColumnWiseMap<256>;
  checkShape(dA, 1);
  std::vector<Real<T>> greatest(size(dA.cols));
  if (dA.empty()) return greatest;
  checkPointer(dA.data, 3);
  const Lines<Real<T>> lines(dA.cols);
  cudalib::launch<&GreatestOfColumns_k<Map, T>>(Map(dA.rows, dA.cols), dA.rows, dA.cols, dA.data, dA.ld,
                                                lines.get());
  cudalib::download<Real<T>>({lines.get(), dA.cols, 1, dA.cols}, greatest.data(), dA.cols);
  return greatest;
}

template <class T>
Real<T> lanhe(char norm, char uplo, ConstView<T> dA) {
  using Map = cudalib::StaticColumnWiseMap<256>;
  norm = oneOf("MO1I", norm, 1);
  uplo = oneOf("UL", uplo, 2);
  checkSize(dA.rows, 3);
  if (dA.rows != dA.cols) argumentError(-3);
  if (dA.empty()) return 0;
  checkPointer(dA.data, 4);
  const Lines<Real<T>> lines(dA.cols);
  const Map map(dA.rows, dA.cols);
  if (norm == 'M')
    cudalib::launch<&LANHE_M_k<Map, T>>(map, uplo == 'U', dA.rows, dA.data, dA.ld, lines.get());
  else
    cudalib::launch<&LANHE_O_k<Map, T>>(map, uplo == 'U', dA.rows, dA.data, dA.ld, lines.get());
  return lines.greatest();
}

#define TOVI_INSTANCES(T)                                       \
  template decltype(lange<T>) lange<T>;                         \
  template decltype(greatestOfColumns<T>) greatestOfColumns<T>; \
  template decltype(lanhe<T>) lanhe<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
