#include "src/basic/larfg.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/reflector.h"
#include "src/basic/arguments.h"
#include "src/basic/block_team.h"

namespace tovi {

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
