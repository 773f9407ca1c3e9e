// Scaled residuals, computed in double precision on the processor, and their bounds: those of LAPACK's own
// test programs. Compare with !(ratio < bound), so that NaN fails; CHECK_RATIO does.

#ifndef TOVI_TESTS_SUPPORT_RATIOS_H
#define TOVI_TESTS_SUPPORT_RATIOS_H

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/blas.h"
#include "host/lapack.h"
#include "lapack/reflectors.h"
#include "tests/support/matrix.h"

namespace testing_support {

constexpr double luBound = 30;        // LU factorizations and solves
constexpr double choleskyBound = 30;  // Cholesky factorizations and solves
constexpr double qrBound = 30;        // orthogonal factorizations: residual and loss of orthogonality
constexpr double blasBound = 30;      // products, against the same product in double precision

#define CHECK_RATIO(ratio, bound) EXPECT_FALSE(!((ratio) < (bound))) << #ratio " is " << (ratio)

template <class T>
using Wide = std::conditional_t<tovi::isComplex<T>, Complex<double>, double>;

template <class T>
double epsilon() {
  return static_cast<double>(std::numeric_limits<Real<T>>::epsilon()) / 2;
}

inline double magnitude(double x) { return std::abs(x); }
inline double magnitude(Complex<double> z) { return std::hypot(z.re, z.im); }
inline double magnitude(float x) { return std::abs(x); }
inline double magnitude(Complex<float> z) {
  return std::hypot(static_cast<double>(z.re), static_cast<double>(z.im));
}

template <class T>
Wide<T> widen(T x) {
  if constexpr (tovi::isComplex<T>)
    return {static_cast<double>(x.re), static_cast<double>(x.im)};
  else
    return static_cast<double>(x);
}

template <class T>
T narrow(Wide<T> x) {
  if constexpr (tovi::isComplex<T>)
    return {static_cast<Real<T>>(x.re), static_cast<Real<T>>(x.im)};
  else
    return static_cast<T>(x);
}

// worst := the larger one, or NaN once there has been one.
inline void worsen(double& worst, double value) {
  if (!(value <= worst) && !std::isnan(worst)) worst = value;
}

// Largest sum of magnitudes of a column; NaN if any element is.
template <class T>
double norm1(const HostMatrix<T>& a) {
  double largest = 0;
  for (int j = 0; j < a.cols(); ++j) {
    double sum = 0;
    for (int i = 0; i < a.rows(); ++i) sum += magnitude(a(i, j));
    worsen(largest, sum);
  }
  return largest;
}

template <class T>
HostMatrix<Wide<T>> widen(const HostMatrix<T>& a) {
  return HostMatrix<Wide<T>>(a.rows(), a.cols()).set([&](int i, int j) { return widen(a(i, j)); });
}

template <class T>
HostMatrix<T> narrow(const HostMatrix<Wide<T>>& wide, int padding = 0) {
  return HostMatrix<T>(wide.rows(), wide.cols(), padding).set([&](int i, int j) {
    return narrow<T>(wide(i, j));
  });
}

// residual / scale, where 0 / 0 is a perfect result.
inline double scaled(double residual, double scale) { return residual == 0 ? 0 : residual / scale; }

template <class T>
HostMatrix<T> identity(int n, int padding = 0) {
  return HostMatrix<T>(n, n, padding).set([](int i, int j) { return i == j ? T(1) : T(0); });
}

template <class T>
HostMatrix<T> minus(HostMatrix<T> a, const HostMatrix<T>& b) {
  return a.set([&](int i, int j) { return a(i, j) - b(i, j); });
}

// op(A) op(B)
template <class T>
HostMatrix<T> product(char ta, const HostMatrix<T>& a, char tb, const HostMatrix<T>& b) {
  const int m = ta == 'N' ? a.rows() : a.cols(), k = ta == 'N' ? a.cols() : a.rows();
  HostMatrix<T> c(m, tb == 'N' ? b.cols() : b.rows());
  host::gemm(ta, tb, m, c.cols(), k, T(1), a.data(), a.ld(), b.data(), b.ld(), T(0), c.data(), c.ld());
  return c;
}
template <class T>
HostMatrix<T> product(const HostMatrix<T>& a, const HostMatrix<T>& b) {
  return product('N', a, 'N', b);
}

// The first rows and columns, or of those the elements that a predicate picks, in double precision.
template <class T, class Picks>
HostMatrix<Wide<T>> leading(const HostMatrix<T>& a, int rows, int cols, Picks picks) {
  return HostMatrix<Wide<T>>(rows, cols).set([&](int i, int j) {
    return picks(i, j) ? widen(a(i, j)) : Wide<T>(0);
  });
}
template <class T>
HostMatrix<Wide<T>> leading(const HostMatrix<T>& a, int rows, int cols) {
  return leading(a, rows, cols, [](int, int) { return true; });
}

// The Euclidean norm of rows first .. last-1 of column j.
template <class T>
double columnNorm(const HostMatrix<T>& a, int j, int first, int last) {
  double sum = 0;
  for (int i = first; i < last; ++i) sum += magnitude(a(i, j)) * magnitude(a(i, j));
  return std::sqrt(sum);
}

// || P L U - A || / (n ||A|| eps), with L, U and the 1-based pivots as getrf leaves them.
template <class T>
double luRatio(const HostMatrix<T>& a, const HostMatrix<T>& lu, const std::vector<int>& ipiv) {
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  HostMatrix<Wide<T>> l = leading(lu, m, k, [](int i, int j) { return i > j; });
  for (int i = 0; i < k; ++i) l(i, i) = Wide<T>(1);
  HostMatrix<Wide<T>> plu = product(l, leading(lu, k, n, [](int i, int j) { return i <= j; }));
  for (int i = k - 1; i >= 0; --i) {
    const int p = ipiv[static_cast<std::size_t>(i)] - 1;
    if (p < i || p >= m) return std::numeric_limits<double>::infinity();
    if (p != i)
      for (int j = 0; j < n; ++j) std::swap(plu(i, j), plu(p, j));
  }
  return scaled(norm1(minus(plu, widen(a))), n * norm1(a) * epsilon<T>());
}

// || B - A X || / (n ||A|| ||X|| eps), the largest over the columns of X.
template <class T>
double solveRatio(const HostMatrix<T>& a, const HostMatrix<T>& x, const HostMatrix<T>& b) {
  const int n = a.rows();
  const HostMatrix<Wide<T>> residual = minus(widen(b), product(widen(a), widen(x)));
  const double scale = n * norm1(a) * epsilon<T>();
  double worst = 0;
  for (int j = 0; j < b.cols(); ++j) {
    double r = 0, size = 0;
    for (int i = 0; i < n; ++i) {
      r += magnitude(residual(i, j));
      size += magnitude(x(i, j));
    }
    worsen(worst, scaled(r, scale * size));
  }
  return worst;
}

// The factorizations by reflectors: A = Q R, A = L Q and A = R Q.
using Orthogonal = tovi::lapack::Reflectors;

// The host's products with Q.
template <class T>
auto hostProduct(Orthogonal form) {
  return form == Orthogonal::qr   ? &host::ormqr<T>
         : form == Orthogonal::lq ? &host::ormlq<T>
                                  : &host::ormrq<T>;
}

// Q written out, from what the factorization left in a and tau, k = min(m, n): its first k columns for QR (m
// x k), its first (LQ) or last (RQ) k rows (k x n).
template <class T>
HostMatrix<Wide<T>> explicitQ(Orthogonal form, const HostMatrix<T>& factored, const std::vector<T>& tau) {
  using W = Wide<T>;
  const int m = factored.rows(), n = factored.cols(), k = std::min(m, n);
  HostMatrix<W> v = widen(factored), q(form == Orthogonal::qr ? m : k, form == Orthogonal::qr ? k : n);
  std::vector<W> wideTau;
  for (const T& t : tau) wideTau.push_back(widen(t));
  for (int i = 0; i < k; ++i) q(i, form == Orthogonal::rq ? n - k + i : i) = W(1);
  const int lwork = 64 * std::max(m, n);
  std::vector<W> work(static_cast<std::size_t>(lwork));
  W* const reflectors = v.data() + (form == Orthogonal::rq ? m - k : 0);
  if (hostProduct<W>(form)(form == Orthogonal::qr ? 'L' : 'R', 'N', q.rows(), q.cols(), k, reflectors, v.ld(),
                           wideTau.data(), q.data(), q.ld(), work.data(), lwork) != 0)
    q.fill(quietNaN<W>());
  return q;
}

// || A - Q R || / (max(m, n) ||A|| eps), or the same with L Q or R Q.
template <class T>
double qrRatio(Orthogonal form, const HostMatrix<T>& a, const HostMatrix<T>& factored,
               const std::vector<T>& tau) {
  using W = Wide<T>;
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  const HostMatrix<W> q = explicitQ(form, factored, tau);
  HostMatrix<W> triangle = leading(factored, k, n, [](int i, int j) { return i <= j; });
  if (form == Orthogonal::lq) triangle = leading(factored, m, k, [](int i, int j) { return i >= j; });
  if (form == Orthogonal::rq)
    triangle = HostMatrix<W>(m, k).set(
        [&](int i, int j) { return i <= m - k + j ? widen(factored(i, n - k + j)) : W(0); });
  const HostMatrix<W> whole = form == Orthogonal::qr ? product(q, triangle) : product(triangle, q);
  return scaled(norm1(minus(whole, widen(a))), std::max(m, n) * norm1(a) * epsilon<T>());
}

// || I - Q^H Q || / (max(m, n) eps), of the shorter side of a matrix with orthonormal columns or rows.
template <class T, class W>
double orthogonalityRatio(const HostMatrix<W>& q) {
  const int m = q.rows(), n = q.cols();
  const HostMatrix<W> gram = m >= n ? product('C', q, 'N', q) : product('N', q, 'C', q);
  return norm1(minus(gram, identity<W>(gram.rows()))) / (std::max(m, n) * epsilon<T>());
}

}  // namespace testing_support

#endif
