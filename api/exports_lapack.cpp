// The exported LAPACK routines.

#include "api/complex_arguments.h"
#include "api/lapack_routines.h"
#include "include/tovi.h"

using namespace tovi;
using namespace tovi::api;

// ---------------------------------------------------------------------------------------------------- getrf

toviStatus toviSgetrf(int m, int n, float* a, int lda, int* ipiv) {
  return getrf<OnHost>(m, n, a, lda, ipiv);
}

toviStatus toviCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv) {
  return getrf<OnHost>(m, n, native(a), lda, ipiv);
}

toviStatus toviDeviceSgetrf(int m, int n, float* a, int lda, int* ipiv) {
  return getrf<OnDevice>(m, n, a, lda, ipiv);
}

toviStatus toviDeviceCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv) {
  return getrf<OnDevice>(m, n, native(a), lda, ipiv);
}

// ----------------------------------------------------------------------------------------------------- gesv

toviStatus toviSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return gesv<OnHost>(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv, toviFloatComplex* b, int ldb) {
  return gesv<OnHost>(n, nrhs, native(a), lda, ipiv, native(b), ldb);
}

toviStatus toviDeviceSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return gesv<OnDevice>(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDeviceCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv, toviFloatComplex* b,
                           int ldb) {
  return gesv<OnDevice>(n, nrhs, native(a), lda, ipiv, native(b), ldb);
}

// ---------------------------------------------------------------------------------------------------- geqrf

toviStatus toviSgeqrf(int m, int n, float* a, int lda, float* tau) {
  return geqrf<OnHost>(m, n, a, lda, tau);
}

toviStatus toviCgeqrf(int m, int n, toviFloatComplex* a, int lda, toviFloatComplex* tau) {
  return geqrf<OnHost>(m, n, native(a), lda, native(tau));
}

toviStatus toviDeviceSgeqrf(int m, int n, float* a, int lda, float* tau) {
  return geqrf<OnDevice>(m, n, a, lda, tau);
}

toviStatus toviDeviceCgeqrf(int m, int n, toviFloatComplex* a, int lda, toviFloatComplex* tau) {
  return geqrf<OnDevice>(m, n, native(a), lda, native(tau));
}

// ----------------------------------------------------------------------------------------------------- gels

toviStatus toviSgels(char trans, int m, int n, int nrhs, float* a, int lda, float* b, int ldb) {
  return gels<OnHost>(trans, m, n, nrhs, a, lda, b, ldb);
}

toviStatus toviCgels(char trans, int m, int n, int nrhs, toviFloatComplex* a, int lda, toviFloatComplex* b,
                     int ldb) {
  return gels<OnHost>(trans, m, n, nrhs, native(a), lda, native(b), ldb);
}

toviStatus toviDeviceSgels(char trans, int m, int n, int nrhs, float* a, int lda, float* b, int ldb) {
  return gels<OnDevice>(trans, m, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDeviceCgels(char trans, int m, int n, int nrhs, toviFloatComplex* a, int lda,
                           toviFloatComplex* b, int ldb) {
  return gels<OnDevice>(trans, m, n, nrhs, native(a), lda, native(b), ldb);
}

// ---------------------------------------------------------------------------------------------------- gesvd

toviStatus toviSgesvd(char jobu, char jobvt, int m, int n, float* a, int lda, float* s, float* u, int ldu,
                      float* vt, int ldvt) {
  return gesvd<OnHost>(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviCgesvd(char jobu, char jobvt, int m, int n, toviFloatComplex* a, int lda, float* s,
                      toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt) {
  return gesvd<OnHost>(jobu, jobvt, m, n, native(a), lda, s, native(u), ldu, native(vt), ldvt);
}

toviStatus toviDeviceSgesvd(char jobu, char jobvt, int m, int n, float* a, int lda, float* s, float* u,
                            int ldu, float* vt, int ldvt) {
  return gesvd<OnDevice>(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviDeviceCgesvd(char jobu, char jobvt, int m, int n, toviFloatComplex* a, int lda, float* s,
                            toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt) {
  return gesvd<OnDevice>(jobu, jobvt, m, n, native(a), lda, s, native(u), ldu, native(vt), ldvt);
}

// ---------------------------------------------------------------------------------------------------- gglse

toviStatus toviSgglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c, float* d,
                      float* x) {
  return gglse<OnHost>(m, n, p, a, lda, b, ldb, c, d, x);
}

toviStatus toviCgglse(int m, int n, int p, toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb,
                      toviFloatComplex* c, toviFloatComplex* d, toviFloatComplex* x) {
  return gglse<OnHost>(m, n, p, native(a), lda, native(b), ldb, native(c), native(d), native(x));
}

toviStatus toviDeviceSgglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c, float* d,
                            float* x) {
  return gglse<OnDevice>(m, n, p, a, lda, b, ldb, c, d, x);
}

toviStatus toviDeviceCgglse(int m, int n, int p, toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb,
                            toviFloatComplex* c, toviFloatComplex* d, toviFloatComplex* x) {
  return gglse<OnDevice>(m, n, p, native(a), lda, native(b), ldb, native(c), native(d), native(x));
}
