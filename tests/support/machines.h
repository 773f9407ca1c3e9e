// Pretended machines for tests of the software device.

#ifndef TOVI_TESTS_SUPPORT_MACHINES_H
#define TOVI_TESTS_SUPPORT_MACHINES_H

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

// What is alive beside the buffers that the library keeps for this thread, which are freed.
inline software_device::Live liveBesideBuffers() {
  toviFreeBuffers();
  return software_device::live();
}

}  // namespace testing_support

#endif
