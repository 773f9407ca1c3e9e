#include "src/brd/brd.h"

#include <algorithm>

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/complex.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

// A thread owns one row and moves its elements from the diagonal on to the left, so that each is read before
// it is overwritten.
template <class T>
__global__ void ORGBR_COPY_L_k(int n, T* A, int lda) {
  const std::ptrdiff_t i = cudalib::Map1D::index() + 1;
  if (i >= n) return;
  for (std::ptrdiff_t j = i - 1; j >= 1; --j) element(A, lda, i, j) = element(A, lda, i, j - 1);
}

// The same for columns, from the diagonal up.
template <class T>
__global__ void ORGBR_COPY_U_k(int n, T* A, int lda) {
  const std::ptrdiff_t j = cudalib::Map1D::index() + 1;
  if (j >= n) return;
  for (std::ptrdiff_t i = j - 1; i >= 1; --i) element(A, lda, i, j) = element(A, lda, i - 1, j);
}

namespace brd {

template <class T>
void orgbrCopy(char uplo, int n, T* dA, int lda) {
  uplo = basic::oneOf("LU", uplo, 1);
  basic::checkSize(n, 2);
  if (lda < std::max(1, n)) argumentError(-4);
  if (n <= 1) return;
  basic::checkPointer(dA, 3);
  const cudalib::Map1D map(n - 1);
  if (uplo == 'L')
    cudalib::launch<&ORGBR_COPY_L_k<T>>(map, n, dA, lda);
  else
    cudalib::launch<&ORGBR_COPY_U_k<T>>(map, n, dA, lda);
}

#define TOVI_INSTANCES(T) template decltype(orgbrCopy<T>) orgbrCopy<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace brd
}  // namespace tovi
