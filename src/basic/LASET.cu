#include "src/basic/LASET.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

// A thread owns one element.
template <class T>
__global__ void LASET_k(char uplo, int m, int n, T alpha, T beta, T* A, int lda) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i >= m || j >= n) return;
  if (i == j)
    element(A, lda, i, j) = beta;
  else if (i < j ? uplo != 'L' : uplo != 'U')
    element(A, lda, i, j) = alpha;
}

namespace basic {

template <class T>
void laset(char uplo, Identity<T> alpha, Identity<T> beta, MatrixView<T> dA) {
  checkShape(dA, 2);
  if (dA.empty()) return;
  checkPointer(dA.data, 6);
  uplo = upperCase(uplo);
  cudalib::forEachPart(dA.rows, dA.cols, [&](int i, int j, int m, int n) {
    if ((uplo == 'L' && i < j) || (uplo == 'U' && i > j)) return;
    const bool diagonal = i == j;
    cudalib::launch<&LASET_k<T>>(cudalib::Map2D(m, n), diagonal ? uplo : 'F', m, n, alpha,
                                 diagonal ? beta : alpha, dA.at(i, j), dA.ld);
  });
}

#define TOVI_INSTANCES(T) template decltype(laset<T>) laset<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
