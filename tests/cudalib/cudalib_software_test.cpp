// The choice among devices, copies of two dimensions, padding on devices of every level, and launch geometry.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "cudalib/copy2d.h"
#include "cudalib/device_table.h"
#include "cudalib/launch.h"
#include "cudalib/managed_memory.h"
#include "cudalib/runtime_flags.h"
#include "device/software/testing/software_device.h"
#include "tests/support/matrix.h"

namespace {

using testing_support::Complex;
using tovi::BlasAllocator;

constexpr std::size_t MiB = 1 << 20;

struct Candidate {
  const char* name;
  std::size_t memory;
  int multiprocessors, clockKHz;
};

int chosenOf(const std::vector<Candidate>& candidates) {
  std::vector<cudalib::DeviceRecord> devices;
  for (const Candidate& c : candidates) {
    device::DeviceProperties properties = {};
    std::strcpy(properties.name, c.name);
    properties.major = 2;
    properties.totalGlobalMem = c.memory;
    properties.multiProcessorCount = c.multiprocessors;
    properties.clockRateKHz = c.clockKHz;
    devices.emplace_back(static_cast<int>(devices.size()), properties);
  }
  return cudalib::chooseDevice(devices);
}

TEST(DeviceChoice, TeslaThenHigherScoreThenLowerOrdinal) {
  EXPECT_EQ(chosenOf({}), -1);
  EXPECT_EQ(chosenOf({{"A", 0, 0, 0}}), 0);  // even with no score at all
  const Candidate plain = {"A", 512 * MiB, 8, 1000000}, larger = {"B", 513 * MiB, 8, 1000000},
                  faster = {"B", 512 * MiB, 8, 1000001}, wider = {"C", 512 * MiB, 9, 1000000};
  EXPECT_EQ(chosenOf({plain, larger}), 1);
  EXPECT_EQ(chosenOf({plain, faster, wider}), 2);
  EXPECT_EQ(chosenOf({plain, plain}), 0);
  // Bytes count as much as kHz times cores: 8 * 4 * 1000000 more cycles lose against 31 MiB more memory.
  const Candidate cycles = {"A", 512 * MiB, 12, 1000000};
  EXPECT_EQ(chosenOf({cycles, {"B", 543 * MiB, 8, 1000000}}), 1);
  EXPECT_EQ(chosenOf({cycles, {"B", 542 * MiB, 8, 1000000}}), 0);
  if (sizeof(std::size_t) > 4) {
    const auto beyond = static_cast<std::size_t>(std::uint64_t{4097} << 20);  // 1 MiB where sizes wrap
    EXPECT_EQ(chosenOf({{"A", 1024 * MiB, 8, 1000000}, {"B", beyond, 8, 1000000}}), 1);
  }
  const Candidate big = {"GeForce", 3000 * MiB, 30, 1500000}, tesla = {"NVIDIA Tesla C1", 100 * MiB, 1, 1000},
                  better = {"Tesla C2", 200 * MiB, 1, 1000};
  EXPECT_EQ(chosenOf({big, tesla}), 1);
  EXPECT_EQ(chosenOf({tesla, big, better}), 2);
  EXPECT_EQ(chosenOf({better, big, tesla}), 0);
  EXPECT_EQ(chosenOf({big, {"Tesla", 0, 0, 0}}), 1);
  EXPECT_EQ(chosenOf({big, {"tesla", 0, 0, 0}}), 0);
}

// Devices of these levels.
void use(const std::vector<int>& levels, bool emulation = false) {
  software_device::Machine machine;
  for (const int level : levels) {
    software_device::Profile device = software_device::defaultMachine().devices[0];
    device.major = level / 10, device.minor = level % 10, device.emulation = emulation;
    machine.devices.push_back(device);
  }
  software_device::configure(machine);
}

TEST(DeviceChoice, AloneAPlaceholderIsNoDevice) {
  use({20}, true);
  EXPECT_EQ(cudalib::deviceCount(), 0);
  EXPECT_EQ(cudalib::chooseDevice(), -1);
  use({9});  // no capability
  EXPECT_EQ(cudalib::deviceCount(), 0);
  use({10, 9});
  EXPECT_EQ(cudalib::deviceCount(), 2);
  for (const int none : {-1, 2}) EXPECT_THROW(cudalib::deviceRecord(none), cudalib::CudaRuntimeException);
  use({});
  EXPECT_EQ(cudalib::deviceCount(), 0);
  EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);
}

template <class T>
std::size_t paddedRows(std::size_t rows) {
  return cudalib::ManagedMemory<T, BlasAllocator<T>>(rows, 2).leadingDimension();
}

// By the level of the current device and the partitions of the one that the library was initialized on.
TEST(Padding, FollowsTheDevice) {
  use({20, 13});
  cudalib::setRuntimeFlags(0, 20);
  EXPECT_EQ(paddedRows<float>(480), 480U);
  EXPECT_EQ(paddedRows<float>(500), 576U);
  EXPECT_EQ(paddedRows<Complex<double>>(128), 160U);
  EXPECT_EQ(paddedRows<double>(192), 192U);
  cudalib::setRuntimeFlags(0, 12);  // six partitions
  EXPECT_EQ(paddedRows<double>(192), 256U);
  EXPECT_EQ(paddedRows<int>(384), 480U);
  cudalib::setRuntimeFlags(0, 20);
  ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
  EXPECT_EQ(paddedRows<float>(1000), 1056U);
  EXPECT_EQ(paddedRows<double>(1), 48U);
}

// Dense runs travel in one linear copy; rows too far apart for a two-dimensional one each by itself, until
// one fails. Most of the host range is never touched.
TEST(Copy2D, TakesTheCheapestCall) {
  using software_device::Entry;
  const testing_support::DeviceArray<char> memory(40);
  const std::size_t far = std::size_t{0x7FFFFFFF} + 5;
  const std::unique_ptr<char, decltype(&std::free)> host(
      static_cast<char*>(sizeof(void*) < 8 ? nullptr : std::calloc(2 * far + 40, 1)), std::free);
  if (host == nullptr) GTEST_SKIP() << "needs more than 4 GiB of addresses";
  const auto copy = [&](std::size_t dpitch, std::size_t spitch, std::size_t width, std::size_t height) {
    software_device::resetCounts();
    return cudalib::copy2D(memory.data(), dpitch, host.get(), spitch, width, height, cudaMemcpyHostToDevice,
                           false, nullptr);
  };
  EXPECT_TRUE(copy(8, 8, 8, 5) == cudaSuccess && software_device::calls(Entry::memcpy) == 1);
  EXPECT_TRUE(copy(8, 12, 8, 3) == cudaSuccess && software_device::calls(Entry::memcpy2D) == 1);
  EXPECT_TRUE(copy(2, far, 1, 3) == cudaSuccess && software_device::calls(Entry::memcpy) == 3);
  software_device::failCall(Entry::memcpy, 2, cudaErrorInvalidValue);
  EXPECT_EQ(copy(2, far, 1, 3), cudaErrorInvalidValue);
  EXPECT_EQ(software_device::calls(Entry::memcpy), 2U);
}

template <class Map>
__global__ void CountVisits_k(int n, int* visits) {
  const std::ptrdiff_t i = Map::index();
  if (i < n) visits[i] += static_cast<int>(i) + 1;
}

TEST(Maps, FoldedGrids) {
  constexpr int most = std::numeric_limits<int>::max();
  const struct {
    int n;
    unsigned threads, limit, x, y, z;
  } rows[] = {{0, 256, 65535, 0, 1, 1},
              {256, 256, 65535, 1, 1, 1},
              {257, 256, 65535, 2, 1, 1},
              {16 * 65535, 16, 65535, 65535, 1, 1},
              {16 * 65535 + 1, 16, 65535, 32768, 2, 1},
              {(1 << 24) + 1, 128, 65535, 32768, 5, 1},
              {most, 16, 65535, 32768, 4096, 1},
              {most, 256, 0x7FFFFFFF, 8388608, 1, 1},
              // 50 blocks -> 25 -> 12 -> 6 -> 3; 100 / 6 -> 17 -> 8 -> 4 -> 2; 100 / 12 -> 9.
              {100, 2, 3, 3, 2, 9}};
  for (const auto& row : rows) {
    const dim3 grid = cudalib::foldedGrid(row.n, row.threads, row.limit);
    EXPECT_TRUE(grid.x == row.x && grid.y == row.y && grid.z == row.z) << &row - rows;
  }
  // Every element has one thread.
  const int n = 1000;
  std::vector<int> visits(n), expected;
  for (int i = 0; i < n; ++i) expected.push_back(i + 1);
  const testing_support::DeviceArray<int> counters(visits);
  device::launch<&CountVisits_k<cudalib::Map1D>>(cudalib::foldedGrid(n, 16, 5), dim3(16), 0, nullptr, n,
                                                 counters.data());
  counters.download(visits.data());
  EXPECT_EQ(visits, expected);
}

}  // namespace
