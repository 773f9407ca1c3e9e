// The exported complex types as the library's own: scalars member by member, arrays reinterpreted, for the
// layouts are the same.

#ifndef TOVI_API_COMPLEX_ARGUMENTS_H
#define TOVI_API_COMPLEX_ARGUMENTS_H

#include "include/tovi.h"
#include "platform/host/complex.h"

namespace tovi::api {

static_assert(sizeof(toviFloatComplex) == sizeof(Complex<float>) &&
              sizeof(toviDoubleComplex) == sizeof(Complex<double>));

inline Complex<float> native(toviFloatComplex z) { return {z.real, z.imag}; }
inline Complex<double> native(toviDoubleComplex z) { return {z.real, z.imag}; }
inline Complex<float>* native(toviFloatComplex* p) { return reinterpret_cast<Complex<float>*>(p); }
inline Complex<double>* native(toviDoubleComplex* p) { return reinterpret_cast<Complex<double>*>(p); }
inline const Complex<float>* native(const toviFloatComplex* p) {
  return reinterpret_cast<const Complex<float>*>(p);
}
inline const Complex<double>* native(const toviDoubleComplex* p) {
  return reinterpret_cast<const Complex<double>*>(p);
}

}  // namespace tovi::api

#endif
