// The exported complex types as the library's own: scalars member by member, arrays reinterpreted, for the
// layouts are the same.

#ifndef TOVI_API_COMPLEX_ARGUMENTS_H
#define TOVI_API_COMPLEX_ARGUMENTS_H

#include "ground/complex.h"
#include "include/tovi.h"

namespace tovi::api {

inline Complex<float> native(toviFloatComplex z) { return {z.real, z.imag}; }
inline Complex<double> native(toviDoubleComplex z) { return {z.real, z.imag}; }
template <class Z>
auto native(Z* p) {
  return recast<Complex<decltype(Z::real)>>(p);
}

}  // namespace tovi::api

#endif
