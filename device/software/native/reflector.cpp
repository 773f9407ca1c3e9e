// Elementary reflectors, native: one processor does what the threads of the kernel's block do, without their
// barriers, each of which costs more than the reflector.

#include "ground/reflector.h"

#include <cstddef>

#include "device/native_bodies.h"

namespace software_device {
namespace native {

namespace {

// Adds as the block of 32 threads does: every 32nd element into the same part, then the parts.
template <class R>
struct Processor {
  static constexpr int threads = 32;

  template <class T>
  TOVI_DEVICE_CODE R sumOfSquares(int n, const T* x, int incx) {
    R parts[threads] = {};
    std::ptrdiff_t i = 0;
    if (incx == 1)
      for (; i + threads <= n; i += threads)
        for (int t = 0; t < threads; ++t) parts[t] += tovi::squareOf(x[i + t]);
    for (; i < n; ++i) parts[i % threads] += tovi::squareOf(x[i * incx]);
    return sumOf(parts);
  }
  template <class T>
  TOVI_DEVICE_CODE R sumOfSquares(int n, const T* x, int incx, R divisor) {
    R parts[threads] = {};
    for (std::ptrdiff_t i = 0; i < n; ++i)
      parts[i % threads] += tovi::squareOf(tovi::dividedBy(divisor, x[i * incx]));
    return sumOf(parts);
  }
  template <class T>
  TOVI_DEVICE_CODE R greatestPart(int n, const T* x, int incx) {
    R greatest = 0;
    for (std::ptrdiff_t i = 0; i < n; ++i)
      greatest = tovi::greaterOf(greatest, tovi::greatestPartOf(x[i * incx]));
    return greatest;
  }
  template <class T>
  TOVI_DEVICE_CODE void scale(int n, T* x, int incx, T factor) {
    if (incx == 1)
      for (std::ptrdiff_t i = 0; i < n; ++i) x[i] *= factor;
    else
      for (std::ptrdiff_t i = 0; i < n; ++i) x[i * incx] *= factor;
  }
  bool leads() const { return true; }

 private:
  TOVI_DEVICE_CODE static R sumOf(const R* parts) {
    R sum = 0;
    for (int t = 0; t < threads; ++t) sum += parts[t];
    return sum;
  }
};

}  // namespace

template <class T>
void makeReflector(int n, T* dAlpha, T* dX, int incx, T* dTau, tovi::Real<T>* dBeta) {
  tovi::makeReflector(Processor<tovi::Real<T>>(), n, dAlpha, dX, incx, dTau, dBeta);
}

// Adds as the kernel's threads do.
template <class T>
TOVI_DEVICE_CODE void completeWeight(int n, const T* dV, const T* dTau, T* __restrict__ dW,
                                     T* __restrict__ dCopy) {
  constexpr int threads = tovi::weightParts;
  T parts[threads] = {};
  std::ptrdiff_t i = 0;
  for (; i + threads <= n; i += threads)
    for (int t = 0; t < threads; ++t) parts[t] += tovi::conj(dW[i + t]) * dV[i + t];
  for (; i < n; ++i) parts[i % threads] += tovi::conj(dW[i]) * dV[i];
  T product(0);
  for (int t = 0; t < threads; ++t) product += parts[t];
  const T tau = *dTau, factor = tovi::Real<T>(-0.5) * tovi::squareOf(tau) * product;
  for (i = 0; i < n; ++i) dCopy[i] = dW[i] = tau * dW[i] + factor * dV[i];
}

template void makeReflector(int, float*, float*, int, float*, float*);
template void makeReflector(int, double*, double*, int, double*, double*);
template void makeReflector(int, FloatComplex*, FloatComplex*, int, FloatComplex*, float*);
template void makeReflector(int, DoubleComplex*, DoubleComplex*, int, DoubleComplex*, double*);

template void completeWeight(int, const float*, const float*, float*, float*);
template void completeWeight(int, const double*, const double*, double*, double*);
template void completeWeight(int, const FloatComplex*, const FloatComplex*, FloatComplex*, FloatComplex*);
template void completeWeight(int, const DoubleComplex*, const DoubleComplex*, DoubleComplex*, DoubleComplex*);

}  // namespace native
}  // namespace software_device
