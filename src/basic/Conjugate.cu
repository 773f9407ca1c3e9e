#include "src/basic/Conjugate.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

// In all of these a thread owns one element; those of a vector are numbered by Map, those of a matrix by its
// 2-D map.

template <class Map, class T>
__global__ void ConjugateVector_k(int n, T* x, int incx) {
  const std::ptrdiff_t i = Map::index();
  if (i < n) element(x, incx, i) = conj(element(x, incx, i));
}

template <class Map, class T>
__global__ void ConjugateMatrix_k(int m, int n, T* A, int lda) {
  const std::ptrdiff_t i = Map::row(), j = Map::col();
  if (i < m && j < n) element(A, lda, i, j) = conj(element(A, lda, i, j));
}

namespace basic {

template <class T>
void conjugateVector(int n, T* dX, int incx) {
  checkSize(n, 1);
  if (n == 0) return;
  checkPointer(dX, 2);
  if (!isComplex<T>) return;
  cudalib::launch<&ConjugateVector_k<cudalib::Map1D, T>>(cudalib::Map1D(n), n, firstElement(n, dX, incx),
                                                         incx);
}

template <class T>
void conjugateMatrix(MatrixView<T> dA) {
  checkShape(dA, 1);
  if (dA.empty()) return;
  checkPointer(dA.data, 3);
  if (!isComplex<T>) return;
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    cudalib::launch<&ConjugateMatrix_k<cudalib::Map2D, T>>(cudalib::Map2D(m, n), m, n, dA.at(i, j), dA.ld);
  });
}

#define TOVI_INSTANCES(T)                                   \
  template decltype(conjugateVector<T>) conjugateVector<T>; \
  template decltype(conjugateMatrix<T>) conjugateMatrix<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
