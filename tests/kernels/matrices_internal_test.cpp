// The matrix kernels on exact integer data: every size around the 16 x 16 block, padding poisoned;
// conversions between single and double precision with the numbers that the narrower type does not have.

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/kernels/kernels.h"

namespace testing_support {
namespace {

// The longest ones, for one type, are longer than the blocks of one grid reach.
template <class T>
std::vector<std::pair<int, int>> shapes() {
  std::vector<std::pair<int, int>> all = {{1, 1}, {15, 17}, {16, 16}, {17, 33}, {1, 257}, {257, 3}, {33, 33}};
  constexpr int most = 65535 * 16;
  if (std::is_same_v<T, Complex<float>>) all.insert(all.end(), {{1, most + 1}, {most + 1, 1}});
  return all;
}

// Whether an element is in the part that a letter names.
bool within(char uplo, int i, int j) {
  return uplo == 'U' || uplo == 'u' ? i <= j : uplo == 'L' || uplo == 'l' ? i >= j : true;
}

TOVI_TYPED_SUITE(BasicMatrix, ::testing::Test, AllTypes);

TYPED_TEST(BasicMatrix, TransposesAndConjugates) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>()) {
    const auto a = numbered<T>(m, n), b = numbered<T>(n, m, 7000);
    const OnDevice<T> dA(a);
    for (bool conjugate : {false, true}) {
      const auto turned = [&](int i, int j) { return conjugate ? tovi::conj(a(j, i)) : a(j, i); };
      expectMade(
          b, [&](MatrixView<T> x) { basic::transpose(dA.view, x, conjugate); }, turned);
      if (m == n)
        expectMade(
            a, [&](MatrixView<T> x) { basic::transposeInplace(x, conjugate); }, turned);
    }
    EXPECT_TRUE(dA.holds(a));
    const auto conjugated = [&](int i, int j) { return tovi::conj(a(i, j)); };
    expectMade(
        a, [](MatrixView<T> x) { basic::conjugateMatrix(x); }, conjugated);
  }
}

TYPED_TEST(BasicMatrix, CopiesAllOrOneTriangle) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>()) {
    const auto a = numbered<T>(m, n), b = numbered<T>(m, n, -50000);
    const OnDevice<T> dA(a);
    for (char uplo : {'F', 'G', 'U', 'u', 'L', 'l'})
      expectMade(
          b, [&](MatrixView<T> x) { basic::lacpy(uplo, dA.view, x); },
          [&](int i, int j) { return within(uplo, i, j) ? a(i, j) : b(i, j); });
    expectMade(
        b, [&](MatrixView<T> x) { basic::copyMatrix(dA.view, x); }, [&](int i, int j) { return a(i, j); });
    const auto real = numbered<Real<T>>(m, n);
    const OnDevice<Real<T>> dReal(real);
    expectMade(
        b, [&](MatrixView<T> x) { basic::copyMatrixRealToComplex<T>(dReal.view, x); },
        [&](int i, int j) { return T(real(i, j)); });
  }
  // From the inside of one matrix to the inside of another one.
  const auto a = numbered<T>(40, 30), b = numbered<T>(29, 44, -50000);
  const OnDevice<T> dA(a);
  expectMade(
      b, [&](MatrixView<T> x) { basic::copyMatrix(dA.view.block(3, 5, 18, 17), x.block(2, 7, 18, 17)); },
      [&](int i, int j) { return i >= 2 && i < 20 && j >= 7 && j < 24 ? a(i + 1, j - 2) : b(i, j); });
}

TYPED_TEST(BasicMatrix, SetsAllOrOneTriangle) {
  using T = TypeParam;
  const T alpha = makeElement<T>(3, -4), beta = makeElement<T>(-7, 5);
  for (auto [m, n] : shapes<T>()) {
    const auto a = numbered<T>(m, n);
    for (char uplo : {'U', 'u', 'L', 'l', 'F'})
      expectMade(
          a, [&](MatrixView<T> x) { basic::laset(uplo, alpha, beta, x); },
          [&](int i, int j) { return i == j               ? beta
                                     : within(uplo, i, j) ? alpha
                                                          : a(i, j); });
    for (auto fill : {basic::Fill::zero, basic::Fill::one}) {
      const T value(fill == basic::Fill::one ? 1 : 0);
      expectMade(
          a, [&](MatrixView<T> x) { basic::setMatrix(fill, x); }, [&](int, int) { return value; });
      for (char uplo : {'U', 'L', 'l'})
        for (char diag : {'U', 'N', 'Z', 'z'})
          expectMade(
              a, [&](MatrixView<T> x) { basic::setTriangular(uplo, diag, x, fill); },
              [&](int i, int j) {
                if (i == j) return diag == 'N' ? a(i, j) : T(diag == 'U' ? 1 : 0);
                return within(uplo, i, j) ? a(i, j) : value;
              });
    }
  }
}

TYPED_TEST(BasicMatrix, AddsAndSubtracts) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>())
    for (char transa : {'N', 't'})
      for (char transb : {'N', 'T'}) {
        const bool ta = transa == 't', tb = transb == 'T';
        const auto a = ta ? numbered<T>(n, m) : numbered<T>(m, n);
        const auto b = tb ? numbered<T>(n, m, 500) : numbered<T>(m, n, 500);
        const OnDevice<T> dA(a), dB(b);
        const auto sum = [&](int i, int j) {
          return T(3) * (ta ? a(j, i) : a(i, j)) + T(-2) * (tb ? b(j, i) : b(i, j));
        };
        const auto add = [&](MatrixView<T> y, MatrixView<T> z) {
          basic::madd(transa, transb, Real<T>(3), dA.view, Real<T>(-2), y, z);
        };
        const auto start = numbered<T>(m, n, 7000);
        expectMade(
            start, [&](MatrixView<T> x) { add(dB.view, x); }, sum);
        if (!tb)
          expectMade(
              b, [&](MatrixView<T> x) { add(x, x); }, sum);  // in place
        // B := B - A, one of them transposed where the letters differ
        const auto c = ta != tb ? numbered<T>(n, m) : numbered<T>(m, n);
        const OnDevice<T> dC(c);
        expectMade(
            start, [&](MatrixView<T> x) { basic::subtractMatrix(transa, transb, dC.view, x); },
            [&](int i, int j) { return start(i, j) - (ta != tb ? c(j, i) : c(i, j)); });
      }
}

// --- Precisions

TYPED_TEST(BasicMatrix, Converts) {
  using T = TypeParam;
  using S = basic::OtherPrecision<T>;
  for (auto [m, n] : shapes<T>()) {
    // Full of digits, so that a conversion to the narrower type rounds.
    const HostMatrix<S> a = HostMatrix<S>::random(m, n, n % 3, 4);
    const auto before = numbered<T>(m, n);
    const OnDevice<S> dA(a);
    expectMade(
        before, [&](MatrixView<T> x) { basic::convertPrecision<T>(dA.view, x); },
        [&](int i, int j) { return narrow<T>(widen(a(i, j))); });
    EXPECT_TRUE(dA.holds(a));
  }
}

// Narrowing rounds to nearest, ties to even; beyond the range to infinity, below it to the denormalized
// numbers and to zero. Widening what has come of it loses nothing, not even the sign of a zero.
TEST(BasicPrecisionOf, NumbersThatTheNarrowerTypeLacks) {
  using Limits = std::numeric_limits<float>;
  const double ulp = 0x1p-23;
  const std::pair<double, float> cases[] = {{1 + 0.5 * ulp, 1.0f},
                                            {1 + 0.5 * ulp + 0x1p-40, 0x1.000002p0f},
                                            {1 + 1.5 * ulp, 0x1.000004p0f},
                                            {-1 - 0.75 * ulp, -0x1.000002p0f},
                                            {1e300, Limits::infinity()},
                                            {-0x1.ffffffp127, -Limits::infinity()},
                                            {0x1.fffffep127, Limits::max()},
                                            {0x1p-149, Limits::denorm_min()},
                                            {0x1p-150, 0.0f},
                                            {-1e-300, -0.0f}};
  constexpr int n = static_cast<int>(std::size(cases));
  HostMatrix<Complex<double>> a(n, 1), wide(n, 1);
  HostMatrix<Complex<float>> expected(n, 1);
  for (int i = 0; i < n; ++i) {
    a(i, 0) = {cases[i].first, -cases[n - 1 - i].first};
    expected(i, 0) = {cases[i].second, -cases[n - 1 - i].second};
    wide(i, 0) = widen(expected(i, 0));
  }
  const OnDevice<Complex<double>> dA(a);
  const OnDevice<Complex<float>> dB(HostMatrix<Complex<float>>(n, 1));
  basic::convertPrecision<Complex<float>>(dA.view, dB.view);
  EXPECT_TRUE(dB.holds(expected));
  basic::convertPrecision<Complex<double>>(dB.view, dA.view);
  EXPECT_TRUE(dA.holds(wide));
}

}  // namespace
}  // namespace testing_support
