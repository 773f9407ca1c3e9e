#include "src/basic/lasr.h"

#include <algorithm>
#include <type_traits>

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

// A product that is rounded, whatever it is added to.
__device__ inline float rounded(float x, float y) { return __fmul_rn(x, y); }
__device__ inline double rounded(double x, double y) { return __dmul_rn(x, y); }

// The rotation of one pair of elements. A GPU adds one product of each sum unrounded: always that with c,
// lest bits depend on where in a line the pair is.
template <class R>
__device__ inline void rotate(R c, R s, R& x, R& y) {
  const R turned = c * y - rounded(s, x);
  x = rounded(s, y) + c * x;
  y = turned;
}
template <class R>
__device__ inline void rotate(R c, R s, Complex<R>& x, Complex<R>& y) {
  rotate(c, s, x.re, y.re);
  rotate(c, s, x.im, y.im);
}

// In the order in which the elements of a line are passed.
template <char direct, class T>
__device__ inline void rotateInPassing(Real<T> c, Real<T> s, T& first, T& second) {
  if (c != 1 || s != 0) direct == 'F' ? rotate(c, s, first, second) : rotate(c, s, second, first);
}

// Elements that are loaded, with their rotations, before the first of them is stored: a load waits for
// memory, and the next one would wait behind a store that could be to its address.
constexpr int batch = 16;

// The rotations between neighbours of the `length` elements of a line, which lie `stride` elements apart. The
// element that two successive rotations share stays in a register between them.
template <char direct, class T>
__device__ inline void rotateLine(int length, const Real<T>* c, const Real<T>* s, T* line,
                                  std::ptrdiff_t stride) {
  constexpr bool forward = direct == 'F';
  const int last = length - 1;
  // Numbers in passing
  const auto at = [=](int i) { return line + (forward ? i : last - i) * stride; };
  const auto rotation = [=](int k) { return forward ? k : last - 1 - k; };
  T x = *at(0);
  int k = 0;
  for (; k + batch <= last; k += batch) {
    Real<T> ck[batch], sk[batch];
    T y[batch];
    for (int j = 0; j < batch; ++j) {
      y[j] = *at(k + j + 1);
      ck[j] = c[rotation(k + j)];
      sk[j] = s[rotation(k + j)];
    }
    for (int j = 0; j < batch; ++j) {
      rotateInPassing<direct>(ck[j], sk[j], x, y[j]);
      *at(k + j) = x;
      x = y[j];
    }
  }
  for (; k < last; ++k) {
    T y = *at(k + 1);
    rotateInPassing<direct>(c[rotation(k)], s[rotation(k)], x, y);
    *at(k) = x;
    x = y;
  }
  *at(last) = x;
}

}  // namespace

// A thread owns one column (side 'L') or one row (side 'R') and rotates the elements of it, which no other
// thread touches. With rows, neighbouring threads read and write neighbouring addresses.
template <class Map, char side, char pivot, char direct, class T>
__global__ void LASR_k(int m, int n, const Real<T>* c, const Real<T>* s, T* A, int lda) {
  static_assert((side == 'L' || side == 'R') && pivot == 'V' && (direct == 'F' || direct == 'B'));
  const std::ptrdiff_t line = Map::index();
  if (side == 'L') {
    if (line < n) rotateLine<direct>(m, c, s, &element(A, lda, 0, line), 1);
  } else {
    if (line < m) rotateLine<direct>(n, c, s, &element(A, lda, line, 0), lda);
  }
}

namespace basic {

namespace {

template <class Map, char side, char direct, class T>
void launchLasr(int lines, int m, int n, const Real<T>* dC, const Real<T>* dS, T* dA, int lda) {
  using Native = std::conditional_t<side == 'R', native::RotateColumns<T, direct>, native::None>;
  cudalib::launch<&LASR_k<Map, side, 'V', direct, T>, Native>(Map(lines), m, n, dC, dS, dA, lda);
}
template <class Map, char side, class T>
void launchLasr(char direct, int lines, int m, int n, const Real<T>* dC, const Real<T>* dS, T* dA, int lda) {
  (direct == 'F' ? launchLasr<Map, side, 'F', T> : launchLasr<Map, side, 'B', T>)(lines, m, n, dC, dS, dA,
                                                                                  lda);
}

}  // namespace

template <class T>
void lasr(char side, char pivot, char direct, int m, int n, const Real<T>* dC, const Real<T>* dS, T* dA,
          int lda) {
  side = oneOf("LR", side, 1);
  pivot = oneOf("VTB", pivot, 2);
  direct = oneOf("FB", direct, 3);
  checkSize(m, 4);
  checkSize(n, 5);
  if (lda < std::max(1, m)) argumentError(-9);
  if (m == 0 || n == 0 || (side == 'L' ? m : n) == 1) return;
  checkPointer(dC, 6);
  checkPointer(dS, 7);
  checkPointer(dA, 8);
  if (pivot != 'V') return;
  if (side == 'L')
    launchLasr<cudalib::StaticMap1D<128>, 'L'>(direct, n, m, n, dC, dS, dA, lda);
  else
    launchLasr<cudalib::StaticMap1D<64>, 'R'>(direct, m, m, n, dC, dS, dA, lda);
}

#define TOVI_INSTANCES(T) template decltype(lasr<T>) lasr<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
