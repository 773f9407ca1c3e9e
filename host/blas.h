// The host BLAS, typed: float, double, tovi::Complex<float>, tovi::Complex<double>. Arguments are those of
// the reference BLAS, by value; the element type follows from the operands. How a routine is added:
// fortran.h.

#ifndef TOVI_HOST_BLAS_H
#define TOVI_HOST_BLAS_H

#include "ground/scalars.h"
#include "host/fortran.h"

namespace host {

namespace fortran {

using tovi::Complex;

// --- Level 3
template <class T>
using Gemm = void(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                  const T* alpha, const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c,
                  const int* ldc, std::size_t, std::size_t);
extern "C" Gemm<float> sgemm_;
extern "C" Gemm<double> dgemm_;
extern "C" Gemm<Complex<float>> cgemm_;
extern "C" Gemm<Complex<double>> zgemm_;

template <class T>
using Symm = void(const char* side, const char* uplo, const int* m, const int* n, const T* alpha, const T* a,
                  const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc,
                  std::size_t, std::size_t);
extern "C" Symm<float> ssymm_;
extern "C" Symm<double> dsymm_;
extern "C" Symm<Complex<float>> csymm_;
extern "C" Symm<Complex<float>> chemm_;
extern "C" Symm<Complex<double>> zsymm_;
extern "C" Symm<Complex<double>> zhemm_;

template <class T, class Factor>
using RankK = void(const char* uplo, const char* trans, const int* n, const int* k, const Factor* alpha,
                   const T* a, const int* lda, const Factor* beta, T* c, const int* ldc, std::size_t,
                   std::size_t);
extern "C" RankK<float, float> ssyrk_;
extern "C" RankK<double, double> dsyrk_;
extern "C" RankK<Complex<float>, Complex<float>> csyrk_;
extern "C" RankK<Complex<double>, Complex<double>> zsyrk_;
extern "C" RankK<Complex<float>, float> cherk_;
extern "C" RankK<Complex<double>, double> zherk_;

template <class T, class Beta>
using Rank2K = void(const char* uplo, const char* trans, const int* n, const int* k, const T* alpha,
                    const T* a, const int* lda, const T* b, const int* ldb, const Beta* beta, T* c,
                    const int* ldc, std::size_t, std::size_t);
extern "C" Rank2K<float, float> ssyr2k_;
extern "C" Rank2K<double, double> dsyr2k_;
extern "C" Rank2K<Complex<float>, Complex<float>> csyr2k_;
extern "C" Rank2K<Complex<double>, Complex<double>> zsyr2k_;
extern "C" Rank2K<Complex<float>, float> cher2k_;
extern "C" Rank2K<Complex<double>, double> zher2k_;

template <class T>
using Triangular = void(const char* side, const char* uplo, const char* trans, const char* diag, const int* m,
                        const int* n, const T* alpha, const T* a, const int* lda, T* b, const int* ldb,
                        std::size_t, std::size_t, std::size_t, std::size_t);
extern "C" Triangular<float> strsm_;
extern "C" Triangular<float> strmm_;
extern "C" Triangular<double> dtrsm_;
extern "C" Triangular<double> dtrmm_;
extern "C" Triangular<Complex<float>> ctrsm_;
extern "C" Triangular<Complex<float>> ctrmm_;
extern "C" Triangular<Complex<double>> ztrsm_;
extern "C" Triangular<Complex<double>> ztrmm_;

// --- Level 2
template <class T>
using Gemv = void(const char* trans, const int* m, const int* n, const T* alpha, const T* a, const int* lda,
                  const T* x, const int* incx, const T* beta, T* y, const int* incy, std::size_t);
extern "C" Gemv<float> sgemv_;
extern "C" Gemv<double> dgemv_;
extern "C" Gemv<Complex<float>> cgemv_;
extern "C" Gemv<Complex<double>> zgemv_;

template <class T>
using Trsv = void(const char* uplo, const char* trans, const char* diag, const int* n, const T* a,
                  const int* lda, T* x, const int* incx, std::size_t, std::size_t, std::size_t);
extern "C" Trsv<float> strsv_;
extern "C" Trsv<double> dtrsv_;
extern "C" Trsv<Complex<float>> ctrsv_;
extern "C" Trsv<Complex<double>> ztrsv_;

template <class T>
using Hemv = void(const char* uplo, const int* n, const T* alpha, const T* a, const int* lda, const T* x,
                  const int* incx, const T* beta, T* y, const int* incy, std::size_t);
extern "C" Hemv<float> ssymv_;
extern "C" Hemv<double> dsymv_;
extern "C" Hemv<Complex<float>> chemv_;
extern "C" Hemv<Complex<double>> zhemv_;

// --- Level 1
template <class T>
using Copy = void(const int* n, const T* x, const int* incx, T* y, const int* incy);
extern "C" Copy<float> scopy_;
extern "C" Copy<double> dcopy_;
extern "C" Copy<Complex<float>> ccopy_;
extern "C" Copy<Complex<double>> zcopy_;

}  // namespace fortran

// With alpha = 0 no routine reads the operands that it multiplies.

// C := alpha op(A) op(B) + beta C, C m x n
template <class T>
void gemm(char transa, char transb, int m, int n, int k, Scalar<T> alpha, const T* a, int lda, const T* b,
          int ldb, Scalar<T> beta, T* c, int ldc) {
  using namespace fortran;
  const bool plainA = tovi::isOption(transa, 'N'), plainB = tovi::isOption(transb, 'N');
  if (alpha == T(0)) k = 0;  // OpenBLAS multiplies small operands by 0 on processors with AVX-512
  detail::reads(plainA ? m : k, plainA ? k : m, a, lda);
  detail::reads(plainB ? k : n, plainB ? n : k, b, ldb);
  detail::writes(m, n, c, ldc);
  detail::routine<T>(sgemm_, dgemm_, cgemm_, zgemm_)(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb,
                                                     &beta, c, &ldc, 1, 1);
}

namespace detail {

template <class T, class Routine>
void symm(Routine routine, char side, char uplo, int m, int n, T alpha, const T* a, int lda, const T* b,
          int ldb, T beta, T* c, int ldc) {
  const int order = tovi::isOption(side, 'L') ? m : n;
  if (alpha != T(0)) {
    reads(uplo, order, order, a, lda);
    reads(m, n, b, ldb);
  }
  writes(m, n, c, ldc);
  routine(&side, &uplo, &m, &n, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}

template <class T, class Factor, class Routine>
void rankK(Routine routine, char uplo, char trans, int n, int k, Factor alpha, const T* a, int lda,
           Factor beta, T* c, int ldc) {
  if (alpha != Factor(0))
    reads(tovi::isOption(trans, 'N') ? n : k, tovi::isOption(trans, 'N') ? k : n, a, lda);
  writes(uplo, n, n, c, ldc);
  routine(&uplo, &trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc, 1, 1);
}

template <class T, class Beta, class Routine>
void rank2K(Routine routine, char uplo, char trans, int n, int k, T alpha, const T* a, int lda, const T* b,
            int ldb, Beta beta, T* c, int ldc) {
  if (alpha != T(0)) {
    reads(tovi::isOption(trans, 'N') ? n : k, tovi::isOption(trans, 'N') ? k : n, a, lda);
    reads(tovi::isOption(trans, 'N') ? n : k, tovi::isOption(trans, 'N') ? k : n, b, ldb);
  }
  writes(uplo, n, n, c, ldc);
  routine(&uplo, &trans, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}

template <class T, class Routine>
void triangular(Routine routine, char side, char uplo, char trans, char diag, int m, int n, T alpha,
                const T* a, int lda, T* b, int ldb) {
  const int order = tovi::isOption(side, 'L') ? m : n;
  if (alpha != T(0)) reads(uplo, order, order, a, lda);
  writes(m, n, b, ldb);
  routine(&side, &uplo, &trans, &diag, &m, &n, &alpha, a, &lda, b, &ldb, 1, 1, 1, 1);
}

}  // namespace detail

// C := alpha A B + beta C (side L) or alpha B A + beta C (side R), A symmetric
template <class T>
void symm(char side, char uplo, int m, int n, Scalar<T> alpha, const T* a, int lda, const T* b, int ldb,
          Scalar<T> beta, T* c, int ldc) {
  using namespace fortran;
  detail::symm<T>(detail::routine<T>(ssymm_, dsymm_, csymm_, zsymm_), side, uplo, m, n, alpha, a, lda, b, ldb,
                  beta, c, ldc);
}
// The same with A Hermitian
template <class T>
void hemm(char side, char uplo, int m, int n, Scalar<T> alpha, const T* a, int lda, const T* b, int ldb,
          Scalar<T> beta, T* c, int ldc) {
  using namespace fortran;
  detail::symm<T>(detail::routine<T>(chemm_, zhemm_), side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}

// C := alpha op(A) op(A)^T + beta C, one triangle of C
template <class T>
void syrk(char uplo, char trans, int n, int k, Scalar<T> alpha, const T* a, int lda, Scalar<T> beta, T* c,
          int ldc) {
  using namespace fortran;
  detail::rankK<T>(detail::routine<T>(ssyrk_, dsyrk_, csyrk_, zsyrk_), uplo, trans, n, k, alpha, a, lda, beta,
                   c, ldc);
}
// C := alpha op(A) op(A)^H + beta C; alpha and beta are real
template <class T>
void herk(char uplo, char trans, int n, int k, RealScalar<T> alpha, const T* a, int lda, RealScalar<T> beta,
          T* c, int ldc) {
  using namespace fortran;
  detail::rankK<T>(detail::routine<T>(cherk_, zherk_), uplo, trans, n, k, alpha, a, lda, beta, c, ldc);
}

// C := alpha op(A) op(B)^T + alpha op(B) op(A)^T + beta C, one triangle of C
template <class T>
void syr2k(char uplo, char trans, int n, int k, Scalar<T> alpha, const T* a, int lda, const T* b, int ldb,
           Scalar<T> beta, T* c, int ldc) {
  using namespace fortran;
  detail::rank2K<T>(detail::routine<T>(ssyr2k_, dsyr2k_, csyr2k_, zsyr2k_), uplo, trans, n, k, alpha, a, lda,
                    b, ldb, beta, c, ldc);
}
// C := alpha op(A) op(B)^H + conj(alpha) op(B) op(A)^H + beta C; beta is real
template <class T>
void her2k(char uplo, char trans, int n, int k, Scalar<T> alpha, const T* a, int lda, const T* b, int ldb,
           RealScalar<T> beta, T* c, int ldc) {
  using namespace fortran;
  detail::rank2K<T>(detail::routine<T>(cher2k_, zher2k_), uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c,
                    ldc);
}

template <class T>
void trsm(char side, char uplo, char trans, char diag, int m, int n, Scalar<T> alpha, const T* a, int lda,
          T* b, int ldb);

namespace detail {

template <class T>
bool subnormalOnDiagonal(int n, const T* a, int lda) {
  const std::size_t step = static_cast<std::size_t>(lda) + 1;
  for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
    const tovi::Real<T> size = tovi::greatestPartOf(a[i * step]);
    if (size > 0 && size < tovi::Range<tovi::Real<T>>::least) return true;
  }
  return false;
}

// trsm with a triangle that has a subnormal number on its diagonal: it is cut in halves until that number is
// all there is, and can be divided by.
template <class T>
void solveByHalves(char side, char uplo, char trans, int m, int n, T alpha, const T* a, int lda, T* b,
                   int ldb) {
  const bool left = tovi::isOption(side, 'L'), plain = tovi::isOption(trans, 'N');
  const int order = left ? m : n;
  const auto at = [](auto* x, int i, int j, int ld) {
    return x + (static_cast<std::size_t>(j) * static_cast<std::size_t>(ld) + static_cast<std::size_t>(i));
  };
  if (order == 1) {
    // By a power of 2 both are made large enough for a complex quotient not to lose digits on the way.
    constexpr tovi::Real<T> down = tovi::Range<tovi::Real<T>>::epsilon;
    const T divisor = tovi::dividedBy(down, tovi::isOption(trans, 'C') ? tovi::conj(*a) : *a);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) {
        T& x = *at(b, i, j, ldb);
        x = tovi::dividedBy(divisor, tovi::dividedBy(down, alpha * x));
      }
    return;
  }

  // One half of X depends on itself alone, the other one on it, too.
  struct Half {
    int order;
    const T* a;
    T* b;
  };
  const int middle = order / 2;
  const Half first = {middle, a, b},
             second = {order - middle, at(a, middle, middle, lda), left ? b + middle : at(b, 0, middle, ldb)};
  const bool upper = tovi::isOption(uplo, 'U'), forward = (upper != plain) == left;
  const Half &free = forward ? first : second, &bound = forward ? second : first;
  const T* const coupling = upper ? at(a, 0, middle, lda) : a + middle;
  const auto solve = [&](const Half& half, T factor) {
    host::trsm(side, uplo, trans, 'N', left ? half.order : m, left ? n : half.order, factor, half.a, lda,
               half.b, ldb);
  };
  solve(free, alpha);
  if (left)
    host::gemm(trans, 'N', bound.order, n, free.order, T(-1), coupling, lda, free.b, ldb, alpha, bound.b,
               ldb);
  else
    host::gemm('N', trans, m, bound.order, free.order, T(-1), free.b, ldb, coupling, lda, alpha, bound.b,
               ldb);
  solve(bound, T(1));
}

}  // namespace detail

// B := alpha inv(op(A)) B (side L) or alpha B inv(op(A)) (side R), A triangular. Host libraries multiply by
// the reciprocals of the diagonal, which are infinite for most subnormal numbers: those are divided by here.
template <class T>
void trsm(char side, char uplo, char trans, char diag, int m, int n, Scalar<T> alpha, const T* a, int lda,
          T* b, int ldb) {
  using namespace fortran;
  const int order = tovi::isOption(side, 'L') ? m : n;
  if (alpha != T(0) && tovi::isOption(diag, 'N') && detail::subnormalOnDiagonal(order, a, lda))
    return detail::solveByHalves(side, uplo, trans, m, n, alpha, a, lda, b, ldb);
  detail::triangular<T>(detail::routine<T>(strsm_, dtrsm_, ctrsm_, ztrsm_), side, uplo, trans, diag, m, n,
                        alpha, a, lda, b, ldb);
}
// B := alpha op(A) B (side L) or alpha B op(A) (side R), A triangular
template <class T>
void trmm(char side, char uplo, char trans, char diag, int m, int n, Scalar<T> alpha, const T* a, int lda,
          T* b, int ldb) {
  using namespace fortran;
  detail::triangular<T>(detail::routine<T>(strmm_, dtrmm_, ctrmm_, ztrmm_), side, uplo, trans, diag, m, n,
                        alpha, a, lda, b, ldb);
}

// y := alpha op(A) x + beta y, A m x n
template <class T>
void gemv(char trans, int m, int n, Scalar<T> alpha, const T* a, int lda, const T* x, int incx,
          Scalar<T> beta, T* y, int incy) {
  using namespace fortran;
  if (alpha != T(0)) {
    detail::reads(m, n, a, lda);
    detail::readsVector(tovi::isOption(trans, 'N') ? n : m, x, incx);
  }
  const int length = tovi::isOption(trans, 'N') ? m : n;
  detail::writesVector(length, y, incy);
  // OpenBLAS 0.3.21 on AVX-512 processors forgets beta if the increment is INT_MIN, as that of one element
  // may be.
  if (length == 1) incy = 1;
  detail::routine<T>(sgemv_, dgemv_, cgemv_, zgemv_)(&trans, &m, &n, &alpha, a, &lda, x, &incx, &beta, y,
                                                     &incy, 1);
}

// y := alpha A x + beta y, A Hermitian; real types: symv
template <class T>
void hemv(char uplo, int n, Scalar<T> alpha, const T* a, int lda, const T* x, int incx, Scalar<T> beta, T* y,
          int incy) {
  using namespace fortran;
  if (alpha != T(0)) {
    detail::reads(uplo, n, n, a, lda);
    detail::readsVector(n, x, incx);
  }
  detail::writesVector(n, y, incy);
  detail::routine<T>(ssymv_, dsymv_, chemv_, zhemv_)(&uplo, &n, &alpha, a, &lda, x, &incx, &beta, y, &incy,
                                                     1);
}

// x := op(A)^-1 x, A triangular, the elements of x side by side
template <class T>
void trsv(char uplo, char trans, char diag, int n, const T* a, int lda, T* x) {
  using namespace fortran;
  detail::reads(uplo, n, n, a, lda);
  detail::writesVector(n, x, 1);
  const int incx = 1;
  detail::routine<T>(strsv_, dtrsv_, ctrsv_, ztrsv_)(&uplo, &trans, &diag, &n, a, &lda, x, &incx, 1, 1, 1);
}

// y := x
template <class T>
void copy(int n, const T* x, int incx, T* y, int incy) {
  using namespace fortran;
  detail::readsVector(n, x, incx);
  detail::writesVector(n, y, incy);
  detail::routine<T>(scopy_, dcopy_, ccopy_, zcopy_)(&n, x, &incx, y, &incy);
}
}  // namespace host

#endif
