// Bad arguments of every exported routine, on whatever device is there.

#include "tests/support/argument_cases.h"

namespace testing_support {
namespace {

class ArgumentsTest : public LibraryTest {};

TEST_F(ArgumentsTest, EveryRowOfEveryTable) {
  for (const ArgumentCase& one : argumentCases()) {
    EXPECT_EQ(one.call(), one.info == 0 ? toviNoError : toviArgumentError) << one.name;
    EXPECT_EQ(toviGetErrorInfo(), one.info) << one.name;
    EXPECT_EQ(toviGetLastStatus(), one.info == 0 ? toviNoError : toviArgumentError) << one.name;
  }
}

}  // namespace

// Before initialization nothing is checked and the error info keeps its value.
TEST(ArgumentsBeforeInitialization, AreNotLookedAt) {
  char text[8];
  ASSERT_EQ(toviGetErrorInfoString(static_cast<toviStatus>(11), 0, text, 8), toviArgumentError);
  for (const ArgumentCase& one : argumentCases()) {
    EXPECT_EQ(one.call(), toviNotInitialized) << one.name;
    EXPECT_EQ(toviGetLastStatus(), toviNotInitialized) << one.name;
    EXPECT_EQ(toviGetErrorInfo(), -1) << one.name;
  }
}

}  // namespace testing_support
