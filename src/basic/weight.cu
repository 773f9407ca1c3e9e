#include "src/basic/weight.h"

#include <cstddef>

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/reflector.h"
#include "ground/scalars.h"
#include "src/basic/arguments.h"

namespace tovi {

// A thread owns every Map::threads-th element.
template <class Map, class T>
__global__ void Weight_k(int n, const T* v, const T* tau, T* w, T* copy) {
  TOVI_SHARED(T, parts, [Map::threads]);
  const std::ptrdiff_t thread = Map::index();
  T part(0);
  for (std::ptrdiff_t i = thread; i < n; i += Map::threads) part += conj(w[i]) * v[i];
  parts[thread] = part;
  __syncthreads();
  T product(0);
  for (int t = 0; t < Map::threads; ++t) product += parts[t];
  const T scale = *tau, factor = Real<T>(-0.5) * squareOf(scale) * product;
  for (std::ptrdiff_t i = thread; i < n; i += Map::threads) copy[i] = w[i] = scale * w[i] + factor * v[i];
}

namespace basic {

template <class T>
void completeWeight(int n, const T* dV, const T* dTau, T* dW, T* dCopy) {
  using Map = cudalib::StaticOneBlockMap1D<weightParts>;
  checkSize(n, 1);
  if (n == 0) return;
  checkPointer(dV, 2);
  checkPointer(dTau, 3);
  checkPointer(dW, 4);
  checkPointer(dCopy, 5);
  cudalib::launch<&Weight_k<Map, T>, native::CompleteWeight<T>>(Map(), n, dV, dTau, dW, dCopy);
}

#define TOVI_INSTANCES(T) template decltype(completeWeight<T>) completeWeight<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
