#include "src/basic/larfg.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/reflector.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

namespace {

// The threads of a block, each of which owns every Map::threads-th element of x. Sums of the threads' parts
// are taken by all threads, in the same order.
template <class Map, class R>
struct BlockTeam {
  R* parts;  // in shared memory
  bool used = false;

  template <class T>
  __device__ R sumOfSquares(int n, const T* x, int incx) {
    R sum = 0;
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads) sum += squareOf(element(x, incx, i));
    share(sum);
    return sumOfParts();
  }
  template <class T>
  __device__ R sumOfSquares(int n, const T* x, int incx, R divisor) {
    R sum = 0;
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads)
      sum += squareOf(dividedBy(divisor, element(x, incx, i)));
    share(sum);
    return sumOfParts();
  }
  template <class T>
  __device__ R greatestPart(int n, const T* x, int incx) {
    R greatest = 0;
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads)
      greatest = greaterOf(greatest, greatestPartOf(element(x, incx, i)));
    share(greatest);
    for (int t = 0; t < Map::threads; ++t) greatest = greaterOf(greatest, parts[t]);
    return greatest;
  }
  template <class T>
  __device__ void scale(int n, T* x, int incx, T factor) {
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads) element(x, incx, i) *= factor;
  }
  __device__ bool leads() const { return Map::index() == 0; }

 private:
  __device__ void share(R part) {
    if (used) __syncthreads();  // somebody may still be reading the parts of the last sum
    used = true;
    parts[Map::index()] = part;
    __syncthreads();
  }
  __device__ R sumOfParts() const {
    R sum = 0;
    for (int t = 0; t < Map::threads; ++t) sum += parts[t];
    return sum;
  }
};

}  // namespace

// The threads of the one block are a team. Most vectors need a single barrier.
template <class Map, class T>
__global__ void LARFG_k(int n, T* alpha, T* x, int incx, T* tau, Real<T>* beta) {
  TOVI_SHARED(Real<T>, parts, [Map::threads]);
  makeReflector(BlockTeam<Map, Real<T>>{parts}, n, alpha, x, incx, tau, beta);
}

namespace basic {

namespace {

template <class T>
void launchReflector(int n, T* dAlpha, T* dX, int incx, T* dTau, Real<T>* dBeta) {
  using Map = cudalib::StaticOneBlockMap1D<32>;
  cudalib::launch<&LARFG_k<Map, T>, native::MakeReflector<T>>(Map(), n, dAlpha, dX, incx, dTau, dBeta);
}

}  // namespace

template <class T>
void larfg(int n, T* dAlpha, T* dX, int incx, T* dTau) {
  checkSize(n, 1);
  if (n > 0) checkPointer(dAlpha, 2);
  if (n > 1) checkPointer(dX, 3);
  checkSize(incx, 4);
  checkPointer(dTau, 5);
  launchReflector<T>(n, dAlpha, dX, incx, dTau, nullptr);
}

template <class T>
void larfg(int n, T* dV, T* dTau, Real<T>* dBeta) {
  checkSize(n, 1);
  if (n > 0) checkPointer(dV, 2);
  checkPointer(dTau, 3);
  if (n > 0) checkPointer(dBeta, 4);
  launchReflector(n, dV, n > 1 ? dV + 1 : nullptr, 1, dTau, dBeta);
}

#define TOVI_INSTANCES(T)                       \
  template void larfg<T>(int, T*, T*, int, T*); \
  template void larfg<T>(int, T*, T*, Real<T>*);
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
