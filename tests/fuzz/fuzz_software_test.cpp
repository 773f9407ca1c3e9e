// Random argument lists on other devices than the usual one: on the first generation the blocked paths begin
// within the sizes that are drawn.

#include "tests/fuzz/fuzz.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

void fuzzOn(int minor, bool overlap, software_device::Schedule schedule) {
  ASSERT_EQ(pretend(1, minor, overlap), toviNoError);
  software_device::setSchedule(schedule);
  software_device::setChecking(true);
  Fuzz fuzz(true);
  fuzz.run();
  fuzz.expectBothOutcomes();
  toviFreeBuffers();
  EXPECT_TRUE(nothingAlive());
}

TEST(FuzzSoftware, FirstGeneration) { fuzzOn(3, true, software_device::Schedule::eager); }
TEST(FuzzSoftware, AnyOrderThatStreamsAllow) { fuzzOn(3, true, software_device::Schedule::drawn); }
TEST(FuzzSoftware, NothingRunsBeforeItMust) { fuzzOn(3, false, software_device::Schedule::lazy); }

}  // namespace
}  // namespace testing_support
