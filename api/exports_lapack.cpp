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

toviStatus toviDgetrf(int m, int n, double* a, int lda, int* ipiv) {
  return getrf<OnHost>(m, n, a, lda, ipiv);
}

toviStatus toviCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv) {
  return getrf<OnHost>(m, n, ours(a), lda, ipiv);
}

toviStatus toviZgetrf(int m, int n, toviDoubleComplex* a, int lda, int* ipiv) {
  return getrf<OnHost>(m, n, ours(a), lda, ipiv);
}

toviStatus toviDeviceSgetrf(int m, int n, float* a, int lda, int* ipiv) {
  return getrf<OnDevice>(m, n, a, lda, ipiv);
}

toviStatus toviDeviceDgetrf(int m, int n, double* a, int lda, int* ipiv) {
  return getrf<OnDevice>(m, n, a, lda, ipiv);
}

toviStatus toviDeviceCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv) {
  return getrf<OnDevice>(m, n, ours(a), lda, ipiv);
}

toviStatus toviDeviceZgetrf(int m, int n, toviDoubleComplex* a, int lda, int* ipiv) {
  return getrf<OnDevice>(m, n, ours(a), lda, ipiv);
}

// ----------------------------------------------------------------------------------------------------- gesv

toviStatus toviSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return gesv<OnHost>(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDgesv(int n, int nrhs, double* a, int lda, int* ipiv, double* b, int ldb) {
  return gesv<OnHost>(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv, toviFloatComplex* b, int ldb) {
  return gesv<OnHost>(n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
}

toviStatus toviZgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv, toviDoubleComplex* b,
                     int ldb) {
  return gesv<OnHost>(n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
}

toviStatus toviDeviceSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return gesv<OnDevice>(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDeviceDgesv(int n, int nrhs, double* a, int lda, int* ipiv, double* b, int ldb) {
  return gesv<OnDevice>(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDeviceCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv, toviFloatComplex* b,
                           int ldb) {
  return gesv<OnDevice>(n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
}

toviStatus toviDeviceZgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv, toviDoubleComplex* b,
                           int ldb) {
  return gesv<OnDevice>(n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
}

// ---------------------------------------------------------------------------------------------------- geqrf

toviStatus toviSgeqrf(int m, int n, float* a, int lda, float* tau) {
  return geqrf<OnHost>(m, n, a, lda, tau);
}

toviStatus toviDgeqrf(int m, int n, double* a, int lda, double* tau) {
  return geqrf<OnHost>(m, n, a, lda, tau);
}

toviStatus toviCgeqrf(int m, int n, toviFloatComplex* a, int lda, toviFloatComplex* tau) {
  return geqrf<OnHost>(m, n, ours(a), lda, ours(tau));
}

toviStatus toviZgeqrf(int m, int n, toviDoubleComplex* a, int lda, toviDoubleComplex* tau) {
  return geqrf<OnHost>(m, n, ours(a), lda, ours(tau));
}

toviStatus toviDeviceSgeqrf(int m, int n, float* a, int lda, float* tau) {
  return geqrf<OnDevice>(m, n, a, lda, tau);
}

toviStatus toviDeviceDgeqrf(int m, int n, double* a, int lda, double* tau) {
  return geqrf<OnDevice>(m, n, a, lda, tau);
}

toviStatus toviDeviceCgeqrf(int m, int n, toviFloatComplex* a, int lda, toviFloatComplex* tau) {
  return geqrf<OnDevice>(m, n, ours(a), lda, ours(tau));
}

toviStatus toviDeviceZgeqrf(int m, int n, toviDoubleComplex* a, int lda, toviDoubleComplex* tau) {
  return geqrf<OnDevice>(m, n, ours(a), lda, ours(tau));
}

// ----------------------------------------------------------------------------------------------------- gels

toviStatus toviSgels(char trans, int m, int n, int nrhs, float* a, int lda, float* b, int ldb) {
  return gels<OnHost>(trans, m, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDgels(char trans, int m, int n, int nrhs, double* a, int lda, double* b, int ldb) {
  return gels<OnHost>(trans, m, n, nrhs, a, lda, b, ldb);
}

toviStatus toviCgels(char trans, int m, int n, int nrhs, toviFloatComplex* a, int lda, toviFloatComplex* b,
                     int ldb) {
  return gels<OnHost>(trans, m, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviZgels(char trans, int m, int n, int nrhs, toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                     int ldb) {
  return gels<OnHost>(trans, m, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviDeviceSgels(char trans, int m, int n, int nrhs, float* a, int lda, float* b, int ldb) {
  return gels<OnDevice>(trans, m, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDeviceDgels(char trans, int m, int n, int nrhs, double* a, int lda, double* b, int ldb) {
  return gels<OnDevice>(trans, m, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDeviceCgels(char trans, int m, int n, int nrhs, toviFloatComplex* a, int lda,
                           toviFloatComplex* b, int ldb) {
  return gels<OnDevice>(trans, m, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviDeviceZgels(char trans, int m, int n, int nrhs, toviDoubleComplex* a, int lda,
                           toviDoubleComplex* b, int ldb) {
  return gels<OnDevice>(trans, m, n, nrhs, ours(a), lda, ours(b), ldb);
}

// ---------------------------------------------------------------------------------------------------- gesvd

toviStatus toviSgesvd(char jobu, char jobvt, int m, int n, float* a, int lda, float* s, float* u, int ldu,
                      float* vt, int ldvt) {
  return gesvd<OnHost>(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviDgesvd(char jobu, char jobvt, int m, int n, double* a, int lda, double* s, double* u, int ldu,
                      double* vt, int ldvt) {
  return gesvd<OnHost>(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviCgesvd(char jobu, char jobvt, int m, int n, toviFloatComplex* a, int lda, float* s,
                      toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt) {
  return gesvd<OnHost>(jobu, jobvt, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

toviStatus toviZgesvd(char jobu, char jobvt, int m, int n, toviDoubleComplex* a, int lda, double* s,
                      toviDoubleComplex* u, int ldu, toviDoubleComplex* vt, int ldvt) {
  return gesvd<OnHost>(jobu, jobvt, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

toviStatus toviDeviceSgesvd(char jobu, char jobvt, int m, int n, float* a, int lda, float* s, float* u,
                            int ldu, float* vt, int ldvt) {
  return gesvd<OnDevice>(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviDeviceDgesvd(char jobu, char jobvt, int m, int n, double* a, int lda, double* s, double* u,
                            int ldu, double* vt, int ldvt) {
  return gesvd<OnDevice>(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviDeviceCgesvd(char jobu, char jobvt, int m, int n, toviFloatComplex* a, int lda, float* s,
                            toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt) {
  return gesvd<OnDevice>(jobu, jobvt, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

toviStatus toviDeviceZgesvd(char jobu, char jobvt, int m, int n, toviDoubleComplex* a, int lda, double* s,
                            toviDoubleComplex* u, int ldu, toviDoubleComplex* vt, int ldvt) {
  return gesvd<OnDevice>(jobu, jobvt, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

// ---------------------------------------------------------------------------------------------------- gesdd

toviStatus toviSgesdd(char jobz, int m, int n, float* a, int lda, float* s, float* u, int ldu, float* vt,
                      int ldvt) {
  return gesdd<OnHost>(jobz, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviDgesdd(char jobz, int m, int n, double* a, int lda, double* s, double* u, int ldu, double* vt,
                      int ldvt) {
  return gesdd<OnHost>(jobz, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviCgesdd(char jobz, int m, int n, toviFloatComplex* a, int lda, float* s, toviFloatComplex* u,
                      int ldu, toviFloatComplex* vt, int ldvt) {
  return gesdd<OnHost>(jobz, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

toviStatus toviZgesdd(char jobz, int m, int n, toviDoubleComplex* a, int lda, double* s, toviDoubleComplex* u,
                      int ldu, toviDoubleComplex* vt, int ldvt) {
  return gesdd<OnHost>(jobz, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

toviStatus toviDeviceSgesdd(char jobz, int m, int n, float* a, int lda, float* s, float* u, int ldu,
                            float* vt, int ldvt) {
  return gesdd<OnDevice>(jobz, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviDeviceDgesdd(char jobz, int m, int n, double* a, int lda, double* s, double* u, int ldu,
                            double* vt, int ldvt) {
  return gesdd<OnDevice>(jobz, m, n, a, lda, s, u, ldu, vt, ldvt);
}

toviStatus toviDeviceCgesdd(char jobz, int m, int n, toviFloatComplex* a, int lda, float* s,
                            toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt) {
  return gesdd<OnDevice>(jobz, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

toviStatus toviDeviceZgesdd(char jobz, int m, int n, toviDoubleComplex* a, int lda, double* s,
                            toviDoubleComplex* u, int ldu, toviDoubleComplex* vt, int ldvt) {
  return gesdd<OnDevice>(jobz, m, n, ours(a), lda, s, ours(u), ldu, ours(vt), ldvt);
}

// ---------------------------------------------------------------------------------------------------- gglse

toviStatus toviSgglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c, float* d,
                      float* x) {
  return gglse<OnHost>(m, n, p, a, lda, b, ldb, c, d, x);
}

toviStatus toviDgglse(int m, int n, int p, double* a, int lda, double* b, int ldb, double* c, double* d,
                      double* x) {
  return gglse<OnHost>(m, n, p, a, lda, b, ldb, c, d, x);
}

toviStatus toviCgglse(int m, int n, int p, toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb,
                      toviFloatComplex* c, toviFloatComplex* d, toviFloatComplex* x) {
  return gglse<OnHost>(m, n, p, ours(a), lda, ours(b), ldb, ours(c), ours(d), ours(x));
}

toviStatus toviZgglse(int m, int n, int p, toviDoubleComplex* a, int lda, toviDoubleComplex* b, int ldb,
                      toviDoubleComplex* c, toviDoubleComplex* d, toviDoubleComplex* x) {
  return gglse<OnHost>(m, n, p, ours(a), lda, ours(b), ldb, ours(c), ours(d), ours(x));
}

toviStatus toviDeviceSgglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c, float* d,
                            float* x) {
  return gglse<OnDevice>(m, n, p, a, lda, b, ldb, c, d, x);
}

toviStatus toviDeviceDgglse(int m, int n, int p, double* a, int lda, double* b, int ldb, double* c, double* d,
                            double* x) {
  return gglse<OnDevice>(m, n, p, a, lda, b, ldb, c, d, x);
}

toviStatus toviDeviceCgglse(int m, int n, int p, toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb,
                            toviFloatComplex* c, toviFloatComplex* d, toviFloatComplex* x) {
  return gglse<OnDevice>(m, n, p, ours(a), lda, ours(b), ldb, ours(c), ours(d), ours(x));
}

toviStatus toviDeviceZgglse(int m, int n, int p, toviDoubleComplex* a, int lda, toviDoubleComplex* b, int ldb,
                            toviDoubleComplex* c, toviDoubleComplex* d, toviDoubleComplex* x) {
  return gglse<OnDevice>(m, n, p, ours(a), lda, ours(b), ldb, ours(c), ours(d), ours(x));
}

// --------------------------------------------------------------------------------------------- syevd, heevd

toviStatus toviSsyevd(char jobz, char uplo, int n, float* a, int lda, float* w) {
  return heevd<OnHost>(jobz, uplo, n, a, lda, w);
}

toviStatus toviDsyevd(char jobz, char uplo, int n, double* a, int lda, double* w) {
  return heevd<OnHost>(jobz, uplo, n, a, lda, w);
}

toviStatus toviCheevd(char jobz, char uplo, int n, toviFloatComplex* a, int lda, float* w) {
  return heevd<OnHost>(jobz, uplo, n, ours(a), lda, w);
}

toviStatus toviZheevd(char jobz, char uplo, int n, toviDoubleComplex* a, int lda, double* w) {
  return heevd<OnHost>(jobz, uplo, n, ours(a), lda, w);
}

toviStatus toviDeviceSsyevd(char jobz, char uplo, int n, float* a, int lda, float* w) {
  return heevd<OnDevice>(jobz, uplo, n, a, lda, w);
}

toviStatus toviDeviceDsyevd(char jobz, char uplo, int n, double* a, int lda, double* w) {
  return heevd<OnDevice>(jobz, uplo, n, a, lda, w);
}

toviStatus toviDeviceCheevd(char jobz, char uplo, int n, toviFloatComplex* a, int lda, float* w) {
  return heevd<OnDevice>(jobz, uplo, n, ours(a), lda, w);
}

toviStatus toviDeviceZheevd(char jobz, char uplo, int n, toviDoubleComplex* a, int lda, double* w) {
  return heevd<OnDevice>(jobz, uplo, n, ours(a), lda, w);
}
