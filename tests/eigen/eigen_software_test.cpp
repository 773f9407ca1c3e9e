// Eigendecompositions on pretended machines: the small blocks of the first device generation, what travels
// during the reduction to tridiagonal form, and the bits of the symmetric matrix-vector product.

#include <string>

#include "device/software/testing/software_device.h"
#include "lapack/device_products.h"
#include "lapack/tridiagonal.h"
#include "src/blas/blas.h"
#include "tests/eigen/eigen_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

TOVI_TYPED_SUITE(EigenSoftwareTest, ::testing::Test, AllTypes);

// Blocks are 16 wide on capabilities 1.0 to 1.3; what is left to the host has 32 rows.
TYPED_TEST(EigenSoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Memory where : bothInterfaces)
    for (const int n : {32, 33, 48, 49, 100}) checkAllOptions<TypeParam>(where, n);
}

// While panels are reduced nothing travels between host and device, and nobody waits. A column takes one
// product with the matrix, a panel one update.
TYPED_TEST(EigenSoftwareTest, PanelsStayOnTheDevice) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int n = 128 + 2 * 48;
  const OnDevice<TypeParam> dA(randomHermitian<TypeParam>(n));
  const DeviceArray<TypeParam> dTau(n);
  const DeviceArray<Real<TypeParam>> dD(n), dE(n);
  software_device::startRecording();
  tovi::lapack::hetrd(dA.view, dD.data(), dE.data(), dTau.data());
  std::string order;
  int products = 0;
  for (const software_device::Call& call : software_device::stopRecording()) {
    products += call.entry == Entry::hemv;
    if (call.entry == Entry::syr2k || call.entry == Entry::her2k) order += 'u';
    if (call.entry == Entry::memcpy || call.entry == Entry::memcpy2D) order += 'c';
    if (call.entry == Entry::threadSynchronize || call.entry == Entry::streamSynchronize) order += 'w';
  }
  EXPECT_EQ(order, "uuccccc");  // the last block there and back, with d, e and the scalar factors
  EXPECT_EQ(products, 2 * 48);
}

// y := alpha A x + beta y against the same in double precision, in pieces and not; one triangle is used, and
// of its diagonal the real parts. The bits are the same however many threads there are.
TYPED_TEST(EigenSoftwareTest, TheProductWithAHermitianMatrix) {
  using T = TypeParam;
  ASSERT_EQ(pretend(2, 0), toviNoError);
  struct Case {
    int n, incx, incy;
    double beta;
  };
  for (const Case& c : {Case{1, 1, 1, 0},
                        {17, 2, -1, 1},
                        {361, -1, 3, 0.5},
                        {363, 1, 1, 0},
                        {700, 1, 1, -2},
                        {1500, -2, 1, 1}})
    for (const char uplo : {'L', 'U'}) {
      const HostMatrix<T> a = randomHermitian<T>(c.n);
      const auto vector = [&](int inc, std::uint64_t seed) {
        return HostMatrix<T>::random(1 + (c.n - 1) * std::abs(inc), 1, 0, seed);
      };
      const auto element = [&](const HostMatrix<T>& x, int inc, int i) {
        return widen(x(inc > 0 ? i * inc : (i - c.n + 1) * inc, 0));
      };
      const HostMatrix<T> x = vector(c.incx, 1), before = vector(c.incy, 2);
      const OnDevice<T> dA(eigenProblem('N', uplo, a).a), dX(x);
      std::vector<HostMatrix<T>> results;
      for (const int workers : {0, 1, 4}) {
        software_device::setWorkers(workers);
        const OnDevice<T> dY(before);
        tovi::blas::hemv(uplo, T(Real<T>(-0.5)), dA.view, dX.view.data, c.incx, T(Real<T>(c.beta)),
                         dY.view.data, c.incy);
        results.push_back(dY.downloaded(before));
        EXPECT_TRUE(results.back().sameBits(results.front())) << workers;
      }
      double worst = 0;
      for (int i = 0; i < c.n; ++i) {
        Wide<T> y = Wide<T>(c.beta) * element(before, c.incy, i);
        for (int j = 0; j < c.n; ++j) y += Wide<T>(-0.5) * (widen(a(i, j)) * element(x, c.incx, j));
        worsen(worst, magnitude(element(results[0], c.incy, i) - y));
      }
      CHECK_RATIO(worst / (c.n * epsilon<T>()), 1) << uplo << c.n;
    }
}

// The large products of the host's divide and conquer (host/products.h), columns 512 at a time.
using RealTypes = ::testing::Types<float, double>;
template <class T>
class DeviceProductsTest : public ::testing::Test {};
TYPED_TEST_SUITE(DeviceProductsTest, RealTypes);

TYPED_TEST(DeviceProductsTest, AreThoseOfTheHost) {
  using T = TypeParam;
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int m = 40, k = 30;
  for (const int n : {1, 511, 512, 513, 1100})
    for (const T beta : {T(0), T(0.5)}) {
      const HostMatrix<T> a = HostMatrix<T>::random(m, k, 3, 1), b = HostMatrix<T>::random(k, n, 2, 2);
      HostMatrix<T> c = HostMatrix<T>::random(m, n, 5, 3), expected = c;
      if (beta == 0) c.fill(quietNaN<T>());
      host::gemm('N', 'N', m, n, k, T(2), a.data(), a.ld(), b.data(), b.ld(), beta, expected.data(),
                 expected.ld());
      tovi::lapack::DeviceProducts products;
      const auto make = [&](char transa) {
        return products.make(host::Product<T>{transa, 'N', m, n, k, T(2), a.data(), a.ld(), b.data(), b.ld(),
                                              beta, c.data(), c.ld()});
      };
      const HostMatrix<T> before = c;
      EXPECT_FALSE(make('T'));
      EXPECT_TRUE(c.sameBits(before));
      ASSERT_TRUE(make('N'));
      products.check();
      EXPECT_TRUE(c.paddingIntact());
      CHECK_RATIO(norm1(minus(c, expected)) / (norm1(expected) * k * epsilon<T>()), 4) << n;
    }
}

// The first products of a call are those: what fails in one is what the call ends with.
TYPED_TEST(DeviceProductsTest, TellOfTheirFailures) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  Eigen<TypeParam> problem = eigenProblem('V', 'L', randomHermitian<TypeParam>(450));
  software_device::failCall(Entry::gemm, 1, 14);
  EXPECT_EQ(problem.run(Memory::host), toviBlasError);
  EXPECT_EQ(software_device::failuresInjected(), 1u);
  software_device::clearFaults();
}

}  // namespace
}  // namespace testing_support
