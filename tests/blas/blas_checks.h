// Calls of the BLAS, held against the same sum of products on the host, in double precision. What else must
// hold for a call, calls.h says.

#ifndef TOVI_TESTS_BLAS_BLAS_CHECKS_H
#define TOVI_TESTS_BLAS_BLAS_CHECKS_H

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/calls.h"
#include "tests/support/ratios.h"

namespace testing_support {

template <class T>
HostMatrix<double> magnitudes(const HostMatrix<T>& a) {
  HostMatrix<double> result(a.rows(), a.cols());
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) result(i, j) = magnitude(a(i, j));
  return result;
}

// A sum of products, and the same of the magnitudes, which tells how far rounding may move each element.
template <class W>
struct Sum {
  Sum(int rows, int cols) : value(rows, cols), size(rows, cols) {}
  void add(W factor, const HostMatrix<W>& x, const HostMatrix<W>& y) {
    terms += x.cols();
    addSized(factor, product(x, y), product(magnitudes(x), magnitudes(y)));
  }
  void add(W factor, const HostMatrix<W>& x) { addSized(factor, x, magnitudes(x)); }
  void addSized(W factor, const HostMatrix<W>& x, const HostMatrix<double>& sizes) {
    for (int j = 0; j < x.cols(); ++j)
      for (int i = 0; i < x.rows(); ++i) {
        value(i, j) += factor * x(i, j);
        size(i, j) += magnitude(factor) * sizes(i, j);
      }
  }
  HostMatrix<W> value;
  HostMatrix<double> size;
  int terms = 1;
};

template <class W>
HostMatrix<W> op(char trans, const HostMatrix<W>& a) {
  if (trans == 'N') return a;
  HostMatrix<W> t(a.cols(), a.rows());
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) t(j, i) = trans == 'C' ? tovi::conj(a(i, j)) : a(i, j);
  return t;
}
// The imaginary parts of a Hermitian matrix's diagonal do not count.
template <class W>
HostMatrix<W> withRealDiagonal(HostMatrix<W> a) {
  for (int i = 0; i < a.cols(); ++i) a(i, i) = W(tovi::real(a(i, i)));
  return a;
}
// The whole of a Hermitian matrix of which one triangle is there.
template <class W>
HostMatrix<W> hermitian(const HostMatrix<W>& stored) {
  const HostMatrix<W> a = withRealDiagonal(stored), other = op('C', a);
  HostMatrix<W> whole = a;
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i)
      if (i != j) whole(i, j) += other(i, j);
  return whole;
}
// A vector in the order of its elements.
template <class W>
HostMatrix<W> column(const HostMatrix<W>& row, int increment) {
  HostMatrix<W> x(row.cols(), 1);
  for (int i = 0; i < row.cols(); ++i) x(i, 0) = row(0, increment < 0 ? row.cols() - 1 - i : i);
  return x;
}

// alpha times the products of a call; in the place of B: x.
template <class W>
void addTriangular(const Call& call, W alpha, const HostMatrix<W>& x, Sum<W>& sum) {
  const Arguments a = call.arguments();
  HostMatrix<W> triangle = call.before<W>("a");
  for (int i = 0; i < triangle.rows() && a.is("diag", "U"); ++i) triangle(i, i) = W(1);
  triangle = op(a.letter("transa"), triangle);
  if (a.is("side", "L"))
    sum.add(alpha, triangle, x);
  else
    sum.add(alpha, x, triangle);
}

template <class W>
void addProducts(const Call& call, bool adjoint, Sum<W>& sum) {
  const Arguments a = call.arguments();
  const std::string_view family = call.family().name;
  const W alpha = call.scalar<W>("alpha");
  const HostMatrix<W> first = call.before<W>("a");
  if (family == "gemv")
    return sum.add(alpha, op(a.letter("trans"), first), column(call.before<W>("x"), a["incx"]));
  const HostMatrix<W> second = call.before<W>(family == "syrk" || family == "herk" ? "a" : "b");
  if (family == "gemm") return sum.add(alpha, op(a.letter("transa"), first), op(a.letter("transb"), second));
  if (family == "symm" || family == "hemm")
    return a.is("side", "L") ? sum.add(alpha, hermitian(first), second)
                             : sum.add(alpha, second, hermitian(first));
  const HostMatrix<W> x = op(a.letter("trans"), first), y = op(a.letter("trans"), second);
  sum.add(alpha, x, op(adjoint ? 'C' : 'T', y));
  if (family == "syr2k" || family == "her2k")
    sum.add(adjoint ? tovi::conj(alpha) : alpha, y, op(adjoint ? 'C' : 'T', x));
}

// The largest error of a call that has succeeded, in units of what its roundings may add up to; of a solution
// X, the error of op(A) X or X op(A). For complex types symm and syr2k are the Hermitian routines.
template <class W>
double blasRatio(const Call& call, double eps) {
  const Arguments a = call.arguments();
  const std::string_view family = call.family().name;
  const bool vectors = family == "gemv", triangular = family == "trsm" || family == "trmm",
             update = family[2] == 'r', adjoint = tovi::isComplex<W> && update && family != "syrk";
  const char* const output = vectors ? "y" : triangular ? "b" : "c";
  HostMatrix<W> start = call.before<W>(output), result = call.after<W>(output);
  if (vectors) start = column(start, a["incy"]), result = column(result, a["incy"]);
  Sum<W> sum(start.rows(), start.cols());
  if (family == "trsm") {
    addTriangular(call, W(1), result, sum);
    Sum<W> target(start.rows(), start.cols());
    target.add(call.scalar<W>("alpha"), start);
    result = target.value;
  } else if (family == "trmm") {
    addTriangular(call, call.scalar<W>("alpha"), start, sum);
  } else {
    const W beta = call.scalar<W>("beta");
    addProducts(call, adjoint, sum);
    const bool untouched = a.isZero("alpha") || sum.terms == 1;  // with beta = 1, imaginary parts included
    if (adjoint && !(untouched && tovi::real(beta) == 1)) start = withRealDiagonal(start);
    sum.add(adjoint ? W(tovi::real(beta)) : beta, start);
  }
  const double growth = eps * std::max(1.0, std::sqrt(sum.terms) / 8);
  double worst = 0;
  for (int j = 0; j < result.cols(); ++j)
    for (int i = 0; i < result.rows(); ++i)
      if (!update || (a.is("uplo", "L") ? i >= j : i <= j))
        worsen(worst, scaled(magnitude(result(i, j) - sum.value(i, j)), growth * sum.size(i, j)));
  return worst;
}

inline double blasRatio(const Call& call) {
  const double eps = call.element().partBytes == sizeof(float) ? epsilon<float>() : epsilon<double>();
  return call.element().parts == 2 ? blasRatio<Complex<double>>(call, eps) : blasRatio<double>(call, eps);
}

template <class T>
const Export& exportOf(const std::string& family, Memory where) {
  const char precision =
      std::is_same_v<Real<T>, float> ? (tovi::isComplex<T> ? 'C' : 'S') : (tovi::isComplex<T> ? 'Z' : 'D');
  const std::string name = (where == Memory::host ? "tovi" : "toviDevice") + (precision + family);
  return *std::find_if(allExports().begin(), allExports().end(),
                       [&](const Export& one) { return one.name == name; });
}

using Scalar = Complex<double>;
const Scalar nonTrivial(0.75, -0.5), otherNonTrivial(-1.25, 0.5);

// A call with these options, and these sizes and increments, in the order of the arguments.
template <class T>
void checkBlas(const std::string& family, Memory where, const std::string& options,
               const std::vector<int>& numbers, Scalar alpha = nonTrivial, Scalar beta = otherNonTrivial) {
  const Export& routine = exportOf<T>(family, where);
  const std::vector<Argument>& rows = routine.family->arguments;
  std::vector<Value> values(rows.size());
  const Arguments arguments(*routine.family, values);
  std::size_t option = 0, number = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Scalar& scalar = std::string_view(rows[i].name) == "beta" ? beta : alpha;
    if (rows[i].kind == Kind::option)
      values[i].option = options.at(option++);
    else if (rows[i].kind == Kind::size || rows[i].kind == Kind::increment)
      values[i].number = numbers.at(number++);
    else if (rows[i].kind == Kind::scalar)
      values[i].re = scalar.re, values[i].im = scalar.im;
    else if (rows[i].kind == Kind::ld)
      values[i].number = std::max(1, rows[i - 1].shape(arguments).rows) + 3;
  }
  Call call(routine, values, std::vector<bool>(rows.size()), 64);
  Random random(1);
  call.fill(random, Data::regular);
  const toviStatus status = call.run();
  EXPECT_EQ(status, toviNoError) << call.text();
  EXPECT_EQ(call.fault(status, toviGetErrorInfo()), "") << call.text();
  CHECK_RATIO(blasRatio(call), blasBound) << call.text();
}

// A triangle of whole numbers, for whole X, so that nothing is rounded in whatever order. Lines of op(A), and
// of B with them, are scaled down by powers of 2: numbers on the diagonal become subnormal, most of them too
// small for a reciprocal, down to the least number that there is. With diag = 'U' they are not read.
template <class T>
void checkSmallDiagonal(Memory where, const std::string& options, int m, int n) {
  SCOPED_TRACE(shape(where, m, n) + " " + options);
  using W = Wide<T>;
  using Limits = std::numeric_limits<Real<T>>;
  const char side = options[0], uplo = options[1], trans = options[2], diag = options[3];
  const bool left = side == 'L', unit = diag == 'U';
  const struct {
    W number;
    int exponent;
  } kinds[] = {{makeElement<W>(3, 4), Limits::min_exponent - 10},
               {W(1), 0},
               {makeElement<W>(-2, 1), Limits::min_exponent - Limits::digits},
               {makeElement<W>(0, 1) + W(1), Limits::min_exponent - 4},
               {W(-2), 0},
               {W(1), Limits::min_exponent - 2}};  // which has a reciprocal
  const auto kind = [&](int line) { return kinds[line % 17 < 6 ? line % 17 : 1]; };
  const auto scale = [&](int line) { return W(std::ldexp(1.0, unit ? 0 : kind(line).exponent)); };

  const int order = left ? m : n;
  Random random(static_cast<std::uint64_t>(m * 10007 + n));
  const auto whole = [&] { return makeElement<W>(random.below(3) - 1, random.below(3) - 1); };
  HostMatrix<T> a(order, order, 3), b(m, n, 2), x(m, n);
  HostMatrix<W> triangle(order, order), solution(m, n);
  a.fill(quietNaN<T>());
  for (int j = 0; j < order; ++j)
    for (int i = uplo == 'L' ? j : 0; i < (uplo == 'L' ? order : j + 1); ++i) {
      triangle(i, j) = i == j ? kind(i).number : whole();
      a(i, j) = narrow<T>(triangle(i, j) * scale(left == (trans == 'N') ? i : j));
      if (i == j && unit) a(i, i) = narrow<T>(W(Limits::denorm_min())), triangle(i, i) = W(1);
    }
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) solution(i, j) = whole() * W(2), x(i, j) = narrow<T>(solution(i, j));
  const HostMatrix<W> start =
      left ? product(op(trans, triangle), solution) : product(solution, op(trans, triangle));
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) b(i, j) = narrow<T>(start(i, j) * W(0.5) * scale(left ? i : j));

  const Placed<T> pa(where, a), pb(where, b);
  ASSERT_EQ(trsm(where, side, uplo, trans, diag, m, n, T(2), pa.data(), a.ld(), pb.data(), b.ld()),
            toviNoError);
  pb.fetch();
  EXPECT_EQ(norm1(minus(b, x)), 0);
  EXPECT_TRUE(b.paddingIntact());
}

// The transposed product around the blocks of its kernel, of 32 or 16 columns, and around the 512 or 128 rows
// that a block takes at a time.
template <class T>
void checkGemvBlocks() {
  for (const char* trans : {"T", "C"})
    for (const int m : {1, 127, 128, 129, 511, 512, 513, 1100})
      for (const int n : {1, 15, 17, 32, 33, 65}) {
        checkBlas<T>("gemv", Memory::device, trans, {m, n, 1, 1}, nonTrivial, 0);
        checkBlas<T>("gemv", Memory::device, trans, {m, n, -2, 3}, 1, otherNonTrivial);
        checkBlas<T>("gemv", Memory::device, trans, {m, n, 3, -1}, nonTrivial, 1);
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

}  // namespace testing_support

#endif
