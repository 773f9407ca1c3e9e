// The host LAPACK, typed like host/blas.h. Routines return LAPACK's info. How a routine is added: fortran.h.

#ifndef TOVI_PLATFORM_HOST_LAPACK_H
#define TOVI_PLATFORM_HOST_LAPACK_H

#include "platform/host/fortran.h"

namespace host {

namespace fortran {

using tovi::Complex;
using tovi::Real;

template <class T>
using Getrf = void(const int* m, const int* n, T* a, const int* lda, int* ipiv, int* info);
extern "C" Getrf<float> sgetrf_;
extern "C" Getrf<double> dgetrf_;
extern "C" Getrf<Complex<float>> cgetrf_;
extern "C" Getrf<Complex<double>> zgetrf_;

template <class T>
using Getrs = void(const char* trans, const int* n, const int* nrhs, const T* a, const int* lda,
                   const int* ipiv, T* b, const int* ldb, int* info, std::size_t);
extern "C" Getrs<float> sgetrs_;
extern "C" Getrs<double> dgetrs_;
extern "C" Getrs<Complex<float>> cgetrs_;
extern "C" Getrs<Complex<double>> zgetrs_;

template <class T>
using Gesv = void(const int* n, const int* nrhs, T* a, const int* lda, int* ipiv, T* b, const int* ldb,
                  int* info);
extern "C" Gesv<float> sgesv_;
extern "C" Gesv<double> dgesv_;
extern "C" Gesv<Complex<float>> cgesv_;
extern "C" Gesv<Complex<double>> zgesv_;

template <class T>
using Lange = Real<T>(const char* norm, const int* m, const int* n, const T* a, const int* lda, Real<T>* work,
                      std::size_t);
extern "C" Lange<float> slange_;
extern "C" Lange<double> dlange_;
extern "C" Lange<Complex<float>> clange_;
extern "C" Lange<Complex<double>> zlange_;

}  // namespace fortran

// A = P L U, A m x n; ipiv takes min(m, n) 1-based row numbers
template <class T>
int getrf(int m, int n, T* a, int lda, int* ipiv) {
  using namespace fortran;
  detail::writes(m, n, a, lda);
  detail::writesVector(m < n ? m : n, ipiv, 1);
  int info = 0;
  detail::routine<T>(sgetrf_, dgetrf_, cgetrf_, zgetrf_)(&m, &n, a, &lda, ipiv, &info);
  return info;
}

// B := inv(op(A)) B from getrf's factors
template <class T>
int getrs(char trans, int n, int nrhs, const T* a, int lda, const int* ipiv, T* b, int ldb) {
  using namespace fortran;
  detail::reads(n, n, a, lda);
  detail::readsVector(n, ipiv, 1);
  detail::writes(n, nrhs, b, ldb);
  int info = 0;
  detail::routine<T>(sgetrs_, dgetrs_, cgetrs_, zgetrs_)(&trans, &n, &nrhs, a, &lda, ipiv, b, &ldb, &info, 1);
  return info;
}

// getrf, then getrs
template <class T>
int gesv(int n, int nrhs, T* a, int lda, int* ipiv, T* b, int ldb) {
  using namespace fortran;
  detail::writes(n, n, a, lda);
  detail::writesVector(n, ipiv, 1);
  detail::writes(n, nrhs, b, ldb);
  int info = 0;
  detail::routine<T>(sgesv_, dgesv_, cgesv_, zgesv_)(&n, &nrhs, a, &lda, ipiv, b, &ldb, &info);
  return info;
}

// A norm of A: '1', 'I', 'F', or 'M' for the largest element; work takes m reals for 'I', else it may be null
template <class T>
tovi::Real<T> lange(char norm, int m, int n, const T* a, int lda, tovi::Real<T>* work = nullptr) {
  using namespace fortran;
  detail::reads(m, n, a, lda);
  return detail::routine<T>(slange_, dlange_, clange_, zlange_)(&norm, &m, &n, a, &lda, work, 1);
}

}  // namespace host

#endif
