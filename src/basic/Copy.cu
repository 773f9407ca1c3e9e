#include "src/basic/Copy.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

// In all of these a thread owns one element; those of a vector are numbered by Map, those of a matrix by
// Map2D.

template <class Map, class T>
__global__ void CopyVector_k(int n, const T* x, int incx, T* y, int incy) {
  const std::ptrdiff_t i = Map::index();
  if (i < n) element(y, incy, i) = element(x, incx, i);
}

template <class Map, class T>
__global__ void CopyVectorRealToComplex_k(int n, T* x, int incx, const Real<T>* y, int incy) {
  const std::ptrdiff_t i = Map::index();
  if (i < n) element(x, incx, i) = T(element(y, incy, i));
}

template <class T>
__global__ void CopyMatrix_k(int m, int n, const T* A, int lda, T* B, int ldb) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i < m && j < n) element(B, ldb, i, j) = element(A, lda, i, j);
}

template <class T>
__global__ void CopyMatrixRealToComplex_k(int m, int n, const Real<T>* A, int lda, T* B, int ldb) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i < m && j < n) element(B, ldb, i, j) = T(element(A, lda, i, j));
}

template <class T>
__global__ void CopySingle_k(T* destination, const T* source) {
  *destination = *source;
}

template <class T>
__global__ void CopyComplexToReal_k(Real<T>* destination, const T* source) {
  *destination = real(*source);
}

namespace basic {

template <class T>
void copyVector(int n, const T* dX, int incx, T* dY, int incy) {
  checkSize(n, 1);
  if (n == 0) return;
  checkPointer(dX, 2);
  checkPointer(dY, 4);
  cudalib::launch<&CopyVector_k<cudalib::Map1D, T>>(cudalib::Map1D(n), n, firstElement(n, dX, incx), incx,
                                                    firstElement(n, dY, incy), incy);
}

template <class T>
void copyVectorRealToComplex(int n, const Real<T>* dX, int incx, T* dY, int incy) {
  checkSize(n, 1);
  if (n == 0) return;
  checkPointer(dY, 2);
  checkPointer(dX, 4);
  cudalib::launch<&CopyVectorRealToComplex_k<cudalib::Map1D, T>>(
      cudalib::Map1D(n), n, firstElement(n, dY, incy), incy, firstElement(n, dX, incx), incx);
}

template <class T>
void copyMatrix(ConstView<T> dA, MatrixView<T> dB) {
  checkShape(dA, 1);
  if (dA.empty()) return;
  checkPointer(dA.data, 3);
  checkOperand(dB, dA.rows, dA.cols, 5);
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    cudalib::launch<&CopyMatrix_k<T>, native::CopyMatrix<T>>(cudalib::Map2D(m, n), m, n, dA.at(i, j), dA.ld,
                                                             dB.at(i, j), dB.ld);
  });
}

template <class T>
void copyMatrixRealToComplex(ConstView<Real<T>> dA, MatrixView<T> dB) {
  checkShape(dA, 1);
  if (dA.empty()) return;
  checkPointer(dA.data, 3);
  checkOperand(dB, dA.rows, dA.cols, 5);
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    cudalib::launch<&CopyMatrixRealToComplex_k<T>>(cudalib::Map2D(m, n), m, n, dA.at(i, j), dA.ld,
                                                   dB.at(i, j), dB.ld);
  });
}

template <class T>
void copySingle(const T* dX, T* dY) {
  checkPointer(dY, 1);
  checkPointer(dX, 2);
  cudalib::launch<&CopySingle_k<T>>(cudalib::Map1D(1, 1, 1), dY, dX);
}

template <class T>
void copyComplexToReal(const T* dX, Real<T>* dY) {
  checkPointer(dY, 1);
  checkPointer(dX, 2);
  cudalib::launch<&CopyComplexToReal_k<T>>(cudalib::Map1D(1, 1, 1), dY, dX);
}

#define TOVI_INSTANCES(T)                                                   \
  template decltype(copyVector<T>) copyVector<T>;                           \
  template decltype(copyVectorRealToComplex<T>) copyVectorRealToComplex<T>; \
  template decltype(copyMatrix<T>) copyMatrix<T>;                           \
  template decltype(copyMatrixRealToComplex<T>) copyMatrixRealToComplex<T>; \
  template decltype(copySingle<T>) copySingle<T>;                           \
  template decltype(copyComplexToReal<T>) copyComplexToReal<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
