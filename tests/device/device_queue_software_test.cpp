// Streams, waiting and the order of work on the software device.

#include <cublas.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <new>
#include <thread>
#include <vector>

#include "device/launch.h"
#include "device/software/testing/software_device.h"

namespace {

using software_device::Schedule;

__global__ void add_k(int* p, int value) { *p += value; }
__global__ void multiply_k(int* p, int value) { *p *= value; }

// One int on the device and one in page-locked memory.
class DeviceQueue : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(cudaMalloc(&dX, sizeof(int)), cudaSuccess);
    ASSERT_EQ(cudaMemset(dX, 0, sizeof(int)), cudaSuccess);
    ASSERT_EQ(cudaMallocHost(&hX, sizeof(int)), cudaSuccess);
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    ASSERT_EQ(cudaThreadSynchronize(), cudaSuccess);
    *hX = -1;
  }
  void TearDown() override {
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    EXPECT_EQ(cudaFreeHost(hX), cudaSuccess);
    EXPECT_EQ(cudaFree(dX), cudaSuccess);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
  }
  void add(int value, cudaStream_t where) { device::launch<&add_k>(dim3(1), dim3(1), 0, where, dX, value); }
  cudaError_t downloadLater(int* h, cudaStream_t where) {
    return cudaMemcpyAsync(h, dX, sizeof(int), cudaMemcpyDeviceToHost, where);
  }

  int* dX = nullptr;
  int* hX = nullptr;
  cudaStream_t stream = nullptr;
};

TEST_F(DeviceQueue, StreamSynchronizeWaitsForItsStreamAndWhatCameFirst) {
  software_device::setSchedule(Schedule::lazy);
  add(5, nullptr);
  ASSERT_EQ(downloadLater(hX, stream), cudaSuccess);
  add(2, nullptr);
  EXPECT_EQ(software_device::pending(), 3u);
  EXPECT_EQ(*hX, -1);  // what a missing wait would read
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_EQ(*hX, 5);
  EXPECT_EQ(software_device::pending(), 1u);
  ASSERT_EQ(cudaStreamSynchronize(nullptr), cudaSuccess);
  EXPECT_EQ(software_device::pending(), 0u);
}

// Everything that has to wait for work before it does, in the lazy schedule where nothing else would.
TEST_F(DeviceQueue, SynchronousCallsWait) {
  software_device::setSchedule(Schedule::lazy);
  int x = 0;
  void* p = nullptr;
  const std::vector<std::function<void()>> waits = {
      [&] { cudaThreadSynchronize(); },
      [&] { cudaMemcpy(&x, dX, sizeof x, cudaMemcpyDeviceToHost); },
      [&] { cudaMemcpy2D(&x, 4, dX, 4, 4, 1, cudaMemcpyDeviceToHost); },
      [&] { cudaMemcpyAsync(&x, dX, sizeof x, cudaMemcpyDeviceToHost, stream); },  // pageable
      [&] { cudaMalloc(&p, 1), cudaFree(p); },
      [&] { cudaMallocHost(&p, 1), cudaFreeHost(p); },
      [&] { cublasShutdown(); },
  };
  int sum = 0;
  for (const auto& wait : waits) {
    add(3, stream);
    ASSERT_EQ(downloadLater(hX, nullptr), cudaSuccess);
    EXPECT_EQ(*hX, sum == 0 ? -1 : sum);
    wait();
    EXPECT_EQ(*hX, sum += 3);
  }
  // A pageable upload is taken at once: its source may change when the call has returned.
  x = 4;
  ASSERT_EQ(cudaMemcpyAsync(dX, &x, sizeof x, cudaMemcpyHostToDevice, stream), cudaSuccess);
  x = 9;
  ASSERT_EQ(downloadLater(hX, stream), cudaSuccess);
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_EQ(*hX, 4);
}

TEST_F(DeviceQueue, QueryAnswersNotReadyWithoutAnError) {
  software_device::setSchedule(Schedule::lazy);
  EXPECT_EQ(cudaStreamQuery(stream), cudaSuccess);
  add(1, stream);
  add(1, stream);
  EXPECT_EQ(cudaStreamQuery(stream), cudaErrorNotReady);
  EXPECT_EQ(cudaGetLastError(), cudaSuccess);
  int polls = 0;
  while (cudaStreamQuery(stream) == cudaErrorNotReady) ASSERT_LT(++polls, 10) << "a polling program must end";
}

struct Flag {  // in host memory
  std::atomic<bool>* value;
};
__global__ void slow_k(Flag running) {
  *running.value = true;
  std::this_thread::sleep_for(std::chrono::milliseconds(100));  // until who waits has gone to sleep
}

// Who asks runs one piece of lazy work; another thread that went to sleep meanwhile must run the rest.
TEST_F(DeviceQueue, WhoOnlyAsksLeavesNobodyAsleep) {
  software_device::setSchedule(Schedule::lazy);
  std::atomic<bool> running{false};
  device::launch<&slow_k>(dim3(1), dim3(1), 0, stream, Flag{&running});
  add(1, stream);
  std::future<void> waiting = std::async(std::launch::async, [&] {
    while (!running) std::this_thread::yield();
    cudaStreamSynchronize(stream);
  });
  EXPECT_EQ(cudaStreamQuery(stream), cudaErrorNotReady);
  EXPECT_EQ(waiting.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  while (cudaStreamQuery(stream) == cudaErrorNotReady) std::this_thread::yield();
}

// With the BLAS the device's threads end; work that comes later has new ones.
TEST_F(DeviceQueue, TheDeviceWorksOnAfterTheBlas) {
  for (int time = 1; time <= 3; ++time) {
    add(1, stream);
    ASSERT_EQ(downloadLater(hX, nullptr), cudaSuccess);
    cublasShutdown();
    EXPECT_EQ(*hX, 2 * time - 1);
    add(1, stream);
    for (int i = 0; i < 5000 && software_device::pending() != 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(software_device::pending(), 0u);
  }
}

TEST_F(DeviceQueue, DestroyedStreamsAreUnknownButTheirWorkGoesOn) {
  software_device::setSchedule(Schedule::lazy);
  cudaStream_t other = nullptr;
  ASSERT_EQ(cudaStreamCreate(&other), cudaSuccess);
  EXPECT_EQ(software_device::live().streams, 2u);
  add(1, other);
  ASSERT_EQ(cudaStreamDestroy(other), cudaSuccess);
  EXPECT_EQ(software_device::pending(), 1u);
  EXPECT_EQ(software_device::live().streams, 1u);
  EXPECT_EQ(cudaStreamDestroy(other), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaStreamSynchronize(other), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaStreamQuery(other), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(downloadLater(hX, other), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
  add(1, other);
  EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(software_device::pending(), 1u);
  ASSERT_EQ(downloadLater(hX, stream), cudaSuccess);
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_EQ(*hX, 1);
}

// As what needs memory for a stack and gets none.
__global__ void failing_k(int* p, int block) {
  if (static_cast<int>(blockIdx.x) == block) throw std::bad_alloc();
  if (blockIdx.x == 0 && threadIdx.x == 0) *p = 7;
}

// The queue goes on, with the next piece and after the one that has failed; the failure waits for the thread
// whose work it was, which is told once.
TEST_F(DeviceQueue, WorkThatFailsIsToldToWhoIssuedIt) {
  for (const Schedule schedule : {Schedule::lazy, Schedule::eager})
    for (const int blocks : {1, 4000}) {  // in one piece, on several threads
      software_device::setSchedule(schedule);
      std::thread([&] {
        device::launch<&failing_k>(dim3(blocks), dim3(64), 0, stream, dX, blocks / 2);
        EXPECT_EQ(cudaGetLastError(), cudaSuccess);
        std::thread([&] { EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess); }).join();
        EXPECT_EQ(cudaThreadSynchronize(), cudaErrorMemoryAllocation);
        EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
        EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
        for (const auto& wait : std::vector<std::function<cudaError_t()>>{
                 [&] { return cudaStreamSynchronize(stream); },
                 [&] { return cudaStreamSynchronize(nullptr); },
                 [&] { return cudaMemcpy(hX, dX, sizeof(int), cudaMemcpyDeviceToHost); }}) {
          device::launch<&failing_k>(dim3(blocks), dim3(64), 0, stream, dX, blocks / 2);
          EXPECT_EQ(wait(), cudaErrorMemoryAllocation);
          EXPECT_EQ(wait(), cudaSuccess);
        }
      }).join();
      ASSERT_EQ(cudaMemset(dX, 0, sizeof(int)), cudaSuccess);
      add(3, stream);
      ASSERT_EQ(downloadLater(hX, stream), cudaSuccess);
      ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
      EXPECT_EQ(*hX, 3);
    }
}

// The device's threads are ended before the process is, whatever is still queued.
TEST(DeviceQueueDeathTest, AProcessMayEndWithWorkQueued) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const Schedule schedule : {Schedule::eager, Schedule::lazy})
    EXPECT_EXIT(
        {
          software_device::setSchedule(schedule);
          int* d = nullptr;
          cudaMalloc(&d, sizeof *d);
          for (int i = 0; i < 100000; ++i) device::launch<&add_k>(dim3(1), dim3(1), 0, nullptr, d, 1);
          std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// Many threads, each with a stream and memory of its own, and much queued: work of a stream in the order of
// its issue, also against the default stream.
TEST(DeviceQueueThreads, ManyThreadsShareTheDevice) {
  for (const Schedule schedule : {Schedule::eager, Schedule::lazy}) {
    software_device::setSchedule(schedule);
    std::vector<std::thread> crew;
    for (int t = 0; t < 6; ++t)
      crew.emplace_back([t] {
        for (int round = 0; round < 20; ++round) {
          cudaStream_t stream = nullptr;
          int *d = nullptr, *h = nullptr;
          ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
          ASSERT_EQ(cudaMalloc(&d, 4), cudaSuccess);
          ASSERT_EQ(cudaMallocHost(&h, 4), cudaSuccess);
          *h = t;
          cudaMemcpyAsync(d, h, 4, cudaMemcpyHostToDevice, stream);
          for (int i = 0; i < 200; ++i) device::launch<&add_k>(dim3(1), dim3(1), 0, stream, d, 1);
          device::launch<&multiply_k>(dim3(1), dim3(1), 0, nullptr, d, 10);
          device::launch<&add_k>(dim3(1), dim3(1), 0, stream, d, 1);
          cudaMemcpyAsync(h, d, 4, cudaMemcpyDeviceToHost, stream);
          if (round % 2 == 0)
            cudaStreamSynchronize(stream);
          else
            while (cudaStreamQuery(stream) == cudaErrorNotReady) std::this_thread::yield();
          EXPECT_EQ(*h, (t + 200) * 10 + 1);
          cudaFreeHost(h), cudaFree(d), cudaStreamDestroy(stream);
        }
      });
    for (std::thread& thread : crew) thread.join();
    EXPECT_EQ(software_device::live().allocations, 0u);
    EXPECT_EQ(software_device::live().streams, 0u);
  }
}

}  // namespace
