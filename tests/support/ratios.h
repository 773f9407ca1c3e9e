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
#include "tests/support/matrix.h"

namespace testing_support {

constexpr double luBound = 30;    // LU factorizations and solves
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

// Largest sum of magnitudes of a column; NaN if any element is.
template <class T>
double norm1(const HostMatrix<T>& a) {
  double largest = 0;
  for (int j = 0; j < a.cols(); ++j) {
    double sum = 0;
    for (int i = 0; i < a.rows(); ++i) sum += magnitude(a(i, j));
    if (!(sum <= largest) && !std::isnan(largest)) largest = sum;
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
  double worst = 0;
  for (int j = 0; j < b.cols(); ++j) {
    double r = 0, size = 0;
    for (int i = 0; i < n; ++i) {
      r += magnitude(residual(i, j));
      size += magnitude(wx(i, j));
    }
    const double ratio = scaled(r, n * norm1(a) * size * epsilon<T>());
    if (!(ratio <= worst) && !std::isnan(worst)) worst = ratio;
  }
  return worst;
}

}  // namespace testing_support

#endif
