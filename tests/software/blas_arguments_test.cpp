// A bad argument ends a call before anything is asked of the device.

#include "platform/software/testing/software_device.h"
#include "tests/support/argument_cases.h"

namespace testing_support {
namespace {

TEST(BlasArguments, AreCheckedBeforeAnyCallOfTheDevice) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  for (const ArgumentCase& one : argumentCases()) {
    if (one.info == 0) continue;
    software_device::resetCounts();
    EXPECT_EQ(one.call(), toviArgumentError);
    EXPECT_EQ(software_device::allCalls(), 0u) << one.name;
  }
}

}  // namespace
}  // namespace testing_support
