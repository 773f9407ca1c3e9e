// The C boundary: the header serves C89 and C++ alike, with the same layouts.

#include "tests/support/interface.h"

extern "C" int c89Program(void);

namespace testing_support {
namespace {

class CHeader : public LibraryTest {};

TEST_F(CHeader, ServesC89) {
  EXPECT_EQ(c89Program(), 0);
  EXPECT_EQ(sizeof(toviStatus), 4U);
  EXPECT_EQ(sizeof(toviFloatComplex), 2 * sizeof(float));
  EXPECT_EQ(sizeof(toviDoubleComplex), 2 * sizeof(double));
}

}  // namespace
}  // namespace testing_support
