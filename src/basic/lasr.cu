#include "src/basic/lasr.h"

#include <algorithm>
#include <type_traits>

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

// The rotation of one pair of elements.
template <class R>
__device__ inline void rotate(R c, R s, R& x, R& y) {
  const R turned = c * y - s * x;
  x = s * y + c * x;
  y = turned;
}
template <class R>
__device__ inline void rotate(R c, R s, Complex<R>& x, Complex<R>& y) {
  rotate(c, s, x.re, y.re);
  rotate(c, s, x.im, y.im);
}

// The rotations between neighbours of the `length` elements of a line, which lie `stride` elements apart. The
// element that two successive rotations share stays in a register between them.
template <char direct, class T>
__device__ inline void rotateLine(int length, const Real<T>* c, const Real<T>* s, T* line,
                                  std::ptrdiff_t stride) {
  const int last = length - 1;
  if (direct == 'F') {
    T x = line[0];
    for (int k = 0; k < last; ++k) {
      T y = line[(k + 1) * stride];
      if (c[k] != 1 || s[k] != 0) rotate(c[k], s[k], x, y);
      line[k * stride] = x;
      x = y;
    }
    line[last * stride] = x;
  } else {
    T y = line[last * stride];
    for (int k = last - 1; k >= 0; --k) {
      T x = line[k * stride];
      if (c[k] != 1 || s[k] != 0) rotate(c[k], s[k], x, y);
      line[(k + 1) * stride] = y;
      y = x;
    }
    line[0] = y;
  }
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
