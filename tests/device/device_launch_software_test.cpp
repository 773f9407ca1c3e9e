// Kernel launches on the software device: every thread once, the limits of the capability, and barriers.

#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <thread>
#include <vector>

#include "device/launch.h"
#include "device/software/testing/software_device.h"
#include "tests/support/machines.h"
#include "tests/support/matrix.h"

namespace {

// Counters, or what they are to begin with, in device memory.
struct Numbers : testing_support::DeviceArray<int> {
  explicit Numbers(std::size_t n) : Numbers(std::vector<int>(n)) {}
  explicit Numbers(const std::vector<int>& start) : DeviceArray(start), size(start.size()) {}
  std::vector<int> read() const {
    std::vector<int> now(size);
    download(now.data());
    return now;
  }
  std::size_t size;
};

__device__ std::size_t globalThread() {
  const std::size_t block = (std::size_t{blockIdx.z} * gridDim.y + blockIdx.y) * gridDim.x + blockIdx.x;
  const std::size_t thread = (std::size_t{threadIdx.z} * blockDim.y + threadIdx.y) * blockDim.x + threadIdx.x;
  return block * (blockDim.x * blockDim.y * blockDim.z) + thread;
}

__global__ void count_k(int* hits, double step) { hits[globalThread()] += static_cast<int>(step); }

// One piece of blocks, several, a folded grid, all three extents of a block: each thread runs once.
TEST(DeviceLaunch, EveryThreadRunsOnce) {
  const dim3 shapes[][2] = {{1, 1},     {{3, 5, 2}, {4, 3, 5}},    {{1000, 3}, {16, 16}},
                            {40000, 1}, {{7, 11, 13}, {64, 2, 8}}, {2, 1024}};
  for (const auto& [grid, block] : shapes) {
    const std::size_t threads = std::size_t{grid.x} * grid.y * grid.z * block.x * block.y * block.z;
    Numbers hits(threads);
    device::launch<&count_k>(grid, block, 0, nullptr, hits.data(), 2);  // an int for a double
    ASSERT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(hits.read(), std::vector<int>(threads, 2));
  }
}

TEST(DeviceLaunch, LimitsFollowTheCapability) {
  struct Case {
    dim3 grid, block;
    std::size_t shared;
    bool old, current;  // accepted below 2.0; from 2.0 on
  };
  const Case cases[] = {
      {1, 512, 0, true, true},         {1, 513, 0, false, true},         {1, 1024, 0, false, true},
      {1, 1025, 0, false, false},      {1, {32, 32}, 0, false, true},    {1, {32, 33}, 0, false, false},
      {1, {1, 1, 64}, 0, true, true},  {1, {1, 1, 65}, 0, false, false}, {65535, 1, 0, true, true},
      {65536, 1, 0, false, false},     {{1, 65536}, 1, 0, false, false}, {{1, 1, 2}, 1, 0, false, true},
      {{0, 1, 1}, 1, 0, false, false}, {{1, 0, 1}, 1, 0, false, false},  {1, {1, 0, 1}, 0, false, false},
      {1, 1, 16384, true, true},       {1, 1, 16385, false, true},       {1, 1, 49153, false, false},
  };
  for (const bool current : {false, true}) {
    testing_support::configureDevice([&](software_device::Profile& device) {
      device.major = current ? 2 : 1, device.minor = current ? 0 : 3;
    });
    software_device::setSchedule(software_device::Schedule::lazy);
    Numbers hits(70000);
    for (const Case& c : cases) {
      EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
      device::launch<&count_k>(c.grid, c.block, c.shared, nullptr, hits.data(), 1);
      const bool accepted = current ? c.current : c.old;
      EXPECT_EQ(software_device::pending(), accepted ? 1u : 0u) << &c - cases << current;
      EXPECT_EQ(cudaGetLastError(), accepted ? cudaSuccess : cudaErrorInvalidConfiguration)
          << &c - cases << current;
      EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    }
  }
}

// One sum a block, by halving. Without working barriers a thread adds what its neighbour has not written yet.
template <unsigned size>
__global__ void sum_k(const int* in, int* out) {
  TOVI_SHARED(int, part, [size]);
  part[threadIdx.x] = in[blockIdx.x * size + threadIdx.x];
  __syncthreads();
  for (unsigned half = size / 2; half > 0; half /= 2) {
    if (threadIdx.x < half) part[threadIdx.x] += part[threadIdx.x + half];
    __syncthreads();
  }
  if (threadIdx.x == 0) out[blockIdx.x] = part[0];
}

// The same upside down: thread 0, which runs first, reads what the last ones write.
template <unsigned size>
__global__ void reverse_k(int* p) {
  TOVI_SHARED(int, tile, [size]);
  tile[threadIdx.x] = p[blockIdx.x * size + threadIdx.x];
  __syncthreads();
  p[blockIdx.x * size + threadIdx.x] = tile[size - 1 - threadIdx.x];
}

TEST(DeviceLaunch, BarriersHoldABlockTogether) {
  constexpr unsigned size = 256, blocks = 70;
  std::vector<int> in(size * blocks);
  std::iota(in.begin(), in.end(), 1);
  const Numbers dIn(in), dOut(blocks);
  device::launch<&sum_k<size>>(dim3(blocks), dim3(size), 0, nullptr, dIn.data(), dOut.data());
  device::launch<&reverse_k<size>>(dim3(blocks), dim3(size), 0, nullptr, dIn.data());
  ASSERT_EQ(cudaGetLastError(), cudaSuccess);
  const std::vector<int> sums = dOut.read(), reversed = dIn.read();
  for (unsigned b = 0; b < blocks; ++b) {
    ASSERT_EQ(sums[b], std::accumulate(&in[b * size], &in[b * size] + size, 0)) << b;
    for (unsigned i = 0; i < size; ++i) ASSERT_EQ(reversed[b * size + i], in[b * size + size - 1 - i]) << b;
  }
}

// What waits for the device while its thread's objects are being destroyed, the fibers before it.
struct SynchronizesAtThreadEnd {
  ~SynchronizesAtThreadEnd() { EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess); }
};

TEST(DeviceLaunch, AThreadThatEndsStillRunsBarriers) {
  software_device::setSchedule(software_device::Schedule::lazy);  // a kernel runs where somebody waits for it
  std::vector<int> numbers(64);
  std::iota(numbers.begin(), numbers.end(), 0);
  const Numbers p(numbers);
  const auto reverse = [&] { device::launch<&reverse_k<64>>(dim3(1), dim3(64), 0, nullptr, p.data()); };
  std::thread([&] {
    static thread_local const SynchronizesAtThreadEnd atThreadEnd;
    static_cast<void>(&atThreadEnd);
    reverse();
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    reverse();
    reverse();
  }).join();
  std::reverse(numbers.begin(), numbers.end());
  EXPECT_EQ(p.read(), numbers);
}

// Threads below `first` and every third one return before the barrier; those that are left hand a number
// round.
__global__ void ring_k(int* p, unsigned first) {
  TOVI_SHARED(int, slots, [2][64]);
  const unsigned linear = threadIdx.y * blockDim.x + threadIdx.x;
  if (linear < first || linear % 3 == 0) {
    p[linear] = -1;
    return;
  }
  slots[0][linear] = static_cast<int>(linear);
  __syncthreads();
  int next = static_cast<int>(linear) + 1;
  if (next % 3 == 0) ++next;
  const int taken = next < 64 ? slots[0][next] : -2;
  slots[1][linear] = taken;
  __syncthreads();
  if (linear % 2 == 0) return;  // and some between two barriers
  __syncthreads();
  p[linear] = slots[1][linear];
}

TEST(DeviceLaunch, ThreadsThatHaveEndedDoNotHoldABarrier) {
  for (const unsigned first : {0u, 2u, 62u, 63u, 64u}) {
    Numbers p(64);
    device::launch<&ring_k>(dim3(1), dim3(8, 8), 0, nullptr, p.data(), first);
    ASSERT_EQ(cudaGetLastError(), cudaSuccess);
    const std::vector<int> result = p.read();
    for (unsigned i = 0; i < 64; ++i) {
      int expected = -1;
      if (i >= first && i % 3 != 0) {
        const int next = static_cast<int>(i % 3 == 2 ? i + 2 : i + 1);
        expected = i % 2 == 0 ? 0 : next < 64 ? next : -2;
      }
      EXPECT_EQ(result[i], expected) << i << " from " << first;
    }
  }
}

// Mistakes that are right in the order of the numbers. A thread needs what the one before it has stored, and
// no barrier is between them, before the first one or after it; a block needs the result of the one before
// it.
template <unsigned size>
__global__ void noBarrier_k(int* p, int start) {
  TOVI_SHARED(int, sums, [size]);
  sums[threadIdx.x] = threadIdx.x == 0 ? start : sums[threadIdx.x - 1] + 1;
  __syncthreads();
  p[threadIdx.x] = sums[threadIdx.x];
}
template <unsigned size>
__global__ void noSecondBarrier_k(int* p, int start) {
  TOVI_SHARED(int, sums, [size]);
  sums[threadIdx.x] = start;
  __syncthreads();
  if (threadIdx.x != 0) sums[threadIdx.x] = sums[threadIdx.x - 1] + 1;
  p[threadIdx.x] = sums[threadIdx.x];
}
__global__ void blockAfterBlock_k(int* p, int start) {
  p[blockIdx.x] = blockIdx.x == 0 ? start : p[blockIdx.x - 1] + 1;
}

// What a kernel leaves in 64 numbers that are to count from `start`.
using Mistake = std::vector<int> (*)(int start);
template <auto Kernel>
std::vector<int> result(int start) {
  const Numbers p(64);
  constexpr bool blocks = Kernel == &blockAfterBlock_k;
  device::launch<Kernel>(dim3(blocks ? 64 : 1), dim3(blocks ? 1 : 64), 0, nullptr, p.data(), start);
  return p.read();
}

TEST(DeviceLaunch, WhileCheckingNoOrderOfThreadsOrBlocksIsTakenForGranted) {
  software_device::setWorkers(0);
  for (const Mistake mistake :
       {&result<&noBarrier_k<64>>, &result<&noSecondBarrier_k<64>>, &result<&blockAfterBlock_k>}) {
    std::vector<int> counted(64);
    const auto countFrom = [&](int start) {
      std::iota(counted.begin(), counted.end(), start);
      return start;
    };
    software_device::setChecking(false);
    EXPECT_EQ(mistake(countFrom(1)), counted);
    std::vector<std::vector<int>> orders;
    for (const std::uint64_t seed : {1U, 2U, 3U}) {
      software_device::setChecking(true, seed);
      EXPECT_NE(mistake(countFrom(1000)), counted);
      EXPECT_NE(mistake(countFrom(2000)), counted);
      software_device::setChecking(true, seed);  // the first launch of this seed again
      orders.push_back(mistake(3000));
    }
    EXPECT_NE(orders[0], orders[1]);
    EXPECT_NE(orders[1], orders[2]);
  }
}

}  // namespace
