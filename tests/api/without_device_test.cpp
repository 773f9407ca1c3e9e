// A machine that has no device, or no driver for it: the library says so, and everything that needs none
// works.

#include <gtest/gtest.h>

#include <cstring>

#include "include/tovi.h"

TEST(WithoutDevice, InitializationSaysWhatIsMissing) {
  const toviStatus status = toviInitialize();
  EXPECT_TRUE(status == toviNoHardware || status == toviInsufficientRuntime) << status;
  EXPECT_EQ(toviGetErrorInfo(), 0);
  EXPECT_EQ(toviGetLastStatus(), status);
  float a = 1;
  int ipiv = 0;
  EXPECT_EQ(toviSgetrf(1, 1, &a, 1, &ipiv), toviNotInitialized);
  EXPECT_EQ(a, 1.0f);
  EXPECT_GT(std::strlen(toviGetStatusString(status)), 0u);
  char text[256] = "";
  EXPECT_EQ(toviGetErrorInfoString(status, 0, text, sizeof text), toviNoError);
  EXPECT_STREQ(text, toviGetStatusString(status));
  toviShutdown();
}
