// Scalar arithmetic of kernels and of the native bodies that stand in for them, which are to give the same
// bits; and of the processor's own part of the work.

#ifndef TOVI_GROUND_SCALARS_H
#define TOVI_GROUND_SCALARS_H

#include <cmath>
#include <limits>

#include "ground/complex.h"

namespace tovi {

// Limits of a real type, as constants that kernels can read.
template <class R>
struct Range {
  static constexpr R least = std::numeric_limits<R>::min(), most = std::numeric_limits<R>::max(),
                     epsilon = std::numeric_limits<R>::epsilon();
};

template <class R>
__device__ inline R reciprocalOf(R x) {
  return R(1) / x;
}
// Divides by the larger part first, so that the squares of the parts need not be representable.
template <class R>
__device__ inline Complex<R> reciprocalOf(Complex<R> z) {
  if (std::fabs(z.re) >= std::fabs(z.im)) {
    const R ratio = z.im / z.re, scale = R(1) / (z.re + z.im * ratio);
    return Complex<R>(scale, -ratio * scale);
  }
  const R ratio = z.re / z.im, scale = R(1) / (z.im + z.re * ratio);
  return Complex<R>(ratio * scale, -scale);
}

template <bool conjugate, class T>
__device__ inline T conjugateIf(T x) {
  if constexpr (conjugate)
    return conj(x);
  else
    return x;
}

// The absolute value; NaN where a part of z is NaN, infinite though the other one may be.
template <class R>
__device__ inline R modulus(R x) {
  return std::fabs(x);
}
template <class R>
__device__ inline R modulus(Complex<R> z) {
  return z.re != z.re || z.im != z.im ? z.re + z.im : std::hypot(z.re, z.im);
}

// The square of the modulus.
template <class R>
__device__ inline R squareOf(R x) {
  return x * x;
}
template <class R>
__device__ inline R squareOf(Complex<R> z) {
  return z.re * z.re + z.im * z.im;
}

// x / divisor; complex divisors as in reciprocalOf
template <class R>
__host__ __device__ inline R dividedBy(R divisor, R x) {
  return x / divisor;
}
template <class R>
__host__ __device__ inline Complex<R> dividedBy(R divisor, Complex<R> z) {
  return Complex<R>(z.re / divisor, z.im / divisor);
}
template <class R>
__host__ __device__ inline Complex<R> dividedBy(Complex<R> divisor, Complex<R> z) {
  if (std::fabs(divisor.re) >= std::fabs(divisor.im)) {
    const R ratio = divisor.im / divisor.re;
    return dividedBy(divisor.re + divisor.im * ratio, Complex<R>(z.re + z.im * ratio, z.im - z.re * ratio));
  }
  const R ratio = divisor.re / divisor.im;
  return dividedBy(divisor.im + divisor.re * ratio, Complex<R>(z.re * ratio + z.im, z.im * ratio - z.re));
}

// The greater of two numbers, NaN where one of them is NaN.
template <class R>
__host__ __device__ inline R greaterOf(R x, R y) {
  return y > x || y != y ? y : x;
}

template <class R>
__device__ inline R imaginary(R) {
  return R(0);
}
template <class R>
__device__ inline R imaginary(Complex<R> z) {
  return z.im;
}

template <class R>
__host__ __device__ inline R greatestPartOf(R x) {
  return std::fabs(x);
}
template <class R>
__host__ __device__ inline R greatestPartOf(Complex<R> z) {
  return greaterOf(std::fabs(z.re), std::fabs(z.im));
}

// re + im i; re where T is real.
template <class T>
__device__ inline T scalarOf(Real<T> re, [[maybe_unused]] Real<T> im) {
  if constexpr (isComplex<T>)
    return T(re, im);
  else
    return re;
}

// sqrt(x^2 + y^2 + z^2), computed within the range of the type.
template <class R>
__device__ inline R lengthOf(R x, R y, R z) {
  x = std::fabs(x), y = std::fabs(y), z = std::fabs(z);
  const R greatest = greaterOf(greaterOf(x, y), z);
  if (!(greatest > 0 && greatest <= Range<R>::most)) return x + y + z;
  return greatest * std::sqrt(squareOf(x / greatest) + squareOf(y / greatest) + squareOf(z / greatest));
}

}  // namespace tovi

#endif
