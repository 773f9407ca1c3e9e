// The control groups that this process is in, of Linux: the containers, services and sessions that may have
// less of a machine than there is.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_CONTROL_GROUPS_H
#define TOVI_DEVICE_SOFTWARE_SRC_CONTROL_GROUPS_H

#include <cstdint>
#include <string>
#include <vector>

namespace software_device::os {

#pragma GCC visibility push(default)  // for the tests

// A group as a folder, whose files have different names in the two versions of the interface.
struct ControlGroup {
  std::string folder;
  bool unified;  // version 2
};

// The groups by which a controller ("memory", "cpu") holds this process: its own, and all that those are part
// of as far as they can be seen. root: what the system's files are looked for under.
std::vector<ControlGroup> controlGroups(const std::string& controller, const std::string& root = "");

// The memory that they leave to the process, in bytes; the greatest number where there is no limit.
std::uint64_t controlGroupMemory(const std::string& root = "");

// The processors whose time they leave to the process, a part of one counted as one; the greatest number
// where there is no limit.
int controlGroupProcessors(const std::string& root = "");

#pragma GCC visibility pop

}  // namespace software_device::os

#endif
