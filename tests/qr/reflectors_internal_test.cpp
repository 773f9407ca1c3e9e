// Products with Q against the host LAPACK, with reflectors from the host LAPACK. Q itself: SvdTest.

#include "tests/qr/qr_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(ReflectorsTest, LibraryTest, AllTypes);

// Blocks are 96 reflectors wide, 64 for complex; up to that many are left to the host.
template <class T>
constexpr int nb = tovi::isComplex<T> ? 64 : 96;

TYPED_TEST(ReflectorsTest, MultiplyFromBothSidesAroundEveryBlockEdge) {
  constexpr int width = nb<TypeParam>;
  for (const int k : {1, width - 1, width, width + 1, 2 * width, 2 * width + 1})
    for (const int more : {0, 1, 70}) checkProducts<TypeParam>(k + more, k, 37);
  for (const int other : {1, 2, 300, 1100}) checkProducts<TypeParam>(2 * width + 30, width + 20, other);
}

// More columns (rows) in A than reflectors are asked for.
TYPED_TEST(ReflectorsTest, OnlyTheLeadingReflectorsCount) {
  constexpr int width = nb<TypeParam>;
  for (const Orthogonal form : {Orthogonal::qr, Orthogonal::lq}) {
    const Factored<TypeParam> all(form, 3 * width, 2 * width + 9);
    for (const int k : {5, width + 7}) {
      SCOPED_TRACE(k);
      Factored<TypeParam> some = all;
      some.k = k;
      checkProduct(some, 'L', 'N', 11);
      checkProduct(some, 'R', 'C', 11);
    }
  }
}

// H = I for reflectors whose scalar factor is zero.
TYPED_TEST(ReflectorsTest, ZeroFactorsAreIdentities) {
  constexpr int width = nb<TypeParam>;
  for (const Orthogonal form : everyForm) {
    Factored<TypeParam> q(form, 2 * width + 60, 2 * width + 1);
    for (std::size_t i = 0; i < q.tau.size(); i += 3) q.tau[i] = TypeParam(0);
    checkProduct(q, 'L', 'C', 5);
    checkProduct(q, 'R', 'N', 5);
  }
}

}  // namespace
}  // namespace testing_support
