// Device selection and description, on whatever devices are there.

#include <gtest/gtest.h>
#include <tovi.h>

#include <climits>
#include <cstring>
#include <string>

#include "device/runtime.h"

namespace {

class Devices : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(toviGetDeviceCount(&count_), toviNoError);
    if (count_ == 0) GTEST_SKIP() << "no device";
  }
  int count_ = -1;
};

// The others: FuzzTest.RandomCallsOfManagementRoutines.
TEST_F(Devices, ADeviceThatIsNotThereIsRefused) {
  for (const int device : {-1, count_, INT_MAX, INT_MIN}) {
    EXPECT_EQ(toviSelectDevice(device), toviArgumentError);
    EXPECT_EQ(toviGetErrorInfo(), -1);
  }
  EXPECT_EQ(toviGetDeviceInfo(0, nullptr, 0), toviArgumentError);
  EXPECT_EQ(toviGetExecutingDevice(nullptr), toviNotInitialized);
  EXPECT_EQ(toviGetErrorInfo(), -2) << "left as it was";
}

TEST_F(Devices, InfoIsNameAndMemory) {
  for (int device = 0; device < count_; ++device) {
    cudaDeviceProp properties;
    ASSERT_EQ(cudaGetDeviceProperties(&properties, device), cudaSuccess);
    char buffer[300];
    std::memset(buffer, 'x', sizeof buffer);
    ASSERT_EQ(toviGetDeviceInfo(device, buffer, sizeof buffer), toviNoError);
    const std::string text = buffer, start = std::string(properties.name) + " (";
    ASSERT_EQ(text.substr(0, start.size()), start);

    EXPECT_EQ(text.substr(text.size() - 2), "B)");
    EXPECT_EQ(buffer[sizeof buffer - 1], '\0');
  }
}

TEST_F(Devices, ASelectedDeviceIsTheExecutingOne) {
  const int last = count_ - 1;
  ASSERT_EQ(toviSelectDevice(last), toviNoError);
  ASSERT_EQ(toviInitialize(), toviNoError);
  int device = -1;
  ASSERT_EQ(toviGetExecutingDevice(&device), toviNoError);
  EXPECT_EQ(device, last);
}

}  // namespace
