// Machines with several devices: every call runs on the executing one, in whatever thread, and whatever
// device that thread, or code that is not the library's, has made current.

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "device/runtime.h"
#include "device/software/testing/software_device.h"
#include "tests/support/calls.h"

namespace testing_support {
namespace {

constexpr std::size_t MiB = std::size_t(1) << 20;

// The last one is the one that the library chooses.
void pretendDevices(std::size_t count, bool oneDevicePerProcess = false) {
  software_device::Machine machine;
  for (std::size_t i = 1; i <= count; ++i) {
    software_device::Profile device;
    device.memory = 64 * i * MiB;
    machine.devices.push_back(device);
  }
  machine.oneDevicePerProcess = oneDevicePerProcess;
  software_device::configure(machine);
}

int currentDevice() {
  int device = -1;
  EXPECT_EQ(cudaGetDevice(&device), cudaSuccess);
  return device;
}

int executingDevice() {
  int device = -1;
  EXPECT_EQ(toviGetExecutingDevice(&device), toviNoError);
  return device;
}

// Device memory that is in use on each device.
std::vector<std::size_t> used() {
  std::vector<std::size_t> result;
  int count = 0;
  EXPECT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
  std::thread([&] {
    for (int device = 0; device < count; ++device) {
      std::size_t free = 0, total = 0;
      EXPECT_EQ(cudaSetDevice(device), cudaSuccess);
      EXPECT_EQ(cudaMemGetInfo(&free, &total), cudaSuccess);
      result.push_back(total - free);
    }
  }).join();
  return result;
}

Call goodCall(const Export& routine) {
  Random random(1);
  return drawCall(routine, random, {sizesBetween(60, 80)});
}

// Every export of the host interface, from a thread of each current device, and from one that has not chosen.
TEST(ExecutingDevice, ServesEveryThreadAndGivesItsDeviceBack) {
  constexpr int devices = 3;
  pretendDevices(devices);
  ASSERT_EQ(toviInitialize(), toviNoError);
  ASSERT_EQ(executingDevice(), devices - 1);
  for (int current = -1; current < devices; ++current)
    std::thread([&] {
      if (current >= 0) {
        EXPECT_EQ(cudaSetDevice(current), cudaSuccess);
      }
      for (const Export& routine : allExports()) {
        if (routine.where == Memory::device) continue;
        Call call = goodCall(routine);
        const toviStatus status = call.run();
        EXPECT_EQ(call.fault(status, toviGetErrorInfo()), "") << call.text();
        EXPECT_EQ(currentDevice(), std::max(current, 0));
      }
      int pivots[2];
      float a[] = {0, 0, 0, 0};
      EXPECT_EQ(toviSgetrf(2, 2, a, 2, pivots), toviDataError);
      EXPECT_EQ(toviSgetrf(-2, 2, a, 2, pivots), toviArgumentError);
      EXPECT_EQ(toviInitialize(), toviNoError);
      EXPECT_EQ(executingDevice(), devices - 1);
      EXPECT_EQ(currentDevice(), std::max(current, 0)) << "also after failures and management";
      EXPECT_EQ(used()[0] + used()[1], 0U);
      EXPECT_GT(used()[2], 0U) << "the library's buffers";
      toviFreeBuffers();
      EXPECT_EQ(used()[2], 0U);
      EXPECT_EQ(currentDevice(), std::max(current, 0));
      toviShutdown();
      EXPECT_EQ(currentDevice(), std::max(current, 0));
    }).join();
  EXPECT_EQ(executingDevice(), devices - 1) << "this thread is still registered";
}

// Operands on the executing device, in a thread whose own device is another one.
TEST(ExecutingDevice, TakesItsOwnMemoryFromAnyThread) {
  pretendDevices(2);
  ASSERT_EQ(toviInitialize(), toviNoError);
  ASSERT_EQ(currentDevice(), 1) << "initialization has bound this thread";
  float *a = nullptr, *b = nullptr;
  ASSERT_EQ(cudaMalloc(&a, sizeof *a), cudaSuccess);
  ASSERT_EQ(cudaMalloc(&b, sizeof *b), cudaSuccess);
  const float three = 3, six = 6;
  ASSERT_EQ(cudaMemcpy(a, &three, sizeof three, cudaMemcpyHostToDevice), cudaSuccess);
  ASSERT_EQ(cudaMemcpy(b, &six, sizeof six, cudaMemcpyHostToDevice), cudaSuccess);
  std::thread([&] {
    EXPECT_EQ(toviDeviceStrsm('L', 'L', 'N', 'N', 1, 1, 1, a, 1, b, 1), toviNoError);
    EXPECT_EQ(currentDevice(), 0);
  }).join();
  float x = 0;
  ASSERT_EQ(cudaMemcpy(&x, b, sizeof x, cudaMemcpyDeviceToHost), cudaSuccess);
  EXPECT_EQ(x, 2);
  EXPECT_EQ(cudaFree(a), cudaSuccess);
  EXPECT_EQ(cudaFree(b), cudaSuccess);
}

// What initialization makes of the calling thread's device.
TEST(ExecutingDevice, IsTheOneThatTheProgramWorksWith) {
  for (const bool onePerProcess : {false, true}) {
    pretendDevices(3, onePerProcess);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    void* memory = nullptr;
    ASSERT_EQ(cudaMalloc(&memory, 1), cudaSuccess);
    if (onePerProcess) {
      EXPECT_EQ(toviSelectDevice(0), toviRuntimeError);
      EXPECT_EQ(toviGetErrorInfo(), device::errorSetOnActiveProcess);
    }
    ASSERT_EQ(toviInitialize(), toviNoError);
    EXPECT_EQ(executingDevice(), 1);
    EXPECT_EQ(currentDevice(), 1);
    EXPECT_EQ(cudaFree(memory), cudaSuccess);
    toviShutdown();
  }
  // A selection goes first.
  pretendDevices(3);
  ASSERT_EQ(toviSelectDevice(0), toviNoError);
  ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(executingDevice(), 0);
  EXPECT_EQ(currentDevice(), 0);
}

TEST(ExecutingDevice, AFailedInitializationGivesTheThreadsDeviceBack) {
  using software_device::Entry;
  pretendDevices(2);
  for (const Entry entry : {Entry::cublasInit, Entry::threadSynchronize}) {
    software_device::failCall(entry, 1, 14);
    EXPECT_NE(toviInitialize(), toviNoError);
    EXPECT_EQ(currentDevice(), 0);
    EXPECT_EQ(software_device::live().blasHandles, 0U);
    software_device::clearFaults();
  }
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(currentDevice(), 1);
}

// Beside the library's calls other threads compute on devices of their own, by the runtime and by CUBLAS.
TEST(ExecutingDevice, LeavesOtherDevicesToOthers) {
  pretendDevices(3);
  ASSERT_EQ(toviInitialize(), toviNoError);
  std::vector<std::thread> crew;
  for (int device = 0; device < 3; ++device)
    crew.emplace_back([device] {
      EXPECT_EQ(cudaSetDevice(device), cudaSuccess);
      float* own = nullptr;
      EXPECT_EQ(cudaMalloc(&own, 2 * sizeof *own), cudaSuccess);
      for (int round = 1; round <= 50; ++round) {
        const float start[] = {2, static_cast<float>(device + round)};
        EXPECT_EQ(cudaMemcpy(own, start, sizeof start, cudaMemcpyHostToDevice), cudaSuccess);
        float a[] = {4, 1, 1, 3}, b[] = {6, 7};
        int pivots[2];
        EXPECT_EQ(toviSgesv(2, 1, a, 2, pivots, b, 2), toviNoError);
        EXPECT_NEAR(b[1], 2, 1e-5);
        cublasSgemm('N', 'N', 1, 1, 1, 1, own, 1, own + 1, 1, 0, own, 1);
        float product = 0;
        EXPECT_EQ(cudaMemcpy(&product, own, sizeof product, cudaMemcpyDeviceToHost), cudaSuccess);
        EXPECT_EQ(product, 2.0f * static_cast<float>(device + round));
        EXPECT_EQ(currentDevice(), device);
      }
      EXPECT_EQ(cudaFree(own), cudaSuccess);
    });
  for (std::thread& thread : crew) thread.join();
}

}  // namespace
}  // namespace testing_support
