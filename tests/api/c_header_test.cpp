// The C boundary: the header serves C89 and C++ alike.

#include <gtest/gtest.h>
#include <tovi.h>

#include <cstddef>

#include "c89_program.h"

namespace {

TEST(CHeader, TypesAgreeBetweenLanguages) {
  const C89Layout layout = c89Layout();
  EXPECT_EQ(sizeof(toviStatus), 4U);
  EXPECT_EQ(layout.statusSize, sizeof(toviStatus));
  EXPECT_EQ(layout.floatComplexSize, 2 * sizeof(float));
  EXPECT_EQ(layout.floatImagOffset, sizeof(float));
  EXPECT_EQ(layout.doubleComplexSize, 2 * sizeof(double));
  EXPECT_EQ(layout.doubleImagOffset, sizeof(double));
}

TEST(CHeader, C89CallsTheLibrary) {
  int devices = 0;
  ASSERT_EQ(toviGetDeviceCount(&devices), toviNoError);
  if (devices == 0) GTEST_SKIP() << "no device";
  EXPECT_STREQ(c89InvalidStatusText(), "Invalid toviStatus");

  ASSERT_EQ(toviInitialize(), toviNoError);
  // Scalars of every kind pass by value: (1 + 2 i) (3 + 4 i) 5 i + (2 - i) (1 + i) = -47 - 24 i
  toviFloatComplex single = {0, 0};
  EXPECT_EQ(c89SingleProduct(&single), toviNoError);
  EXPECT_EQ(single.real, -47);
  EXPECT_EQ(single.imag, -24);
  toviDoubleComplex twice = {0, 0};
  const toviStatus status = c89DoubleProduct(&twice);
  if (status != toviInsufficientComputeCapability) {
    EXPECT_EQ(status, toviNoError);
    EXPECT_EQ(twice.real, -47);
    EXPECT_EQ(twice.imag, -24);
  }
}

}  // namespace
