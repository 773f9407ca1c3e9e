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

#define TOVI_INSTANCES(T) template decltype(gemm<T>) gemm<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace tovi::blas
