// Matrices in device memory from single to double precision and back.

#ifndef TOVI_BASIC_PRECISION_H
#define TOVI_BASIC_PRECISION_H

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// The m x n matrix B := A, each part of an element converted to the type of B's.
template <class Map, class S, class D>
__global__ void PrecisionConvert_k(int m, int n, const S* A, int lda, D* B, int ldb);

namespace basic {

// The element type of the same kind in the other precision.
template <class T>
struct ToOtherPrecision;
template <>
struct ToOtherPrecision<float> {
  using type = double;
};
template <>
struct ToOtherPrecision<double> {
  using type = float;
};
template <class R>
struct ToOtherPrecision<Complex<R>> {
  using type = Complex<typename ToOtherPrecision<R>::type>;
};
template <class T>
using OtherPrecision = typename ToOtherPrecision<T>::type;

// dB := dA, rounded to nearest where dB's elements are the narrower ones: numbers beyond their range become
// infinite, NaN stays NaN.
template <class T>
void convertPrecision(ConstView<OtherPrecision<T>> dA, MatrixView<T> dB);

}  // namespace basic
}  // namespace tovi

#endif
