// Least squares with and without constraints on pretended machines: the small blocks of the first device
// generation, and failures beside errors of the data.

#include <tuple>

#include "device/software/testing/software_device.h"
#include "tests/least_squares/least_squares_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(LeastSquaresSoftwareTest, ::testing::Test, AllTypes);

// Panels are 32 wide on capabilities 1.0 to 1.3.
TYPED_TEST(LeastSquaresSoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const char trans : {'N', 'C'})
    for (const auto& [m, n] : {std::pair{32, 32}, {33, 33}, {65, 64}, {100, 65}, {200, 31}}) {
      checkLeastSquares<TypeParam>(Memory::host, trans, m, n, 3);
      checkLeastSquares<TypeParam>(Memory::device, trans, n, m, 3);
    }
  checkDeficient<TypeParam>(Memory::host, 'N', 150, 100, {33, 99});
  checkDeficient<TypeParam>(Memory::host, 'C', 100, 150, {65});
  for (const int p : {31, 32, 33, 65, 97}) {
    checkConstrained<TypeParam>(Memory::host, 120, 97, p);
    checkConstrained<TypeParam>(Memory::device, 90, 130, p + 33);
  }
  checkDeficient<TypeParam>(Memory::host, 150, 100, 66, {35}, {}, 35);
}

// A data error says that the factors are complete, so whatever kept them from being so is told first.
TEST(LeastSquaresSoftwareSingular, AFailureComesBeforeTheDataError) {
  using software_device::Entry;
  ASSERT_EQ(pretend(1, 3), toviNoError);
  LeastSquares<float> tall = leastSquaresProblem<float>('N', 150, 100, 2),
                      wide = leastSquaresProblem<float>('N', 100, 150, 2);
  for (int i = 0; i < 150; ++i) tall.a(i, 9) = wide.a(9, i) = 0;
  Constrained<float> bound = constrainedProblem<float>(150, 100, 50);
  for (int j = 0; j < 100; ++j) bound.b(9, j) = 0;
  const std::tuple<Entry, int, toviStatus> faults[] = {
      {Entry::gemm, 14, toviBlasError}, {Entry::launch, cudaErrorLaunchFailure, toviRuntimeError}};
  const auto check = [&](auto problem, Memory where) {
    for (const auto& [entry, code, status] : faults) {
      auto failing = problem;
      software_device::failCall(entry, 1, code);
      EXPECT_EQ(failing.run(where), status);
      EXPECT_EQ(software_device::failuresInjected(), 1u);
      software_device::clearFaults();
      auto singular = problem;
      EXPECT_EQ(singular.run(where), toviDataError);
      EXPECT_EQ(toviGetErrorInfo(), 10);
    }
  };
  for (const Memory where : {Memory::host, Memory::device}) {
    check(tall, where), check(wide, where), check(bound, where);
  }
}

}  // namespace
}  // namespace testing_support
