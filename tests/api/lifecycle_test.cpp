// Initialization and shutdown, selection and description of devices, on whatever device is there.

#include <gtest/gtest.h>
#include <tovi.h>

#include <cstdlib>
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
  toviShutdown();                    // this one no longer is: changes nothing
  std::thread(toviShutdown).join();  // as one that never was
  EXPECT_EQ(use(), toviNoError);
  goOn.set_value();
  EXPECT_EQ(ended.get(), toviNotInitialized);
  EXPECT_EQ(use(), toviNotInitialized);
}

TEST_F(Lifecycle, ThreadsComeAndGo) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([] {
      for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(toviInitialize(), toviNoError);
        EXPECT_EQ(product(), 6);
        toviFreeBuffers();
        toviShutdown();
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(use(), toviNotInitialized);
}

TEST_F(Lifecycle, ASelectedDeviceIsTheExecutingOne) {
  const int last = count_ - 1;
  cudaDeviceProp properties;
  ASSERT_EQ(cudaGetDeviceProperties(&properties, last), cudaSuccess);
  char buffer[300];
  ASSERT_EQ(toviGetDeviceInfo(last, buffer, sizeof buffer), toviNoError);
  EXPECT_EQ(std::string(buffer).rfind(std::string(properties.name) + " (", 0), 0U) << buffer;
  ASSERT_EQ(toviSelectDevice(last), toviNoError);
  ASSERT_EQ(toviInitialize(), toviNoError);
  int device = -1;
  ASSERT_EQ(toviGetExecutingDevice(&device), toviNoError);
  EXPECT_EQ(device, last);
}

}  // namespace
