// Initialization and shutdown, selection and description of devices, on whatever device is there.

#include <gtest/gtest.h>
#include <tovi.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "device/runtime.h"

namespace {

class Lifecycle : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(toviGetDeviceCount(&count_), toviNoError);
    if (count_ == 0) GTEST_SKIP() << "no device";
  }
  int count_ = -1;
};

// Any routine that needs the library.
toviStatus use() {
  int device = -1;
  return toviGetExecutingDevice(&device);
}

// 2 * 3, computed on the device.
float product() {
  const float a = 2, b = 3;
  float c = 0;
  EXPECT_EQ(toviSgemm('N', 'N', 1, 1, 1, 1.0f, &a, 1, &b, 1, 0.0f, &c, 1), toviNoError);
  return c;
}

template <class Call>
auto onAnotherThread(Call call) {
  return std::async(std::launch::async, call).get();
}

TEST_F(Lifecycle, ShutdownAndFreeBuffersStoreNoStatus) {
  EXPECT_EQ(toviGetDeviceCount(nullptr), toviArgumentError);
  for (int round = 0; round < 2; ++round) {
    toviFreeBuffers();
    toviShutdown();
    EXPECT_EQ(toviGetLastStatus(), toviArgumentError);
    EXPECT_EQ(toviGetErrorInfo(), -1);
    ASSERT_EQ(toviInitialize(), toviNoError);
    EXPECT_EQ(toviGetErrorInfo(), 0);
    EXPECT_EQ(toviGetDeviceCount(nullptr), toviArgumentError);
  }
}

TEST_F(Lifecycle, AThreadCountsOnce) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(product(), 6);
  EXPECT_STREQ(std::getenv("KMP_DUPLICATE_LIB_OK"), "TRUE");
  toviFreeBuffers();
  EXPECT_EQ(product(), 6);
  toviShutdown();
  EXPECT_EQ(use(), toviNotInitialized);

  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(product(), 6);
  toviShutdown();
}

TEST_F(Lifecycle, LastRegisteredThreadEndsIt) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  std::promise<void> goOn;
  std::promise<toviStatus> registered;
  std::future<toviStatus> ended = std::async(std::launch::async, [&] {
    registered.set_value(toviInitialize());
    goOn.get_future().wait();
    EXPECT_EQ(product(), 6);
    toviShutdown();
    return use();
  });
  EXPECT_EQ(registered.get_future().get(), toviNoError);
  toviShutdown();
  EXPECT_EQ(use(), toviNoError) << "the other thread still is registered";
  toviShutdown();  // this one no longer is: changes nothing
  EXPECT_EQ(use(), toviNoError);
  goOn.set_value();
  EXPECT_EQ(ended.get(), toviNotInitialized);
  EXPECT_EQ(use(), toviNotInitialized);
}

TEST_F(Lifecycle, AnUnregisteredThreadEndsNothing) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(onAnotherThread([] {
              toviShutdown();
              return use();
            }),
            toviNoError);
  EXPECT_EQ(product(), 6);
  toviShutdown();
  EXPECT_EQ(use(), toviNotInitialized);
}

TEST_F(Lifecycle, ThreadsComeAndGo) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([] {
      for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(toviInitialize(), toviNoError);
        EXPECT_EQ(use(), toviNoError);
        toviFreeBuffers();
        toviShutdown();
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(use(), toviNotInitialized);
}

class Devices : public Lifecycle {};

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
