// The survey, the device count and waits on pretended machines. The error checks: tests/api/frame_software_test.cpp.

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "cudalib/check.h"
#include "cudalib/device_table.h"
#include "cudalib/maps.h"
#include "device/software/testing/software_device.h"

namespace {

namespace device = software_device;
using device::Entry;

device::Profile profile(const char* name, int major, int minor, std::size_t megabytes) {
  device::Profile p = device::defaultMachine().devices[0];
  p.name = name;
  p.major = major;
  p.minor = minor;
  p.memory = megabytes << 20;
  return p;
}

void use(const std::vector<device::Profile>& devices) {
  device::Machine machine = device::defaultMachine();
  machine.devices = devices;
  device::configure(machine);
}

TEST(DeviceCount, PlaceholderIsNoDevice) {
  device::Profile emulation = profile("Device Emulation (CPU)", 9999, 9999, 256);
  emulation.emulation = true;
  use({emulation});
  EXPECT_EQ(cudalib::deviceCount(), 0);
  EXPECT_EQ(cudalib::chooseDevice(), -1);
  use({profile("No capability", 0, 9, 256)});
  EXPECT_EQ(cudalib::deviceCount(), 0);
  use({profile("Real", 1, 0, 256)});
  EXPECT_EQ(cudalib::deviceCount(), 1);
  use({profile("Real", 1, 0, 256), emulation});  // the rule is about a device that is alone
  EXPECT_EQ(cudalib::deviceCount(), 2);
  use({});
  EXPECT_EQ(cudalib::deviceCount(), 0);
  EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);
}

TEST(DeviceCount, FailuresThrow) {
  device::failCall(Entry::getDeviceCount, 1, cudaErrorInitializationError);
  EXPECT_THROW(cudalib::deviceCount(), cudalib::CudaRuntimeException);
  use({profile("Alone", 2, 0, 256)});
  device::failCall(Entry::getDeviceProperties, 1, cudaErrorInvalidDevice);
  EXPECT_THROW(cudalib::deviceCount(), cudalib::CudaRuntimeException);
}

TEST(DeviceTable, ChoosesAndFollowsTheCurrentDevice) {
  use({profile("GeForce", 1, 1, 512), profile("Tesla C1060", 1, 3, 256), profile("Quadro", 2, 0, 1024)});
  EXPECT_EQ(cudalib::chooseDevice(), 1);
  EXPECT_EQ(cudalib::computeLevel(), 11);
  EXPECT_TRUE(cudalib::smallBlocks());
  ASSERT_EQ(cudaSetDevice(2), cudaSuccess);
  EXPECT_EQ(cudalib::currentDevice().name, "Quadro");
  EXPECT_EQ(cudalib::computeLevel(), 20);
  EXPECT_FALSE(cudalib::smallBlocks());
  ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
  EXPECT_TRUE(cudalib::smallBlocks());
  EXPECT_TRUE(cudalib::currentDevice().hasDoublePrecision());
}

TEST(DeviceTable, AFailedSurveyIsRepeatedAndAGoodOneIsKept) {
  use({profile("A", 2, 0, 256), profile("B", 2, 0, 512), profile("C", 2, 0, 256)});
  device::failCall(Entry::getDeviceProperties, 2, cudaErrorMemoryAllocation);
  EXPECT_THROW(cudalib::deviceRecord(0), cudalib::CudaMemoryException);
  device::failCall(Entry::getDeviceCount, 1, cudaErrorInitializationError);
  EXPECT_THROW(cudalib::deviceRecord(0), cudalib::CudaRuntimeException);
  EXPECT_EQ(cudalib::deviceRecord(2).name, "C");

  device::resetCounts();
  EXPECT_EQ(cudalib::deviceRecord(1).name, "B");
  EXPECT_EQ(cudalib::currentDevice().name, "A");
  EXPECT_EQ(device::calls(Entry::getDeviceProperties), 0U);
}

TEST(DeviceTable, OneSurveyForAllThreads) {
  use({profile("A", 2, 0, 256), profile("B", 2, 0, 512)});
  std::vector<const cudalib::DeviceRecord*> seen(8);
  std::vector<std::thread> threads;
  for (auto& record : seen) threads.emplace_back([&record] { record = &cudalib::deviceRecord(1); });
  for (std::thread& thread : threads) thread.join();
  for (const auto* record : seen) EXPECT_EQ(record, seen[0]);
  EXPECT_EQ(device::calls(Entry::getDeviceProperties), 2U);
}

TEST(Maps, GridsReadTheCurrentDevicesLimit) {
  use({profile("A", 2, 0, 256)});
  const dim3 grid = cudalib::StaticMap1D<128>((1 << 24) + 1).grid();
  EXPECT_EQ(grid.x, 32768U);
  EXPECT_EQ(grid.y, 5U);
  EXPECT_EQ(grid.z, 1U);
  device::resetCounts();
  const cudalib::Map1D map(1000000, 2);
  EXPECT_EQ(map.grid().x, 15625U);
  EXPECT_EQ(map.grid().y, 1U);
  EXPECT_EQ(device::calls(Entry::getDeviceProperties), 2U);
  device::failCall(Entry::getDeviceProperties, 1, cudaErrorInvalidDevice);
  EXPECT_THROW(map.grid(), cudalib::CudaRuntimeException);
}

TEST(Check, CompletionWaits) {
  ASSERT_EQ(cublasInit(), static_cast<unsigned>(CUBLAS_STATUS_SUCCESS));
  device::resetCounts();
  cudalib::completionCheck();
  EXPECT_EQ(device::calls(Entry::threadSynchronize), 1U);
  device::failCall(Entry::threadSynchronize, 1, cudaErrorLaunchFailure);
  EXPECT_THROW(cudalib::completionCheck(), cudalib::CudaRuntimeException);
  cudalib::completionCheck();
}

TEST(Check, IgnoredFailuresTakeBackTheirOwnErrorOnly) {
  device::failCall(Entry::streamSynchronize, 1, cudaErrorLaunchFailure);
  cudalib::ignoreFailure(cudaStreamSynchronize(nullptr));
  EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);
  device::failCall(Entry::streamSynchronize, 1, cudaErrorLaunchFailure);
  EXPECT_EQ(cudaStreamSynchronize(nullptr), cudaErrorLaunchFailure);
  EXPECT_EQ(cudalib::ignoreFailure(cudaErrorNotReady), cudaErrorNotReady);
  EXPECT_EQ(cudalib::ignoreFailure(cudaSuccess), cudaSuccess);
  EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);
}

}  // namespace
