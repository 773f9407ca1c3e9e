#include "src/basic/MADD.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

template <class S>
__device__ inline S scaled(S a, S x) {
  return a * x;
}
template <class S>
__device__ inline Complex<S> scaled(S a, Complex<S> x) {
  return Complex<S>(a * x.re, a * x.im);
}

template <bool transposed, class T>
__device__ inline T operand(const T* A, int ld, std::ptrdiff_t i, std::ptrdiff_t j) {
  return transposed ? element(A, ld, j, i) : element(A, ld, i, j);
}

// The four kernels differ in how they read. A thread owns one element of C.
template <bool transA, bool transB, class T, class S>
__device__ inline void addScaled(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb,
                                 T* C, int ldc) {
  const std::ptrdiff_t i = cudalib::Map2D::row(), j = cudalib::Map2D::col();
  if (i < m && j < n)
    element(C, ldc, i, j) =
        scaled(alpha, operand<transA>(A, lda, i, j)) + scaled(beta, operand<transB>(B, ldb, i, j));
}

}  // namespace

template <class T, class S>
__global__ void MADD_NN_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc) {
  addScaled<false, false>(m, n, alpha, A, lda, beta, B, ldb, C, ldc);
}

template <class T, class S>
__global__ void MADD_NT_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc) {
  addScaled<false, true>(m, n, alpha, A, lda, beta, B, ldb, C, ldc);
}

template <class T, class S>
__global__ void MADD_TN_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc) {
  addScaled<true, false>(m, n, alpha, A, lda, beta, B, ldb, C, ldc);
}

template <class T, class S>
__global__ void MADD_TT_k(int m, int n, S alpha, const T* A, int lda, S beta, const T* B, int ldb, T* C,
                          int ldc) {
  addScaled<true, true>(m, n, alpha, A, lda, beta, B, ldb, C, ldc);
}

namespace basic {

namespace {

template <auto Kernel, bool transA, bool transB, class T>
void launchMADD(Real<T> alpha, ConstView<T> dA, Real<T> beta, ConstView<T> dB, MatrixView<T> dC) {
  cudalib::forEachPart(dC.rows, dC.cols, [&](int i, int j, int m, int n) {
    cudalib::launch<Kernel>(cudalib::Map2D(m, n), m, n, alpha, transA ? dA.at(j, i) : dA.at(i, j), dA.ld,
                            beta, transB ? dB.at(j, i) : dB.at(i, j), dB.ld, dC.at(i, j), dC.ld);
  });
}

}  // namespace

template <class T>
void madd(char transa, char transb, Real<T> alpha, ConstView<T> dA, Real<T> beta, ConstView<T> dB,
          MatrixView<T> dC) {
  const bool transposedA = oneOf("NT", transa, 1) == 'T', transposedB = oneOf("NT", transb, 2) == 'T';
  const int m = dC.rows, n = dC.cols;
  checkShape(dC, 3);
  if (dC.empty()) return;
  checkOperand(dA, transposedA ? n : m, transposedA ? m : n, 6);
  checkOperand(dB, transposedB ? n : m, transposedB ? m : n, 9);
  checkPointer(dC.data, 11);
  const auto launch = transposedA ? (transposedB ? &launchMADD<&MADD_TT_k<T, Real<T>>, true, true, T>
                                                 : &launchMADD<&MADD_TN_k<T, Real<T>>, true, false, T>)
                                  : (transposedB ? &launchMADD<&MADD_NT_k<T, Real<T>>, false, true, T>
                                                 : &launchMADD<&MADD_NN_k<T, Real<T>>, false, false, T>);
  launch(alpha, dA, beta, dB, dC);
}

#define TOVI_INSTANCES(T) template decltype(madd<T>) madd<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
