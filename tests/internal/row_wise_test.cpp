// The row-wise factorizations, LQ and RQ, which no exported routine shows by itself.

#include "tests/support/qr_checks.h"

namespace testing_support {
namespace {

template <class T>
class RowWiseTest : public LibraryTest {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(RowWiseTest, Elements);

template <class T>
void checkRows(int m, int n) {
  for (const Orthogonal form : {Orthogonal::lq, Orthogonal::rq}) checkForm<T>(form, m, n);
}

TYPED_TEST(RowWiseTest, FactorsSquareMatricesAroundEveryBlockEdge) {
  for (const int n : {1, 2, 17, 63, 64, 65, 95, 96, 97, 128, 129, 191, 192, 193, 300, 389})
    checkRows<TypeParam>(n, n);
}

TYPED_TEST(RowWiseTest, FactorsTallAndWideMatrices) {
  for (const int m : {1, 64, 97, 128, 193, 320})
    for (const int n : {1, 65, 96, 130, 192, 400})
      if (m != n) checkRows<TypeParam>(m, n);
  checkRows<TypeParam>(2000, 150);
  checkRows<TypeParam>(150, 2000);
}

TYPED_TEST(RowWiseTest, EmptyMatricesNeedNoMemory) {
  TypeParam* const none = nullptr;
  for (const auto& [m, n] : {std::pair(0, 5), std::pair(5, 0), std::pair(0, 0)}) {
    tovi::lapack::gelqf(tovi::MatrixView<TypeParam>(none, m, n, 5), none);
    tovi::lapack::gerqf(tovi::MatrixView<TypeParam>(none, m, n, 5), none);
  }
  EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

}  // namespace
}  // namespace testing_support
