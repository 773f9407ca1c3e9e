// Pretended machines for tests of the software device.

#ifndef TOVI_TESTS_SUPPORT_MACHINES_H
#define TOVI_TESTS_SUPPORT_MACHINES_H

#include "include/tovi.h"
#include "platform/software/testing/software_device.h"

namespace testing_support {

// One device of this capability, with or without copy overlap; the library is initialized on it, afresh.
// Once a process: the library looks at its devices only once.
inline toviStatus pretend(int major, int minor, bool overlap = true) {
  toviShutdown();
  software_device::Machine machine = software_device::defaultMachine();
  machine.devices[0].major = major;
  machine.devices[0].minor = minor;
  machine.devices[0].overlapsCopies = overlap;
  software_device::configure(machine);
  return toviInitialize();
}

// What is alive beside the buffers that the library keeps for this thread, which are freed.
inline software_device::Live liveBesideBuffers() {
  toviFreeBuffers();
  return software_device::live();
}

}  // namespace testing_support

#endif
