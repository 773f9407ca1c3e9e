// Reduction to bidiagonal form and the generation of its factors, which no exported routine shows by
// themselves.

#include "tests/support/bidiagonal_checks.h"

namespace testing_support {
namespace {

template <class T>
class GebrdTest : public LibraryTest {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(GebrdTest, Elements);

// Blocks are 96 wide; the last 1 to 96 rows and columns are reduced on the host.
constexpr int nb = 96;

TYPED_TEST(GebrdTest, ReducesBothShapesAroundEveryBlockEdge) {
  for (const int k : {2, nb - 1, nb, nb + 1, 2 * nb, 2 * nb + 1})
    for (const int more : {0, 1, 50}) {
      checkReduction<TypeParam>(k + more, k);
      if (more > 0) checkReduction<TypeParam>(k, k + more);
    }
}

TYPED_TEST(GebrdTest, ReducesSingleRowsAndColumns) {
  for (const int n : {1, 2, 97, 300}) {
    checkReduction<TypeParam>(1, n);
    checkReduction<TypeParam>(n, 1);
  }
}

// Reflectors that are identities, and a complex column whose only element is not real.
TYPED_TEST(GebrdTest, ReducesMatricesWithNothingToReduce) {
  for (const auto& [m, n] : {std::pair(130, 110), std::pair(110, 130)}) {
    HostMatrix<TypeParam> a(m, n, 1);
    checkReduction(a);
    for (int i = 0; i < std::min(m, n); ++i) a(i, i) = makeElement<TypeParam>(i - 3, 2);
    checkReduction(a);
  }
}

TYPED_TEST(GebrdTest, AnEmptyMatrixNeedsNothing) {
  for (const auto& [m, n] : {std::pair(0, 5), std::pair(5, 0)})
    tovi::brd::gebrd<TypeParam>({nullptr, m, n, 5}, nullptr, nullptr, nullptr, nullptr);
  tovi::lapack::orgbr<TypeParam>('Q', {nullptr, 5, 0, 5}, 0, nullptr);
  EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

TYPED_TEST(GebrdTest, TheFactorsFromEveryShape) {
  for (const int k : {1, 2, 63, nb, nb + 2, 2 * nb + 1})
    for (const int more : {0, 1, 2, 100}) {
      checkFactors<TypeParam>(k + more, k);
      if (more > 0) checkFactors<TypeParam>(k, k + more);
    }
}

}  // namespace
}  // namespace testing_support
