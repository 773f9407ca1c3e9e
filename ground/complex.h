// tovi::Complex<T>: the element type of the C and Z routines, on the processor and in kernels. Two T, real
// part then imaginary part, laid out as Fortran's COMPLEX; default construction leaves it uninitialized, as
// for float.

#ifndef TOVI_GROUND_COMPLEX_H
#define TOVI_GROUND_COMPLEX_H

#include <cuda_words.h>

#include <type_traits>

namespace tovi {

// Visible, so that templates over it can be shared between libraries.
template <class T>
struct [[gnu::visibility("default")]] Complex {
  T re, im;

  Complex() = default;
  __host__ __device__ constexpr Complex(T real, T imaginary = T(0)) : re(real), im(imaginary) {}

  __host__ __device__ constexpr Complex& operator+=(Complex b) {
    return *this = Complex(re + b.re, im + b.im);
  }
  __host__ __device__ constexpr Complex& operator-=(Complex b) {
    return *this = Complex(re - b.re, im - b.im);
  }
  __host__ __device__ constexpr Complex& operator*=(Complex b) {
    return *this = Complex(re * b.re - im * b.im, re * b.im + im * b.re);
  }

  friend __host__ __device__ constexpr Complex operator+(Complex a, Complex b) { return a += b; }
  friend __host__ __device__ constexpr Complex operator-(Complex a, Complex b) { return a -= b; }
  friend __host__ __device__ constexpr Complex operator*(Complex a, Complex b) { return a *= b; }
  friend __host__ __device__ constexpr Complex operator-(Complex a) { return Complex(-a.re, -a.im); }
  friend __host__ __device__ constexpr bool operator==(Complex a, Complex b) {
    return a.re == b.re && a.im == b.im;
  }
  friend __host__ __device__ constexpr bool operator!=(Complex a, Complex b) { return !(a == b); }
};

// X(T) for each element type.
#define TOVI_FOR_EACH_TYPE(X) X(float) X(double) X(tovi::Complex<float>) X(tovi::Complex<double>)

static_assert(sizeof(Complex<float>) == 2 * sizeof(float) && sizeof(Complex<double>) == 2 * sizeof(double));

// ToReal<T>::type: the real type that belongs to T.
template <class T>
struct ToReal {
  using type = T;
};
template <class T>
struct ToReal<Complex<T>> {
  using type = T;
};
template <class T>
using Real = typename ToReal<T>::type;

template <class T>
inline constexpr bool isComplex = false;
template <class T>
inline constexpr bool isComplex<Complex<T>> = true;

__host__ __device__ constexpr float conj(float x) { return x; }
__host__ __device__ constexpr double conj(double x) { return x; }
template <class T>
__host__ __device__ constexpr Complex<T> conj(Complex<T> z) {
  return Complex<T>(z.re, -z.im);
}

__host__ __device__ constexpr float real(float x) { return x; }
__host__ __device__ constexpr double real(double x) { return x; }
template <class T>
__host__ __device__ constexpr T real(Complex<T> z) {
  return z.re;
}

// Numbers of one complex type as those of another one, which has the same layout.
template <class To, class From>
auto recast(From* p) {
  static_assert(sizeof(To) == sizeof(From));
  return reinterpret_cast<std::conditional_t<std::is_const_v<From>, const To, To>*>(p);
}

}  // namespace tovi

#endif
