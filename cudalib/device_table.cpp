#include "cudalib/device_table.h"

#include "cudalib/check.h"
#include "ground/per_process.h"

namespace cudalib {
namespace {

bool contains(const std::string& text, const char* word) { return text.find(word) != std::string::npos; }

device::DeviceProperties readProperties(int ordinal) {
  device::DeviceProperties properties = {};
  check(device::getDeviceProperties(&properties, ordinal));
  return properties;
}

std::vector<DeviceRecord> survey() {
  std::vector<DeviceRecord> devices;
  const int count = deviceCount();
  devices.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) devices.emplace_back(i, readProperties(i));
  return devices;
}

struct DeviceTable {
  const std::vector<DeviceRecord> devices = survey();
};
// A survey that throws leaves the initialization to the next caller.
tovi::PerProcess<DeviceTable> theDeviceTable;

const std::vector<DeviceRecord>& deviceTable() { return theDeviceTable.get().devices; }

// Clock rates (kHz times cores, eight to a multiprocessor) are deliberately added to bytes: memory decides in
// practice.
double score(const DeviceRecord& device) {
  const double performance = 8.0 * device.properties.multiProcessorCount * device.properties.clockRateKHz;
  const double memory = static_cast<double>(device.properties.totalGlobalMem);
  return performance * 0.5 + memory * 0.5;
}

}  // namespace

DeviceRecord::DeviceRecord(int device, const device::DeviceProperties& read)
    : ordinal(device),
      name(read.name),
      properties(read),
      preferred(contains(name, "Tesla")),
      major(read.major),
      minor(read.minor),
      code(10 * read.major + read.minor) {}

int deviceCount() {
  int count = 0;
  const cudaError_t status = cudaGetDeviceCount(&count);
  if (status == cudaErrorNoDevice) {  // how a runtime may say zero
    ignoreFailure(status);
    return 0;
  }
  check(status);
  if (count == 1) {
    const device::DeviceProperties only = readProperties(0);
    if (only.major < 1 || (only.major == 9999 && only.minor == 9999)) return 0;
  }
  return count;
}

const DeviceRecord& deviceRecord(int ordinal) {
  const std::vector<DeviceRecord>& table = deviceTable();
  if (ordinal < 0 || static_cast<std::size_t>(ordinal) >= table.size()) check(cudaErrorInvalidDevice);
  return table[static_cast<std::size_t>(ordinal)];
}

const DeviceRecord& currentDevice() {
  int ordinal = 0;
  check(cudaGetDevice(&ordinal));
  return deviceRecord(ordinal);
}

int computeLevel() { return currentDevice().code; }

bool smallBlocks() {
  const int level = computeLevel();
  return level >= 10 && level <= 13;
}

int chooseDevice() { return deviceCount() == 0 ? -1 : chooseDevice(deviceTable()); }

int chooseDevice(const std::vector<DeviceRecord>& devices) {
  if (devices.empty()) return -1;
  double best = 0.0;
  int chosen = 0;
  bool foundPreferred = false;
  for (const DeviceRecord& device : devices) {
    const double mine = score(device);
    const bool firstPreferred = device.preferred && !foundPreferred;
    if (firstPreferred || (device.preferred == foundPreferred && best < mine)) {
      best = mine;
      chosen = device.ordinal;
      foundPreferred = foundPreferred || device.preferred;
    }
  }
  return chosen;
}

}  // namespace cudalib
