// One check a BLAS family: runs the exported routine on random operands and compares with the host BLAS in
// double precision. Every time: padding and operands that are only read keep their bits, what the routine
// must not read (a result with beta = 0, the other triangle, a unit diagonal) is NaN, and what it must not
// write keeps its bits.

#ifndef TOVI_TESTS_SUPPORT_BLAS_CHECKS_H
#define TOVI_TESTS_SUPPORT_BLAS_CHECKS_H

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

#include "platform/host/blas.h"
#include "tests/support/blas_interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

inline char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

template <class T>
double largest(const HostMatrix<T>& a) {
  double result = 0;
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) worsen(result, magnitude(a(i, j)));
  return result;
}

// max |x - reference| / (eps scale)
template <class T>
double productRatio(const HostMatrix<T>& x, const HostMatrix<Wide<T>>& reference, double scale) {
  HostMatrix<Wide<T>> difference = widen(x);
  for (int j = 0; j < x.cols(); ++j)
    for (int i = 0; i < x.rows(); ++i) difference(i, j) -= reference(i, j);
  return scaled(largest(difference), scale * epsilon<T>());
}

template <class T>
T nonTrivial() {
  return makeElement<T>(0.75, -0.5);
}

// A result operand: random, NaN where it must not be read.
template <class T>
HostMatrix<T> result(int rows, int cols, bool read) {
  HostMatrix<T> c = HostMatrix<T>::random(rows, cols, 5, 3);
  if (!read) c.fill(quietNaN<T>());
  return c;
}
template <class T>
HostMatrix<Wide<T>> start(const HostMatrix<T>& c, bool read) {
  return read ? widen(c) : HostMatrix<Wide<T>>(c.rows(), c.cols());
}

inline bool stored(char uplo, int i, int j) { return upper(uplo) == 'L' ? i >= j : i <= j; }

// A square matrix of which one triangle is read: NaN in the other one.
template <class T>
HostMatrix<T> triangle(char uplo, int n) {
  HostMatrix<T> a = HostMatrix<T>::random(n, n, 3, 1);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (!stored(uplo, i, j)) a(i, j) = quietNaN<T>();
  return a;
}

template <class T>
void checkGemm(Memory where, char transa, char transb, int m, int n, int k, T alpha, T beta) {
  SCOPED_TRACE(std::string("gemm ") + transa + transb + " " + std::to_string(m) + " " + std::to_string(n) +
               " " + std::to_string(k));
  using W = Wide<T>;
  const char ta = upper(transa), tb = upper(transb);
  HostMatrix<T> a = HostMatrix<T>::random(ta == 'N' ? m : k, ta == 'N' ? k : m, 3, 1);
  HostMatrix<T> b = HostMatrix<T>::random(tb == 'N' ? k : n, tb == 'N' ? n : k, 4, 2);
  const bool reads = beta != T(0);
  HostMatrix<T> c = result<T>(m, n, reads);
  HostMatrix<W> reference = start(c, reads);
  const HostMatrix<W> wa = widen(a), wb = widen(b);
  host::gemm(ta, tb, m, n, k, widen(alpha), wa.data(), wa.ld(), wb.data(), wb.ld(), widen(beta),
             reference.data(), reference.ld());
  const HostMatrix<T> a0 = a, b0 = b;
  Placed<T> pa(where, a), pb(where, b), pc(where, c);
  ASSERT_EQ(gemm(where, transa, transb, m, n, k, alpha, pa.data(), a.ld(), pb.data(), b.ld(), beta, pc.data(),
                 c.ld()),
            toviNoError);
  pa.fetch(), pb.fetch(), pc.fetch();
  CHECK_RATIO(productRatio(c, reference, k * magnitude(alpha) * largest(a) * largest(b) + 2), blasBound);
  EXPECT_TRUE(c.paddingIntact() && a.sameBits(a0) && b.sameBits(b0));
}

template <class T>
void checkGemv(Memory where, char trans, int m, int n, int incx, int incy, T alpha, T beta) {
  SCOPED_TRACE(std::string("gemv ") + trans + " " + std::to_string(m) + " " + std::to_string(n) + " " +
               std::to_string(incx) + " " + std::to_string(incy));
  using W = Wide<T>;
  const char t = upper(trans);
  HostMatrix<T> a = HostMatrix<T>::random(m, n, 3, 1);
  // A vector is one row of a matrix: the padding lies between its elements.
  HostMatrix<T> x = HostMatrix<T>::random(1, t == 'N' ? n : m, std::abs(incx) - 1, 2);
  HostMatrix<T> y = HostMatrix<T>::random(1, t == 'N' ? m : n, std::abs(incy) - 1, 3);
  const bool reads = beta != T(0);
  if (!reads) y.fill(quietNaN<T>());
  HostMatrix<W> reference = start(y, reads);
  const HostMatrix<W> wa = widen(a), wx = widen(x);
  host::gemv(t, m, n, widen(alpha), wa.data(), wa.ld(), wx.data(), incx < 0 ? -1 : 1, widen(beta),
             reference.data(), incy < 0 ? -1 : 1);
  const HostMatrix<T> a0 = a, x0 = x;
  Placed<T> pa(where, a), px(where, x), py(where, y);
  ASSERT_EQ(gemv(where, trans, m, n, alpha, pa.data(), a.ld(), px.data(), incx, beta, py.data(), incy),
            toviNoError);
  pa.fetch(), px.fetch(), py.fetch();
  CHECK_RATIO(productRatio(y, reference, x.cols() * magnitude(alpha) * largest(a) * largest(x) + 2),
              blasBound);
  EXPECT_TRUE(y.paddingIntact() && a.sameBits(a0) && x.sameBits(x0));
}

// The transposed product around the blocks of its kernel, of 32 or 16 columns, and around the 512 or 128 rows
// that a block takes at a time.
template <class T>
void checkGemvBlocks(Memory where) {
  for (const char trans : {'T', 'C'})
    for (const int m : {1, 127, 128, 129, 511, 512, 513, 1100})
      for (const int n : {1, 15, 17, 32, 33, 65}) {
        checkGemv<T>(where, trans, m, n, 1, 1, nonTrivial<T>(), T(0));
        checkGemv<T>(where, trans, m, n, -2, 3, T(1), makeElement<T>(-1.25, 0.5));
        checkGemv<T>(where, trans, m, n, 3, -1, nonTrivial<T>(), T(1));
      }
}

// A NaN reaches the entries that it belongs to and no other: in the last column, which shares its block with
// columns that are not there, and in the last row, which is the only one behind the last full chunk.
template <class T>
void checkGemvNaN(Memory where) {
  const int m = 513, n = 33;
  for (const char trans : {'T', 'C'}) {
    HostMatrix<T> a = HostMatrix<T>::random(m, n, 2, 1), x = HostMatrix<T>::random(m, 1, 0, 2), y(n, 1);
    a(0, 0) = a(m - 1, 5) = a(7, n - 1) = quietNaN<T>();
    Placed<T> pa(where, a), px(where, x), py(where, y);
    ASSERT_EQ(gemv(where, trans, m, n, T(1), pa.data(), a.ld(), px.data(), 1, T(1), py.data(), 1),
              toviNoError);
    py.fetch();
    for (int j = 0; j < n; ++j)
      EXPECT_EQ(std::isnan(magnitude(y(j, 0))), j == 0 || j == 5 || j == n - 1) << trans << ' ' << j;
  }
}

// With alpha = 0 neither A nor x is read, whatever becomes of y; with beta = 1 as well nothing is done.
template <class T>
void checkGemvWithoutFactor(Memory where) {
  const int m = 40, n = 35;
  for (const char trans : {'N', 'T', 'C'})
    for (const T beta : {T(0), T(1), T(2)}) {
      HostMatrix<T> a(m, n, 1), x(m, 1), y = HostMatrix<T>::random(m, 1, 0, 1);
      a.fill(quietNaN<T>()), x.fill(quietNaN<T>());
      HostMatrix<T> expected = y;
      for (int j = 0; j < (trans == 'N' ? m : n); ++j) {
        expected(j, 0) *= beta;
        if (beta == T(0)) expected(j, 0) = T(0), y(j, 0) = quietNaN<T>();
      }
      Placed<T> pa(where, a), px(where, x), py(where, y);
      ASSERT_EQ(gemv(where, trans, m, n, T(0), pa.data(), a.ld(), px.data(), 1, beta, py.data(), 1),
                toviNoError);
      py.fetch();
      EXPECT_TRUE(y.sameBits(expected)) << trans << ' ' << magnitude(beta);
    }
}

// The triangle of trsm and trmm: well conditioned, its diagonal NaN where it must not be read.
template <class T>
HostMatrix<T> wellConditioned(char uplo, char diag, int n) {
  HostMatrix<T> a = triangle<T>(uplo, n);
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) a(i, j) = a(i, j) * makeElement<T>(1.0 / n, 0);
    a(j, j) = upper(diag) == 'U' ? quietNaN<T>()
                                 : makeElement<T>(1.5 + 0.5 * (j % 3), tovi::isComplex<T> ? 0.5 : 0);
  }
  return a;
}

enum class Triangular { solve, multiply };

template <class T>
void checkTriangular(Triangular what, Memory where, char side, char uplo, char trans, char diag, int m, int n,
                     T alpha = nonTrivial<T>()) {
  SCOPED_TRACE(std::string(what == Triangular::solve ? "trsm " : "trmm ") + side + uplo + trans + diag + " " +
               std::to_string(m) + " " + std::to_string(n));
  using W = Wide<T>;
  const int order = upper(side) == 'L' ? m : n;
  HostMatrix<T> a = wellConditioned<T>(uplo, diag, order);
  HostMatrix<T> b = HostMatrix<T>::random(m, n, 5, 2);
  const HostMatrix<T> a0 = a, b0 = b;
  Placed<T> pa(where, a), pb(where, b);
  ASSERT_EQ((what == Triangular::solve ? trsm<T> : trmm<T>)(where, side, uplo, trans, diag, m, n, alpha,
                                                            pa.data(), a.ld(), pb.data(), b.ld()),
            toviNoError);
  pa.fetch(), pb.fetch();
  EXPECT_TRUE(b.paddingIntact() && a.sameBits(a0));

  const HostMatrix<W> wa = widen(a);
  const auto times = [&](const HostMatrix<T>& x, W factor) {  // factor op(A) X or factor X op(A)
    HostMatrix<W> product = widen(x);
    host::trmm(upper(side), upper(uplo), upper(trans), upper(diag), m, n, factor, wa.data(), wa.ld(),
               product.data(), product.ld());
    return product;
  };
  // The rows of A sum up to a few units, whatever their length; what rounding adds to a sum grows with its
  // root.
  const double scale = 4 * std::max(1.0, std::sqrt(order) / 8);
  if (what == Triangular::multiply) {
    CHECK_RATIO(productRatio(b, times(b0, widen(alpha)), scale), blasBound);
  } else {  // op(A) X against alpha B
    HostMatrix<T> scaledB = b0;
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) scaledB(i, j) *= alpha;
    CHECK_RATIO(productRatio(scaledB, times(b, W(1)), scale * largest(b)), blasBound);
  }
}

enum class Export { symmetric, hermitian };

template <class T>
void checkSymmetric(Export which, Memory where, char side, char uplo, int m, int n, T alpha, T beta) {
  SCOPED_TRACE(std::string(which == Export::symmetric ? "symm " : "hemm ") + side + uplo + " " +
               std::to_string(m) + " " + std::to_string(n));
  using W = Wide<T>;
  const char s = upper(side), u = upper(uplo);
  const int order = s == 'L' ? m : n;
  HostMatrix<T> a = triangle<T>(uplo, order), b = HostMatrix<T>::random(m, n, 4, 2);
  const bool reads = beta != T(0);
  HostMatrix<T> c = result<T>(m, n, reads);
  HostMatrix<W> reference = start(c, reads);
  const HostMatrix<W> wa = widen(a), wb = widen(b);
  const auto call = [&](auto routine) {
    routine(s, u, m, n, widen(alpha), wa.data(), wa.ld(), wb.data(), wb.ld(), widen(beta), reference.data(),
            reference.ld());
  };
  if constexpr (tovi::isComplex<T>)  // for either export
    call(host::hemm<W>);
  else
    call(host::symm<W>);

  const HostMatrix<T> a0 = a, b0 = b;
  Placed<T> pa(where, a), pb(where, b), pc(where, c);
  const auto run = [&](auto routine) {
    return routine(where, side, uplo, m, n, alpha, pa.data(), a.ld(), pb.data(), b.ld(), beta, pc.data(),
                   c.ld());
  };
  toviStatus status;
  if constexpr (tovi::isComplex<T>)
    status = which == Export::symmetric ? run(symm<T>) : run(hemm<T>);
  else
    status = run(symm<T>);
  ASSERT_EQ(status, toviNoError);
  pa.fetch(), pb.fetch(), pc.fetch();
  CHECK_RATIO(productRatio(c, reference, 2.0 * order + 2), blasBound);
  EXPECT_TRUE(c.paddingIntact() && a.sameBits(a0) && b.sameBits(b0));
}

// Of a rank update: the triangle against the reference, the other one against what it was.
template <class T>
void checkTriangle(char uplo, const HostMatrix<T>& c, const HostMatrix<T>& before,
                   HostMatrix<Wide<T>> reference, double scale) {
  HostMatrix<T> compared = c;
  for (int j = 0; j < c.cols(); ++j)
    for (int i = 0; i < c.rows(); ++i)
      if (!stored(uplo, i, j)) {
        EXPECT_EQ(std::memcmp(&c(i, j), &before(i, j), sizeof(T)), 0) << i << ' ' << j;
        compared(i, j) = T(0);
        reference(i, j) = Wide<T>(0);
      }
  CHECK_RATIO(productRatio(compared, reference, scale), blasBound);
  EXPECT_TRUE(c.paddingIntact());
}

// The triangle that is written, not to be read with beta = 0; the other one stays random.
template <class T>
HostMatrix<T> updated(char uplo, int n, bool read) {
  HostMatrix<T> c = HostMatrix<T>::random(n, n, 5, 3);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (stored(uplo, i, j) && !read) c(i, j) = quietNaN<T>();
  return c;
}

// Hermitian: alpha and beta lose their imaginary parts.
template <class T>
void checkRankK(Export which, Memory where, char uplo, char trans, int n, int k, T alpha, T beta) {
  SCOPED_TRACE(std::string(which == Export::symmetric ? "syrk " : "herk ") + uplo + trans + " " +
               std::to_string(n) + " " + std::to_string(k));
  using W = Wide<T>;
  const char u = upper(uplo), t = upper(trans);
  HostMatrix<T> a = HostMatrix<T>::random(t == 'N' ? n : k, t == 'N' ? k : n, 3, 1);
  const bool reads = beta != T(0);
  HostMatrix<T> c = updated<T>(uplo, n, reads);
  HostMatrix<W> reference = reads ? widen(c) : HostMatrix<W>(n, n);
  const HostMatrix<W> wa = widen(a);
  const HostMatrix<T> a0 = a, c0 = c;
  Placed<T> pa(where, a), pc(where, c);
  toviStatus status = toviNoError;
  if (which == Export::symmetric) {
    host::syrk(u, t, n, k, widen(alpha), wa.data(), wa.ld(), widen(beta), reference.data(), reference.ld());
    status = syrk(where, uplo, trans, n, k, alpha, pa.data(), a.ld(), beta, pc.data(), c.ld());
  } else if constexpr (tovi::isComplex<T>) {
    host::herk(u, t, n, k, widen(tovi::real(alpha)), wa.data(), wa.ld(), widen(tovi::real(beta)),
               reference.data(), reference.ld());
    status = herk(where, uplo, trans, n, k, tovi::real(alpha), pa.data(), a.ld(), tovi::real(beta), pc.data(),
                  c.ld());
  }
  ASSERT_EQ(status, toviNoError);
  pa.fetch(), pc.fetch();
  EXPECT_TRUE(a.sameBits(a0));
  checkTriangle(uplo, c, c0, reference, 2.0 * k + 2);
}

// For complex types either export is the Hermitian one.
template <class T>
void checkRank2K(Export which, Memory where, char uplo, char trans, int n, int k, T alpha, T beta) {
  SCOPED_TRACE(std::string(which == Export::symmetric ? "syr2k " : "her2k ") + uplo + trans + " " +
               std::to_string(n) + " " + std::to_string(k));
  using W = Wide<T>;
  const char u = upper(uplo), t = upper(trans);
  const int rows = t == 'N' ? n : k, cols = t == 'N' ? k : n;
  HostMatrix<T> a = HostMatrix<T>::random(rows, cols, 3, 1), b = HostMatrix<T>::random(rows, cols, 4, 2);
  const bool reads = tovi::real(beta) != 0;
  HostMatrix<T> c = updated<T>(uplo, n, reads);
  HostMatrix<W> reference = reads ? widen(c) : HostMatrix<W>(n, n);
  const HostMatrix<W> wa = widen(a), wb = widen(b);
  const HostMatrix<T> a0 = a, b0 = b, c0 = c;
  Placed<T> pa(where, a), pb(where, b), pc(where, c);
  toviStatus status = toviNoError;
  if constexpr (tovi::isComplex<T>)
    host::her2k(u, t, n, k, widen(alpha), wa.data(), wa.ld(), wb.data(), wb.ld(), widen(tovi::real(beta)),
                reference.data(), reference.ld());
  else
    host::syr2k(u, t, n, k, widen(alpha), wa.data(), wa.ld(), wb.data(), wb.ld(), widen(beta),
                reference.data(), reference.ld());
  if (which == Export::symmetric)
    status =
        syr2k(where, uplo, trans, n, k, alpha, pa.data(), a.ld(), pb.data(), b.ld(), beta, pc.data(), c.ld());
  else if constexpr (tovi::isComplex<T>)
    status = her2k(where, uplo, trans, n, k, alpha, pa.data(), a.ld(), pb.data(), b.ld(), tovi::real(beta),
                   pc.data(), c.ld());
  ASSERT_EQ(status, toviNoError);
  pa.fetch(), pb.fetch(), pc.fetch();
  EXPECT_TRUE(a.sameBits(a0) && b.sameBits(b0));
  checkTriangle(uplo, c, c0, reference, 4.0 * k + 2);
}

}  // namespace testing_support

#endif
