// The machine that the software device pretends: its devices and the choice among them, errors, injected
// faults and counts.

#include <cublas.h>
#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "device/launch.h"
#include "device/runtime.h"
#include "device/software/testing/software_device.h"

namespace {

using software_device::Entry;
using software_device::Machine;
using software_device::Profile;

Machine twoDevices() {
  Profile first, second;
  first.name = "First", first.memory = 1000000;
  first.major = first.minor = 1, first.overlapsCopies = false;
  second.name = std::string(300, 'x'), second.memory = 2000000;
  second.multiprocessors = 14, second.clockRateKHz = 1150000, second.mapsHostMemory = false;
  Machine machine;
  machine.devices = {first, second};
  machine.runtimeVersion = 3020, machine.driverVersion = 4000;
  return machine;
}

void expectSuccess(std::initializer_list<cudaError_t> results) {
  for (const cudaError_t& result : results) EXPECT_EQ(result, cudaSuccess) << &result - results.begin();
}

__global__ void nothing_k() {}

TEST(DeviceMachine, ReportsTheProfiles) {
  software_device::configure(twoDevices());
  device::DeviceProperties p = {};
  ASSERT_EQ(device::getDeviceProperties(&p, 0), cudaSuccess);
  EXPECT_STREQ(p.name, "First");
  EXPECT_TRUE(p.major == 1 && p.minor == 1 && p.totalGlobalMem == 1000000 && p.overlapsCopies == 0);
  EXPECT_TRUE(p.maxThreadsPerBlock == 512 && p.maxGridSize[2] == 1);
  ASSERT_EQ(device::getDeviceProperties(&p, 1), cudaSuccess);
  EXPECT_EQ(std::strlen(p.name), 255u);
  EXPECT_TRUE(p.clockRateKHz == 1150000 && p.multiProcessorCount == 14 && p.canMapHostMemory == 0);
  EXPECT_EQ(p.maxThreadsPerBlock, 1024);
  for (const int none : {-1, 2}) EXPECT_EQ(cudaGetDeviceProperties(&p, none), cudaErrorInvalidDevice);
}

TEST(DeviceMachine, WithoutDeviceNothingWorks) {
  software_device::configure(Machine());
  int value = -1;
  void* d = nullptr;
  EXPECT_TRUE(cudaGetDeviceCount(&value) == cudaSuccess && value == 0);
  for (const cudaError_t error : {cudaGetDevice(&value), cudaSetDevice(0), cudaMalloc(&d, 1)})
    EXPECT_EQ(error, cudaErrorNoDevice);
  device::launch<&nothing_k>(dim3(1), dim3(1), 0, nullptr);
  EXPECT_EQ(cudaGetLastError(), cudaErrorNoDevice);
  EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
}

__global__ void store_k(int* p) { *p = 5; }

TEST(DeviceMachine, EveryThreadHasACurrentDevice) {
  software_device::configure(twoDevices());
  int device = -1;
  expectSuccess({cudaSetDevice(1), cudaSetDevice(0), cudaSetDevice(1)});
  int* onFirst = nullptr;
  cudaStream_t ofFirst = nullptr, ofSecond = nullptr;
  cudaEvent_t onFirstsStream = nullptr;
  std::thread([&] {
    EXPECT_EQ(cudaGetDevice(&device), cudaSuccess);
    EXPECT_EQ(device, 0);
    EXPECT_EQ(cudaMalloc(&onFirst, 1500000), cudaErrorMemoryAllocation);  // more than it has
    EXPECT_EQ(cudaMalloc(&onFirst, sizeof *onFirst), cudaSuccess);
    EXPECT_EQ(cudaStreamCreate(&ofFirst), cudaSuccess);
    EXPECT_EQ(cudaEventCreateWithFlags(&onFirstsStream, 0), cudaSuccess);
    EXPECT_EQ(cudaEventRecord(onFirstsStream, ofFirst), cudaSuccess);
  }).join();
  EXPECT_EQ(cudaGetDevice(&device), cudaSuccess);
  EXPECT_EQ(device, 1);
  // A stream belongs to a device, and so does an event, for which others may wait; an address may be copied
  // from anywhere.
  ASSERT_EQ(cudaStreamCreate(&ofSecond), cudaSuccess);
  EXPECT_EQ(cudaStreamWaitEvent(ofSecond, onFirstsStream, 0), cudaSuccess);
  for (const cudaError_t error :
       {cudaEventRecord(onFirstsStream, ofSecond), cudaEventRecord(onFirstsStream, ofFirst),
        cudaStreamWaitEvent(ofFirst, onFirstsStream, 0)})
    EXPECT_EQ(error, cudaErrorInvalidResourceHandle);
  int* onSecond = nullptr;
  ASSERT_EQ(cudaMalloc(&onSecond, 1500000), cudaSuccess);
  device::launch<&store_k>(dim3(1), dim3(1), 0, ofFirst, onSecond);
  EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
  device::launch<&store_k>(dim3(1), dim3(1), 0, nullptr, onSecond);
  ASSERT_EQ(cudaMemcpy(onFirst, onSecond, sizeof *onFirst, cudaMemcpyDeviceToDevice), cudaSuccess);
  int value = 0;
  ASSERT_EQ(cudaMemcpy(&value, onFirst, sizeof value, cudaMemcpyDeviceToHost), cudaSuccess);
  EXPECT_EQ(value, 5);
  expectSuccess(
      {cudaStreamDestroy(ofFirst), cudaStreamDestroy(ofSecond), cudaFree(onFirst), cudaFree(onSecond)});
  software_device::configure(twoDevices());
  EXPECT_EQ(cudaEventSynchronize(onFirstsStream), cudaErrorInvalidResourceHandle) << "of another machine";
  static_cast<void>(cudaGetLastError());
}

// A kernel, and a product, that get an address of another device, of the host, or behind an allocation. The
// device is lost for good, for all threads, with what was queued; another device is not.
TEST(DeviceMachine, AnIllegalAddressLosesTheDevice) {
  std::vector<float> onHost(4);
  float *other = nullptr, *own = nullptr;
  int *value = nullptr, *copied = nullptr;
  cudaStream_t stream = nullptr;
  const auto store = [&](float* p) {
    device::launch<&store_k>(dim3(1), dim3(1), 0, stream, reinterpret_cast<int*>(p));
  };
  const auto multiply = [&](const float* a, int ld, float* c, int n = 2) {  // own holds 2 x 2 elements
    cublasSgemm('N', 'N', n, n, n, 1.0f, a, ld, own, n, 0.0f, c, n);
  };
  const std::function<void()> wild[] = {[&] { store(other); },
                                        [&] { store(onHost.data()); },
                                        [&] { multiply(own, 2, other); },
                                        [&] { multiply(own, 2, onHost.data()); },
                                        [&] { multiply(own, 3, own, 3); },
                                        [&] { multiply(own + 1, 2, own); },
                                        [&] { multiply(own, 3, own); },
                                        [&] { multiply(onHost.data(), 2, own); },
                                        [&] { multiply(nullptr, 2, own); },
                                        [&] { multiply(own, 2147483647, own); },
                                        [&] { cublasSgemv('N', 1, 3, 1.f, own, 1, own, -2, 0.f, own, 1); }};
  for (const auto& go : wild) {
    SCOPED_TRACE(&go - wild);
    software_device::configure(twoDevices());
    ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
    expectSuccess({cudaMalloc(&other, 16), cudaSetDevice(1), cudaMalloc(&own, 16),
                   cudaMalloc(&value, sizeof *value), cudaStreamCreate(&stream),
                   cudaMallocHost(&copied, sizeof *copied), cudaMemset(value, 0, sizeof *value)});
    *copied = 7;
    software_device::setSchedule(software_device::Schedule::lazy);
    go();
    EXPECT_EQ(cublasGetError(), 0U);  // as long as nobody waits
    device::launch<&store_k>(dim3(1), dim3(1), 0, nullptr, value);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaMemcpyAsync(copied, value, sizeof *copied, cudaMemcpyDeviceToHost, nullptr), cudaSuccess);
    EXPECT_EQ(cudaThreadSynchronize(), cudaErrorLaunchFailure);
    EXPECT_EQ(*copied, 7) << "what is queued behind it does not run";

    void* p = nullptr;
    cudaStream_t another = nullptr;
    cudaEvent_t event = nullptr;
    std::size_t free = 0, total = 0;
    const std::function<cudaError_t()> calls[] = {
        [&] { return cudaMalloc(&p, 4); },
        [&] { return cudaMallocHost(&p, 4); },
        [&] { return cudaMemGetInfo(&free, &total); },
        [&] { return cudaMemcpy(&p, value, 4, cudaMemcpyDeviceToHost); },
        [&] { return cudaMemset(value, 0, 4); },
        [&] { return cudaStreamCreate(&another); },
        [&] { return cudaStreamSynchronize(stream); },
        [&] { return cudaStreamQuery(stream); },
        [&] { return cudaStreamWaitEvent(stream, event, 0); },
        [&] { return cudaEventCreateWithFlags(&event, 0); },
        [&] { return cudaEventRecord(event, stream); },
        [&] { return cudaEventSynchronize(event); },
        [&] { return cudaEventQuery(event); },
        [&] { return cudaThreadSynchronize(); },
        [&] { return cudaGetLastError(); },
        [&] {
          device::launch<&store_k>(dim3(1), dim3(1), 0, nullptr, value);
          return cudaGetLastError();
        }};
    const auto expectAllFails = [&] {
      for (const auto& call : calls) EXPECT_EQ(call(), cudaErrorLaunchFailure) << &call - calls;
      cublasSgemm('N', 'N', 1, 1, 1, 1.0f, own, 1, own, 1, 0.0f, own, 1);
      EXPECT_EQ(cublasGetError(), static_cast<cublasStatus>(CUBLAS_STATUS_NOT_INITIALIZED));
    };
    expectAllFails();
    std::thread([&] {
      EXPECT_EQ(cudaMemset(other, 0, 4), cudaSuccess) << "on the other device";
      EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
      EXPECT_EQ(cudaSetDevice(1), cudaSuccess);
      expectAllFails();
    }).join();
    // They tell, and free.
    for (const cudaError_t error :
         {cudaFree(own), cudaFree(value), cudaFree(other), cudaFreeHost(copied), cudaStreamDestroy(stream)})
      EXPECT_EQ(error, cudaErrorLaunchFailure);
    EXPECT_TRUE(software_device::live().allocations == 0 && software_device::live().streams == 0);
  }
}

TEST(DeviceMachine, ErrorsStickToTheirThreadUntilRead) {
  EXPECT_EQ(cudaSetDevice(-1), cudaErrorInvalidDevice);
  int count = 0;
  EXPECT_EQ(cudaGetDeviceCount(&count), cudaSuccess);  // a success does not clear it
  EXPECT_EQ(cudaPeekAtLastError(), cudaErrorInvalidDevice);
  cudaError_t elsewhere = cudaErrorUnknown;
  std::thread([&] { elsewhere = cudaGetLastError(); }).join();
  EXPECT_EQ(elsewhere, cudaSuccess);
  EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidDevice);
  EXPECT_EQ(cudaGetLastError(), cudaSuccess);

  EXPECT_EQ(cudaSetDevice(-1), cudaErrorInvalidDevice);
  software_device::configure(twoDevices());
  EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);
}

TEST(DeviceMachine, FaultsStrikeTheCallThatWasNamed) {
  software_device::configure(twoDevices());
  void* d = nullptr;
  software_device::failCall(Entry::malloc, 2, cudaErrorMemoryAllocation);
  EXPECT_EQ(cudaMalloc(&d, 16), cudaSuccess);
  void* e = d;
  EXPECT_EQ(cudaMalloc(&e, 16), cudaErrorMemoryAllocation);
  EXPECT_EQ(cudaMalloc(&e, 16), cudaSuccess);
  EXPECT_EQ(software_device::failuresInjected(), 1u);
  EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);

  software_device::failCall(Entry::free, 1, cudaErrorUnknown);
  EXPECT_EQ(cudaFree(e), cudaErrorUnknown);  // and frees
  EXPECT_EQ(software_device::live().allocations, 1u);

  software_device::failCall(Entry::launch, 1, cudaErrorLaunchFailure);
  software_device::setSchedule(software_device::Schedule::lazy);
  static_cast<void>(cudaGetLastError());
  device::launch<&nothing_k>(dim3(1), dim3(1), 0, nullptr);
  EXPECT_EQ(software_device::pending(), 0u);
  EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);

  software_device::failAnyCall(3, cudaErrorInvalidValue, 13, true);
  int value = 0;
  EXPECT_EQ(cudaGetDevice(&value), cudaSuccess);
  EXPECT_EQ(cudaGetLastError(), cudaSuccess);  // does not count
  EXPECT_EQ(cudaGetDeviceCount(&value), cudaSuccess);
  EXPECT_EQ(cudaGetDevice(&value), cudaErrorInvalidValue);
  EXPECT_EQ(cudaThreadSynchronize(), cudaErrorInvalidValue);
  EXPECT_EQ(software_device::failuresInjected(), 2u);
  software_device::clearFaults();
  EXPECT_EQ(cudaGetDevice(&value), cudaSuccess);
  EXPECT_EQ(cudaFree(d), cudaSuccess);
}

}  // namespace
