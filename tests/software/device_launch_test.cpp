// Kernel launches on the software device: every thread once, the limits of the capability, and barriers.

#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <thread>
#include <vector>

#include "platform/launch.h"
#include "platform/software/testing/software_device.h"

namespace {

void configureCapability(int major, int minor) {
  software_device::Machine machine;
  machine.devices.resize(1);
  machine.devices[0].major = major;
  machine.devices[0].minor = minor;
  machine.devices[0].memory = std::size_t{256} << 20;
  software_device::configure(machine);
}

template <class T>
struct DeviceArray {
  explicit DeviceArray(std::size_t n) : size(n) {
    EXPECT_EQ(cudaMalloc(&get, n * sizeof(T)), cudaSuccess);
    EXPECT_EQ(cudaMemset(get, 0, n * sizeof(T)), cudaSuccess);
  }
  ~DeviceArray() { cudaFree(get); }
  std::vector<T> read() const {
    std::vector<T> h(size);
    EXPECT_EQ(cudaMemcpy(h.data(), get, size * sizeof(T), cudaMemcpyDeviceToHost), cudaSuccess);
    return h;
  }
  T* get = nullptr;
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
    DeviceArray<int> hits(threads);
    platform::launch<&count_k>(grid, block, 0, nullptr, hits.get, 2);  // an int for a double
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
      {1, 512, 0, true, true},          {1, 513, 0, false, true},        {1, 1024, 0, false, true},
      {1, 1025, 0, false, false},       {1, {32, 33}, 0, false, false},  {1, {1, 1, 64}, 0, true, true},
      {1, {1, 1, 65}, 0, false, false}, {65535, 1, 0, true, true},       {65536, 1, 0, false, false},
      {{1, 65536}, 1, 0, false, false}, {{1, 1, 2}, 1, 0, false, true},  {{0, 1, 1}, 1, 0, false, false},
      {{1, 0, 1}, 1, 0, false, false},  {1, {1, 0, 1}, 0, false, false}, {1, 1, 16384, true, true},
      {1, 1, 16385, false, true},       {1, 1, 49153, false, false},
  };
  for (const bool current : {false, true}) {
    configureCapability(current ? 2 : 1, current ? 0 : 3);
    software_device::setSchedule(software_device::Schedule::lazy);
    DeviceArray<int> hits(70000);
    for (const Case& c : cases) {
      EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
      platform::launch<&count_k>(c.grid, c.block, c.shared, nullptr, hits.get, 1);
      const bool accepted = current ? c.current : c.old;
      EXPECT_EQ(software_device::pending(), accepted ? 1u : 0u) << &c - cases << current;
      EXPECT_EQ(cudaGetLastError(), accepted ? cudaSuccess : cudaErrorInvalidConfiguration)
          << &c - cases << current;
      EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    }
  }
}

struct Weights {
  short w[5];
};
__global__ void weigh_k(int* p, Weights weights) { p[threadIdx.x] = weights.w[threadIdx.x]; }

TEST(DeviceLaunch, ArgumentsAreTakenAtTheLaunch) {
  software_device::setSchedule(software_device::Schedule::lazy);
  DeviceArray<int> p(5);
  Weights weights = {{5, 4, 3, 2, 1}};
  platform::launch<&weigh_k>(dim3(1), dim3(5), 0, nullptr, p.get, weights);
  weights = Weights{};
  EXPECT_EQ(p.read(), (std::vector<int>{5, 4, 3, 2, 1}));
}

// One sum a block, by halving. Without working barriers a thread adds what its neighbour has not written yet.
template <unsigned size>
__global__ void sum_k(const int* in, int* out) {
  __shared__ int part[size];
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
  __shared__ int tile[size];
  tile[threadIdx.x] = p[blockIdx.x * size + threadIdx.x];
  __syncthreads();
  p[blockIdx.x * size + threadIdx.x] = tile[size - 1 - threadIdx.x];
}

TEST(DeviceLaunch, BarriersHoldABlockTogether) {
  constexpr unsigned size = 256, blocks = 70;
  std::vector<int> in(size * blocks);
  std::iota(in.begin(), in.end(), 1);
  DeviceArray<int> dIn(in.size()), dOut(blocks);
  ASSERT_EQ(cudaMemcpy(dIn.get, in.data(), in.size() * sizeof(int), cudaMemcpyHostToDevice), cudaSuccess);
  platform::launch<&sum_k<size>>(dim3(blocks), dim3(size), 0, nullptr, dIn.get, dOut.get);
  platform::launch<&reverse_k<size>>(dim3(blocks), dim3(size), 0, nullptr, dIn.get);
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
  DeviceArray<int> p(64);
  const auto reverse = [&] { platform::launch<&reverse_k<64>>(dim3(1), dim3(64), 0, nullptr, p.get); };
  std::thread([&] {
    static thread_local const SynchronizesAtThreadEnd atThreadEnd;
    static_cast<void>(&atThreadEnd);
    std::vector<int> numbers(64);
    std::iota(numbers.begin(), numbers.end(), 0);
    EXPECT_EQ(cudaMemcpy(p.get, numbers.data(), 64 * sizeof(int), cudaMemcpyHostToDevice), cudaSuccess);
    reverse();
    EXPECT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    reverse();
    reverse();
  }).join();
  const std::vector<int> reversed = p.read();
  for (int i = 0; i < 64; ++i) EXPECT_EQ(reversed[static_cast<std::size_t>(i)], 63 - i);
}

// Threads below `first` and every third one return before the barrier; those that are left hand a number
// round.
__global__ void ring_k(int* p, unsigned first) {
  __shared__ int slots[2][64];
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
    DeviceArray<int> p(64);
    platform::launch<&ring_k>(dim3(1), dim3(8, 8), 0, nullptr, p.get, first);
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

// Sums depend on the order of a block's threads only, so neither the workers nor their number shows in the
// bits.
__global__ void wave_k(float* p) {
  const std::size_t i = globalThread();
  float x = static_cast<float>(i % 1000);
  for (int k = 0; k < 3; ++k) x = x * 1.0001f + 0.3f;
  p[i] = x;
}

TEST(DeviceLaunch, WorkersDoNotChangeTheBits) {
  std::vector<float> first;
  for (const int workers : {0, 1, 3}) {
    software_device::setWorkers(workers);
    DeviceArray<float> p(256 * 1000);
    platform::launch<&wave_k>(dim3(1000), dim3(256), 0, nullptr, p.get);
    if (first.empty()) first = p.read();
    EXPECT_EQ(p.read(), first);
  }
}

}  // namespace
