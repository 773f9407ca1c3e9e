// What stands behind the exported LAPACK routines: for each a worker on device operands, and one on host
// operands that stages them and runs the same driver inside a device routine. Staged operands need no second
// check, and could not pass it: those without elements have no memory.

#ifndef TOVI_API_LAPACK_WORKERS_H
#define TOVI_API_LAPACK_WORKERS_H

#include <algorithm>

#include "api/checks.h"
#include "api/frame.h"
#include "lapack/least_squares.h"
#include "lapack/lu.h"
#include "lapack/qr.h"
#include "lapack/svd.h"
#include "src/blas/staged_matrix.h"

namespace tovi::api {

using blas::StagedMatrix;
using blas::StagedVector;
using blas::StageIn;
using blas::StageOut;
using blas::StageRoom;

// A data error leaves complete factors, and what has been made with them, which the caller gets as well.
inline bool factored(toviStatus status) { return status == toviNoError || status == toviDataError; }

template <class T>
toviStatus deviceGetrf(int m, int n, T* dA, int lda, int* dIpiv) {
  const auto check = [&] { checkGetrf(m, n, dA, lda, dIpiv); };
  return deviceRoutine<T>(check, [&] { lapack::getrf(MatrixView<T>(dA, m, n, lda), dIpiv); });
}

template <class T>
toviStatus hostGetrf(int m, int n, T* hA, int lda, int* hIpiv) {
  const auto check = [&] { checkGetrf(m, n, hA, lda, hIpiv); };
  return hostRoutine(check, [&] {
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
  const auto check = [&] { checkGesv(n, nrhs, dA, lda, dIpiv, dB, ldb); };
  return deviceRoutine<T>(
      check, [&] { lapack::gesv(MatrixView<T>(dA, n, n, lda), dIpiv, MatrixView<T>(dB, n, nrhs, ldb)); });
}

template <class T>
toviStatus hostGesv(int n, int nrhs, T* hA, int lda, int* hIpiv, T* hB, int ldb) {
  const auto check = [&] { checkGesv(n, nrhs, hA, lda, hIpiv, hB, ldb); };
  return hostRoutine(check, [&] {
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

template <class T>
toviStatus deviceGeqrf(int m, int n, T* dA, int lda, T* dTau) {
  const auto check = [&] { checkGeqrf(m, n, dA, lda, dTau); };
  return deviceRoutine<T>(check, [&] {
    if (dA == nullptr || dTau == nullptr) return;  // empty, or 1 x 1: nothing to do, and no error
    lapack::geqrf(MatrixView<T>(dA, m, n, lda), dTau);
  });
}

template <class T>
toviStatus hostGeqrf(int m, int n, T* hA, int lda, T* hTau) {
  const auto check = [&] { checkGeqrf(m, n, hA, lda, hTau); };
  return hostRoutine(check, [&] {
    if (hA == nullptr || hTau == nullptr) return toviNoError;  // as in deviceGeqrf
    StagedMatrix<T> dA(hA, m, n, lda, StageIn | StageOut);
    StagedVector<T> dTau(hTau, std::min(m, n), 1, StageOut);
    const toviStatus status = deviceRoutine<T>([&] { lapack::geqrf(dA.view(), dTau.data()); });
    if (status == toviNoError) {
      dA.copyBack();
      dTau.copyBack();
    }
    return status;
  });
}

template <class T>
toviStatus deviceGels(char trans, int m, int n, int nrhs, T* dA, int lda, T* dB, int ldb) {
  const auto check = [&] { checkGels(trans, m, n, nrhs, dA, lda, dB, ldb); };
  return deviceRoutine<T>(check, [&] {
    lapack::gels(trans, MatrixView<T>(dA, m, n, lda), MatrixView<T>(dB, std::max(m, n), nrhs, ldb));
  });
}

template <class T>
toviStatus hostGels(char trans, int m, int n, int nrhs, T* hA, int lda, T* hB, int ldb) {
  const auto check = [&] { checkGels(trans, m, n, nrhs, hA, lda, hB, ldb); };
  return hostRoutine(check, [&] {
    StagedMatrix<T> dA(hA, m, n, lda, StageIn | StageOut);
    StagedMatrix<T> dB(hB, std::max(m, n), nrhs, ldb, StageIn | StageOut);
    const toviStatus status = deviceRoutine<T>([&] { lapack::gels(trans, dA.view(), dB.view()); });
    if (factored(status)) {
      dA.copyBack();
      dB.copyBack();
    }
    return status;
  });
}

template <class T>
toviStatus deviceGesvd(char jobu, char jobvt, int m, int n, T* dA, int lda, Real<T>* dS, T* dU, int ldu,
                       T* dVt, int ldvt) {
  const auto check = [&] { checkGesvd(jobu, jobvt, m, n, dA, lda, dS, dU, ldu, dVt, ldvt); };
  return deviceRoutine<T>(
      check, [&] { lapack::gesvd(jobu, jobvt, MatrixView<T>(dA, m, n, lda), dS, dU, ldu, dVt, ldvt); });
}

// Room for VT is reserved even where it is not asked for, and for all of its n rows then: deliberate.
template <class T>
toviStatus hostGesvd(char jobu, char jobvt, int m, int n, T* hA, int lda, Real<T>* hS, T* hU, int ldu, T* hVt,
                     int ldvt) {
  const auto check = [&] { checkGesvd(jobu, jobvt, m, n, hA, lda, hS, hU, ldu, hVt, ldvt); };
  return hostRoutine(check, [&] {
    if (m == 0 || n == 0) return toviNoError;  // U or VT may have elements all the same
    const auto use = [](char job) { return job == 'A' || job == 'S' ? StageOut : StageRoom; };
    const int k = std::min(m, n);
    StagedMatrix<T> dA(hA, m, n, lda, StageIn | StageOut);
    StagedVector<Real<T>> dS(hS, k, 1, StageOut);
    StagedMatrix<T> dU(hU, m, jobu == 'A' ? m : jobu == 'S' ? k : 1, ldu, use(jobu));
    StagedMatrix<T> dVt(hVt, jobvt == 'S' ? k : n, n, ldvt, use(jobvt));
    const toviStatus status = deviceRoutine<T>(
        [&] { lapack::gesvd(jobu, jobvt, dA.view(), dS.data(), dU.data(), dU.ld(), dVt.data(), dVt.ld()); });
    if (status == toviNoError) {
      dA.copyBack();
      dS.copyBack();
      dU.copyBack();
      dVt.copyBack();
    }
    return status;
  });
}

template <class T>
toviStatus deviceGglse(int m, int n, int p, T* dA, int lda, T* dB, int ldb, T* dC, T* dD, T* dX) {
  const auto check = [&] { checkGglse(m, n, p, dA, lda, dB, ldb, dC, dD, dX); };
  return deviceRoutine<T>(
      check, [&] { lapack::gglse(MatrixView<T>(dA, m, n, lda), MatrixView<T>(dB, p, n, ldb), dC, dD, dX); });
}

template <class T>
toviStatus hostGglse(int m, int n, int p, T* hA, int lda, T* hB, int ldb, T* hC, T* hD, T* hX) {
  const auto check = [&] { checkGglse(m, n, p, hA, lda, hB, ldb, hC, hD, hX); };
  return hostRoutine(check, [&] {
    StagedMatrix<T> dA(hA, m, n, lda, StageIn | StageOut), dB(hB, p, n, ldb, StageIn | StageOut);
    StagedVector<T> dC(hC, m, 1, StageIn | StageOut), dD(hD, p, 1, StageIn | StageOut);
    StagedVector<T> dX(hX, n, 1, StageOut);
    const toviStatus status =
        deviceRoutine<T>([&] { lapack::gglse(dA.view(), dB.view(), dC.data(), dD.data(), dX.data()); });
    if (factored(status)) {
      dA.copyBack();
      dB.copyBack();
      dC.copyBack();
      dD.copyBack();
    }
    if (status == toviNoError) dX.copyBack();
    return status;
  });
}

}  // namespace tovi::api

#endif
