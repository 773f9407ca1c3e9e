// QR factorization through the exported functions, on whatever device is there.

#include <cmath>
#include <limits>

#include "tests/qr/qr_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(QrTest, LibraryTest, AllTypes);

// Panels are 96 wide (64 for complex): one host call up to there, one device block and a last column at one
// more, and so on.
TYPED_TEST(QrTest, FactorsSquareMatricesAroundEveryBlockEdge) {
  for (const Memory where : bothInterfaces)
    for (const int n : {1, 2, 17, 63, 64, 65, 95, 96, 97, 128, 129, 191, 192, 193, 300, 389})
      checkQr<TypeParam>(where, n, n);
}

TYPED_TEST(QrTest, FactorsTallAndWideMatrices) {
  for (const Memory where : bothInterfaces) {
    for (const int m : {1, 64, 97, 128, 193, 320})
      for (const int n : {1, 65, 96, 130, 192, 400})
        if (m != n) checkQr<TypeParam>(where, m, n);
    checkQr<TypeParam>(where, 2000, 150);
    checkQr<TypeParam>(where, 150, 2000);
  }
}

// Each column of zeros on and below the diagonal has nothing to reflect: tau is exactly zero there.
TYPED_TEST(QrTest, UpperTriangularMatricesComeBackUnchanged) {
  const int n = 250;
  HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(n, n, 1, 5);
  a.set([&](int i, int j) {
    return i < j ? a(i, j) : TypeParam(i == j ? tovi::real(a(i, i)) : Real<TypeParam>(0));
  });
  for (const int zero : {0, 95, 96, 200}) a(zero, zero) = TypeParam(0);
  for (const Memory where : bothInterfaces) {
    HostMatrix<TypeParam> qr = a;
    std::vector<TypeParam> tau(static_cast<std::size_t>(n), TypeParam(-7));
    ASSERT_EQ(factorQr(where, qr, tau), toviNoError);
    for (const TypeParam& t : tau) EXPECT_TRUE(t == TypeParam(0));
    EXPECT_EQ(norm1(minus(qr, a)), 0);
  }
}

TYPED_TEST(QrTest, RankDeficientMatricesAreFactoredAsWell) {
  HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(300, 220, 2, 6);
  for (int j = 0; j < a.cols(); j += 3)
    for (int i = 0; i < a.rows(); ++i) a(i, j) = j % 2 == 0 ? TypeParam(0) : a(i, 1);
  for (const Memory where : bothInterfaces) {
    HostMatrix<TypeParam> qr = a;
    std::vector<TypeParam> tau(220);
    ASSERT_EQ(factorQr(where, qr, tau), toviNoError);
    expectFactored(Orthogonal::qr, a, qr, tau);
  }
}

// Columns of all sizes beside each other, in every part of a panel: each is as exact as it would be alone.
TYPED_TEST(QrTest, ColumnsOfAllSizesKeepTheirDigits) {
  using R = Real<TypeParam>;
  const R least = std::numeric_limits<R>::min(), greatest = R(1) / least;
  const double smallest = std::numeric_limits<R>::denorm_min();
  const R sizes[] = {R(1), least * R(0x1p-9), greatest * R(0x1p-14), R(0x1p-50), R(0), R(0x1p50), least};
  HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(500, 210, 1, 9);
  a.set([&](int i, int j) { return a(i, j) * TypeParam(sizes[j % 7]); });
  HostMatrix<TypeParam> qr = a;
  std::vector<TypeParam> tau(210);
  ASSERT_EQ(factorQr(Memory::host, qr, tau), toviNoError);
  const auto q = explicitQ(Orthogonal::qr, qr, tau);
  CHECK_RATIO(orthogonalityRatio<TypeParam>(q), qrBound);
  const auto difference =
      minus(product(q, leading(qr, 210, 210, [](int i, int j) { return i <= j; })), widen(a));
  for (int j = 0; j < a.cols(); ++j) {
    double error = 0, norm = 0;
    for (int i = 0; i < a.rows(); ++i) {
      error += magnitude(difference(i, j));
      norm += magnitude(a(i, j));
    }
    EXPECT_LE(error, qrBound * a.rows() * (norm * epsilon<TypeParam>() + smallest)) << "column " << j;
  }
}

TYPED_TEST(QrTest, NaNTravelsThroughAndNeverChangesTheStatus) {
  for (const Memory where : bothInterfaces)
    for (const int n : {50, 200}) {
      HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(n, n, 0, 8);
      a(n / 2, n / 3) = quietNaN<TypeParam>();
      std::vector<TypeParam> tau(static_cast<std::size_t>(n));
      EXPECT_EQ(factorQr(where, a, tau), toviNoError);
      EXPECT_TRUE(std::isnan(norm1(a)));
    }
}

}  // namespace
}  // namespace testing_support
