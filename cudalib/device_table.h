// The device survey: one record for every CUDA device, read once per process and kept for its whole life, and
// the rule that chooses the device to run on.

#ifndef TOVI_CUDALIB_DEVICE_TABLE_H
#define TOVI_CUDALIB_DEVICE_TABLE_H

#include <device/runtime.h>

#include <cstddef>
#include <string>
#include <vector>

namespace cudalib {

struct DeviceRecord {
  int ordinal = 0;
  std::string name;
  device::DeviceProperties properties = {};
  bool preferred = false;    // the name contains "Tesla"
  int major = 0, minor = 0;  // compute capability
  int code = 0;              // compute level: 10 * major + minor

  DeviceRecord() = default;
  DeviceRecord(int device, const device::DeviceProperties& read);

  bool hasDoublePrecision() const { return code >= 13; }
  bool overlapsCopies() const { return properties.overlapsCopies != 0; }
  // Pitches from here on (bytes) are too large for a two-dimensional copy.
  std::size_t pitchLimit() const { return 0x7FFFFFFF; }
};

// The number of usable devices, asked of the runtime each time. A single device without compute capability,
// or the runtime's placeholder for emulation, counts as none.
int deviceCount();

// A record of the survey, which takes place on the first call. A survey that fails throws and is repeated by
// the next call. An ordinal without a record throws cudaErrorInvalidDevice.
const DeviceRecord& deviceRecord(int ordinal);

// The calling thread's current device, and its compute level.
const DeviceRecord& currentDevice();
int computeLevel();
// Capability 1.0 to 1.3: the drivers take their small blocks.
bool smallBlocks();

// The ordinal of the device to run on, -1 when there is none: a preferred device before any other, then the
// higher score, then the lower ordinal.
int chooseDevice();
int chooseDevice(const std::vector<DeviceRecord>& devices);

}  // namespace cudalib

#endif
