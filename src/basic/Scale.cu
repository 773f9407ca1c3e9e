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

template void scaleVector(int, float*, const float*, int, bool);
template void scaleVector(int, double*, const double*, int, bool);
template void scaleVector(int, Complex<float>*, const Complex<float>*, int, bool);
template void scaleVector(int, Complex<double>*, const Complex<double>*, int, bool);

}  // namespace basic
}  // namespace tovi
