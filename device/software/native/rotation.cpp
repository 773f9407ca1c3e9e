// Sequences of rotations of neighbouring columns, native. A piece owns some rows, no more than the caches
// hold a few columns of, and makes all rotations there in their order. Rows do not meet, so a complex matrix
// is a real one of twice as many.

#include <algorithm>
#include <cstddef>

#include "device/software/native/bodies.h"
#include "device/software/src/pool.h"

namespace software_device {
namespace native {

namespace {

// The rotation of one pair, as the kernel writes it.
template <class R>
TOVI_DEVICE_CODE __forceinline__ void rotatePair(R c, R s, R& x, R& y) {
  const R turned = c * y - s * x;
  x = s * y + c * x;
  y = turned;
}

template <class R>
TOVI_DEVICE_CODE bool turns(R c, R s) {
  return c != 1 || s != 0;
}

template <class R>
TOVI_DEVICE_CODE void rotateTwo(std::ptrdiff_t rows, R c, R s, R* __restrict__ x, R* __restrict__ y) {
  for (std::ptrdiff_t i = 0; i < rows; ++i) rotatePair(c, s, x[i], y[i]);
}

// Four rotations of five columns that follow each other: each element is read and written once.
template <bool forward, class R>
TOVI_DEVICE_CODE __forceinline__ void rotateRow(const R* c, const R* s, R& a0, R& a1, R& a2, R& a3, R& a4) {
  R x0 = a0, x1 = a1, x2 = a2, x3 = a3, x4 = a4;
  if (forward) {
    rotatePair(c[0], s[0], x0, x1);
    rotatePair(c[1], s[1], x1, x2);
    rotatePair(c[2], s[2], x2, x3);
    rotatePair(c[3], s[3], x3, x4);
  } else {
    rotatePair(c[3], s[3], x3, x4);
    rotatePair(c[2], s[2], x2, x3);
    rotatePair(c[1], s[1], x1, x2);
    rotatePair(c[0], s[0], x0, x1);
  }
  a0 = x0, a1 = x1, a2 = x2, a3 = x3, a4 = x4;
}
template <bool forward, class R>
TOVI_DEVICE_CODE void rotateFive(std::ptrdiff_t rows, const R* dC, const R* dS, R* __restrict__ a0,
                                 R* __restrict__ a1, R* __restrict__ a2, R* __restrict__ a3,
                                 R* __restrict__ a4) {
  constexpr int step = 16;  // a constant, for vectors without a remainder
  const R c[] = {dC[0], dC[1], dC[2], dC[3]}, s[] = {dS[0], dS[1], dS[2], dS[3]};
  std::ptrdiff_t i = 0;
  for (; i + step <= rows; i += step)
    for (int j = 0; j < step; ++j)
      rotateRow<forward>(c, s, a0[i + j], a1[i + j], a2[i + j], a3[i + j], a4[i + j]);
  for (; i < rows; ++i) rotateRow<forward>(c, s, a0[i], a1[i], a2[i], a3[i], a4[i]);
}

// All `count` rotations of some rows
template <bool forward, class R>
TOVI_DEVICE_CODE void rotateRows(std::ptrdiff_t rows, int count, const R* dC, const R* dS, R* a,
                                 std::ptrdiff_t ld) {
  for (int done = 0; done < count;) {
    const int left = count - done;
    const int four = forward ? done : left - 4;
    if (left >= 4 && turns(dC[four], dS[four]) && turns(dC[four + 1], dS[four + 1]) &&
        turns(dC[four + 2], dS[four + 2]) && turns(dC[four + 3], dS[four + 3])) {
      R* const first = a + four * ld;
      rotateFive<forward>(rows, dC + four, dS + four, first, first + ld, first + 2 * ld, first + 3 * ld,
                          first + 4 * ld);
      done += 4;
    } else {
      const int k = forward ? done : left - 1;
      if (turns(dC[k], dS[k])) rotateTwo(rows, dC[k], dS[k], a + k * ld, a + (k + 1) * ld);
      ++done;
    }
  }
}

}  // namespace

template <bool forward, class T>
void rotateColumns(int m, int n, const tovi::Real<T>* dC, const tovi::Real<T>* dS, T* dA, int lda) {
  using R = tovi::Real<T>;
  constexpr std::ptrdiff_t parts = tovi::isComplex<T> ? 2 : 1, group = 512 / sizeof(R);
  const std::ptrdiff_t rows = parts * m, ld = parts * lda;
  R* const a = reinterpret_cast<R*>(dA);
  parallelFor(static_cast<std::size_t>((rows + group - 1) / group), [&](std::size_t piece) {
    const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(piece) * group;
    rotateRows<forward>(std::min(group, rows - i), n - 1, dC, dS, a + i, ld);
  });
}

template void rotateColumns<true>(int, int, const float*, const float*, float*, int);
template void rotateColumns<false>(int, int, const float*, const float*, float*, int);
template void rotateColumns<true>(int, int, const double*, const double*, double*, int);
template void rotateColumns<false>(int, int, const double*, const double*, double*, int);
template void rotateColumns<true>(int, int, const float*, const float*, FloatComplex*, int);
template void rotateColumns<false>(int, int, const float*, const float*, FloatComplex*, int);
template void rotateColumns<true>(int, int, const double*, const double*, DoubleComplex*, int);
template void rotateColumns<false>(int, int, const double*, const double*, DoubleComplex*, int);

}  // namespace native
}  // namespace software_device
