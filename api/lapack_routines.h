// What stands behind the exported LAPACK routines: one body each, for operands in host or in device memory.
// What a data error leaves complete, mostly factors, the caller gets as well.

#ifndef TOVI_API_LAPACK_ROUTINES_H
#define TOVI_API_LAPACK_ROUTINES_H

#include <algorithm>

#include "api/checks.h"
#include "api/operands.h"
#include "lapack/cholesky.h"
#include "lapack/eigen.h"
#include "lapack/least_squares.h"
#include "lapack/lu.h"
#include "lapack/qr.h"
#include "lapack/refinement.h"
#include "lapack/reflectors.h"
#include "lapack/svd.h"

namespace tovi::api {

template <class Place, class T>
toviStatus getrf(int m, int n, T* a, int lda, int* ipiv) {
  const auto check = [&] { checkGetrf(m, n, a, lda, ipiv); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, m, n, lda, StageIn | StageOut);
    Vector<Place, int> dIpiv(ipiv, std::min(m, n), 1, StageOut);
    compute<Place, T>([&] { lapack::getrf(dA.view(), dIpiv.data()); },
                      [&] { dA.copyBack(), dIpiv.copyBack(); });
  });
}

template <class Place, class T>
toviStatus gesv(int n, int nrhs, T* a, int lda, int* ipiv, T* b, int ldb) {
  const auto check = [&] { checkGesv(n, nrhs, a, lda, ipiv, b, ldb); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, n, n, lda, StageIn | StageOut), dB(b, n, nrhs, ldb, StageIn | StageOut);
    Vector<Place, int> dIpiv(ipiv, n, 1, StageOut);
    compute<Place, T>([&] { lapack::gesv(dA.view(), dIpiv.data(), dB.view()); },
                      [&] { dA.copyBack(), dIpiv.copyBack(); });
    dB.copyBack();
  });
}

// dsgesv, zcgesv. iter is in host memory in either interface.
template <class Place, class T>
toviStatus gesvRefined(int n, int nrhs, T* a, int lda, int* ipiv, const T* b, int ldb, T* x, int ldx,
                       int* iter) {
  const auto check = [&] { checkGesvRefined(n, nrhs, a, lda, ipiv, b, ldb, x, ldx, iter); };
  return routine<Place, T>(check, [&] {
    int iterations = 0;
    Matrix<Place, T> dA(a, n, n, lda, StageIn | StageOut), dX(x, n, nrhs, ldx, StageOut);
    const Matrix<Place, const T> dB(b, n, nrhs, ldb, StageIn);
    Vector<Place, int> dIpiv(ipiv, n, 1, StageOut);
    compute<Place, T>(
        [&] { lapack::gesvRefined<T>(dA.view(), dIpiv.data(), dB.view(), dX.view(), iterations); },
        [&] {
          if (iterations < 0) dA.copyBack();  // it is as it was otherwise
          dIpiv.copyBack();
          if (iter != nullptr) *iter = iterations;
        });
    dX.copyBack();
  });
}

// Whether a solve with given factors is the host's: one right-hand side, factors that would have to travel.
template <class Place>
bool solvedOnHost(int nrhs) {
  return std::is_same_v<Place, OnHost> && nrhs == 1;
}

template <class Place, class T>
toviStatus getrs(char trans, int n, int nrhs, const T* a, int lda, const int* ipiv, T* b, int ldb) {
  const auto check = [&] { checkGetrs(trans, n, nrhs, a, lda, ipiv, b, ldb); };
  return routine<Place, T>(check, [&] {
    if (nrhs == 0) return;  // the factors are not needed then
    if (solvedOnHost<Place>(nrhs))
      return compute<Place, T>([&] { lapack::getrsOnHost(trans, n, a, lda, ipiv, b); });
    const Matrix<Place, const T> dA(a, n, n, lda, StageIn);
    const Vector<Place, const int> dIpiv(ipiv, n, 1, StageIn);
    Matrix<Place, T> dB(b, n, nrhs, ldb, StageIn | StageOut);
    compute<Place, T>([&] { lapack::getrs<T>(trans, dA.view(), dIpiv.data(), dB.view()); });
    dB.copyBack();
  });
}

template <class Place, class T>
toviStatus potrf(char uplo, int n, T* a, int lda) {
  const auto check = [&] { checkPotrf(uplo, n, a, lda); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, n, n, lda, StageIn | StageOut, uplo);
    compute<Place, T>([&] { lapack::potrf(uplo, dA.view()); });
    dA.copyBack();
  });
}

template <class Place, class T>
toviStatus potrs(char uplo, int n, int nrhs, const T* a, int lda, T* b, int ldb) {
  const auto check = [&] { checkPotrs(uplo, n, nrhs, a, lda, b, ldb); };
  return routine<Place, T>(check, [&] {
    if (nrhs == 0) return;  // A is not needed then
    if (solvedOnHost<Place>(nrhs)) return compute<Place, T>([&] { lapack::potrsOnHost(uplo, n, a, lda, b); });
    const Matrix<Place, const T> dA(a, n, n, lda, StageIn, uplo);
    Matrix<Place, T> dB(b, n, nrhs, ldb, StageIn | StageOut);
    compute<Place, T>([&] { lapack::potrs<T>(uplo, dA.view(), dB.view()); });
    dB.copyBack();
  });
}

template <class Place, class T>
toviStatus posv(char uplo, int n, int nrhs, T* a, int lda, T* b, int ldb) {
  const auto check = [&] { checkPosv(uplo, n, nrhs, a, lda, b, ldb); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, n, n, lda, StageIn | StageOut, uplo), dB(b, n, nrhs, ldb, StageIn | StageOut);
    compute<Place, T>([&] { lapack::posv(uplo, dA.view(), dB.view()); });
    dA.copyBack();
    dB.copyBack();
  });
}

template <class Place, class T>
toviStatus geqrf(int m, int n, T* a, int lda, T* tau) {
  const auto check = [&] { checkGeqrf(m, n, a, lda, tau); };
  return routine<Place, T>(check, [&] {
    if (a == nullptr || tau == nullptr) return;  // empty, or 1 x 1: nothing to do, and no error
    Matrix<Place, T> dA(a, m, n, lda, StageIn | StageOut);
    Vector<Place, T> dTau(tau, std::min(m, n), 1, StageOut);
    compute<Place, T>([&] { lapack::geqrf(dA.view(), dTau.data()); });
    dA.copyBack();
    dTau.copyBack();
  });
}

// unmqr, too
template <class Place, class T>
toviStatus ormqr(char side, char trans, int m, int n, int k, const T* a, int lda, const T* tau, T* c,
                 int ldc) {
  const auto check = [&] {
    checkOrmqr(isComplex<T> ? "NC" : "NT", side, trans, m, n, k, a, lda, tau, c, ldc);
  };
  return routine<Place, T>(check, [&] {
    if (m == 0 || n == 0 || k == 0) return;  // C may have elements all the same
    const Matrix<Place, const T> dA(a, side == 'L' ? m : n, k, lda, StageIn);
    const Vector<Place, const T> dTau(tau, k, 1, StageIn);
    Matrix<Place, T> dC(c, m, n, ldc, StageIn | StageOut);
    compute<Place, T>([&] {
      lapack::applyReflectors<T>(lapack::Reflectors::qr, side, trans, k, dA.view(), dTau.data(), dC.view());
    });
    dC.copyBack();
  });
}

// ungqr, too
template <class Place, class T>
toviStatus orgqr(int m, int n, int k, T* a, int lda, const T* tau) {
  const auto check = [&] { checkOrgqr(m, n, k, a, lda, tau); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, m, n, lda, StageIn | StageOut);
    const Vector<Place, const T> dTau(tau, k, 1, StageIn);
    compute<Place, T>([&] { lapack::generateQ<T>(lapack::Reflectors::qr, k, dA.view(), dTau.data()); });
    dA.copyBack();
  });
}

template <class Place, class T>
toviStatus gels(char trans, int m, int n, int nrhs, T* a, int lda, T* b, int ldb) {
  const auto check = [&] { checkGels(trans, m, n, nrhs, a, lda, b, ldb); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, m, n, lda, StageIn | StageOut);
    Matrix<Place, T> dB(b, std::max(m, n), nrhs, ldb, StageIn | StageOut);
    compute<Place, T>([&] { lapack::gels(trans, dA.view(), dB.view()); },
                      [&] { dA.copyBack(), dB.copyBack(); });
  });
}

// Room for VT is reserved even where it is not asked for, and for all of its n rows then: deliberate.
template <class Place, class T>
toviStatus gesvd(char jobu, char jobvt, int m, int n, T* a, int lda, Real<T>* s, T* u, int ldu, T* vt,
                 int ldvt) {
  const auto check = [&] { checkGesvd(jobu, jobvt, m, n, a, lda, s, u, ldu, vt, ldvt); };
  return routine<Place, T>(check, [&] {
    if (m == 0 || n == 0) return;  // U or VT may have elements all the same
    const auto use = [](char job) { return job == 'A' || job == 'S' ? StageOut : StageRoom; };
    const int k = std::min(m, n);
    Matrix<Place, T> dA(a, m, n, lda, StageIn | StageOut);
    Vector<Place, Real<T>> dS(s, k, 1, StageOut);
    Matrix<Place, T> dU(u, m, jobu == 'A' ? m : jobu == 'S' ? k : 1, ldu, use(jobu));
    Matrix<Place, T> dVt(vt, jobvt == 'S' ? k : n, n, ldvt, use(jobvt));
    compute<Place, T>([&] { lapack::gesvd(jobu, jobvt, dA.view(), dS.data(), dU.view(), dVt.view()); });
    dA.copyBack();
    dS.copyBack();
    dU.copyBack();
    dVt.copyBack();
  });
}

template <class Place, class T>
toviStatus gesdd(char jobz, int m, int n, T* a, int lda, Real<T>* s, T* u, int ldu, T* vt, int ldvt) {
  const auto check = [&] { checkGesdd(jobz, m, n, a, lda, s, u, ldu, vt, ldvt); };
  return routine<Place, T>(check, [&] {
    if (m == 0 || n == 0) return;  // U or VT may have elements all the same
    const bool both = jobz == 'A' || jobz == 'S', inPlace = jobz == 'O';
    const auto use = [](bool wanted) { return wanted ? StageOut : 0U; };
    const int k = std::min(m, n);
    Matrix<Place, T> dA(a, m, n, lda, StageIn | use(inPlace));
    Vector<Place, Real<T>> dS(s, k, 1, StageOut);
    Matrix<Place, T> dU(u, m, jobz == 'A' ? m : k, ldu, use(both || (inPlace && m < n)));
    Matrix<Place, T> dVt(vt, jobz == 'A' ? n : k, n, ldvt, use(both || (inPlace && m >= n)));
    compute<Place, T>([&] { lapack::gesdd(jobz, dA.view(), dS.data(), dU.view(), dVt.view()); });
    dA.copyBack();
    dS.copyBack();
    dU.copyBack();
    dVt.copyBack();
  });
}

template <class Place, class T>
toviStatus gglse(int m, int n, int p, T* a, int lda, T* b, int ldb, T* c, T* d, T* x) {
  const auto check = [&] { checkGglse(m, n, p, a, lda, b, ldb, c, d, x); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, m, n, lda, StageIn | StageOut), dB(b, p, n, ldb, StageIn | StageOut);
    Vector<Place, T> dC(c, m, 1, StageIn | StageOut), dD(d, p, 1, StageIn | StageOut), dX(x, n, 1, StageOut);
    compute<Place, T>([&] { lapack::gglse(dA.view(), dB.view(), dC.data(), dD.data(), dX.data()); },
                      [&] { dA.copyBack(), dB.copyBack(), dC.copyBack(), dD.copyBack(); });
    dX.copyBack();
  });
}

// syevd and heevd
template <class Place, class T>
toviStatus heevd(char jobz, char uplo, int n, T* a, int lda, Real<T>* w) {
  const auto check = [&] { checkHeevd(jobz, uplo, n, a, lda, w); };
  return routine<Place, T>(check, [&] {
    Matrix<Place, T> dA(a, n, n, lda, jobz == 'V' ? StageIn | StageOut : StageIn);
    Vector<Place, Real<T>> dW(w, n, 1, StageOut);
    compute<Place, T>([&] { lapack::heevd(jobz, uplo, dA.view(), dW.data()); });
    dA.copyBack();
    dW.copyBack();
  });
}

}  // namespace tovi::api

#endif
