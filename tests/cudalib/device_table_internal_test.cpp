// The device survey and the choice among its records, on any device.

#include "cudalib/device_table.h"

#include <gtest/gtest.h>

#include <cstring>

#include "cudalib/check.h"
#include "cudalib/exceptions.h"

namespace {

using cudalib::chooseDevice;
using cudalib::DeviceRecord;

struct Candidate {
  const char* name;
  std::size_t memory;
  int multiprocessors, clockKHz;
};

int chosenOf(const std::vector<Candidate>& candidates) {
  std::vector<DeviceRecord> devices;
  for (const Candidate& c : candidates) {
    device::DeviceProperties properties = {};
    std::strcpy(properties.name, c.name);
    properties.major = 2;
    properties.totalGlobalMem = c.memory;
    properties.multiProcessorCount = c.multiprocessors;
    properties.clockRateKHz = c.clockKHz;
    devices.emplace_back(static_cast<int>(devices.size()), properties);
  }
  return chooseDevice(devices);
}

TEST(DeviceChoice, HigherScoreThenLowerOrdinal) {
  const std::size_t MiB = 1 << 20;
  EXPECT_EQ(chosenOf({}), -1);
  EXPECT_EQ(chosenOf({{"A", 0, 0, 0}}), 0);  // even with no score at all
  EXPECT_EQ(chosenOf({{"A", 512 * MiB, 8, 1000000}, {"B", 513 * MiB, 8, 1000000}}), 1);
  EXPECT_EQ(
      chosenOf({{"A", 512 * MiB, 8, 1000000}, {"B", 512 * MiB, 8, 1000001}, {"C", 512 * MiB, 9, 1000000}}),
      2);
  EXPECT_EQ(chosenOf({{"A", 512 * MiB, 8, 1000000}, {"B", 512 * MiB, 8, 1000000}}), 0);
  // Bytes count as much as kHz times cores: 8 * 4 * 1000000 more cycles lose against 31 MiB more memory.
  EXPECT_EQ(chosenOf({{"A", 512 * MiB, 12, 1000000}, {"B", 543 * MiB, 8, 1000000}}), 1);
  EXPECT_EQ(chosenOf({{"A", 512 * MiB, 12, 1000000}, {"B", 542 * MiB, 8, 1000000}}), 0);
  if (sizeof(std::size_t) > 4) {
    const auto beyond =
        static_cast<std::size_t>(std::uint64_t{4097} << 20);  // 1 MiB where sizes wrap at 4 GiB
    EXPECT_EQ(chosenOf({{"A", 1024 * MiB, 8, 1000000}, {"B", beyond, 8, 1000000}}), 1);
  }
}

TEST(DeviceChoice, TeslaBeforeAnyOther) {
  const std::size_t MiB = 1 << 20;
  const Candidate big = {"GeForce", 3000 * MiB, 30, 1500000}, tesla = {"NVIDIA Tesla C1", 100 * MiB, 1, 1000},
                  better = {"Tesla C2", 200 * MiB, 1, 1000};
  EXPECT_EQ(chosenOf({big, tesla}), 1);
  EXPECT_EQ(chosenOf({tesla, big}), 0);
  EXPECT_EQ(chosenOf({tesla, big, better}), 2);
  EXPECT_EQ(chosenOf({better, big, tesla}), 0);
  EXPECT_EQ(chosenOf({tesla, tesla}), 0);
  EXPECT_EQ(chosenOf({big, {"Tesla", 0, 0, 0}}), 1);  // preferred without any score
}

TEST(DeviceTable, RecordsDescribeTheDevices) {
  const int count = cudalib::deviceCount();
  ASSERT_GT(count, 0);
  for (int i = 0; i < count; ++i) {
    const DeviceRecord& record = cudalib::deviceRecord(i);
    device::DeviceProperties properties = {};
    ASSERT_EQ(device::getDeviceProperties(&properties, i), cudaSuccess);
    EXPECT_EQ(record.ordinal, i);
    EXPECT_EQ(record.name, properties.name);
    EXPECT_EQ(record.code, 10 * properties.major + properties.minor);
    EXPECT_EQ(record.properties.totalGlobalMem, properties.totalGlobalMem);
  }
  EXPECT_EQ(&cudalib::currentDevice(), &cudalib::deviceRecord(0));
  for (const int none : {-1, count}) {
    try {
      cudalib::deviceRecord(none);
      FAIL() << none;
    } catch (const cudalib::CudaRuntimeException& e) {
      EXPECT_EQ(e.error(), static_cast<int>(cudaErrorInvalidDevice));
    }
  }
}

TEST(DeviceTable, Predicates) {
  device::DeviceProperties properties = {};
  properties.major = 1;
  properties.minor = 2;
  std::strcpy(properties.name, "Quadro FX");
  const DeviceRecord record(0, properties);
  EXPECT_TRUE(record.atLeast11() && record.atLeast12() && record.knownFamily());
  EXPECT_FALSE(record.hasDoublePrecision() || record.overlapsCopies() || record.mapsHostMemory() ||
               record.preferred);
  properties.minor = 3;
  std::strcpy(properties.name, "A Tesla");
  properties.overlapsCopies = 1;
  properties.canMapHostMemory = 1;
  const DeviceRecord other(0, properties);
  EXPECT_TRUE(other.hasDoublePrecision() && other.overlapsCopies() && other.mapsHostMemory() &&
              other.preferred);
  std::strcpy(properties.name, "tesla");
  properties.minor = 0;
  const DeviceRecord small(0, properties);
  EXPECT_FALSE(small.knownFamily() || small.preferred || small.atLeast11());
}

}  // namespace
