#include "cudalib/device_table.h"
#include "cudalib/padding.h"
#include "src/blas/blas.h"
#include "src/blas/cublas.h"
#include "src/blas/gemm_split.h"

namespace tovi::blas {
namespace {

// 134,217,216: as many elements as 2^27 less 512.
constexpr std::int64_t splitThreshold = 0x7FFFE00;

// The padding unit of leading dimensions on the devices that split (level 20 and above): 96, 64, 64 and 32
// elements of float, double and their complex types. It divides the threshold, as it must where a multiple of
// it is to divide it.
template <class T>
constexpr GemmSplit split{splitThreshold, static_cast<int>(paddingUnit<T>(20))};
static_assert(splitThreshold % split<float>.granularity == 0 &&
              splitThreshold % split<double>.granularity == 0 &&
              splitThreshold % split<Complex<float>>.granularity == 0 &&
              splitThreshold % split<Complex<double>>.granularity == 0);

}  // namespace

template <class T>
void gemm(char transa, char transb, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
          MatrixView<T> dC) {
  if (dC.empty() || dC.data == nullptr) return;
  if (cudalib::computeLevel() >= 20)
    splitGemm(split<T>, transa, transb, alpha, dA, dB, beta, dC, cublas::gemm<T>);
  else
    cublas::gemm<T>(transa, transb, alpha, dA, dB, beta, dC);
}

template <class T>
void gemv(char trans, Scalar<T> alpha, ConstView<T> dA, const Scalar<T>* dX, int incx, Scalar<T> beta, T* dY,
          int incy) {
  if (dA.empty() || (alpha == T(0) && beta == T(1))) return;
  cublas::gemv<T>(trans, alpha, dA, dX, incx, beta, dY, incy);
}

template decltype(gemm<float>) gemm<float>;
template decltype(gemm<double>) gemm<double>;
template decltype(gemm<Complex<float>>) gemm<Complex<float>>;
template decltype(gemm<Complex<double>>) gemm<Complex<double>>;
template decltype(gemv<float>) gemv<float>;
template decltype(gemv<double>) gemv<double>;
template decltype(gemv<Complex<float>>) gemv<Complex<float>>;
template decltype(gemv<Complex<double>>) gemv<Complex<double>>;

}  // namespace tovi::blas
