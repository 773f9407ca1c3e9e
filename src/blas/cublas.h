// The vendor edge: CUBLAS, typed, on matrix views. One table an element type says which CUBLAS routine serves
// which family; one function a family hands its operands over. Option characters are upper case. The calls
// return at once; those that CUBLAS refuses throw.

#ifndef TOVI_BLAS_CUBLAS_H
#define TOVI_BLAS_CUBLAS_H

#include <algorithm>
#include <type_traits>

#include "cudalib/check.h"
#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi::cublas {

template <class T>
struct Routines;

template <>
struct Routines<float> {
  static constexpr auto gemm = cublasSgemm;
  static constexpr auto gemv = cublasSgemv;
  static constexpr auto hemv = cublasSsymv;
  static constexpr auto trsm = cublasStrsm;
  static constexpr auto trmm = cublasStrmm;
  static constexpr auto symm = cublasSsymm;
  static constexpr auto syrk = cublasSsyrk;
  static constexpr auto syr2k = cublasSsyr2k;
};

template <>
struct Routines<double> {
  static constexpr auto gemm = cublasDgemm;
  static constexpr auto gemv = cublasDgemv;
  static constexpr auto hemv = cublasDsymv;
  static constexpr auto trsm = cublasDtrsm;
  static constexpr auto trmm = cublasDtrmm;
  static constexpr auto symm = cublasDsymm;
  static constexpr auto syrk = cublasDsyrk;
  static constexpr auto syr2k = cublasDsyr2k;
};

// The complex symm and syr2k are deliberately the Hermitian routines, with the arguments of the symmetric
// ones. So hemm and her2k need no entries of their own.
template <>
struct Routines<Complex<float>> {
  static constexpr auto gemm = cublasCgemm;
  static constexpr auto gemv = cublasCgemv;
  static constexpr auto hemv = cublasChemv;
  static constexpr auto trsm = cublasCtrsm;
  static constexpr auto trmm = cublasCtrmm;
  static constexpr auto symm = cublasChemm;
  static constexpr auto syrk = cublasCsyrk;
  static constexpr auto herk = cublasCherk;
  static constexpr auto syr2k = cublasCher2k;
};

template <>
struct Routines<Complex<double>> {
  static constexpr auto gemm = cublasZgemm;
  static constexpr auto gemv = cublasZgemv;
  static constexpr auto hemv = cublasZhemv;
  static constexpr auto trsm = cublasZtrsm;
  static constexpr auto trmm = cublasZtrmm;
  static constexpr auto symm = cublasZhemm;
  static constexpr auto syrk = cublasZsyrk;
  static constexpr auto herk = cublasZherk;
  static constexpr auto syr2k = cublasZher2k;
};

// Elements as CUBLAS spells them; the layouts are the same.
inline float raw(float x) { return x; }
inline double raw(double x) { return x; }
inline cuComplex raw(Complex<float> z) { return {z.re, z.im}; }
inline cuDoubleComplex raw(Complex<double> z) { return {z.re, z.im}; }
template <class T>
auto raw(T* p) {
  using Element = std::remove_const_t<T>;
  if constexpr (isComplex<Element>)
    return recast<decltype(raw(Element()))>(p);
  else
    return p;
}

// The conjugate transpose of a real matrix is its transpose.
template <class T>
char operation(char trans) {
  return trans == 'C' && !isComplex<T> ? 'T' : trans;
}

// CUBLAS wants 1 where this library takes 0 for the leading dimension of an operand without rows.
template <class T>
int leading(MatrixView<T> a) {
  return std::max(1, a.ld);
}

template <class T>
void gemm(char transa, char transb, T alpha, MatrixView<const T> dA, MatrixView<const T> dB, T beta,
          MatrixView<T> dC) {
  const int k = transa == 'N' ? dA.cols : dA.rows;
  cudalib::checkBlas([&] {
    Routines<T>::gemm(operation<T>(transa), operation<T>(transb), dC.rows, dC.cols, k, raw(alpha),
                      raw(dA.data), leading(dA), raw(dB.data), leading(dB), raw(beta), raw(dC.data),
                      leading(dC));
  });
}

template <class T>
void gemv(char trans, T alpha, MatrixView<const T> dA, const T* dX, int incx, T beta, T* dY, int incy) {
  cudalib::checkBlas([&] {
    Routines<T>::gemv(operation<T>(trans), dA.rows, dA.cols, raw(alpha), raw(dA.data), leading(dA), raw(dX),
                      incx, raw(beta), raw(dY), incy);
  });
}

// Real types: symv.
template <class T>
void hemv(char uplo, T alpha, MatrixView<const T> dA, const T* dX, int incx, T beta, T* dY, int incy) {
  cudalib::checkBlas([&] {
    Routines<T>::hemv(uplo, dA.rows, raw(alpha), raw(dA.data), leading(dA), raw(dX), incx, raw(beta), raw(dY),
                      incy);
  });
}

template <class T>
void trsm(char side, char uplo, char trans, char diag, T alpha, MatrixView<const T> dA, MatrixView<T> dB) {
  cudalib::checkBlas([&] {
    Routines<T>::trsm(side, uplo, operation<T>(trans), diag, dB.rows, dB.cols, raw(alpha), raw(dA.data),
                      leading(dA), raw(dB.data), leading(dB));
  });
}

template <class T>
void trmm(char side, char uplo, char trans, char diag, T alpha, MatrixView<const T> dA, MatrixView<T> dB) {
  cudalib::checkBlas([&] {
    Routines<T>::trmm(side, uplo, operation<T>(trans), diag, dB.rows, dB.cols, raw(alpha), raw(dA.data),
                      leading(dA), raw(dB.data), leading(dB));
  });
}

// Complex types: hemm.
template <class T>
void symm(char side, char uplo, T alpha, MatrixView<const T> dA, MatrixView<const T> dB, T beta,
          MatrixView<T> dC) {
  cudalib::checkBlas([&] {
    Routines<T>::symm(side, uplo, dC.rows, dC.cols, raw(alpha), raw(dA.data), leading(dA), raw(dB.data),
                      leading(dB), raw(beta), raw(dC.data), leading(dC));
  });
}

template <class T>
void syrk(char uplo, char trans, T alpha, MatrixView<const T> dA, T beta, MatrixView<T> dC) {
  const int k = trans == 'N' ? dA.cols : dA.rows;
  cudalib::checkBlas([&] {
    Routines<T>::syrk(uplo, trans, dC.rows, k, raw(alpha), raw(dA.data), leading(dA), raw(beta), raw(dC.data),
                      leading(dC));
  });
}

template <class T>
void herk(char uplo, char trans, Real<T> alpha, MatrixView<const T> dA, Real<T> beta, MatrixView<T> dC) {
  const int k = trans == 'N' ? dA.cols : dA.rows;
  cudalib::checkBlas([&] {
    Routines<T>::herk(uplo, trans, dC.rows, k, alpha, raw(dA.data), leading(dA), beta, raw(dC.data),
                      leading(dC));
  });
}

// Complex types: her2k, which takes a real beta; of a complex one the real part is handed over.
template <class T>
void syr2k(char uplo, char trans, T alpha, MatrixView<const T> dA, MatrixView<const T> dB, T beta,
           MatrixView<T> dC) {
  const int k = trans == 'N' ? dA.cols : dA.rows;
  cudalib::checkBlas([&] {
    Routines<T>::syr2k(uplo, trans, dC.rows, k, raw(alpha), raw(dA.data), leading(dA), raw(dB.data),
                       leading(dB), real(beta), raw(dC.data), leading(dC));
  });
}

}  // namespace tovi::cublas

#endif
