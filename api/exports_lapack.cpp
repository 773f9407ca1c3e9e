// The exported LAPACK routines.

#include "api/complex_arguments.h"
#include "api/lapack_workers.h"
#include "include/tovi.h"

using namespace tovi;
using namespace tovi::api;

// ---------------------------------------------------------------------------------------------------- getrf

toviStatus toviSgetrf(int m, int n, float* a, int lda, int* ipiv) { return hostGetrf(m, n, a, lda, ipiv); }

toviStatus toviCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv) {
  return hostGetrf(m, n, native(a), lda, ipiv);
}

toviStatus toviDeviceSgetrf(int m, int n, float* a, int lda, int* ipiv) {
  return deviceGetrf(m, n, a, lda, ipiv);
}

toviStatus toviDeviceCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv) {
  return deviceGetrf(m, n, native(a), lda, ipiv);
}

// ----------------------------------------------------------------------------------------------------- gesv

toviStatus toviSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return hostGesv(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv, toviFloatComplex* b, int ldb) {
  return hostGesv(n, nrhs, native(a), lda, ipiv, native(b), ldb);
}

toviStatus toviDeviceSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return deviceGesv(n, nrhs, a, lda, ipiv, b, ldb);
}

toviStatus toviDeviceCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv, toviFloatComplex* b,
                           int ldb) {
  return deviceGesv(n, nrhs, native(a), lda, ipiv, native(b), ldb);
}
