// Cholesky on pretended machines: the small blocks of the first device generation, how diagonal blocks
// travel, and failures beside errors of the data.

#include <tuple>
#include <type_traits>

#include "device/software/testing/software_device.h"
#include "tests/cholesky/cholesky_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

TOVI_TYPED_SUITE(CholeskySoftwareTest, ::testing::Test, AllTypes);

// Blocks are 64 wide on capabilities 1.0 to 1.3.
TYPED_TEST(CholeskySoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const int n : {31, 32, 33, 65, 300}) checkCholesky<TypeParam>(Memory::host, n);
  checkNotPositive<TypeParam>(Memory::host, 150, 32, 32, TypeParam(-1));
  checkPositiveSolve<TypeParam>(Memory::device, 200, 3);
}

// The next diagonal block is sent for before the rest of the update is queued.
TYPED_TEST(CholeskySoftwareTest, DiagonalBlocksTravelAheadOnAPrivateStream) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int nb = std::is_same_v<TypeParam, float> ? 96 : 64;
  HostMatrix<TypeParam> a = positive<TypeParam>('L', 3 * nb);
  software_device::startRecording();
  ASSERT_EQ(factorPositive(Memory::device, 'L', a), toviNoError);
  std::string order;
  for (const software_device::Call& call : software_device::stopRecording()) {
    const bool copy = call.entry == Entry::memcpyAsync || call.entry == Entry::memcpy2DAsync;
    if (copy) {
      EXPECT_NE(call.stream, 0u);
    }
    order += copy                                                     ? "copy "
             : call.entry == Entry::trsm                              ? "trsm "
             : call.entry == Entry::gemm                              ? "gemm "
             : call.entry == Entry::herk || call.entry == Entry::syrk ? "update "
                                                                      : "";
  }
  EXPECT_EQ(order, "copy copy trsm update copy trsm gemm update copy trsm update copy copy ");
}

// What an update that has failed leaves is not positive definite, but that is not what went wrong.
TEST(CholeskySoftwareFailures, ComeBeforeTheDataError) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const std::tuple<Entry, int, toviStatus> faults[] = {
      {Entry::syrk, 14, toviBlasError},
      {Entry::trsm, 3, toviInsufficientMemory},
      {Entry::launch, cudaErrorLaunchFailure, toviRuntimeError}};
  for (const Memory where : bothInterfaces)
    for (const auto& [entry, code, status] : faults) {
      HostMatrix<float> a = positive<float>('U', 400);
      a(390, 390) = -1;
      const HostMatrix<float> before = a;
      software_device::failCall(entry, 1, code);
      EXPECT_EQ(factorPositive(where, 'U', a), status);
      EXPECT_EQ(software_device::failuresInjected(), 1u);
      EXPECT_TRUE(where == Memory::device || a.sameBits(before));
      software_device::clearFaults();
    }
}

}  // namespace
}  // namespace testing_support
