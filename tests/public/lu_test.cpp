// LU factorization and linear systems through the exported functions, on whatever device is there.

#include <cmath>

#include "tests/support/lu_checks.h"

namespace testing_support {
namespace {

template <class T>
class LuTest : public LibraryTest {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(LuTest, Elements);

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
