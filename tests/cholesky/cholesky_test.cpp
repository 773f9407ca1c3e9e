// Cholesky factorization and positive definite systems through the exported functions, on whatever device is
// there.

#include <cmath>
#include <utility>

#include "tests/cholesky/cholesky_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(CholeskyTest, LibraryTest, AllTypes);

// Blocks are 96 wide (64 for complex).
TYPED_TEST(CholeskyTest, FactorsMatricesAroundEveryBlockEdge) {
  for (const Memory where : bothInterfaces)
    for (const int n : {1, 2, 17, 63, 64, 65, 95, 96, 97, 128, 129, 192, 193, 385, 577})
      checkCholesky<TypeParam>(where, n);
}

TYPED_TEST(CholeskyTest, SolvesSystems) {
  for (const Memory where : bothInterfaces) {
    for (const int n : {1, 2, 64, 97, 500})
      for (const int nrhs : {1, 5}) checkPositiveSolve<TypeParam>(where, n, nrhs);
    checkPositiveSolve<TypeParam>(where, 40, 600);
    checkPositiveSolve<TypeParam>(where, 520, 530);  // reaches the blocked triangular solve
  }
}

TYPED_TEST(CholeskyTest, ReportsTheFirstMinorThatIsNotPositiveDefinite) {
  const int nb = tovi::isComplex<TypeParam> ? 64 : 96;
  for (const Memory where : bothInterfaces) {
    for (const TypeParam value : {TypeParam(0), TypeParam(-1), quietNaN<TypeParam>()}) {
      for (const int row : {0, nb - 1, nb, 2 * nb + 1, 2 * nb + 39})
        checkNotPositive<TypeParam>(where, 2 * nb + 40, row, row, value);
      checkNotPositive<TypeParam>(where, 1, 0, 0, value);
    }
    for (const auto& [row, column] : {std::pair{5, 3}, {nb + 2, 1}, {2 * nb + 3, 2 * nb}})
      for (const TypeParam value : {quietNaN<TypeParam>(), TypeParam(1000)})
        checkNotPositive<TypeParam>(where, 2 * nb + 40, row, column, value);
  }
}

// Scaling by powers of two changes no digit of the factor.
TYPED_TEST(CholeskyTest, FactorsOfGradedMatricesAreGraded) {
  constexpr int n = 410;
  const auto power = [](int i) { return std::ldexp(Real<TypeParam>(1), i * 37 % 61 - 30); };
  for (const Memory where : bothInterfaces)
    for (const char uplo : {'L', 'U'}) {
      HostMatrix<TypeParam> even = positive<TypeParam>(uplo, n), graded = even;
      graded.set([&](int i, int j) { return even(i, j) * TypeParam(power(i) * power(j)); });
      ASSERT_EQ(factorPositive(where, uplo, even), toviNoError);
      ASSERT_EQ(factorPositive(where, uplo, graded), toviNoError);
      int different = 0;
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
          different +=
              inTriangle(uplo, i, j) && graded(i, j) != even(i, j) * TypeParam(power(uplo == 'L' ? i : j));
      EXPECT_EQ(different, 0);
    }
}

// Few vectors of weight and a little more: all eigenvalues but five are equal and small.
TYPED_TEST(CholeskyTest, FactorsNearlySingularMatrices) {
  constexpr int n = 300;
  const double little = 200 * n * epsilon<TypeParam>();
  const HostMatrix<TypeParam> v = HostMatrix<TypeParam>::random(n, 5, 0, 3);
  auto a = product('N', widen(v), 'C', widen(v));
  for (int i = 0; i < n; ++i) a(i, i) += Wide<TypeParam>(little);
  for (const Memory where : bothInterfaces)
    for (const char uplo : {'L', 'U'}) {
      const HostMatrix<TypeParam> before = narrow<TypeParam>(a);
      HostMatrix<TypeParam> factored = before;
      ASSERT_EQ(factorPositive(where, uplo, factored), toviNoError) << toviGetErrorInfo();
      CHECK_RATIO(choleskyRatio(uplo, before, factored), choleskyBound);
    }
}

TYPED_TEST(CholeskyTest, WithoutRightHandSidesTheMatrixIsStillFactored) {
  const HostMatrix<TypeParam> a = positive<TypeParam>('L', 30);
  HostMatrix<TypeParam> factored = a;
  TypeParam* const none = nullptr;
  ASSERT_EQ(posv(Memory::host, 'L', 30, 0, factored.data(), factored.ld(), none, 30), toviNoError);
  CHECK_RATIO(choleskyRatio('L', a, factored), choleskyBound);
}

}  // namespace
}  // namespace testing_support
