// Levels 1 and 2 of the device's BLAS.

#include <cublas.h>

#include "device/software/src/cublas_call.h"
#include "device/software/src/cublas_tiles.h"

namespace software_device {

namespace {

using tovi::Complex;
using tovi::Real;

template <class T>
void gemv(char trans, int m, int n, T alpha, const T* dA, int lda, const T* dx, int incx, T beta, T* dy,
          int incy) {
  const bool plain = tovi::isOption(trans, 'N');
  BlasCall call(Entry::gemv, {trans, m, n, lda, incx, incy}, isDouble<T>);
  call.require(oneOf(trans, "NTC") && m >= 0 && n >= 0 && validLd(lda, m) && incx != 0 && incy != 0);
  if (m == 0 || n == 0) return;
  if (alpha != T(0)) call.matrix(m, n, dA, lda).vector(plain ? n : m, dx, incx);
  call.vector(plain ? m : n, dy, incy);
  auto room = call.room<T>(tiles::gemvRoom(trans, m, n, alpha, incx));
  call.run([=, room = std::move(room)] {
    tiles::gemv(trans, m, n, alpha, dA, lda, dx, incx, beta, dy, incy, room.get());
  });
}

template <class T, bool conjugated>
void ger(int m, int n, T alpha, const T* dx, int incx, const T* dy, int incy, T* dA, int lda) {
  BlasCall call(Entry::otherBlas, {m, n, incx, incy, lda}, isDouble<T>);
  call.require(m >= 0 && n >= 0 && incx != 0 && incy != 0 && validLd(lda, m));
  if (m == 0 || n == 0 || alpha == T(0)) return;
  call.vector(m, dx, incx).vector(n, dy, incy).matrix(m, n, dA, lda).run([=] {
    tiles::ger<conjugated>(m, n, alpha, dx, incx, dy, incy, dA, lda);
  });
}

// nrm2, asum, iamax: one reduction, whose order of summation the host BLAS fixes. An increment that leads
// nowhere gives zero.
template <class T, class Result>
Result reduce(Result (*routine)(int, const T*, int), int n, const T* dx, int incx) {
  BlasCall call(Entry::otherBlas, {n, incx}, isDouble<T>);
  if (n <= 0 || incx <= 0) return Result(0);
  return call.vector(n, dx, incx).template get<Result>([&] { return routine(n, dx, incx); });
}

template <class T>
T dot(T (*routine)(int, const T*, int, const T*, int), int n, const T* dx, int incx, const T* dy, int incy) {
  BlasCall call(Entry::otherBlas, {n, incx, incy}, isDouble<T>);
  if (n <= 0) return T(0);
  return call.vector(n, dx, incx).vector(n, dy, incy).template get<T>([&] {
    return routine(n, dx, incx, dy, incy);
  });
}

// alpha of type T or real
template <class T, class Factor>
void scal(int n, Factor alpha, T* dx, int incx) {
  BlasCall call(Entry::otherBlas, {n, incx}, isDouble<T>);
  if (n <= 0 || incx <= 0) return;
  call.vector(n, dx, incx).run([=] {
    tiles::elementwise(n, [&](int first, int count) {
      T* x = tiles::piece(dx, incx, n, first, count);
      if constexpr (std::is_same_v<T, Factor>)
        host::scal(count, alpha, x, incx);
      else
        host::scalReal(count, alpha, x, incx);
    });
  });
}

// axpy, copy and swap: routine(count, x, y) on pieces of both vectors. A vector of which every element is the
// same one (increment 0) is walked in order.
template <class X, class T, class Routine>
void pairwise(int n, X* dx, int incx, T* dy, int incy, const Routine& routine) {
  BlasCall call(Entry::otherBlas, {n, incx, incy}, isDouble<T>);
  if (n <= 0) return;
  call.vector(n, dx, incx).vector(n, dy, incy).run([=] {
    const auto run = [&](int first, int count) {
      routine(count, tiles::piece(dx, incx, n, first, count), tiles::piece(dy, incy, n, first, count));
    };
    if (incx == 0 || incy == 0)
      run(0, n);
    else
      tiles::elementwise(n, run);
  });
}
template <class T>
void axpy(int n, T alpha, const T* dx, int incx, T* dy, int incy) {
  pairwise(n, dx, incx, dy, incy,
           [=](int count, const T* x, T* y) { host::axpy(count, alpha, x, incx, y, incy); });
}
template <class T>
void copy(int n, const T* dx, int incx, T* dy, int incy) {
  pairwise(n, dx, incx, dy, incy, [=](int count, const T* x, T* y) { host::copy(count, x, incx, y, incy); });
}
template <class T>
void swap(int n, T* dx, int incx, T* dy, int incy) {
  pairwise(n, dx, incx, dy, incy, [=](int count, T* x, T* y) { host::swap(count, x, incx, y, incy); });
}

}  // namespace

}  // namespace software_device

using namespace software_device;

float CUBLASWINAPI cublasSnrm2(int n, const float* x, int incx) {
  return reduce<float>(host::nrm2<float>, n, as(x), incx);
}
double CUBLASWINAPI cublasDnrm2(int n, const double* x, int incx) {
  return reduce<double>(host::nrm2<double>, n, as(x), incx);
}
float CUBLASWINAPI cublasScnrm2(int n, const cuComplex* x, int incx) {
  return reduce<Complex<float>>(host::nrm2<Complex<float>>, n, as(x), incx);
}
double CUBLASWINAPI cublasDznrm2(int n, const cuDoubleComplex* x, int incx) {
  return reduce<Complex<double>>(host::nrm2<Complex<double>>, n, as(x), incx);
}
float CUBLASWINAPI cublasSasum(int n, const float* x, int incx) {
  return reduce<float>(host::asum<float>, n, as(x), incx);
}
double CUBLASWINAPI cublasDasum(int n, const double* x, int incx) {
  return reduce<double>(host::asum<double>, n, as(x), incx);
}
float CUBLASWINAPI cublasScasum(int n, const cuComplex* x, int incx) {
  return reduce<Complex<float>>(host::asum<Complex<float>>, n, as(x), incx);
}
double CUBLASWINAPI cublasDzasum(int n, const cuDoubleComplex* x, int incx) {
  return reduce<Complex<double>>(host::asum<Complex<double>>, n, as(x), incx);
}
int CUBLASWINAPI cublasIsamax(int n, const float* x, int incx) {
  return reduce<float>(host::iamax<float>, n, as(x), incx);
}
int CUBLASWINAPI cublasIdamax(int n, const double* x, int incx) {
  return reduce<double>(host::iamax<double>, n, as(x), incx);
}
int CUBLASWINAPI cublasIcamax(int n, const cuComplex* x, int incx) {
  return reduce<Complex<float>>(host::iamax<Complex<float>>, n, as(x), incx);
}
int CUBLASWINAPI cublasIzamax(int n, const cuDoubleComplex* x, int incx) {
  return reduce<Complex<double>>(host::iamax<Complex<double>>, n, as(x), incx);
}
float CUBLASWINAPI cublasSdot(int n, const float* x, int incx, const float* y, int incy) {
  return dot<float>(host::dotu<float>, n, as(x), incx, as(y), incy);
}
double CUBLASWINAPI cublasDdot(int n, const double* x, int incx, const double* y, int incy) {
  return dot<double>(host::dotu<double>, n, as(x), incx, as(y), incy);
}
cuComplex CUBLASWINAPI cublasCdotu(int n, const cuComplex* x, int incx, const cuComplex* y, int incy) {
  return back(dot<Complex<float>>(host::dotu<Complex<float>>, n, as(x), incx, as(y), incy));
}
cuComplex CUBLASWINAPI cublasCdotc(int n, const cuComplex* x, int incx, const cuComplex* y, int incy) {
  return back(dot<Complex<float>>(host::dotc<Complex<float>>, n, as(x), incx, as(y), incy));
}
cuDoubleComplex CUBLASWINAPI cublasZdotu(int n, const cuDoubleComplex* x, int incx, const cuDoubleComplex* y,
                                         int incy) {
  return back(dot<Complex<double>>(host::dotu<Complex<double>>, n, as(x), incx, as(y), incy));
}
cuDoubleComplex CUBLASWINAPI cublasZdotc(int n, const cuDoubleComplex* x, int incx, const cuDoubleComplex* y,
                                         int incy) {
  return back(dot<Complex<double>>(host::dotc<Complex<double>>, n, as(x), incx, as(y), incy));
}
void CUBLASWINAPI cublasSscal(int n, float alpha, float* x, int incx) {
  scal<float>(n, as(alpha), as(x), incx);
}
void CUBLASWINAPI cublasDscal(int n, double alpha, double* x, int incx) {
  scal<double>(n, as(alpha), as(x), incx);
}
void CUBLASWINAPI cublasCscal(int n, cuComplex alpha, cuComplex* x, int incx) {
  scal<Complex<float>>(n, as(alpha), as(x), incx);
}
void CUBLASWINAPI cublasZscal(int n, cuDoubleComplex alpha, cuDoubleComplex* x, int incx) {
  scal<Complex<double>>(n, as(alpha), as(x), incx);
}
void CUBLASWINAPI cublasCsscal(int n, float alpha, cuComplex* x, int incx) {
  scal<Complex<float>>(n, as(alpha), as(x), incx);
}
void CUBLASWINAPI cublasZdscal(int n, double alpha, cuDoubleComplex* x, int incx) {
  scal<Complex<double>>(n, as(alpha), as(x), incx);
}
void CUBLASWINAPI cublasSaxpy(int n, float alpha, const float* x, int incx, float* y, int incy) {
  axpy<float>(n, as(alpha), as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasDaxpy(int n, double alpha, const double* x, int incx, double* y, int incy) {
  axpy<double>(n, as(alpha), as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasCaxpy(int n, cuComplex alpha, const cuComplex* x, int incx, cuComplex* y, int incy) {
  axpy<Complex<float>>(n, as(alpha), as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasZaxpy(int n, cuDoubleComplex alpha, const cuDoubleComplex* x, int incx,
                              cuDoubleComplex* y, int incy) {
  axpy<Complex<double>>(n, as(alpha), as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasScopy(int n, const float* x, int incx, float* y, int incy) {
  copy<float>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasDcopy(int n, const double* x, int incx, double* y, int incy) {
  copy<double>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasCcopy(int n, const cuComplex* x, int incx, cuComplex* y, int incy) {
  copy<Complex<float>>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasZcopy(int n, const cuDoubleComplex* x, int incx, cuDoubleComplex* y, int incy) {
  copy<Complex<double>>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasSswap(int n, float* x, int incx, float* y, int incy) {
  swap<float>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasDswap(int n, double* x, int incx, double* y, int incy) {
  swap<double>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasCswap(int n, cuComplex* x, int incx, cuComplex* y, int incy) {
  swap<Complex<float>>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasZswap(int n, cuDoubleComplex* x, int incx, cuDoubleComplex* y, int incy) {
  swap<Complex<double>>(n, as(x), incx, as(y), incy);
}
void CUBLASWINAPI cublasSgemv(char trans, int m, int n, float alpha, const float* A, int lda, const float* x,
                              int incx, float beta, float* y, int incy) {
  gemv<float>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasDgemv(char trans, int m, int n, double alpha, const double* A, int lda,
                              const double* x, int incx, double beta, double* y, int incy) {
  gemv<double>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasCgemv(char trans, int m, int n, cuComplex alpha, const cuComplex* A, int lda,
                              const cuComplex* x, int incx, cuComplex beta, cuComplex* y, int incy) {
  gemv<Complex<float>>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasZgemv(char trans, int m, int n, cuDoubleComplex alpha, const cuDoubleComplex* A,
                              int lda, const cuDoubleComplex* x, int incx, cuDoubleComplex beta,
                              cuDoubleComplex* y, int incy) {
  gemv<Complex<double>>(trans, m, n, as(alpha), as(A), lda, as(x), incx, as(beta), as(y), incy);
}
void CUBLASWINAPI cublasSger(int m, int n, float alpha, const float* x, int incx, const float* y, int incy,
                             float* A, int lda) {
  ger<float, false>(m, n, as(alpha), as(x), incx, as(y), incy, as(A), lda);
}
void CUBLASWINAPI cublasDger(int m, int n, double alpha, const double* x, int incx, const double* y, int incy,
                             double* A, int lda) {
  ger<double, false>(m, n, as(alpha), as(x), incx, as(y), incy, as(A), lda);
}
void CUBLASWINAPI cublasCgeru(int m, int n, cuComplex alpha, const cuComplex* x, int incx, const cuComplex* y,
                              int incy, cuComplex* A, int lda) {
  ger<Complex<float>, false>(m, n, as(alpha), as(x), incx, as(y), incy, as(A), lda);
}
void CUBLASWINAPI cublasCgerc(int m, int n, cuComplex alpha, const cuComplex* x, int incx, const cuComplex* y,
                              int incy, cuComplex* A, int lda) {
  ger<Complex<float>, true>(m, n, as(alpha), as(x), incx, as(y), incy, as(A), lda);
}
void CUBLASWINAPI cublasZgeru(int m, int n, cuDoubleComplex alpha, const cuDoubleComplex* x, int incx,
                              const cuDoubleComplex* y, int incy, cuDoubleComplex* A, int lda) {
  ger<Complex<double>, false>(m, n, as(alpha), as(x), incx, as(y), incy, as(A), lda);
}
void CUBLASWINAPI cublasZgerc(int m, int n, cuDoubleComplex alpha, const cuDoubleComplex* x, int incx,
                              const cuDoubleComplex* y, int incy, cuDoubleComplex* A, int lda) {
  ger<Complex<double>, true>(m, n, as(alpha), as(x), incx, as(y), incy, as(A), lda);
}
