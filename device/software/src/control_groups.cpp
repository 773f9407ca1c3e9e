#include "device/software/src/control_groups.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

namespace software_device::os {

namespace {

// Whether a word is one of a list that commas separate.
bool lists(const std::string& words, const std::string& word) {
  return (',' + words + ',').find(',' + word + ',') != std::string::npos;
}

// The group that a line of /proc/self/cgroup, "number:controllers:path", says a controller is in; empty where
// the line is about others. All controllers of version 2 share a line that names none.
std::string groupPath(const std::string& line, const std::string& controller, bool unified) {
  const std::size_t first = line.find(':'), second = line.find(':', first + 1);
  if (first == std::string::npos || second == std::string::npos) return "";
  const std::string controllers = line.substr(first + 1, second - first - 1);
  const bool ours = unified ? controllers.empty() : lists(controllers, controller);
  return ours ? line.substr(second + 1) : "";
}

// A line of /proc/self/mountinfo.
struct Mount {
  std::string root, point;  // which part of the hierarchy is seen, and where
  std::string kind, options;
};

// Spaces and the like stand there as three octal digits.
std::string unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 3 < text.size() &&
                        std::all_of(&text[i + 1], &text[i + 4], [](char c) { return c >= '0' && c <= '7'; });
    if (escape) {
      result += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
      i += 3;
    } else {
      result += text[i];
    }
  }
  return result;
}

Mount mountOf(const std::string& line) {
  Mount mount;
  std::string skipped;
  std::istringstream words(line);
  words >> skipped >> skipped >> skipped >> mount.root >> mount.point;
  while (words >> skipped && skipped != "-") {
  }
  words >> mount.kind >> skipped >> mount.options;
  mount.root = unescaped(mount.root);
  mount.point = unescaped(mount.point);
  return mount;
}

// The path of a group below what a mount shows; of a group elsewhere, the mount's uppermost.
std::string below(const std::string& root, const std::string& path) {
  const std::string prefix = root == "/" ? "" : root;
  const bool within = path.compare(0, prefix.size() + 1, prefix + '/') == 0;
  if (!within || (path + '/').find("/../") != std::string::npos) return "";
  return path.substr(prefix.size());
}

}  // namespace

std::vector<ControlGroup> controlGroups(const std::string& controller, const std::string& root) {
  std::vector<ControlGroup> groups;
  std::ifstream mounts(root + "/proc/self/mountinfo");
  for (std::string mountLine; std::getline(mounts, mountLine);) {
    const Mount mount = mountOf(mountLine);
    const bool unified = mount.kind == "cgroup2";
    if (!unified && (mount.kind != "cgroup" || !lists(mount.options, controller))) continue;
    const std::string top = root + mount.point;
    std::ifstream memberships(root + "/proc/self/cgroup");
    for (std::string line; std::getline(memberships, line);) {
      const std::string path = groupPath(line, controller, unified);
      if (path.empty()) continue;
      std::string part = below(mount.root, path);
      while (!part.empty() && part.back() == '/') part.pop_back();
      for (; !part.empty(); part.resize(part.rfind('/'))) groups.push_back({top + part, unified});
      groups.push_back({top, unified});
    }
  }
  return groups;
}

std::uint64_t controlGroupMemory(const std::string& root) {
  std::uint64_t least = std::numeric_limits<std::uint64_t>::max();
  for (const ControlGroup& group : controlGroups("memory", root)) {
    std::uint64_t limit = 0;  // the file says "max" where there is none
    if (std::ifstream(group.folder + (group.unified ? "/memory.max" : "/memory.limit_in_bytes")) >> limit)
      least = std::min(least, limit);
  }
  return least;
}

int controlGroupProcessors(const std::string& root) {
  std::int64_t least = std::numeric_limits<int>::max();
  for (const ControlGroup& group : controlGroups("cpu", root)) {
    std::int64_t quota = 0, period = 0;  // microseconds; no number, or a negative one: no limit
    if (group.unified)
      std::ifstream(group.folder + "/cpu.max") >> quota >> period;
    else if (std::ifstream(group.folder + "/cpu.cfs_quota_us") >> quota)
      std::ifstream(group.folder + "/cpu.cfs_period_us") >> period;
    if (quota > 0 && period > 0) least = std::min(least, (quota - 1) / period + 1);
  }
  return static_cast<int>(least);
}

}  // namespace software_device::os
