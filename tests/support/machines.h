// Pretended machines for tests of the software device.

#ifndef TOVI_TESTS_SUPPORT_MACHINES_H
#define TOVI_TESTS_SUPPORT_MACHINES_H

#include "include/tovi.h"
#include "platform/software/testing/software_device.h"

namespace testing_support {

// One device of this capability; the library is initialized on it, afresh.
inline toviStatus pretend(int major, int minor) {
  toviShutdown();
  software_device::Machine machine = software_device::defaultMachine();
  machine.devices[0].major = major;
  machine.devices[0].minor = minor;
  software_device::configure(machine);
  return toviInitialize();
}

}  // namespace testing_support

#endif
