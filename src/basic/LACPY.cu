#include "src/basic/LACPY.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

// In all of these a thread owns one element.

template <class T>
__global__ void LACPY_G_Kernel(int m, int n, const T* A, int lda, T* B, int ldb) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i < m && j < n) element(B, ldb, i, j) = element(A, lda, i, j);
}

template <class T>
__global__ void LACPY_L_Kernel(int m, int n, const T* A, int lda, T* B, int ldb) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i < m && j < n && i >= j) element(B, ldb, i, j) = element(A, lda, i, j);
}

template <class T>
__global__ void LACPY_U_Kernel(int m, int n, const T* A, int lda, T* B, int ldb) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i < m && j < n && i <= j) element(B, ldb, i, j) = element(A, lda, i, j);
}

namespace basic {

template <class T>
void lacpy(char uplo, ConstView<T> dA, MatrixView<T> dB) {
  checkShape(dA, 1);
  if (dA.empty()) return;
  checkPointer(dA.data, 3);
  checkOperand(dB, dA.rows, dA.cols, 5);
  const char triangle = upperCase(uplo);
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    if ((triangle == 'L' && i < j) || (triangle == 'U' && i > j)) return;
    const cudalib::Map2D map(m, n);
    if (triangle == 'L' && i == j)
      cudalib::launch<&LACPY_L_Kernel<T>>(map, m, n, dA.at(i, j), dA.ld, dB.at(i, j), dB.ld);
    else if (triangle == 'U' && i == j)
      cudalib::launch<&LACPY_U_Kernel<T>>(map, m, n, dA.at(i, j), dA.ld, dB.at(i, j), dB.ld);
    else
      cudalib::launch<&LACPY_G_Kernel<T>>(map, m, n, dA.at(i, j), dA.ld, dB.at(i, j), dB.ld);
  });
}

#define TOVI_INSTANCES(T) template decltype(lacpy<T>) lacpy<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
