// The exported BLAS routines by element type and by interface, so that one test body serves all of them.
// Arguments as in the header, with tovi::Complex in place of the exported complex types.

#ifndef TOVI_TESTS_SUPPORT_BLAS_INTERFACE_H
#define TOVI_TESTS_SUPPORT_BLAS_INTERFACE_H

#include "tests/support/interface.h"

namespace testing_support {

constexpr Memory bothInterfaces[] = {Memory::host, Memory::device};

inline double* exported(double* p) { return p; }
inline toviDoubleComplex* exported(Complex<double>* p) { return reinterpret_cast<toviDoubleComplex*>(p); }
inline const float* exported(const float* p) { return p; }
inline const double* exported(const double* p) { return p; }
inline const toviFloatComplex* exported(const Complex<float>* p) {
  return reinterpret_cast<const toviFloatComplex*>(p);
}
inline const toviDoubleComplex* exported(const Complex<double>* p) {
  return reinterpret_cast<const toviDoubleComplex*>(p);
}
inline float exported(float x) { return x; }
inline double exported(double x) { return x; }
inline toviFloatComplex exported(Complex<float> z) { return {z.re, z.im}; }
inline toviDoubleComplex exported(Complex<double> z) { return {z.re, z.im}; }

// Each entry: host interface, device interface.
template <class T>
struct Exports;

template <>
struct Exports<float> {
  static constexpr decltype(&toviSgemm) gemm[] = {toviSgemm, toviDeviceSgemm};
  static constexpr decltype(&toviSgemv) gemv[] = {toviSgemv, toviDeviceSgemv};
  static constexpr decltype(&toviStrsm) trsm[] = {toviStrsm, toviDeviceStrsm};
  static constexpr decltype(&toviStrmm) trmm[] = {toviStrmm, toviDeviceStrmm};
  static constexpr decltype(&toviSsymm) symm[] = {toviSsymm, toviDeviceSsymm};
  static constexpr decltype(&toviSsyrk) syrk[] = {toviSsyrk, toviDeviceSsyrk};
  static constexpr decltype(&toviSsyr2k) syr2k[] = {toviSsyr2k, toviDeviceSsyr2k};
};

template <>
struct Exports<double> {
  static constexpr decltype(&toviDgemm) gemm[] = {toviDgemm, toviDeviceDgemm};
  static constexpr decltype(&toviDgemv) gemv[] = {toviDgemv, toviDeviceDgemv};
  static constexpr decltype(&toviDtrsm) trsm[] = {toviDtrsm, toviDeviceDtrsm};
  static constexpr decltype(&toviDtrmm) trmm[] = {toviDtrmm, toviDeviceDtrmm};
  static constexpr decltype(&toviDsymm) symm[] = {toviDsymm, toviDeviceDsymm};
  static constexpr decltype(&toviDsyrk) syrk[] = {toviDsyrk, toviDeviceDsyrk};
  static constexpr decltype(&toviDsyr2k) syr2k[] = {toviDsyr2k, toviDeviceDsyr2k};
};

template <>
struct Exports<Complex<float>> {
  static constexpr decltype(&toviCgemm) gemm[] = {toviCgemm, toviDeviceCgemm};
  static constexpr decltype(&toviCgemv) gemv[] = {toviCgemv, toviDeviceCgemv};
  static constexpr decltype(&toviCtrsm) trsm[] = {toviCtrsm, toviDeviceCtrsm};
  static constexpr decltype(&toviCtrmm) trmm[] = {toviCtrmm, toviDeviceCtrmm};
  static constexpr decltype(&toviCsymm) symm[] = {toviCsymm, toviDeviceCsymm};
  static constexpr decltype(&toviCsyrk) syrk[] = {toviCsyrk, toviDeviceCsyrk};
  static constexpr decltype(&toviCsyr2k) syr2k[] = {toviCsyr2k, toviDeviceCsyr2k};
  static constexpr decltype(&toviChemm) hemm[] = {toviChemm, toviDeviceChemm};
  static constexpr decltype(&toviCherk) herk[] = {toviCherk, toviDeviceCherk};
  static constexpr decltype(&toviCher2k) her2k[] = {toviCher2k, toviDeviceCher2k};
};

template <>
struct Exports<Complex<double>> {
  static constexpr decltype(&toviZgemm) gemm[] = {toviZgemm, toviDeviceZgemm};
  static constexpr decltype(&toviZgemv) gemv[] = {toviZgemv, toviDeviceZgemv};
  static constexpr decltype(&toviZtrsm) trsm[] = {toviZtrsm, toviDeviceZtrsm};
  static constexpr decltype(&toviZtrmm) trmm[] = {toviZtrmm, toviDeviceZtrmm};
  static constexpr decltype(&toviZsymm) symm[] = {toviZsymm, toviDeviceZsymm};
  static constexpr decltype(&toviZsyrk) syrk[] = {toviZsyrk, toviDeviceZsyrk};
  static constexpr decltype(&toviZsyr2k) syr2k[] = {toviZsyr2k, toviDeviceZsyr2k};
  static constexpr decltype(&toviZhemm) hemm[] = {toviZhemm, toviDeviceZhemm};
  static constexpr decltype(&toviZherk) herk[] = {toviZherk, toviDeviceZherk};
  static constexpr decltype(&toviZher2k) her2k[] = {toviZher2k, toviDeviceZher2k};
};

// Keeps a scalar out of template argument deduction.
template <class T>
using Scalar = typename tovi::Identity<T>::type;
template <class T>
using RealScalar = Real<typename tovi::Identity<T>::type>;

template <class T>
toviStatus gemm(Memory where, char transa, char transb, int m, int n, int k, Scalar<T> alpha, const T* a,
                int lda, const T* b, int ldb, Scalar<T> beta, T* c, int ldc) {
  return Exports<T>::gemm[static_cast<int>(where)](transa, transb, m, n, k, exported(alpha), exported(a), lda,
                                                   exported(b), ldb, exported(beta), exported(c), ldc);
}

template <class T>
toviStatus gemv(Memory where, char trans, int m, int n, Scalar<T> alpha, const T* a, int lda, const T* x,
                int incx, Scalar<T> beta, T* y, int incy) {
  return Exports<T>::gemv[static_cast<int>(where)](trans, m, n, exported(alpha), exported(a), lda,
                                                   exported(x), incx, exported(beta), exported(y), incy);
}

template <class T>
toviStatus trsm(Memory where, char side, char uplo, char trans, char diag, int m, int n, Scalar<T> alpha,
                const T* a, int lda, T* b, int ldb) {
  return Exports<T>::trsm[static_cast<int>(where)](side, uplo, trans, diag, m, n, exported(alpha),
                                                   exported(a), lda, exported(b), ldb);
}

template <class T>
toviStatus trmm(Memory where, char side, char uplo, char trans, char diag, int m, int n, Scalar<T> alpha,
                const T* a, int lda, T* b, int ldb) {
  return Exports<T>::trmm[static_cast<int>(where)](side, uplo, trans, diag, m, n, exported(alpha),
                                                   exported(a), lda, exported(b), ldb);
}

template <class T>
toviStatus symm(Memory where, char side, char uplo, int m, int n, Scalar<T> alpha, const T* a, int lda,
                const T* b, int ldb, Scalar<T> beta, T* c, int ldc) {
  return Exports<T>::symm[static_cast<int>(where)](side, uplo, m, n, exported(alpha), exported(a), lda,
                                                   exported(b), ldb, exported(beta), exported(c), ldc);
}

template <class T>
toviStatus hemm(Memory where, char side, char uplo, int m, int n, Scalar<T> alpha, const T* a, int lda,
                const T* b, int ldb, Scalar<T> beta, T* c, int ldc) {
  return Exports<T>::hemm[static_cast<int>(where)](side, uplo, m, n, exported(alpha), exported(a), lda,
                                                   exported(b), ldb, exported(beta), exported(c), ldc);
}

template <class T>
toviStatus syrk(Memory where, char uplo, char trans, int n, int k, Scalar<T> alpha, const T* a, int lda,
                Scalar<T> beta, T* c, int ldc) {
  return Exports<T>::syrk[static_cast<int>(where)](uplo, trans, n, k, exported(alpha), exported(a), lda,
                                                   exported(beta), exported(c), ldc);
}

template <class T>
toviStatus herk(Memory where, char uplo, char trans, int n, int k, RealScalar<T> alpha, const T* a, int lda,
                RealScalar<T> beta, T* c, int ldc) {
  return Exports<T>::herk[static_cast<int>(where)](uplo, trans, n, k, exported(alpha), exported(a), lda,
                                                   exported(beta), exported(c), ldc);
}

template <class T>
toviStatus syr2k(Memory where, char uplo, char trans, int n, int k, Scalar<T> alpha, const T* a, int lda,
                 const T* b, int ldb, Scalar<T> beta, T* c, int ldc) {
  return Exports<T>::syr2k[static_cast<int>(where)](uplo, trans, n, k, exported(alpha), exported(a), lda,
                                                    exported(b), ldb, exported(beta), exported(c), ldc);
}

template <class T>
toviStatus her2k(Memory where, char uplo, char trans, int n, int k, Scalar<T> alpha, const T* a, int lda,
                 const T* b, int ldb, RealScalar<T> beta, T* c, int ldc) {
  return Exports<T>::her2k[static_cast<int>(where)](uplo, trans, n, k, exported(alpha), exported(a), lda,
                                                    exported(b), ldb, exported(beta), exported(c), ldc);
}

}  // namespace testing_support

#endif
