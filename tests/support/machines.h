// Pretended machines for tests of the software device.

#ifndef TOVI_TESTS_SUPPORT_MACHINES_H
#define TOVI_TESTS_SUPPORT_MACHINES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <set>

#include "device/software/testing/software_device.h"
#include "include/tovi.h"

namespace testing_support {

// A fresh machine with one device, after change(profile).
template <class Change>
void configureDevice(const Change& change) {
  software_device::Machine machine = software_device::defaultMachine();
  change(machine.devices[0]);
  software_device::configure(machine);
}

// The library initialized afresh on a fresh machine. Once a process with another capability: the library
// looks at its devices only once.
template <class Change>
toviStatus pretend(const Change& change) {
  toviShutdown();
  configureDevice(change);
  return toviInitialize();
}

// On a device of this capability, with or without copy overlap.
inline toviStatus pretend(int major, int minor, bool overlap = true) {
  return pretend([=](software_device::Profile& device) {
    device.major = major, device.minor = minor, device.overlapsCopies = overlap;
  });
}
inline toviStatus pretendMemory(std::size_t bytes) {
  return pretend([=](software_device::Profile& device) { device.memory = bytes; });
}

inline bool nothingAlive(std::size_t butOperands = 0) {
  const software_device::Live live = software_device::live();
  return live.allocations == butOperands && live.pageLockedBlocks == 0 && live.streams == 0 &&
         live.events == 0;
}

// What is alive beside the buffers that the library keeps for this thread, which are freed.
inline software_device::Live liveBesideBuffers() {
  toviFreeBuffers();
  return software_device::live();
}

// Visits the calls that have been recorded. No stream goes with something under way on it, to or from a
// buffer that another call may get.
template <class Visit>
void forEachRecorded(const Visit& visit) {
  using software_device::Entry;
  std::set<std::size_t> busy;
  for (const software_device::Call& call : software_device::stopRecording()) {
    const bool travels = call.entry == Entry::memcpyAsync || call.entry == Entry::memcpy2DAsync;
    if (travels) busy.insert(call.stream);
    if (call.entry == Entry::streamSynchronize) busy.erase(call.stream);
    if (call.entry == Entry::streamDestroy) {
      EXPECT_EQ(busy.count(call.stream), 0u) << "nobody waits for the last transfer";
    }
    visit(call, travels);
  }
}

}  // namespace testing_support

#endif
