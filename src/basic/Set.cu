#include "src/basic/Set.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

// In all of these a thread owns one element; those of a vector are numbered by Map, those of a matrix by its
// 2-D map.

template <class Map, int V, class T>
__global__ void SetVector_k(int n, T* x, int incx) {
  const std::ptrdiff_t i = Map::index();
  if (i < n) element(x, incx, i) = T(V);
}

template <class Map, int V, class T>
__global__ void SetMatrix_k(int m, int n, T* A, int lda) {
  const std::ptrdiff_t i = Map::row(), j = Map::col();
  if (i < m && j < n) element(A, lda, i, j) = T(V);
}

template <int V, class T>
__global__ void SetSingle_k(T* p) {
  *p = T(V);
}

template <int V, class T>
__global__ void SetTriangularMatrix_k(bool upper, bool setDiagonal, int m, int n, T* A, int lda, T value) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i >= m || j >= n) return;
  if (i == j) {
    if (setDiagonal) element(A, lda, i, j) = value;
  } else if ((i > j) == upper) {
    element(A, lda, i, j) = T(V);
  }
}

namespace basic {

namespace {

template <int V, class T>
void launchTriangular(char uplo, char diag, MatrixView<T> dA) {
  const bool upper = uplo == 'U';
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    const cudalib::Map2D map(m, n);
    if (i == j)
      cudalib::launch<&SetTriangularMatrix_k<V, T>>(map, upper, diag != 'N', m, n, dA.at(i, j), dA.ld,
                                                    T(diag == 'U' ? 1 : 0));
    else if ((i > j) == upper)
      cudalib::launch<&SetMatrix_k<cudalib::Map2D, V, T>>(map, m, n, dA.at(i, j), dA.ld);
  });
}

}  // namespace

template <class T>
void setVector(Fill fill, int n, T* dX, int incx) {
  checkSize(n, 1);
  if (n == 0) return;
  checkPointer(dX, 2);
  const cudalib::Map1D map(n);
  if (fill == Fill::one)
    cudalib::launch<&SetVector_k<cudalib::Map1D, 1, T>>(map, n, firstElement(n, dX, incx), incx);
  else
    cudalib::launch<&SetVector_k<cudalib::Map1D, 0, T>>(map, n, firstElement(n, dX, incx), incx);
}

template <class T>
void setMatrix(Fill fill, MatrixView<T> dA) {
  checkShape(dA, 1);
  if (dA.empty()) return;
  checkPointer(dA.data, 3);
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    const cudalib::Map2D map(m, n);
    if (fill == Fill::one)
      cudalib::launch<&SetMatrix_k<cudalib::Map2D, 1, T>>(map, m, n, dA.at(i, j), dA.ld);
    else
      cudalib::launch<&SetMatrix_k<cudalib::Map2D, 0, T>>(map, m, n, dA.at(i, j), dA.ld);
  });
}

template <class T>
void setSingle(Fill fill, T* dP) {
  checkPointer(dP, 1);
  if (fill == Fill::one)
    cudalib::launch<&SetSingle_k<1, T>>(cudalib::Map1D(1, 1, 1), dP);
  else
    cudalib::launch<&SetSingle_k<0, T>>(cudalib::Map1D(1, 1, 1), dP);
}

template <class T>
void setTriangular(char uplo, char diag, MatrixView<T> dA, Fill fill) {
  uplo = oneOf("UL", uplo, 1);
  diag = oneOf("UNZ", diag, 2);
  checkShape(dA, 3);
  if (dA.empty()) return;
  checkPointer(dA.data, 5);
  if (fill == Fill::one)
    launchTriangular<1>(uplo, diag, dA);
  else
    launchTriangular<0>(uplo, diag, dA);
}

#define TOVI_INSTANCES(T)                       \
  template decltype(setVector<T>) setVector<T>; \
  template decltype(setMatrix<T>) setMatrix<T>; \
  template decltype(setSingle<T>) setSingle<T>; \
  template decltype(setTriangular<T>) setTriangular<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
