// The matrix kernels on exact integer data: every size around the 16 x 16 block, padding poisoned.

#include <type_traits>
#include <utility>
#include <vector>

#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
#include "src/basic/LACPY.h"
#include "src/basic/LASET.h"
#include "src/basic/MADD.h"
#include "src/basic/Set.h"
#include "src/basic/Subtract.h"
#include "src/basic/Transpose.h"
#include "tests/support/matrix.h"

namespace {

using namespace testing_support;
using tovi::MatrixView;
namespace basic = tovi::basic;

// The matrix whose element (i, j) is rule(i, j), with padding that depends on the shape.
template <class T, class Rule>
HostMatrix<T> made(int rows, int cols, const Rule& rule) {
  HostMatrix<T> a(rows, cols, 1 + cols % 3);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) a(i, j) = rule(i, j);
  return a;
}

// No two elements are equal, and none is its own conjugate.
template <class T>
HostMatrix<T> numbered(int rows, int cols, int start = 1) {
  return made<T>(rows, cols, [=](int i, int j) { return makeElement<T>(start + i + j * rows, 2 + i + j); });
}

template <class T>
void expectHolds(const OnDevice<T>& device, const HostMatrix<T>& expected) {
  EXPECT_TRUE(device.holds(expected)) << expected.rows() << " x " << expected.cols();
}

// The longest ones, for one type, are longer than the blocks of one grid reach.
template <class T>
std::vector<std::pair<int, int>> shapes() {
  std::vector<std::pair<int, int>> all = {{1, 1}, {15, 17}, {16, 16}, {17, 33}, {1, 257}, {257, 3}, {64, 48}};
  constexpr int most = 65535 * 16;
  if (std::is_same_v<T, Complex<float>>) all.insert(all.end(), {{1, most + 1}, {most + 1, 1}});
  return all;
}

template <class T>
class BasicMatrix : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(BasicMatrix, Elements);

TYPED_TEST(BasicMatrix, Transposes) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>())
    for (bool conjugate : {false, true}) {
      const auto a = numbered<T>(m, n);
      const auto expected =
          made<T>(n, m, [&](int i, int j) { return conjugate ? tovi::conj(a(j, i)) : a(j, i); });
      OnDevice<T> dA(a), dB(made<T>(n, m, [](int, int) { return quietNaN<T>(); }));
      basic::transpose(dA.view, dB.view, conjugate);
      expectHolds(dB, expected);
      expectHolds(dA, a);
    }
}

TYPED_TEST(BasicMatrix, TransposesInPlace) {
  using T = TypeParam;
  for (int n : {1, 2, 15, 16, 17, 32, 33, 100})
    for (bool conjugate : {false, true}) {
      const auto a = numbered<T>(n, n);
      OnDevice<T> dA(a);
      basic::transposeInplace(dA.view, conjugate);
      expectHolds(dA, made<T>(n, n, [&](int i, int j) { return conjugate ? tovi::conj(a(j, i)) : a(j, i); }));
    }
}

TYPED_TEST(BasicMatrix, CopiesAllOrOneTriangle) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>()) {
    const auto a = numbered<T>(m, n), b = numbered<T>(m, n, -50000);
    for (char uplo : {'F', 'G', 'U', 'u', 'L', 'l'}) {
      OnDevice<T> dA(a), dB(b);
      basic::lacpy(uplo, dA.view, dB.view);
      const bool upper = uplo != 'L' && uplo != 'l', lower = uplo != 'U' && uplo != 'u';
      expectHolds(dB, made<T>(m, n, [&](int i, int j) {
                    return i == j || (i < j ? upper : lower) ? a(i, j) : b(i, j);
                  }));
    }
    OnDevice<T> dA(a), dB(b);
    basic::copyMatrix(dA.view, dB.view);
    expectHolds(dB, a);
  }
}

// Between two leading dimensions, from the inside of one matrix to the inside of another one.
TYPED_TEST(BasicMatrix, CopiesBlocks) {
  using T = TypeParam;
  const auto a = numbered<T>(40, 30), b = numbered<T>(29, 44, -50000);
  OnDevice<T> dA(a), dB(b);
  basic::copyMatrix(dA.view.block(3, 5, 18, 17), dB.view.block(2, 7, 18, 17));
  expectHolds(dB, made<T>(29, 44, [&](int i, int j) {
                return i >= 2 && i < 20 && j >= 7 && j < 24 ? a(i + 1, j - 2) : b(i, j);
              }));
}

TYPED_TEST(BasicMatrix, Sets) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>()) {
    const auto a = numbered<T>(m, n);
    for (auto fill : {basic::Fill::zero, basic::Fill::one}) {
      OnDevice<T> dA(a);
      basic::setMatrix(fill, dA.view);
      expectHolds(dA, made<T>(m, n, [&](int, int) { return T(fill == basic::Fill::one ? 1 : 0); }));
    }
    const T alpha = makeElement<T>(3, -4), beta = makeElement<T>(-7, 5);
    for (char uplo : {'U', 'u', 'L', 'l', 'F'}) {
      OnDevice<T> dA(a);
      basic::laset(uplo, alpha, beta, dA.view);
      const bool upper = uplo != 'L' && uplo != 'l', lower = uplo != 'U' && uplo != 'u';
      expectHolds(dA, made<T>(m, n, [&](int i, int j) {
                    return i == j ? beta : (i < j ? upper : lower) ? alpha : a(i, j);
                  }));
    }
  }
}

TYPED_TEST(BasicMatrix, ShapesTriangles) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>()) {
    const auto a = numbered<T>(m, n);
    for (char uplo : {'U', 'L', 'l'})
      for (char diag : {'U', 'N', 'Z', 'z'})
        for (auto fill : {basic::Fill::zero, basic::Fill::one}) {
          OnDevice<T> dA(a);
          basic::setTriangular(uplo, diag, dA.view, fill);
          expectHolds(dA, made<T>(m, n, [&](int i, int j) {
                        if (i == j) return diag == 'N' ? a(i, j) : T(diag == 'U' ? 1 : 0);
                        return (uplo == 'U') == (i < j) ? a(i, j) : T(fill == basic::Fill::one ? 1 : 0);
                      }));
        }
  }
}

TYPED_TEST(BasicMatrix, Conjugates) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>()) {
    const auto a = numbered<T>(m, n);
    OnDevice<T> dA(a), dB(a);
    basic::conjugateMatrix(dA.view);
    expectHolds(dA, made<T>(m, n, [&](int i, int j) { return tovi::conj(a(i, j)); }));
    basic::conjugateMatrixLower(dB.view);
    expectHolds(dB, made<T>(m, n, [&](int i, int j) { return i >= j ? tovi::conj(a(i, j)) : a(i, j); }));
  }
}

TYPED_TEST(BasicMatrix, AddsScaledOperands) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>())
    for (char transa : {'N', 'T'})
      for (char transb : {'N', 't'}) {
        const bool ta = transa == 'T', tb = transb == 't';
        const auto a = ta ? numbered<T>(n, m) : numbered<T>(m, n);
        const auto b = tb ? numbered<T>(n, m, 500) : numbered<T>(m, n, 500);
        OnDevice<T> dA(a), dB(b), dC(made<T>(m, n, [](int, int) { return quietNaN<T>(); }));
        const auto expected = made<T>(m, n, [&](int i, int j) {
          return T(3) * (ta ? a(j, i) : a(i, j)) + T(-2) * (tb ? b(j, i) : b(i, j));
        });
        basic::madd(transa, transb, Real<T>(3), dA.view, Real<T>(-2), dB.view, dC.view);
        expectHolds(dC, expected);
        // In place of an operand that is not transposed.
        if (!tb) {
          basic::madd(transa, transb, Real<T>(3), dA.view, Real<T>(-2), dB.view, dB.view);
          expectHolds(dB, expected);
        }
      }
}

TYPED_TEST(BasicMatrix, SubtractsInPlaceOfTheSecondOperand) {
  using T = TypeParam;
  for (auto [m, n] : shapes<T>())
    for (char transa : {'N', 't'})
      for (char transb : {'n', 'T'}) {
        const bool crossed = (transa == 'N') != (transb == 'n');
        const auto a = crossed ? numbered<T>(n, m, 7000) : numbered<T>(m, n, 7000);
        const auto b = numbered<T>(m, n);
        OnDevice<T> dA(a), dB(b);
        basic::subtractMatrix(transa, transb, dA.view, dB.view);
        expectHolds(dB, made<T>(m, n, [&](int i, int j) { return b(i, j) - (crossed ? a(j, i) : a(i, j)); }));
      }
}

}  // namespace
