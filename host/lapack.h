// The host LAPACK, typed like host/blas.h. Routines return LAPACK's info. How a routine is added: fortran.h.

#ifndef TOVI_HOST_LAPACK_H
#define TOVI_HOST_LAPACK_H

#include "host/fortran.h"

namespace host {

// Elements of a host array for a rows x cols matrix whose rows a LAPACK routine works with: room for one
// column more. The complex gemv of OpenBLAS 0.3.21 loads, without using it, the element that would come after
// its vector x, which here is a row of the matrix.
inline std::size_t roomForRows(int rows, int cols) {
  return static_cast<std::size_t>(rows) * (static_cast<std::size_t>(cols) + 1);
}

namespace fortran {

using tovi::Complex;
using tovi::Real;

template <class T>
using Getrf = void(const int* m, const int* n, T* a, const int* lda, int* ipiv, int* info);
extern "C" Getrf<float> sgetrf_;
extern "C" Getrf<double> dgetrf_;
extern "C" Getrf<Complex<float>> cgetrf_;
extern "C" Getrf<Complex<double>> zgetrf_;
extern "C" Getrf<float> sgetrf2_;
extern "C" Getrf<double> dgetrf2_;
extern "C" Getrf<Complex<float>> cgetrf2_;
extern "C" Getrf<Complex<double>> zgetrf2_;

template <class T>
using Potrf = void(const char* uplo, const int* n, T* a, const int* lda, int* info, std::size_t);
extern "C" Potrf<float> spotrf_;
extern "C" Potrf<double> dpotrf_;
extern "C" Potrf<Complex<float>> cpotrf_;
extern "C" Potrf<Complex<double>> zpotrf_;

// Factorizations by reflectors: geqrf, geqlf, gelqf, gerqf
template <class T>
using Geqrf = void(const int* m, const int* n, T* a, const int* lda, T* tau, T* work, const int* lwork,
                   int* info);
extern "C" Geqrf<float> sgeqrf_;
extern "C" Geqrf<double> dgeqrf_;
extern "C" Geqrf<Complex<float>> cgeqrf_;
extern "C" Geqrf<Complex<double>> zgeqrf_;
extern "C" Geqrf<float> sgeqlf_;
extern "C" Geqrf<double> dgeqlf_;
extern "C" Geqrf<Complex<float>> cgeqlf_;
extern "C" Geqrf<Complex<double>> zgeqlf_;
extern "C" Geqrf<float> sgelqf_;
extern "C" Geqrf<double> dgelqf_;
extern "C" Geqrf<Complex<float>> cgelqf_;
extern "C" Geqrf<Complex<double>> zgelqf_;
extern "C" Geqrf<float> sgerqf_;
extern "C" Geqrf<double> dgerqf_;
extern "C" Geqrf<Complex<float>> cgerqf_;
extern "C" Geqrf<Complex<double>> zgerqf_;

template <class T>
using Larft = void(const char* direct, const char* storev, const int* n, const int* k, const T* v,
                   const int* ldv, const T* tau, T* t, const int* ldt, std::size_t, std::size_t);
extern "C" Larft<float> slarft_;
extern "C" Larft<double> dlarft_;
extern "C" Larft<Complex<float>> clarft_;
extern "C" Larft<Complex<double>> zlarft_;

template <class T>
using Larfb = void(const char* side, const char* trans, const char* direct, const char* storev, const int* m,
                   const int* n, const int* k, const T* v, const int* ldv, const T* t, const int* ldt, T* c,
                   const int* ldc, T* work, const int* ldwork, std::size_t, std::size_t, std::size_t,
                   std::size_t);
extern "C" Larfb<float> slarfb_;
extern "C" Larfb<double> dlarfb_;
extern "C" Larfb<Complex<float>> clarfb_;
extern "C" Larfb<Complex<double>> zlarfb_;

// Products with Q: ormqr, ormlq, ormrq, whose complex forms are unmqr, unmlq, unmrq
template <class T>
using Ormqr = void(const char* side, const char* trans, const int* m, const int* n, const int* k, T* a,
                   const int* lda, const T* tau, T* c, const int* ldc, T* work, const int* lwork, int* info,
                   std::size_t, std::size_t);
extern "C" Ormqr<float> sormqr_;
extern "C" Ormqr<double> dormqr_;
extern "C" Ormqr<Complex<float>> cunmqr_;
extern "C" Ormqr<Complex<double>> zunmqr_;
extern "C" Ormqr<float> sormlq_;
extern "C" Ormqr<double> dormlq_;
extern "C" Ormqr<Complex<float>> cunmlq_;
extern "C" Ormqr<Complex<double>> zunmlq_;
extern "C" Ormqr<float> sormrq_;
extern "C" Ormqr<double> dormrq_;
extern "C" Ormqr<Complex<float>> cunmrq_;
extern "C" Ormqr<Complex<double>> zunmrq_;

// Generation of Q: orgqr, orglq, whose complex forms are ungqr, unglq
template <class T>
using Orgqr = void(const int* m, const int* n, const int* k, T* a, const int* lda, const T* tau, T* work,
                   const int* lwork, int* info);
extern "C" Orgqr<float> sorgqr_;
extern "C" Orgqr<double> dorgqr_;
extern "C" Orgqr<Complex<float>> cungqr_;
extern "C" Orgqr<Complex<double>> zungqr_;
extern "C" Orgqr<float> sorglq_;
extern "C" Orgqr<double> dorglq_;
extern "C" Orgqr<Complex<float>> cunglq_;
extern "C" Orgqr<Complex<double>> zunglq_;

// Reduction to bidiagonal form
template <class T>
using Gebd2 = void(const int* m, const int* n, T* a, const int* lda, Real<T>* d, Real<T>* e, T* tauq, T* taup,
                   T* work, int* info);
extern "C" Gebd2<float> sgebd2_;
extern "C" Gebd2<double> dgebd2_;
extern "C" Gebd2<Complex<float>> cgebd2_;
extern "C" Gebd2<Complex<double>> zgebd2_;

// Reduction to tridiagonal form: sytrd, hetrd
template <class T>
using Hetrd = void(const char* uplo, const int* n, T* a, const int* lda, Real<T>* d, Real<T>* e, T* tau,
                   T* work, const int* lwork, int* info, std::size_t);
extern "C" Hetrd<float> ssytrd_;
extern "C" Hetrd<double> dsytrd_;
extern "C" Hetrd<Complex<float>> chetrd_;
extern "C" Hetrd<Complex<double>> zhetrd_;

// Of real elements only
template <class R>
using Sterf = void(const int* n, R* d, R* e, int* info);
extern "C" Sterf<float> ssterf_;
extern "C" Sterf<double> dsterf_;

template <class R>
using Stedc = void(const char* compz, const int* n, R* d, R* e, R* z, const int* ldz, R* work,
                   const int* lwork, int* iwork, const int* liwork, int* info, std::size_t);
extern "C" Stedc<float> sstedc_;
extern "C" Stedc<double> dstedc_;

template <class R>
using Bdsdc = void(const char* uplo, const char* compq, const int* n, R* d, R* e, R* u, const int* ldu, R* vt,
                   const int* ldvt, R* q, int* iq, R* work, int* iwork, int* info, std::size_t, std::size_t);
extern "C" Bdsdc<float> sbdsdc_;
extern "C" Bdsdc<double> dbdsdc_;

template <class R>
using Lartg = void(const R* f, const R* g, R* cs, R* sn, R* r);
extern "C" Lartg<float> slartg_;
extern "C" Lartg<double> dlartg_;

template <class R>
using Las2 = void(const R* f, const R* g, const R* h, R* ssmin, R* ssmax);
extern "C" Las2<float> slas2_;
extern "C" Las2<double> dlas2_;

template <class R>
using Lasv2 = void(const R* f, const R* g, const R* h, R* ssmin, R* ssmax, R* snr, R* csr, R* snl, R* csl);
extern "C" Lasv2<float> slasv2_;
extern "C" Lasv2<double> dlasv2_;

template <class R>
using Lasq1 = void(const int* n, R* d, R* e, R* work, int* info);
extern "C" Lasq1<float> slasq1_;
extern "C" Lasq1<double> dlasq1_;

}  // namespace fortran

namespace detail {

template <class T, class Routine>
int factorize(Routine routine, int m, int n, T* a, int lda, int* ipiv) {
  writes(m, n, a, lda);
  writesVector(m < n ? m : n, ipiv, 1);
  int info = 0;
  routine(&m, &n, a, &lda, ipiv, &info);
  return info;
}

}  // namespace detail

// A = P L U, A m x n; ipiv takes min(m, n) 1-based row numbers. OpenBLAS is wrong where a pivot is subnormal:
// version 0.3.21 multiplies by its reciprocal, infinite or not, 0.3.29 leaves its column as it was.
template <class T>
int getrf(int m, int n, T* a, int lda, int* ipiv) {
  using namespace fortran;
  return detail::factorize(detail::routine<T>(sgetrf_, dgetrf_, cgetrf_, zgetrf_), m, n, a, lda, ipiv);
}
// The same, slower: LAPACK's own code everywhere, which divides by a subnormal pivot.
template <class T>
int getrf2(int m, int n, T* a, int lda, int* ipiv) {
  using namespace fortran;
  return detail::factorize(detail::routine<T>(sgetrf2_, dgetrf2_, cgetrf2_, zgetrf2_), m, n, a, lda, ipiv);
}

// A = L L^H (uplo L) or U^H U (U), A n x n; the other triangle is not touched. OpenBLAS lets NaN pass as a
// pivot.
template <class T>
int potrf(char uplo, int n, T* a, int lda) {
  using namespace fortran;
  detail::writes(uplo, n, n, a, lda);
  int info = 0;
  detail::routine<T>(spotrf_, dpotrf_, cpotrf_, zpotrf_)(&uplo, &n, a, &lda, &info, std::size_t{1});
  return info;
}

// With lwork = -1 the routines that take work only say, in work[0], how much of it they want.
namespace detail {

constexpr int workQuery = -1;

template <class T, class Routine>
int reflect(Routine routine, int m, int n, T* a, int lda, T* tau, T* work, int lwork) {
  if (lwork != workQuery) {
    writes(m, n, a, lda);
    writesVector(m < n ? m : n, tau, 1);
  }
  writesVector(lwork == workQuery ? 1 : lwork, work, 1);
  int info = 0;
  routine(&m, &n, a, &lda, tau, work, &lwork, &info);
  return info;
}

// columnwise: the reflectors are columns of a
template <class T, class Routine>
int applyQ(Routine routine, bool columnwise, char side, char trans, int m, int n, int k, T* a, int lda,
           const T* tau, T* c, int ldc, T* work, int lwork) {
  if (lwork != workQuery) {
    const int order = tovi::isOption(side, 'L') ? m : n;
    writes(columnwise ? order : k, columnwise ? k : order, a, lda);
    readsVector(k, tau, 1);
    writes(m, n, c, ldc);
  }
  writesVector(lwork == workQuery ? 1 : lwork, work, 1);
  int info = 0;
  routine(&side, &trans, &m, &n, &k, a, &lda, tau, c, &ldc, work, &lwork, &info, 1, 1);
  return info;
}

template <class T, class Routine>
int generateQ(Routine routine, int m, int n, int k, T* a, int lda, const T* tau, T* work, int lwork) {
  if (lwork != workQuery) {
    writes(m, n, a, lda);
    readsVector(k, tau, 1);
  }
  writesVector(lwork == workQuery ? 1 : lwork, work, 1);
  int info = 0;
  routine(&m, &n, &k, a, &lda, tau, work, &lwork, &info);
  return info;
}

}  // namespace detail

// A = Q R, A m x n; tau takes min(m, n) scalar factors
template <class T>
int geqrf(int m, int n, T* a, int lda, T* tau, T* work, int lwork) {
  using namespace fortran;
  return detail::reflect(detail::routine<T>(sgeqrf_, dgeqrf_, cgeqrf_, zgeqrf_), m, n, a, lda, tau, work,
                         lwork);
}
// A = Q L, with L in the last columns (or rows) of A
template <class T>
int geqlf(int m, int n, T* a, int lda, T* tau, T* work, int lwork) {
  using namespace fortran;
  return detail::reflect(detail::routine<T>(sgeqlf_, dgeqlf_, cgeqlf_, zgeqlf_), m, n, a, lda, tau, work,
                         lwork);
}
// A = L Q
template <class T>
int gelqf(int m, int n, T* a, int lda, T* tau, T* work, int lwork) {
  using namespace fortran;
  return detail::reflect(detail::routine<T>(sgelqf_, dgelqf_, cgelqf_, zgelqf_), m, n, a, lda, tau, work,
                         lwork);
}
// A = R Q, with R in the last columns (or rows) of A
template <class T>
int gerqf(int m, int n, T* a, int lda, T* tau, T* work, int lwork) {
  using namespace fortran;
  return detail::reflect(detail::routine<T>(sgerqf_, dgerqf_, cgerqf_, zgerqf_), m, n, a, lda, tau, work,
                         lwork);
}

// The triangular factor T of the block of k reflectors of order n in v: n x k for storev 'C', k x n for 'R'.
// T is upper triangular for direct 'F', lower for 'B'; its other triangle is not touched. Of v only what
// belongs to the reflectors is used, not the ones and zeros.
template <class T>
void larft(char direct, char storev, int n, int k, const T* v, int ldv, const T* tau, T* t, int ldt) {
  using namespace fortran;
  const bool columnwise = tovi::isOption(storev, 'C');
  detail::reads(columnwise ? n : k, columnwise ? k : n, v, ldv);
  detail::readsVector(k, tau, 1);
  detail::writes(tovi::isOption(direct, 'F') ? 'U' : 'L', k, k, t, ldt);
  detail::routine<T>(slarft_, dlarft_, clarft_, zlarft_)(&direct, &storev, &n, &k, v, &ldv, tau, t, &ldt, 1,
                                                         1);
}

// C := op(H) C (side L) or C op(H) (side R), C m x n, with the block of k reflectors in v and t as larft has
// them; work takes k columns of n (side L) or m (side R) elements
template <class T>
void larfb(char side, char trans, char direct, char storev, int m, int n, int k, const T* v, int ldv,
           const T* t, int ldt, T* c, int ldc, T* work) {
  using namespace fortran;
  const bool columnwise = tovi::isOption(storev, 'C'), left = tovi::isOption(side, 'L');
  const int order = left ? m : n, ldwork = left ? n : m;
  detail::reads(columnwise ? order : k, columnwise ? k : order, v, ldv);
  detail::reads(tovi::isOption(direct, 'F') ? 'U' : 'L', k, k, t, ldt);
  detail::writes(m, n, c, ldc);
  detail::writes(ldwork, k, work, ldwork);
  detail::routine<T>(slarfb_, dlarfb_, clarfb_, zlarfb_)(&side, &trans, &direct, &storev, &m, &n, &k, v, &ldv,
                                                         t, &ldt, c, &ldc, work, &ldwork, 1, 1, 1, 1);
}

// C := op(Q) C (side L) or C op(Q) (side R), C m x n, Q from geqrf; trans 'T' for real types, 'C' for complex
// ones. a comes back as it was.
template <class T>
int ormqr(char side, char trans, int m, int n, int k, T* a, int lda, const T* tau, T* c, int ldc, T* work,
          int lwork) {
  using namespace fortran;
  return detail::applyQ(detail::routine<T>(sormqr_, dormqr_, cunmqr_, zunmqr_), true, side, trans, m, n, k, a,
                        lda, tau, c, ldc, work, lwork);
}
// The same with Q from gelqf, whose k reflectors are rows of a
template <class T>
int ormlq(char side, char trans, int m, int n, int k, T* a, int lda, const T* tau, T* c, int ldc, T* work,
          int lwork) {
  using namespace fortran;
  return detail::applyQ(detail::routine<T>(sormlq_, dormlq_, cunmlq_, zunmlq_), false, side, trans, m, n, k,
                        a, lda, tau, c, ldc, work, lwork);
}
// The same with Q from gerqf
template <class T>
int ormrq(char side, char trans, int m, int n, int k, T* a, int lda, const T* tau, T* c, int ldc, T* work,
          int lwork) {
  using namespace fortran;
  return detail::applyQ(detail::routine<T>(sormrq_, dormrq_, cunmrq_, zunmrq_), false, side, trans, m, n, k,
                        a, lda, tau, c, ldc, work, lwork);
}

// A := the first n columns of Q, m x n, of the k reflectors that geqrf left in a
template <class T>
int orgqr(int m, int n, int k, T* a, int lda, const T* tau, T* work, int lwork) {
  using namespace fortran;
  return detail::generateQ(detail::routine<T>(sorgqr_, dorgqr_, cungqr_, zungqr_), m, n, k, a, lda, tau, work,
                           lwork);
}
// A := the first m rows of Q, m x n, of the k reflectors that gelqf left in a
template <class T>
int orglq(int m, int n, int k, T* a, int lda, const T* tau, T* work, int lwork) {
  using namespace fortran;
  return detail::generateQ(detail::routine<T>(sorglq_, dorglq_, cunglq_, zunglq_), m, n, k, a, lda, tau, work,
                           lwork);
}

// A = Q B P^H, A m x n, unblocked; k = min(m, n): d takes the diagonal of B, k reals, e the k - 1 beside it,
// tauq and taup k scalar factors each; work takes max(m, n) elements
template <class T>
int gebd2(int m, int n, T* a, int lda, tovi::Real<T>* d, tovi::Real<T>* e, T* tauq, T* taup, T* work) {
  using namespace fortran;
  const int k = m < n ? m : n;
  detail::writes(m, n, a, lda);
  detail::writesVector(k, d, 1);
  detail::writesVector(k - 1, e, 1);
  detail::writesVector(k, tauq, 1);
  detail::writesVector(k, taup, 1);
  detail::writesVector(m < n ? n : m, work, 1);
  int info = 0;
  detail::routine<T>(sgebd2_, dgebd2_, cgebd2_, zgebd2_)(&m, &n, a, &lda, d, e, tauq, taup, work, &info);
  return info;
}

// A = Q T Q^H, A Hermitian of order n, uplo saying which triangle of it is there; d takes the diagonal of T,
// n reals, e the n - 1 beside it, tau n - 1 scalar factors
template <class T>
int hetrd(char uplo, int n, T* a, int lda, tovi::Real<T>* d, tovi::Real<T>* e, T* tau, T* work, int lwork) {
  using namespace fortran;
  if (lwork != detail::workQuery) {
    detail::writes(uplo, n, n, a, lda);
    detail::writesVector(n, d, 1);
    detail::writesVector(n - 1, e, 1);
    detail::writesVector(n - 1, tau, 1);
  }
  detail::writesVector(lwork == detail::workQuery ? 1 : lwork, work, 1);
  int info = 0;
  detail::routine<T>(ssytrd_, dsytrd_, chetrd_, zhetrd_)(&uplo, &n, a, &lda, d, e, tau, work, &lwork, &info,
                                                         1);
  return info;
}

// d := the eigenvalues, in ascending order, of the tridiagonal matrix with the diagonal d and the n - 1
// elements e beside it, which are destroyed
template <class R>
int sterf(int n, R* d, R* e) {
  using namespace fortran;
  detail::writesVector(n, d, 1);
  detail::writesVector(n - 1, e, 1);
  int info = 0;
  detail::realRoutine<R>(ssterf_, dsterf_)(&n, d, e, &info);
  return info;
}

// The same by divide and conquer, with z := the eigenvectors as columns; work takes 1 + 4 n + n^2 reals,
// iwork 3 + 5 n numbers
template <class R>
int stedc(int n, R* d, R* e, R* z, int ldz, R* work, int* iwork) {
  using namespace fortran;
  const char compz = 'I';
  const int lwork = 1 + 4 * n + n * n, liwork = 3 + 5 * n;
  detail::writesVector(n, d, 1);
  detail::writesVector(n - 1, e, 1);
  detail::writes(n, n, z, ldz);
  detail::writesVector(lwork, work, 1);
  detail::writesVector(liwork, iwork, 1);
  int info = 0;
  detail::realRoutine<R>(sstedc_, dstedc_)(&compz, &n, d, e, z, &ldz, work, &lwork, iwork, &liwork, &info, 1);
  return info;
}

// B = U diag(s) V^T, B bidiagonal, upper or lower, with the diagonal d and n - 1 elements e beside it, which
// are destroyed; d := s in descending order, u := U, vt := V^T. work takes 3 n^2 + 4 n reals, iwork 8 n
// numbers.
template <class R>
int bdsdc(char uplo, int n, R* d, R* e, R* u, int ldu, R* vt, int ldvt, R* work, int* iwork) {
  using namespace fortran;
  const char compq = 'I';
  detail::writesVector(n, d, 1);
  detail::writesVector(n - 1, e, 1);
  detail::writes(n, n, u, ldu);
  detail::writes(n, n, vt, ldvt);
  detail::writes(n, 3 * n + 4, work, n);
  detail::writesVector(8 * n, iwork, 1);
  int info = 0;
  R* const q = nullptr;
  int* const iq = nullptr;
  detail::realRoutine<R>(sbdsdc_, dbdsdc_)(&uplo, &compq, &n, d, e, u, &ldu, vt, &ldvt, q, iq, work, iwork,
                                           &info, 1, 1);
  return info;
}

// A plane rotation: x := c x + s y, y := c y - s x.
template <class R>
struct Rotation {
  R c = R(1), s = R(0);
};

// The rotation that takes (f, g) to (r, 0); returns r.
template <class R>
R lartg(R f, R g, Rotation<R>& rotation) {
  using namespace fortran;
  R r;
  detail::realRoutine<R>(slartg_, dlartg_)(&f, &g, &rotation.c, &rotation.s, &r);
  return r;
}

// The smaller singular value of [f g; 0 h]
template <class R>
R las2(R f, R g, R h) {
  using namespace fortran;
  R least, largest;
  detail::realRoutine<R>(slas2_, dlas2_)(&f, &g, &h, &least, &largest);
  return least;
}

// The decomposition of [f g; 0 h]: after the rotation `left` of its rows and `right` of its columns the
// diagonal is (largest, least), in magnitude the singular values.
template <class R>
struct TwoByTwo {
  R least, largest;
  Rotation<R> left, right;
};
template <class R>
TwoByTwo<R> lasv2(R f, R g, R h) {
  using namespace fortran;
  TwoByTwo<R> svd;
  detail::realRoutine<R>(slasv2_, dlasv2_)(&f, &g, &h, &svd.least, &svd.largest, &svd.right.s, &svd.right.c,
                                           &svd.left.s, &svd.left.c);
  return svd;
}

// d := the singular values, in descending order, of the bidiagonal matrix with the diagonal d and n - 1
// elements beside it in e, which has room for n; work takes 4 n reals
template <class R>
int lasq1(int n, R* d, R* e, R* work) {
  using namespace fortran;
  detail::writesVector(n, d, 1);
  detail::writesVector(n, e, 1);
  detail::writesVector(4 * n, work, 1);
  int info = 0;
  detail::realRoutine<R>(slasq1_, dlasq1_)(&n, d, e, work, &info);
  return info;
}

}  // namespace host

#endif
