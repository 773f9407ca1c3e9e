// Device selection and description, on whatever devices are there.

#include <gtest/gtest.h>
#include <tovi.h>

#include <climits>
#include <cmath>
#include <cstdio>
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

    // The number and unit that follow are the memory to within half a unit.
    unsigned long long number = 0;
    char unit = 0, rest[8] = "";
    ASSERT_EQ(std::sscanf(text.c_str() + start.size(), "%llu %c%7s", &number, &unit, rest), 3) << text;
    EXPECT_STREQ(rest, "B)");
    const std::size_t power = std::string(" KMGTPE").find(unit);
    ASSERT_NE(power, std::string::npos) << text;
    const double scaled =
        static_cast<double>(properties.totalGlobalMem) / static_cast<double>(1ULL << (10 * power));
    EXPECT_LE(std::abs(scaled - static_cast<double>(number)), 0.5) << text;
    EXPECT_GE(scaled, 1.0);
    EXPECT_LT(scaled, 1024.0);
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
