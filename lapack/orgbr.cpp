#include "lapack/orgbr.h"

#include "ground/complex.h"
#include "lapack/reflectors.h"
#include "src/basic/Set.h"
#include "src/brd/brd.h"

namespace tovi::lapack {

template <class T>
void orgbr(char vect, MatrixView<T> dA, int k, const T* dTau) {
  if (dA.empty()) return;
  const bool left = vect == 'Q';
  const int m = dA.rows, n = dA.cols;
  const Reflectors kind = left ? Reflectors::qr : Reflectors::lq;
  if (left ? m >= k : k < n) return generateQ(kind, k, dA, dTau);

  // The first vector of the factor is the identity's: the reflectors begin one element behind the diagonal.
  // They move to where generateQ looks for them in the matrix without its first row and column.
  brd::orgbrCopy(left ? 'L' : 'U', n, dA.data, dA.ld);
  basic::setSingle(basic::Fill::one, dA.data);
  basic::setVector(basic::Fill::zero, m - 1, dA.at(1, 0), 1);
  basic::setVector(basic::Fill::zero, n - 1, dA.at(0, 1), dA.ld);
  generateQ(kind, n - 1, dA.block(1, 1, m - 1, n - 1), dTau);
}

template void orgbr(char, MatrixView<float>, int, const float*);
template void orgbr(char, MatrixView<Complex<float>>, int, const Complex<float>*);

}  // namespace tovi::lapack
