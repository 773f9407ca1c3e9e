// LU factorization and linear systems through the exported functions, on whatever device is there.

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/lu/lu_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(LuTest, LibraryTest, AllTypes);

// Panels are 192 wide (128 for complex); square matrices above 512 take the transposed path.
TYPED_TEST(LuTest, FactorsSquareMatricesAroundEveryBlockEdge) {
  for (const Memory where : bothInterfaces)
    for (const int n : {1, 2, 17, 127, 128, 129, 191, 192, 193, 257, 385, 512, 513, 577})
      checkFactorization<TypeParam>(where, n, n);
}

TYPED_TEST(LuTest, FactorsTallAndWideMatrices) {
  for (const Memory where : bothInterfaces) {
    for (const int m : {1, 63, 192, 193, 200, 513})
      for (const int n : {1, 64, 190, 514, 700})
        if (m != n) checkFactorization<TypeParam>(where, m, n);
    checkFactorization<TypeParam>(where, 900, 400);
    checkFactorization<TypeParam>(where, 1000, 100);
  }
}

// Only one row is left for the last column, so a last block of width 1 has nothing to interchange in a square
// matrix. In a tall one its interchange is not applied to the columns on its left: L comes out with two rows
// exchanged there.
TYPED_TEST(LuTest, LastBlockOfWidthOneLeavesTheColumnsOnItsLeftAlone) {
  const int nb = tovi::isComplex<TypeParam> ? 128 : 192;
  const int m = nb + 40, n = nb + 1;
  const HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(m, n, 0, 11);
  for (const Memory where : bothInterfaces) {
    HostMatrix<TypeParam> lu = a;
    std::vector<int> ipiv(static_cast<std::size_t>(n));
    ASSERT_EQ(factor(where, lu, ipiv), toviNoError);
    const int last = n - 1, pivot = ipiv[static_cast<std::size_t>(last)] - 1;
    ASSERT_NE(pivot, last) << "the data do not show it";
    EXPECT_FALSE(luRatio(a, lu, ipiv) < luBound);
    for (int j = 0; j < nb; ++j) std::swap(lu(last, j), lu(pivot, j));
    CHECK_RATIO(luRatio(a, lu, ipiv), luBound);
  }
}

TYPED_TEST(LuTest, ReportsTheFirstZeroPivotAndFinishesTheFactorization) {
  for (const Memory where : bothInterfaces) {
    for (const int n : {1, 100, 300, 600}) {
      checkSingular<TypeParam>(where, n, {1});
      checkSingular<TypeParam>(where, n, {n});
    }
    checkSingular<TypeParam>(where, 300, {200});
    checkSingular<TypeParam>(where, 600, {130, 131, 250, 600});
    checkSingular<TypeParam>(where, 600, {193, 400});
  }
}

TYPED_TEST(LuTest, SolvesSystems) {
  for (const Memory where : bothInterfaces) {
    for (const int n : {1, 2, 64, 192, 193, 512, 513, 700}) {
      checkSolve<TypeParam>(where, n, 1);
      checkSolve<TypeParam>(where, n, 5);
    }
    checkSolve<TypeParam>(where, 40, 600);
    checkSolve<TypeParam>(where, 520, 530);  // reaches the blocked triangular solve
  }
}

// By a number whose reciprocal is infinite nothing can be multiplied, but it can be divided by.
TYPED_TEST(LuTest, DividesByPivotsTooSmallForAReciprocal) {
  for (const Memory where : bothInterfaces) {
    for (const int n : {1, 2, 100, 300, 600}) checkSmallPivots<TypeParam>(where, n, n);
    for (const auto& [m, n] : {std::pair{30, 1}, {400, 250}, {250, 400}, {700, 600}})
      checkSmallPivots<TypeParam>(where, m, n);
  }
}

TYPED_TEST(LuTest, SolvesTheSmallestSystems) {
  using R = Real<TypeParam>;
  using Limits = std::numeric_limits<R>;
  const R small = Limits::min() / 8, least = Limits::denorm_min(), infinity = Limits::infinity();
  const struct {
    std::vector<R> a, b, x;
  } systems[] = {
      {{1, 0, 2, small}, {3, 0}, {3, 0}}, {{small, 2 * small, 1, 3}, {1, 3}, {0, 1}},
      {{0, small, 3, 2}, {3, 2}, {0, 1}}, {{small}, {3 * small}, {3}},
      {{-least}, {5 * least}, {-5}},      {{infinity}, {3}, {0}},
  };
  for (const Memory where : bothInterfaces)
    for (const auto& system : systems) {
      const int n = static_cast<int>(system.b.size());
      const auto matrix = [&](int cols, const std::vector<R>& numbers) {
        auto number = numbers.begin();
        return HostMatrix<TypeParam>(n, cols).set([&](int, int) { return TypeParam(*number++); });
      };
      HostMatrix<TypeParam> a = matrix(n, system.a), b = matrix(1, system.b);
      std::vector<int> ipiv(static_cast<std::size_t>(n));
      ASSERT_EQ(solve(where, a, ipiv, b), toviNoError);
      EXPECT_EQ(norm1(minus(b, matrix(1, system.x))), 0) << &system - systems;
    }
}

TYPED_TEST(LuTest, WithoutRightHandSidesTheMatrixIsStillFactored) {
  const HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(30, 30, 0, 4);
  HostMatrix<TypeParam> lu = a;
  std::vector<int> ipiv(30);
  TypeParam unused = TypeParam(9);
  ASSERT_EQ(gesv(Memory::host, 30, 0, lu.data(), 30, ipiv.data(), &unused, 30), toviNoError);
  CHECK_RATIO(luRatio(a, lu, ipiv), luBound);
  EXPECT_TRUE(unused == TypeParam(9));
}

TYPED_TEST(LuTest, NaNTravelsThroughAndNeverChangesTheStatus) {
  for (const Memory where : bothInterfaces)
    for (const int n : {50, 300, 600}) {
      HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(n, n, 0, 8);
      HostMatrix<TypeParam> b = HostMatrix<TypeParam>::random(n, 1, 0, 9);
      a(n / 2, n / 3) = quietNaN<TypeParam>();
      std::vector<int> ipiv(static_cast<std::size_t>(n));
      EXPECT_EQ(solve(where, a, ipiv, b), toviNoError);
      // How far it spreads is the host LAPACK's matter; it must not vanish.
      EXPECT_TRUE(std::isnan(norm1(a)));
    }
}

}  // namespace
}  // namespace testing_support
