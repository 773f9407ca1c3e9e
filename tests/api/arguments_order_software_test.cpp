// A bad argument ends a call before anything is asked of the device.

#include "device/software/testing/software_device.h"
#include "tests/support/odd_arguments.h"

namespace testing_support {
namespace {

TEST(Arguments, AreCheckedBeforeAnyCallOfTheDevice) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  forEveryOddArgument(1, [](Call& call) {
    if (call.expectedInfo() == 0) return;
    Around counting;
    counting.before = software_device::resetCounts;
    counting.after = [&] { EXPECT_EQ(software_device::allCalls(), 0u) << call.text(); };
    EXPECT_EQ(call.run(counting), toviArgumentError);
  });
}

}  // namespace
}  // namespace testing_support
