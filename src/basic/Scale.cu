#include "src/basic/Scale.h"

#include "cudalib/launch.h"
#include "cudalib/maps.h"
#include "ground/scalars.h"
#include "src/basic/addressing.h"
#include "src/basic/arguments.h"

namespace tovi {

// A thread owns one element.
template <class Map, class T, bool reciprocal>
__global__ void Scale_k(int n, T* x, const T* alpha, int incx) {
  const std::ptrdiff_t i = Map::index();
  if (i < n) element(x, incx, i) *= reciprocal ? reciprocalOf(*alpha) : *alpha;
}

namespace basic {

template <class T>
void scaleVector(int n, T* dX, const T* dAlpha, int incx, bool reciprocal) {
  checkSize(n, 1);
  if (n == 0) return;
  checkPointer(dX, 2);
  checkPointer(dAlpha, 3);
  const cudalib::Map1D map(n);
  if (reciprocal)
    cudalib::launch<&Scale_k<cudalib::Map1D, T, true>>(map, n, firstElement(n, dX, incx), dAlpha, incx);
  else
    cudalib::launch<&Scale_k<cudalib::Map1D, T, false>>(map, n, firstElement(n, dX, incx), dAlpha, incx);
}

#define TOVI_INSTANCES(T) template decltype(scaleVector<T>) scaleVector<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace basic
}  // namespace tovi
