// The row-wise factorizations, LQ and RQ, which no exported routine shows by itself.

#include <string>

#include "lapack/qr.h"
#include "tests/support/qr_checks.h"

namespace testing_support {
namespace {

template <class T>
class RowWiseTest : public LibraryTest {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(RowWiseTest, Elements);

template <class T>
void factorRows(Orthogonal form, HostMatrix<T>& a, std::vector<T>& tau) {
  const DeviceArray<T> dA(a), dTau(tau.data(), tau.size());
  const tovi::MatrixView<T> view(dA.data(), a.rows(), a.cols(), a.ld());
  if (form == Orthogonal::lq)
    tovi::lapack::gelqf(view, dTau.data());
  else
    tovi::lapack::gerqf(view, dTau.data());
  dA.download(a);
  dTau.download(tau.data());
}

template <class T>
void checkRows(int m, int n) {
  for (const Orthogonal form : {Orthogonal::lq, Orthogonal::rq}) {
    SCOPED_TRACE((form == Orthogonal::lq ? "LQ " : "RQ ") + std::to_string(m) + " x " + std::to_string(n));
    const HostMatrix<T> a = HostMatrix<T>::random(m, n, 2, static_cast<std::uint64_t>(m * 10007 + n));
    HostMatrix<T> factored = a;
    std::vector<T> tau(static_cast<std::size_t>(std::min(m, n)) + 1, T(-7));
    factorRows(form, factored, tau);
    EXPECT_TRUE(tau.back() == T(-7));
    tau.pop_back();
    expectFactored(form, a, factored, tau);
  }
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
