// What stands behind the exported LAPACK routines: for each a worker on device operands, and one on host
// operands that stages them and runs the same driver inside a device routine. Staged operands need no second
// check, and could not pass it: those without elements have no memory.

#ifndef TOVI_API_LAPACK_WORKERS_H
#define TOVI_API_LAPACK_WORKERS_H

#include <algorithm>

#include "api/checks.h"
#include "api/frame.h"
#include "lapack/lu.h"
#include "src/blas/staged_matrix.h"

namespace tovi::api {

using blas::StagedMatrix;
using blas::StagedVector;
using blas::StageIn;
using blas::StageOut;

// A data error of the LU factorization leaves complete factors and pivots, which the caller gets as well.
inline bool factored(toviStatus status) { return status == toviNoError || status == toviDataError; }

template <class T>
toviStatus deviceGetrf(int m, int n, T* dA, int lda, int* dIpiv) {
  return deviceRoutine<T>([&] {
    checkGetrf(m, n, dA, lda, dIpiv);
    lapack::getrf(MatrixView<T>(dA, m, n, lda), dIpiv);
  });
}

template <class T>
toviStatus hostGetrf(int m, int n, T* hA, int lda, int* hIpiv) {
  return hostRoutine([&] {
    checkGetrf(m, n, hA, lda, hIpiv);
    StagedMatrix<T> dA(hA, m, n, lda, StageIn | StageOut);
    StagedVector<int> dIpiv(hIpiv, std::min(m, n), 1, StageOut);
    const toviStatus status = deviceRoutine<T>([&] { lapack::getrf(dA.view(), dIpiv.data()); });
    if (factored(status)) {
      dA.copyBack();
      dIpiv.copyBack();
    }
    return status;
  });
}

template <class T>
toviStatus deviceGesv(int n, int nrhs, T* dA, int lda, int* dIpiv, T* dB, int ldb) {
  return deviceRoutine<T>([&] {
    checkGesv(n, nrhs, dA, lda, dIpiv, dB, ldb);
    lapack::gesv(MatrixView<T>(dA, n, n, lda), dIpiv, MatrixView<T>(dB, n, nrhs, ldb));
  });
}

template <class T>
toviStatus hostGesv(int n, int nrhs, T* hA, int lda, int* hIpiv, T* hB, int ldb) {
  return hostRoutine([&] {
    checkGesv(n, nrhs, hA, lda, hIpiv, hB, ldb);
    StagedMatrix<T> dA(hA, n, n, lda, StageIn | StageOut);
    StagedMatrix<T> dB(hB, n, nrhs, ldb, StageIn | StageOut);
    StagedVector<int> dIpiv(hIpiv, n, 1, StageOut);
    const toviStatus status = deviceRoutine<T>([&] { lapack::gesv(dA.view(), dIpiv.data(), dB.view()); });
    if (factored(status)) {
      dA.copyBack();
      dIpiv.copyBack();
    }
    if (status == toviNoError) dB.copyBack();
    return status;
  });
}

}  // namespace tovi::api

#endif
