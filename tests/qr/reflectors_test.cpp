// Products with Q, and Q itself, through the exported functions, against the host LAPACK in double precision.

#include "tests/qr/qr_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(QTest, LibraryTest, AllTypes);

// Largest difference, scaled.
template <class T>
double differenceRatio(const HostMatrix<T>& result, const HostMatrix<Wide<T>>& expected, int order) {
  return scaled(norm1(minus(widen(result), expected)), order * norm1(expected) * epsilon<T>());
}

template <class T>
void checkExportedProducts(Memory where, int order, int k, int other) {
  const Factored<T> q(Orthogonal::qr, order, k);
  HostMatrix<T> a = q.a;
  std::vector<T> tau = q.tau;
  const Placed<T> dA(where, a), dTau(where, tau);
  for (const char side : {'L', 'r'})
    for (const char trans : {'n', tovi::isComplex<T> ? 'c' : 'T'}) {
      SCOPED_TRACE(shape(where, order, k) + ", " + std::to_string(other) + ' ' + side + trans);
      const char upperSide = side == 'L' ? 'L' : 'R';
      const HostMatrix<T> c = operand(q, upperSide, other);
      HostMatrix<T> result = c;
      const Placed<T> dC(where, result);
      ASSERT_EQ(ormqr(where, side, trans, c.rows(), c.cols(), k, static_cast<const T*>(dA.data()), a.ld(),
                      static_cast<const T*>(dTau.data()), dC.data(), c.ld()),
                toviNoError)
          << toviGetErrorInfo();
      dC.fetch(), dA.fetch();
      EXPECT_TRUE(result.paddingIntact() && a.sameBits(q.a));
      const auto expected = expectedProduct(q, upperSide, trans == 'n' ? 'N' : 'C', c);
      CHECK_RATIO(differenceRatio(result, expected, order), qrBound);
    }
}

// Blocks are 96 reflectors wide, 64 for complex; up to that many are left to the host.
TYPED_TEST(QTest, MultipliesAroundEveryBlockEdge) {
  constexpr int width = tovi::isComplex<TypeParam> ? 64 : 96;
  for (const Memory where : bothInterfaces) {
    for (const int k : {1, width, width + 1, 2 * width + 1})
      for (const int more : {0, 70}) checkExportedProducts<TypeParam>(where, k + more, k, 37);
    checkExportedProducts<TypeParam>(where, 2 * width + 30, width + 20, 600);
  }
}

TYPED_TEST(QTest, IsGeneratedAroundEveryBlockEdge) {
  constexpr int width = tovi::isComplex<TypeParam> ? 64 : 96;
  for (const Memory where : bothInterfaces)
    for (const int k : {0, 1, width, width + 1, 2 * width + 1})
      for (const int more : {0, 40})
        for (const int below : {0, 65}) {
          const int n = k + more, m = n + below;
          if (n == 0) continue;
          SCOPED_TRACE(shape(where, m, n) + ", " + std::to_string(k));
          const Factored<TypeParam> q(Orthogonal::qr, m, k);
          HostMatrix<TypeParam> a(m, n, 3);
          a.set([&](int i, int j) { return j < k ? q.a(i, j) : quietNaN<TypeParam>(); });
          std::vector<TypeParam> tau = q.tau;
          const Placed<TypeParam> dA(where, a), dTau(where, tau);
          ASSERT_EQ(orgqr(where, m, n, k, dA.data(), a.ld(), static_cast<const TypeParam*>(dTau.data())),
                    toviNoError)
              << toviGetErrorInfo();
          dA.fetch();
          EXPECT_TRUE(a.paddingIntact());
          const auto columns =
              HostMatrix<TypeParam>(m, n).set([](int i, int j) { return TypeParam(i == j ? 1 : 0); });
          CHECK_RATIO(differenceRatio(a, expectedProduct(q, 'L', 'N', columns), m), qrBound);
          CHECK_RATIO(orthogonalityRatio<TypeParam>(widen(a)), qrBound);
        }
}

}  // namespace
}  // namespace testing_support
