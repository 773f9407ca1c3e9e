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

// ------------------------------------------------------------------------------------------- dsgesv, zcgesv

toviStatus toviDsgesv(int n, int nrhs, double* a, int lda, int* ipiv, const double* b, int ldb, double* x,
                      int ldx, int* iter) {
  return gesvRefined<OnHost>(n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter);
}

toviStatus toviZcgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv, const toviDoubleComplex* b,
                      int ldb, toviDoubleComplex* x, int ldx, int* iter) {
  return gesvRefined<OnHost>(n, nrhs, ours(a), lda, ipiv, ours(b), ldb, ours(x), ldx, iter);
}

toviStatus toviDeviceDsgesv(int n, int nrhs, double* a, int lda, int* ipiv, const double* b, int ldb,
                            double* x, int ldx, int* iter) {
  return gesvRefined<OnDevice>(n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter);
}

toviStatus toviDeviceZcgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv,
                            const toviDoubleComplex* b, int ldb, toviDoubleComplex* x, int ldx, int* iter) {
  return gesvRefined<OnDevice>(n, nrhs, ours(a), lda, ipiv, ours(b), ldb, ours(x), ldx, iter);
}

// ---------------------------------------------------------------------------------------------------- getrs

toviStatus toviSgetrs(char trans, int n, int nrhs, const float* a, int lda, const int* ipiv, float* b,
                      int ldb) {
  return getrs<OnHost>(trans, n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDgetrs(char trans, int n, int nrhs, const double* a, int lda, const int* ipiv, double* b,
                      int ldb) {
  return getrs<OnHost>(trans, n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviCgetrs(char trans, int n, int nrhs, const toviFloatComplex* a, int lda, const int* ipiv,
                      toviFloatComplex* b, int ldb) {
  return getrs<OnHost>(trans, n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
}

toviStatus toviZgetrs(char trans, int n, int nrhs, const toviDoubleComplex* a, int lda, const int* ipiv,
                      toviDoubleComplex* b, int ldb) {
  return getrs<OnHost>(trans, n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
}

toviStatus toviDeviceSgetrs(char trans, int n, int nrhs, const float* a, int lda, const int* ipiv, float* b,
                            int ldb) {
  return getrs<OnDevice>(trans, n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDeviceDgetrs(char trans, int n, int nrhs, const double* a, int lda, const int* ipiv, double* b,
                            int ldb) {
  return getrs<OnDevice>(trans, n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDeviceCgetrs(char trans, int n, int nrhs, const toviFloatComplex* a, int lda, const int* ipiv,
                            toviFloatComplex* b, int ldb) {
  return getrs<OnDevice>(trans, n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
}

toviStatus toviDeviceZgetrs(char trans, int n, int nrhs, const toviDoubleComplex* a, int lda, const int* ipiv,
                            toviDoubleComplex* b, int ldb) {
  return getrs<OnDevice>(trans, n, nrhs, ours(a), lda, ipiv, ours(b), ldb);
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

// --------------------------------------------------------------------------------------------- ormqr, unmqr

toviStatus toviSormqr(char side, char trans, int m, int n, int k, const float* a, int lda, const float* tau,
                      float* c, int ldc) {
  return ormqr<OnHost>(side, trans, m, n, k, a, lda, tau, c, ldc);
}

toviStatus toviDormqr(char side, char trans, int m, int n, int k, const double* a, int lda, const double* tau,
                      double* c, int ldc) {
  return ormqr<OnHost>(side, trans, m, n, k, a, lda, tau, c, ldc);
}

toviStatus toviCunmqr(char side, char trans, int m, int n, int k, const toviFloatComplex* a, int lda,
                      const toviFloatComplex* tau, toviFloatComplex* c, int ldc) {
  return ormqr<OnHost>(side, trans, m, n, k, ours(a), lda, ours(tau), ours(c), ldc);
}

toviStatus toviZunmqr(char side, char trans, int m, int n, int k, const toviDoubleComplex* a, int lda,
                      const toviDoubleComplex* tau, toviDoubleComplex* c, int ldc) {
  return ormqr<OnHost>(side, trans, m, n, k, ours(a), lda, ours(tau), ours(c), ldc);
}

toviStatus toviDeviceSormqr(char side, char trans, int m, int n, int k, const float* a, int lda,
                            const float* tau, float* c, int ldc) {
  return ormqr<OnDevice>(side, trans, m, n, k, a, lda, tau, c, ldc);
}

toviStatus toviDeviceDormqr(char side, char trans, int m, int n, int k, const double* a, int lda,
                            const double* tau, double* c, int ldc) {
  return ormqr<OnDevice>(side, trans, m, n, k, a, lda, tau, c, ldc);
}

toviStatus toviDeviceCunmqr(char side, char trans, int m, int n, int k, const toviFloatComplex* a, int lda,
                            const toviFloatComplex* tau, toviFloatComplex* c, int ldc) {
  return ormqr<OnDevice>(side, trans, m, n, k, ours(a), lda, ours(tau), ours(c), ldc);
}

toviStatus toviDeviceZunmqr(char side, char trans, int m, int n, int k, const toviDoubleComplex* a, int lda,
                            const toviDoubleComplex* tau, toviDoubleComplex* c, int ldc) {
  return ormqr<OnDevice>(side, trans, m, n, k, ours(a), lda, ours(tau), ours(c), ldc);
}

// --------------------------------------------------------------------------------------------- orgqr, ungqr

toviStatus toviSorgqr(int m, int n, int k, float* a, int lda, const float* tau) {
  return orgqr<OnHost>(m, n, k, a, lda, tau);
}

toviStatus toviDorgqr(int m, int n, int k, double* a, int lda, const double* tau) {
  return orgqr<OnHost>(m, n, k, a, lda, tau);
}

toviStatus toviCungqr(int m, int n, int k, toviFloatComplex* a, int lda, const toviFloatComplex* tau) {
  return orgqr<OnHost>(m, n, k, ours(a), lda, ours(tau));
}

toviStatus toviZungqr(int m, int n, int k, toviDoubleComplex* a, int lda, const toviDoubleComplex* tau) {
  return orgqr<OnHost>(m, n, k, ours(a), lda, ours(tau));
}

toviStatus toviDeviceSorgqr(int m, int n, int k, float* a, int lda, const float* tau) {
  return orgqr<OnDevice>(m, n, k, a, lda, tau);
}

toviStatus toviDeviceDorgqr(int m, int n, int k, double* a, int lda, const double* tau) {
  return orgqr<OnDevice>(m, n, k, a, lda, tau);
}

toviStatus toviDeviceCungqr(int m, int n, int k, toviFloatComplex* a, int lda, const toviFloatComplex* tau) {
  return orgqr<OnDevice>(m, n, k, ours(a), lda, ours(tau));
}

toviStatus toviDeviceZungqr(int m, int n, int k, toviDoubleComplex* a, int lda,
                            const toviDoubleComplex* tau) {
  return orgqr<OnDevice>(m, n, k, ours(a), lda, ours(tau));
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

// ---------------------------------------------------------------------------------------------------- potrf

toviStatus toviSpotrf(char uplo, int n, float* a, int lda) { return potrf<OnHost>(uplo, n, a, lda); }

toviStatus toviDpotrf(char uplo, int n, double* a, int lda) { return potrf<OnHost>(uplo, n, a, lda); }

toviStatus toviCpotrf(char uplo, int n, toviFloatComplex* a, int lda) {
  return potrf<OnHost>(uplo, n, ours(a), lda);
}

toviStatus toviZpotrf(char uplo, int n, toviDoubleComplex* a, int lda) {
  return potrf<OnHost>(uplo, n, ours(a), lda);
}

toviStatus toviDeviceSpotrf(char uplo, int n, float* a, int lda) { return potrf<OnDevice>(uplo, n, a, lda); }

toviStatus toviDeviceDpotrf(char uplo, int n, double* a, int lda) { return potrf<OnDevice>(uplo, n, a, lda); }

toviStatus toviDeviceCpotrf(char uplo, int n, toviFloatComplex* a, int lda) {
  return potrf<OnDevice>(uplo, n, ours(a), lda);
}

toviStatus toviDeviceZpotrf(char uplo, int n, toviDoubleComplex* a, int lda) {
  return potrf<OnDevice>(uplo, n, ours(a), lda);
}

// ---------------------------------------------------------------------------------------------------- potrs

toviStatus toviSpotrs(char uplo, int n, int nrhs, const float* a, int lda, float* b, int ldb) {
  return potrs<OnHost>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDpotrs(char uplo, int n, int nrhs, const double* a, int lda, double* b, int ldb) {
  return potrs<OnHost>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviCpotrs(char uplo, int n, int nrhs, const toviFloatComplex* a, int lda, toviFloatComplex* b,
                      int ldb) {
  return potrs<OnHost>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviZpotrs(char uplo, int n, int nrhs, const toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                      int ldb) {
  return potrs<OnHost>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviDeviceSpotrs(char uplo, int n, int nrhs, const float* a, int lda, float* b, int ldb) {
  return potrs<OnDevice>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDeviceDpotrs(char uplo, int n, int nrhs, const double* a, int lda, double* b, int ldb) {
  return potrs<OnDevice>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDeviceCpotrs(char uplo, int n, int nrhs, const toviFloatComplex* a, int lda,
                            toviFloatComplex* b, int ldb) {
  return potrs<OnDevice>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviDeviceZpotrs(char uplo, int n, int nrhs, const toviDoubleComplex* a, int lda,
                            toviDoubleComplex* b, int ldb) {
  return potrs<OnDevice>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
}

// ----------------------------------------------------------------------------------------------------- posv

toviStatus toviSposv(char uplo, int n, int nrhs, float* a, int lda, float* b, int ldb) {
  return posv<OnHost>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDposv(char uplo, int n, int nrhs, double* a, int lda, double* b, int ldb) {
  return posv<OnHost>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviCposv(char uplo, int n, int nrhs, toviFloatComplex* a, int lda, toviFloatComplex* b, int ldb) {
  return posv<OnHost>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviZposv(char uplo, int n, int nrhs, toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                     int ldb) {
  return posv<OnHost>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviDeviceSposv(char uplo, int n, int nrhs, float* a, int lda, float* b, int ldb) {
  return posv<OnDevice>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDeviceDposv(char uplo, int n, int nrhs, double* a, int lda, double* b, int ldb) {
  return posv<OnDevice>(uplo, n, nrhs, a, lda, b, ldb);
}

toviStatus toviDeviceCposv(char uplo, int n, int nrhs, toviFloatComplex* a, int lda, toviFloatComplex* b,
                           int ldb) {
  return posv<OnDevice>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
}

toviStatus toviDeviceZposv(char uplo, int n, int nrhs, toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                           int ldb) {
  return posv<OnDevice>(uplo, n, nrhs, ours(a), lda, ours(b), ldb);
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
