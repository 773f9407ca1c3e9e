// LU on pretended machines: the small blocks of the first device generation, how panels travel, and failures
// beside errors of the data.

#include <tuple>

#include "device/software/testing/software_device.h"
#include "ground/hooks.h"
#include "tests/lu/lu_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

TOVI_TYPED_SUITE(LuSoftwareTest, ::testing::Test, AllTypes);

// Panels are 64 wide on capabilities 1.0 to 1.3.
TYPED_TEST(LuSoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const int n : {63, 64, 65, 129, 512, 513}) checkFactorization<TypeParam>(Memory::host, n, n);
  checkFactorization<TypeParam>(Memory::device, 300, 130);
  checkFactorization<TypeParam>(Memory::device, 130, 300);
  checkSingular<TypeParam>(Memory::host, 150, {65, 149});
  checkSolve<TypeParam>(Memory::host, 577, 3);
}

TYPED_TEST(LuSoftwareTest, PanelsTravelOnAPrivateStream) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int nb = tovi::isComplex<TypeParam> ? 128 : 192, n = 3 * nb;
  for (const int cols : {n, n + 1}) {  // transposed and straight
    HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(n, cols, 0, 1);
    std::vector<int> ipiv(static_cast<std::size_t>(n));
    software_device::startRecording();
    ASSERT_EQ(factor(Memory::device, a, ipiv), toviNoError);
    int transfers = 0;
    forEachRecorded([&](const software_device::Call& call, bool travels) {
      EXPECT_TRUE(!travels || call.stream != 0);
      transfers += travels;
    });
    EXPECT_EQ(transfers, 6);  // down and up for each of the three panels
  }
}

// Panels with subnormal pivots come to the host a second time.
TYPED_TEST(LuSoftwareTest, PanelsThatAreFetchedAgainAreWaitedFor) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const std::uint64_t order : {1U, 2U, 3U}) {
    software_device::setSchedule(software_device::Schedule::drawn, order);
    checkSmallPivots<TypeParam>(Memory::device, 300, 130);  // straight
    checkSmallPivots<TypeParam>(Memory::device, 520, 520);  // transposed
  }
}

// A data error says that the factors are complete, so whatever kept them from being so is told first.
TEST(LuSoftwareSingular, AFailureComesBeforeTheDataError) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const std::tuple<Entry, int, toviStatus> faults[] = {
      {Entry::gemm, 14, toviBlasError},
      {Entry::trsm, 3, toviInsufficientMemory},
      {Entry::launch, cudaErrorLaunchFailure, toviRuntimeError}};
  const int shapes[][2] = {{400, 400}, {600, 400}, {600, 600}};  // the last one in transposed storage
  for (const Memory where : {Memory::host, Memory::device})
    for (const auto& [m, n] : shapes)
      for (const auto& [entry, code, status] : faults) {
        SCOPED_TRACE(shape(where, m, n));
        HostMatrix<float> a = HostMatrix<float>::random(m, n, 0, 3);
        for (int i = 0; i < m; ++i) a(i, 9) = 0;
        std::vector<int> ipiv(static_cast<std::size_t>(n));
        software_device::failCall(entry, 1, code);
        EXPECT_EQ(factor(where, a, ipiv), status);
        EXPECT_EQ(software_device::failuresInjected(), 1u);
        software_device::clearFaults();
      }
}

}  // namespace
}  // namespace testing_support
