#include "src/basic/Precision.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

template <class D, class S>
__device__ inline D converted(S x) {
  return static_cast<D>(x);
}
template <class D, class R>
__device__ inline D converted(Complex<R> z) {
  return D(static_cast<Real<D>>(z.re), static_cast<Real<D>>(z.im));
}

}  // namespace

// A thread owns one element.

template <class Map, class S, class D>
__global__ void PrecisionConvert_k(int m, int n, const S* A, int lda, D* B, int ldb) {
  const std::ptrdiff_t i = Map::row(), j = Map::col();
  if (i < m && j < n) element(B, ldb, i, j) = converted<D>(element(A, lda, i, j));
}

namespace basic {

template <class T>
void convertPrecision(ConstView<OtherPrecision<T>> dA, MatrixView<T> dB) {
  checkShape(dA, 1);
  if (dA.empty()) return;
  checkPointer(dA.data, 3);
  checkOperand(dB, dA.rows, dA.cols, 5);
  using Map = cudalib::Map2D;
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    cudalib::launch<&PrecisionConvert_k<Map, OtherPrecision<T>, T>,
                    native::ConvertMatrix<OtherPrecision<T>, T>>(Map(m, n), m, n, dA.at(i, j), dA.ld,
                                                                 dB.at(i, j), dB.ld);
  });
}

#define TOVI_INSTANCES(T) template decltype(convertPrecision<T>) convertPrecision<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
