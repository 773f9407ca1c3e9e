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

#include "platform/host/blas.h"
#include "platform/host/lapack.h"
#include "tests/support/matrix.h"

namespace testing_support {

constexpr double luBound = 30;    // LU factorizations and solves
constexpr double qrBound = 30;    // orthogonal factorizations: residual and loss of orthogonality
constexpr double blasBound = 30;  // products, against the same product in double precision

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
  HostMatrix<Wide<T>> wide(a.rows(), a.cols());
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) wide(i, j) = widen(a(i, j));
  return wide;
}

// residual / scale, where 0 / 0 is a perfect result.
inline double scaled(double residual, double scale) { return residual == 0 ? 0 : residual / scale; }

// || P L U - A || / (n ||A|| eps), with L, U and the 1-based pivots as getrf leaves them.
template <class T>
double luRatio(const HostMatrix<T>& a, const HostMatrix<T>& lu, const std::vector<int>& ipiv) {
  using W = Wide<T>;
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  HostMatrix<W> l(m, k), u(k, n);
  for (int j = 0; j < k; ++j) {
    l(j, j) = W(1);
    for (int i = j + 1; i < m; ++i) l(i, j) = widen(lu(i, j));
  }
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= std::min(j, k - 1); ++i) u(i, j) = widen(lu(i, j));
  HostMatrix<W> product(m, n);
  host::gemm('N', 'N', m, n, k, W(1), l.data(), l.ld(), u.data(), u.ld(), W(0), product.data(), product.ld());
  for (int i = k - 1; i >= 0; --i) {
    const int p = ipiv[static_cast<std::size_t>(i)] - 1;
    if (p < i || p >= m) return std::numeric_limits<double>::infinity();
    if (p != i)
      for (int j = 0; j < n; ++j) std::swap(product(i, j), product(p, j));
  }
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) product(i, j) -= widen(a(i, j));
  return scaled(norm1(product), n * norm1(a) * epsilon<T>());
}

// || B - A X || / (n ||A|| ||X|| eps), the largest over the columns of X.
template <class T>
double solveRatio(const HostMatrix<T>& a, const HostMatrix<T>& x, const HostMatrix<T>& b) {
  using W = Wide<T>;
  const int n = a.rows();
  HostMatrix<W> residual = widen(b);
  const HostMatrix<W> wa = widen(a), wx = widen(x);
  host::gemm('N', 'N', n, b.cols(), n, W(-1), wa.data(), wa.ld(), wx.data(), wx.ld(), W(1), residual.data(),
             residual.ld());
  const double scale = n * norm1(a) * epsilon<T>();
  double worst = 0;
  for (int j = 0; j < b.cols(); ++j) {
    double r = 0, size = 0;
    for (int i = 0; i < n; ++i) {
      r += magnitude(residual(i, j));
      size += magnitude(wx(i, j));
    }
    worsen(worst, scaled(r, scale * size));
  }
  return worst;
}

// The factorizations by reflectors: A = Q R, A = L Q and A = R Q.
enum class Orthogonal { qr, lq, rq };

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
  int info = 0;
  if (form == Orthogonal::qr)
    info = host::ormqr('L', 'N', m, k, k, v.data(), v.ld(), wideTau.data(), q.data(), q.ld(), work.data(),
                       lwork);
  else if (form == Orthogonal::lq)
    info = host::ormlq('R', 'N', k, n, k, v.data(), v.ld(), wideTau.data(), q.data(), q.ld(), work.data(),
                       lwork);
  else
    info = host::ormrq('R', 'N', k, n, k, &v(m - k, 0), v.ld(), wideTau.data(), q.data(), q.ld(), work.data(),
                       lwork);
  if (info != 0) q.fill(quietNaN<W>());
  return q;
}

// || A - Q R || / (max(m, n) ||A|| eps), or the same with L Q or R Q.
template <class T>
double qrRatio(Orthogonal form, const HostMatrix<T>& a, const HostMatrix<T>& factored,
               const std::vector<T>& tau) {
  using W = Wide<T>;
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  const HostMatrix<W> q = explicitQ(form, factored, tau);
  HostMatrix<W> residual = widen(a);
  if (form == Orthogonal::qr) {
    HostMatrix<W> r(k, n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= std::min(j, k - 1); ++i) r(i, j) = widen(factored(i, j));
    host::gemm('N', 'N', m, n, k, W(-1), q.data(), q.ld(), r.data(), r.ld(), W(1), residual.data(),
               residual.ld());
  } else {
    HostMatrix<W> triangle(m, k);
    for (int j = 0; j < k; ++j)
      for (int i = 0; i < m; ++i)
        if (form == Orthogonal::lq ? i >= j : i <= m - k + j)
          triangle(i, j) = widen(factored(i, form == Orthogonal::lq ? j : n - k + j));
    host::gemm('N', 'N', m, n, k, W(-1), triangle.data(), triangle.ld(), q.data(), q.ld(), W(1),
               residual.data(), residual.ld());
  }
  return scaled(norm1(residual), std::max(m, n) * norm1(a) * epsilon<T>());
}

// || I - Q^H Q || / (max(m, n) eps), of the shorter side of a matrix with orthonormal columns or rows.
template <class T, class W>
double orthogonalityRatio(const HostMatrix<W>& q) {
  const int m = q.rows(), n = q.cols(), k = std::min(m, n);
  HostMatrix<W> gram(k, k);
  for (int i = 0; i < k; ++i) gram(i, i) = W(1);
  const char adjoint = tovi::isComplex<W> ? 'C' : 'T';
  host::gemm(m >= n ? adjoint : 'N', m >= n ? 'N' : adjoint, k, k, std::max(m, n), W(-1), q.data(), q.ld(),
             q.data(), q.ld(), W(1), gram.data(), gram.ld());
  return norm1(gram) / (std::max(m, n) * epsilon<T>());
}

}  // namespace testing_support

#endif
