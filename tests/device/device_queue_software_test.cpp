// Streams, waiting and the order of work on the software device.

#include <cublas.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <new>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "device/launch.h"
#include "device/software/testing/software_device.h"

namespace {

using software_device::Schedule;

__global__ void add_k(int* p, int value) { *p += value; }
__global__ void multiply_k(int* p, int value) { *p *= value; }

// One int on the device and one in page-locked memory.
struct OneInt {
  OneInt() {
    EXPECT_EQ(cudaMalloc(&dX, sizeof(int)), cudaSuccess);
    EXPECT_EQ(cudaMemset(dX, 0, sizeof(int)), cudaSuccess);
    EXPECT_EQ(cudaMallocHost(&hX, sizeof(int)), cudaSuccess);
    EXPECT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
    *hX = -1;
  }
  ~OneInt() {
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    EXPECT_EQ(cudaFreeHost(hX), cudaSuccess);
    EXPECT_EQ(cudaFree(dX), cudaSuccess);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
  }
  OneInt(const OneInt&) = delete;
  OneInt& operator=(const OneInt&) = delete;
  void multiply(int value, cudaStream_t where) {
    device::launch<&multiply_k>(dim3(1), dim3(1), 0, where, dX, value);
  }
  void add(int value, cudaStream_t where) { device::launch<&add_k>(dim3(1), dim3(1), 0, where, dX, value); }
  cudaError_t downloadLater(int* h, cudaStream_t where) {
    return cudaMemcpyAsync(h, dX, sizeof(int), cudaMemcpyDeviceToHost, where);
  }

  int *dX = nullptr, *hX = nullptr;
  cudaStream_t stream = nullptr;
};
class DeviceQueue : public testing::Test, protected OneInt {};

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

// With the BLAS the device's threads end; work that comes later has new ones. A brief kernel alone may lie
// until somebody waits for it: the copy does not.
TEST_F(DeviceQueue, TheDeviceWorksOnAfterTheBlas) {
  for (int time = 1; time <= 3; ++time) {
    add(1, stream);
    ASSERT_EQ(downloadLater(hX, nullptr), cudaSuccess);
    cublasShutdown();
    EXPECT_EQ(*hX, 2 * time - 1);
    add(1, stream);
    ASSERT_EQ(downloadLater(hX, nullptr), cudaSuccess);
    for (int i = 0; i < 5000 && software_device::pending() != 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(software_device::pending(), 0u);
    EXPECT_EQ(*hX, 2 * time);
  }
}

// Brief work that nobody has waited for moves on when somebody asks.
TEST_F(DeviceQueue, BriefWorkIsDoneWhenSomebodyAsks) {
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // until the device's thread has gone to sleep
  add(1, stream);
  for (int i = 0; i < 5000 && cudaStreamQuery(stream) == cudaErrorNotReady; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(software_device::pending(), 0u);
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
  for (const cudaError_t error : {cudaStreamDestroy(other), cudaStreamSynchronize(other),
                                  cudaStreamQuery(other), downloadLater(hX, other)})
    EXPECT_EQ(error, cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
  add(1, other);
  EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(software_device::pending(), 1u);
  ASSERT_EQ(downloadLater(hX, stream), cudaSuccess);
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_EQ(*hX, 1);
}

// What follows runs in drawn orders. program(stream, event) has a stream and an event of its own; what it may
// leave in dX are exactly the results of the orders that are allowed.
class DeviceQueueDrawn : public testing::Test, protected OneInt {
 protected:
  using Program = std::function<void(cudaStream_t, cudaEvent_t)>;
  std::vector<int> inTurn(unsigned flags, const Program& program) {
    std::vector<int> results;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
      software_device::setSchedule(Schedule::drawn, seed);
      cudaStream_t own = nullptr;
      cudaEvent_t event = nullptr;
      EXPECT_EQ(cudaStreamCreateWithFlags(&own, flags), cudaSuccess);
      EXPECT_EQ(cudaEventCreateWithFlags(&event, cudaEventDisableTiming), cudaSuccess);
      EXPECT_EQ(cudaMemset(dX, 0, sizeof(int)), cudaSuccess);
      EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
      program(own, event);
      cudaEventDestroy(event), cudaStreamDestroy(own);
      EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
      int x = 0;
      EXPECT_EQ(cudaMemcpy(&x, dX, sizeof x, cudaMemcpyDeviceToHost), cudaSuccess);
      results.push_back(x);
    }
    static_cast<void>(cudaGetLastError());  // of what the program has destroyed itself
    EXPECT_EQ(software_device::live().events, 0u);
    return results;
  }
  std::set<int> outcomes(unsigned flags, const Program& program) {
    const std::vector<int> results = inTurn(flags, program);
    return {results.begin(), results.end()};
  }
};
using Outcomes = std::set<int>;

// x := 2, x := 3 x, x := x + 1, the second on the stream: 7 in the order of issue, 3 or 9 when the stream
// comes too early or too late.
TEST_F(DeviceQueueDrawn, StreamsAndEventsAllowWhatTheySay) {
  const auto program = [this](bool after, bool before) {
    return [=](cudaStream_t own, cudaEvent_t event) {
      add(2, nullptr);
      if (after) cudaEventRecord(event, nullptr), cudaStreamWaitEvent(own, event, 0);
      multiply(3, own);
      if (before) cudaEventRecord(event, own), cudaStreamWaitEvent(nullptr, event, 0);
      add(1, nullptr);
    };
  };
  EXPECT_EQ(outcomes(cudaStreamDefault, program(false, false)), Outcomes({7}));
  EXPECT_EQ(outcomes(cudaStreamNonBlocking, program(false, false)), Outcomes({3, 7, 9}));
  EXPECT_EQ(outcomes(cudaStreamNonBlocking, program(true, false)), Outcomes({7, 9}));
  EXPECT_EQ(outcomes(cudaStreamNonBlocking, program(false, true)), Outcomes({3, 7}));
  EXPECT_EQ(outcomes(cudaStreamNonBlocking, program(true, true)), Outcomes({7}));
  // Two streams that keep in order with the default one are in none by themselves.
  const Program twoStreams = [this](cudaStream_t own, cudaEvent_t) {
    add(2, stream), multiply(3, own), add(1, nullptr);
  };
  EXPECT_EQ(outcomes(cudaStreamDefault, twoStreams), Outcomes({3, 7}));
  // The same orders again
  EXPECT_EQ(inTurn(cudaStreamNonBlocking, program(false, false)),
            inTurn(cudaStreamNonBlocking, program(false, false)));
}

TEST_F(DeviceQueueDrawn, AnEventIsThatOfItsRecordBeforeTheWait) {
  const auto program = [this](const Program& meanwhile, bool recorded = true) {
    return [=](cudaStream_t own, cudaEvent_t event) {
      add(2, nullptr);
      if (recorded) cudaEventRecord(event, nullptr);
      cudaStreamWaitEvent(own, event, 0);
      multiply(3, own);
      add(1, nullptr);
      meanwhile(own, event);
    };
  };
  const Program nothing = [](cudaStream_t, cudaEvent_t) {};
  EXPECT_EQ(outcomes(cudaStreamNonBlocking, program(nothing, false)), Outcomes({3, 7, 9}));
  for (const Program& meanwhile :
       {Program([](cudaStream_t, cudaEvent_t event) { cudaEventRecord(event, nullptr); }),
        Program([](cudaStream_t, cudaEvent_t event) { cudaEventDestroy(event); }),
        Program([](cudaStream_t own, cudaEvent_t) { cudaStreamDestroy(own); })})
    EXPECT_EQ(outcomes(cudaStreamNonBlocking, program(meanwhile)), Outcomes({7, 9}));
}

// What the host waits for has been done, and whether the rest has is drawn.
TEST_F(DeviceQueueDrawn, AWaitIsForWhatItSays) {
  const auto seen = [this](unsigned flags, const Program& wait) {
    Outcomes values;
    inTurn(flags, [&](cudaStream_t own, cudaEvent_t event) {
      *hX = 0;
      add(5, own);
      downloadLater(hX, own);
      cudaEventRecord(event, own);
      add(1, nullptr);
      wait(own, event);
      values.insert(*hX == 0 ? 0 : 5);
    });
    return values;
  };
  int y = 0;
  const auto poll = [](const auto& query) {
    while (query() == cudaErrorNotReady) continue;
  };
  const Program waitsForIt[] = {
      [](cudaStream_t own, cudaEvent_t) { cudaStreamSynchronize(own); },
      [](cudaStream_t, cudaEvent_t event) { cudaEventSynchronize(event); },
      [=](cudaStream_t, cudaEvent_t event) { poll([=] { return cudaEventQuery(event); }); },
      [=](cudaStream_t own, cudaEvent_t) { poll([=] { return cudaStreamQuery(own); }); },
      [](cudaStream_t, cudaEvent_t) { cudaThreadSynchronize(); },
  };
  const Program waitsForTheDefaultStream[] = {
      [](cudaStream_t, cudaEvent_t) { cudaStreamSynchronize(nullptr); },
      [&](cudaStream_t, cudaEvent_t) { cudaMemcpy(&y, dX, sizeof y, cudaMemcpyDeviceToHost); },
      [&](cudaStream_t, cudaEvent_t) {
        cudaMemcpyAsync(&y, dX, sizeof y, cudaMemcpyDeviceToHost, nullptr);  // pageable
      },
  };
  for (const Program& wait : waitsForIt)
    EXPECT_EQ(seen(cudaStreamNonBlocking, wait), Outcomes({5})) << &wait - waitsForIt;
  for (const Program& wait : waitsForTheDefaultStream) {
    EXPECT_EQ(seen(cudaStreamNonBlocking, wait), Outcomes({0, 5})) << &wait - waitsForTheDefaultStream;
    EXPECT_EQ(seen(cudaStreamDefault, wait), Outcomes({5})) << &wait - waitsForTheDefaultStream;
  }
}

// In the other schedules, too: an event of a stream to which nothing but a wait for another event was given.
TEST_F(DeviceQueue, AnEventPassesWaitsOn) {
  cudaStream_t second = nullptr, third = nullptr;
  cudaEvent_t event = nullptr;
  ASSERT_EQ(cudaStreamCreateWithFlags(&second, cudaStreamNonBlocking), cudaSuccess);
  ASSERT_EQ(cudaStreamCreateWithFlags(&third, cudaStreamNonBlocking), cudaSuccess);
  ASSERT_EQ(cudaEventCreateWithFlags(&event, cudaEventDisableTiming), cudaSuccess);
  EXPECT_EQ(cudaEventQuery(event), cudaSuccess);
  EXPECT_EQ(cudaEventSynchronize(event), cudaSuccess);
  for (const Schedule schedule : {Schedule::eager, Schedule::lazy, Schedule::drawn})
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
      software_device::setSchedule(schedule, seed);
      *hX = -1;
      ASSERT_EQ(cudaMemset(dX, 0, sizeof(int)), cudaSuccess);
      add(5, stream);
      ASSERT_EQ(downloadLater(hX, stream), cudaSuccess);
      for (const auto& [from, to] : {std::pair(stream, second), std::pair(second, third)}) {
        ASSERT_EQ(cudaEventRecord(event, from), cudaSuccess);
        ASSERT_EQ(cudaStreamWaitEvent(to, event, 0), cudaSuccess);
      }
      ASSERT_EQ(cudaStreamSynchronize(third), cudaSuccess);
      EXPECT_EQ(*hX, 5);
    }
  EXPECT_EQ(cudaEventDestroy(event), cudaSuccess);
  EXPECT_EQ(cudaStreamDestroy(second), cudaSuccess);
  EXPECT_EQ(cudaStreamDestroy(third), cudaSuccess);
}

TEST_F(DeviceQueue, BadEventsAreRefused) {
  cudaEvent_t event = nullptr, gone = nullptr;
  cudaStream_t other = nullptr;
  EXPECT_EQ(cudaEventCreateWithFlags(nullptr, 0), cudaErrorInvalidValue);
  EXPECT_EQ(cudaEventCreateWithFlags(&event, 64), cudaErrorInvalidValue);
  EXPECT_EQ(cudaStreamCreateWithFlags(nullptr, 0), cudaErrorInvalidValue);
  EXPECT_EQ(cudaStreamCreateWithFlags(&other, 2), cudaErrorInvalidValue);
  ASSERT_EQ(cudaEventCreateWithFlags(&event, 0), cudaSuccess);
  ASSERT_EQ(cudaEventCreateWithFlags(&gone, 0), cudaSuccess);
  ASSERT_EQ(cudaEventDestroy(gone), cudaSuccess);
  EXPECT_EQ(cudaStreamWaitEvent(stream, event, 1), cudaErrorInvalidValue);
  ASSERT_EQ(cudaStreamCreate(&other), cudaSuccess);
  ASSERT_EQ(cudaStreamDestroy(other), cudaSuccess);
  for (const cudaEvent_t bad : {gone, cudaEvent_t(nullptr)})
    for (const cudaError_t error : {cudaEventDestroy(bad), cudaEventRecord(bad, nullptr), cudaEventQuery(bad),
                                    cudaEventSynchronize(bad), cudaStreamWaitEvent(stream, bad, 0)})
      EXPECT_EQ(error, cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaEventRecord(event, other), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaStreamWaitEvent(other, event, 0), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaEventDestroy(event), cudaSuccess);
}

// As what needs memory for a stack and gets none.
__global__ void failing_k(int* p, int block) {
  if (static_cast<int>(blockIdx.x) == block) throw std::bad_alloc();
  if (blockIdx.x == 0 && threadIdx.x == 0) *p = 7;
}

// The queue goes on, with the next piece and after the one that has failed; the failure waits for the thread
// whose work it was, which is told once.
TEST_F(DeviceQueue, WorkThatFailsIsToldToWhoIssuedIt) {
  for (const Schedule schedule : {Schedule::lazy, Schedule::eager, Schedule::drawn})
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

// Adds what others add to the same number with its own, once for all of them. Nobody adds less than nothing.
struct AddTogether : device::native::Body {
  static constexpr bool takesIn = true;
  static int room(int*, int value) { return value; }
  static bool takeIn(int& sum, int* p, int, int* other, int value) {
    if (p == other) sum += value;
    return p == other;
  }
  TOVI_DEVICE_CODE static void run(int sum, dim3, dim3, int* p, int) {
    if (sum < 0) throw std::bad_alloc();
    *p += sum;
  }
};

// With neighbours that can be done at once: not before somebody waits for them, nor past other work; with
// other shapes, or kernels as they are, one by one. They fail together, and each thread is told of its own.
TEST_F(DeviceQueue, NeighboursAreDoneTogether) {
  const auto together = [&](int value, cudaStream_t where, unsigned blocks = 1) {
    device::launch<&add_k, AddTogether>(dim3(blocks), dim3(1), 0, where, dX, value);
  };
  auto runs = [before = std::uint64_t{0}]() mutable {
    const std::uint64_t since = software_device::nativeLaunches() - before;
    before += since;
    return since;
  };
  software_device::setSchedule(Schedule::lazy);
  runs();
  for (const cudaStream_t where : {cudaStream_t{}, stream, cudaStream_t{}}) together(1, where);
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_TRUE(runs() == 1 && software_device::pending() == 1);
  for (int i = 0; i < 3; ++i) together(1, stream);
  EXPECT_EQ(cudaStreamQuery(stream), cudaErrorNotReady);
  EXPECT_TRUE(runs() == 1 && software_device::pending() == 3);
  ASSERT_EQ(downloadLater(hX, stream), cudaSuccess);
  for (int i = 0; i < 3; ++i) together(1, nullptr);
  together(1, nullptr, 2);
  ASSERT_EQ(cudaThreadSynchronize(), cudaSuccess);
  EXPECT_EQ(*hX, 6);
  EXPECT_TRUE(runs() == 3 && software_device::pending() == 0);
  software_device::useNativeBodies(false);
  for (int i = 0; i < 3; ++i) together(1, stream);
  ASSERT_EQ(cudaMemcpy(hX, dX, sizeof(int), cudaMemcpyDeviceToHost), cudaSuccess);
  EXPECT_TRUE(runs() == 0 && *hX == 13);

  software_device::useNativeBodies(true);
  together(-10, nullptr);
  std::thread([&] {
    together(1, nullptr);
    together(2, stream);
    EXPECT_EQ(cudaThreadSynchronize(), cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
  }).join();
  EXPECT_EQ(runs(), 1u);
  EXPECT_EQ(cudaThreadSynchronize(), cudaErrorMemoryAllocation);
  EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
  ASSERT_EQ(cudaMemcpy(hX, dX, sizeof(int), cudaMemcpyDeviceToHost), cudaSuccess);
  EXPECT_EQ(*hX, 13);
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

// Many threads, each with a stream of its own: its work in the order of its issue, also against the default
// stream.
TEST(DeviceQueueThreads, ManyThreadsShareTheDevice) {
  for (const Schedule schedule : {Schedule::eager, Schedule::lazy, Schedule::drawn}) {
    software_device::setSchedule(schedule);
    const int launches = schedule == Schedule::drawn ? 20 : 200;  // all that waits is looked at in each turn
    std::vector<std::thread> crew;
    for (int t = 0; t < 6; ++t)
      crew.emplace_back([t, launches] {
        OneInt own;
        for (int round = 0; round < 20; ++round) {
          *own.hX = t;
          cudaMemcpyAsync(own.dX, own.hX, sizeof(int), cudaMemcpyHostToDevice, own.stream);
          for (int i = 0; i < launches; ++i) own.add(1, own.stream);
          device::launch<&multiply_k>(dim3(1), dim3(1), 0, nullptr, own.dX, 10);
          own.add(1, own.stream);
          own.downloadLater(own.hX, own.stream);
          if (round % 2 == 0)
            cudaStreamSynchronize(own.stream);
          else
            while (cudaStreamQuery(own.stream) == cudaErrorNotReady) std::this_thread::yield();
          EXPECT_EQ(*own.hX, (t + launches) * 10 + 1);
        }
      });
    for (std::thread& thread : crew) thread.join();
    EXPECT_TRUE(software_device::live().allocations == 0 && software_device::live().streams == 0);
  }
}

}  // namespace
