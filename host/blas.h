// The host BLAS, typed: float, double, tovi::Complex<float>, tovi::Complex<double>. Arguments are those of
// the reference BLAS, by value; the element type follows from the operands. How a routine is added:
// fortran.h.

#ifndef TOVI_HOST_BLAS_H
#define TOVI_HOST_BLAS_H

#include <limits>
#include <type_traits>
#include <vector>

#include "ground/scalars.h"
#include "host/fortran.h"

namespace host {

namespace fortran {

using tovi::Complex;
using tovi::Real;

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
using Ger = void(const int* m, const int* n, const T* alpha, const T* x, const int* incx, const T* y,
                 const int* incy, T* a, const int* lda);
extern "C" Ger<float> sger_;
extern "C" Ger<double> dger_;
extern "C" Ger<Complex<float>> cgeru_;
extern "C" Ger<Complex<float>> cgerc_;
extern "C" Ger<Complex<double>> zgeru_;
extern "C" Ger<Complex<double>> zgerc_;

// --- Level 1
template <class T>
using Norm = Real<T>(const int* n, const T* x, const int* incx);
extern "C" Norm<float> snrm2_;
extern "C" Norm<float> sasum_;
extern "C" Norm<double> dnrm2_;
extern "C" Norm<double> dasum_;
extern "C" Norm<Complex<float>> scnrm2_;
extern "C" Norm<Complex<float>> scasum_;
extern "C" Norm<Complex<double>> dznrm2_;
extern "C" Norm<Complex<double>> dzasum_;

template <class T>
using Iamax = int(const int* n, const T* x, const int* incx);
extern "C" Iamax<float> isamax_;
extern "C" Iamax<double> idamax_;
extern "C" Iamax<Complex<float>> icamax_;
extern "C" Iamax<Complex<double>> izamax_;

template <class T, class Factor>
using Scal = void(const int* n, const Factor* alpha, T* x, const int* incx);
extern "C" Scal<float, float> sscal_;
extern "C" Scal<double, double> dscal_;
extern "C" Scal<Complex<float>, Complex<float>> cscal_;
extern "C" Scal<Complex<double>, Complex<double>> zscal_;
extern "C" Scal<Complex<float>, float> csscal_;
extern "C" Scal<Complex<double>, double> zdscal_;

template <class T>
using Axpy = void(const int* n, const T* alpha, const T* x, const int* incx, T* y, const int* incy);
extern "C" Axpy<float> saxpy_;
extern "C" Axpy<double> daxpy_;
extern "C" Axpy<Complex<float>> caxpy_;
extern "C" Axpy<Complex<double>> zaxpy_;

template <class T>
using Copy = void(const int* n, const T* x, const int* incx, T* y, const int* incy);
extern "C" Copy<float> scopy_;
extern "C" Copy<double> dcopy_;
extern "C" Copy<Complex<float>> ccopy_;
extern "C" Copy<Complex<double>> zcopy_;

template <class T>
using Swap = void(const int* n, T* x, const int* incx, T* y, const int* incy);
extern "C" Swap<float> sswap_;
extern "C" Swap<double> dswap_;
extern "C" Swap<Complex<float>> cswap_;
extern "C" Swap<Complex<double>> zswap_;

template <class T>
using Dot = T(const int* n, const T* x, const int* incx, const T* y, const int* incy);
extern "C" Dot<float> sdot_;
extern "C" Dot<double> ddot_;

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

namespace detail {

template <class T, class Routine>
void ger(Routine routine, int m, int n, T alpha, const T* x, int incx, const T* y, int incy, T* a, int lda) {
  readsVector(m, x, incx);
  readsVector(n, y, incy);
  writes(m, n, a, lda);
  routine(&m, &n, &alpha, x, &incx, y, &incy, a, &lda);
}

}  // namespace detail

// A := A + alpha x y^T
template <class T>
void geru(int m, int n, Scalar<T> alpha, const T* x, int incx, const T* y, int incy, T* a, int lda) {
  using namespace fortran;
  detail::ger<T>(detail::routine<T>(sger_, dger_, cgeru_, zgeru_), m, n, alpha, x, incx, y, incy, a, lda);
}
// A := A + alpha x y^H
template <class T>
void gerc(int m, int n, Scalar<T> alpha, const T* x, int incx, const T* y, int incy, T* a, int lda) {
  using namespace fortran;
  detail::ger<T>(detail::routine<T>(sger_, dger_, cgerc_, zgerc_), m, n, alpha, x, incx, y, incy, a, lda);
}

// The Euclidean norm of x
template <class T>
tovi::Real<T> nrm2(int n, const T* x, int incx) {
  using namespace fortran;
  detail::readsVector(n, x, incx);
  return detail::routine<T>(snrm2_, dnrm2_, scnrm2_, dznrm2_)(&n, x, &incx);
}
// The sum of |re| + |im| over x
template <class T>
tovi::Real<T> asum(int n, const T* x, int incx) {
  using namespace fortran;
  detail::readsVector(n, x, incx);
  // As real numbers where they are neighbours: scasum of OpenBLAS 0.3.21 is wrong on processors with AVX-512
  // and bfloat16.
  if constexpr (std::is_same_v<T, Complex<float>>) {
    if (incx == 1 && n <= std::numeric_limits<int>::max() / 2) {
      const int parts = 2 * n;
      return sasum_(&parts, reinterpret_cast<const float*>(x), &incx);
    }
  }
  return detail::routine<T>(sasum_, dasum_, scasum_, dzasum_)(&n, x, &incx);
}
// The 1-based position of the first element with the largest |re| + |im|; 0 when there is none
template <class T>
int iamax(int n, const T* x, int incx) {
  using namespace fortran;
  detail::readsVector(n, x, incx);
  return detail::routine<T>(isamax_, idamax_, icamax_, izamax_)(&n, x, &incx);
}

// x := alpha x
template <class T>
void scal(int n, Scalar<T> alpha, T* x, int incx) {
  using namespace fortran;
  detail::writesVector(n, x, incx);
  detail::routine<T>(sscal_, dscal_, cscal_, zscal_)(&n, &alpha, x, &incx);
}
// x := alpha x, alpha real
template <class T>
void scalReal(int n, RealScalar<T> alpha, T* x, int incx) {
  using namespace fortran;
  detail::writesVector(n, x, incx);
  detail::routine<T>(sscal_, dscal_, csscal_, zdscal_)(&n, &alpha, x, &incx);
}
// y := alpha x + y
template <class T>
void axpy(int n, Scalar<T> alpha, const T* x, int incx, T* y, int incy) {
  using namespace fortran;
  detail::readsVector(n, x, incx);
  detail::writesVector(n, y, incy);
  detail::routine<T>(saxpy_, daxpy_, caxpy_, zaxpy_)(&n, &alpha, x, &incx, y, &incy);
}
// y := x
template <class T>
void copy(int n, const T* x, int incx, T* y, int incy) {
  using namespace fortran;
  detail::readsVector(n, x, incx);
  detail::writesVector(n, y, incy);
  detail::routine<T>(scopy_, dcopy_, ccopy_, zcopy_)(&n, x, &incx, y, &incy);
}
// x and y exchanged
template <class T>
void swap(int n, T* x, int incx, T* y, int incy) {
  using namespace fortran;
  detail::writesVector(n, x, incx);
  detail::writesVector(n, y, incy);
  detail::routine<T>(sswap_, dswap_, cswap_, zswap_)(&n, x, &incx, y, &incy);
}

namespace detail {

// Fortran compilers do not agree on how a function returns a complex number, so the complex products are
// asked for as a matrix-vector product with the n x 1 matrix x, whose result goes through memory.
template <class T>
T dot(char trans, int n, const T* x, int incx, const T* y, int incy) {
  T result(0);
  if (n <= 0) return result;
  std::vector<T> packed;
  if (incx != 1) {
    packed.resize(static_cast<std::size_t>(n));
    host::copy(n, x, incx, packed.data(), 1);
    x = packed.data();
  }
  host::gemv<T>(trans, n, 1, T(1), x, n, y, incy, T(0), &result, 1);
  return result;
}

}  // namespace detail

// x^T y
template <class T>
T dotu(int n, const T* x, int incx, const T* y, int incy) {
  if constexpr (tovi::isComplex<T>) {
    return detail::dot('T', n, x, incx, y, incy);
  } else {
    detail::readsVector(n, x, incx);
    detail::readsVector(n, y, incy);
    return detail::routine<T>(fortran::sdot_, fortran::ddot_, nullptr, nullptr)(&n, x, &incx, y, &incy);
  }
}
// x^H y
template <class T>
T dotc(int n, const T* x, int incx, const T* y, int incy) {
  if constexpr (tovi::isComplex<T>)
    return detail::dot('C', n, x, incx, y, incy);
  else
    return dotu(n, x, incx, y, incy);
}

}  // namespace host

#endif
