// Products with Q against the host LAPACK, with reflectors from the host LAPACK. Q itself: SvdTest.

#include "ground/outcomes.h"
#include "tests/qr/reflector_checks.h"

namespace testing_support {
namespace {

template <class T>
class ReflectorsTest : public LibraryTest {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(ReflectorsTest, Elements);

// Blocks are 96 reflectors wide, 64 for complex; up to that many are left to the host.
template <class T>
constexpr int nb = tovi::isComplex<T> ? 64 : 96;

TYPED_TEST(ReflectorsTest, MultiplyFromBothSidesAroundEveryBlockEdge) {
  constexpr int width = nb<TypeParam>;
  for (const int k : {1, width - 1, width, width + 1, 2 * width, 2 * width + 1})
    for (const int more : {0, 1, 70}) checkProducts<TypeParam>(k + more, k, 37);
}

TYPED_TEST(ReflectorsTest, MultiplyNarrowAndWideMatrices) {
  constexpr int width = nb<TypeParam>;
  for (const int other : {1, 2, 300, 1100}) checkProducts<TypeParam>(2 * width + 30, width + 20, other);
}

// More columns (rows) in A than reflectors are asked for.
TYPED_TEST(ReflectorsTest, OnlyTheLeadingReflectorsCount) {
  constexpr int width = nb<TypeParam>;
  for (const Kind kind : {Kind::qr, Kind::lq}) {
    const Factored<TypeParam> all(kind, 3 * width, 2 * width + 9);
    for (const int k : {5, width + 7}) {
      SCOPED_TRACE(k);
      Factored<TypeParam> some = all;
      some.k = k;
      checkProduct(some, 'L', 'N', 11);
      checkProduct(some, 'R', 'C', 11);
    }
  }
}

TYPED_TEST(ReflectorsTest, EmptyProductsTouchNothing) {
  const Factored<TypeParam> q(Kind::qr, 10, 4);
  const OnDevice<TypeParam> dA(q.a);
  const DeviceArray<TypeParam> dTau(q.tau.data(), q.tau.size());
  const HostMatrix<TypeParam> c = HostMatrix<TypeParam>::random(10, 3, 1, 1);
  const OnDevice<TypeParam> dC(c);
  tovi::lapack::applyReflectors(Kind::qr, 'L', 'N', 0, dA.view, dTau.data(), dC.view);
  tovi::lapack::applyReflectors<TypeParam>(Kind::qr, 'L', 'N', 4, dA.view, dTau.data(), {nullptr, 10, 0, 10});
  tovi::lapack::larfb<TypeParam>(Kind::qr, 'L', 'N', dA.view.columns(0, 0), nullptr, 1, dC.view);
  EXPECT_TRUE(dC.downloaded(c).sameBits(c));
}

TYPED_TEST(ReflectorsTest, OneBlockIsTheProductOfItsReflectors) {
  for (const int k : {1, 20, 130})
    for (const int more : {0, 1, 50})
      for (const Kind kind : {Kind::qr, Kind::lq, Kind::rq}) checkBlock<TypeParam>(kind, k + more, k, 23);
}

// H = I for reflectors whose scalar factor is zero.
TYPED_TEST(ReflectorsTest, ZeroFactorsAreIdentities) {
  constexpr int width = nb<TypeParam>;
  for (const Kind kind : {Kind::qr, Kind::lq, Kind::rq}) {
    Factored<TypeParam> q(kind, 2 * width + 60, 2 * width + 1);
    for (std::size_t i = 0; i < q.tau.size(); i += 3) q.tau[i] = TypeParam(0);
    checkProduct(q, 'L', 'C', 5);
    checkProduct(q, 'R', 'N', 5);
  }
}

TYPED_TEST(ReflectorsTest, NoGenerationFromRQ) {
  const OnDevice<TypeParam> dA(HostMatrix<TypeParam>(2, 2));
  EXPECT_THROW(tovi::lapack::generateQ(Kind::rq, 1, dA.view, dA.view.data), tovi::FeatNotImplException);
}

}  // namespace
}  // namespace testing_support
