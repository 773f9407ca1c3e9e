// Bad arguments of every exported routine, on whatever device is there.

#include "tests/support/odd_arguments.h"

namespace testing_support {
namespace {

class ArgumentsTest : public LibraryTest {};

TEST_F(ArgumentsTest, EachIsTestedInItsTurn) {
  forEveryOddArgument(12, [](Call& call) {
    const toviStatus status = call.run();
    EXPECT_EQ(call.fault(status, toviGetErrorInfo()), "") << call.text() << ": " << toviGetErrorInfo();
    EXPECT_EQ(toviGetLastStatus(), status);
  });
}

}  // namespace

// Before initialization nothing is checked and the error info keeps its value.
TEST(ArgumentsBeforeInitialization, AreNotLookedAt) {
  char text[8];
  ASSERT_EQ(toviGetErrorInfoString(static_cast<toviStatus>(11), 0, text, 8), toviArgumentError);
  forEveryOddArgument(1, [](Call& call) {
    EXPECT_EQ(call.run(), toviNotInitialized) << call.text();
    EXPECT_EQ(toviGetLastStatus(), toviNotInitialized);
    EXPECT_EQ(toviGetErrorInfo(), -1);
    EXPECT_TRUE(call.unchanged());
  });
}

}  // namespace testing_support
