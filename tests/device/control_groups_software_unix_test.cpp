// Limits of containers, read from made-up systems.

#include "device/software/src/control_groups.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <string>

#include "device/software/src/sanitizer.h"
#include "device/software/testing/software_device.h"
#include "tests/support/program.h"

namespace {

constexpr std::uint64_t none = std::numeric_limits<std::uint64_t>::max();

using Files = std::map<std::string, std::string>;

// What limit(root) says where the process has these memberships and mounts.
template <class Limit>
auto inSystem(Files files, const std::string& memberships, const std::string& mounts, const Limit& limit) {
  const std::filesystem::path root = testing_support::newFolder();
  files["proc/self/cgroup"] = memberships;
  files["proc/self/mountinfo"] = mounts;
  for (const auto& [name, text] : files) {
    std::filesystem::create_directories((root / name).parent_path());
    std::ofstream(root / name) << text;
  }
  const auto result = limit(root.string());
  std::filesystem::remove_all(root);
  return result;
}
std::uint64_t limitOf(const Files& files, const std::string& memberships, const std::string& mounts) {
  return inSystem(files, memberships, mounts, software_device::os::controlGroupMemory);
}
int processorsOf(const Files& files, const std::string& memberships, const std::string& mounts) {
  return inSystem(files, memberships, mounts, software_device::os::controlGroupProcessors);
}

const std::string root = "23 1 8:1 / / rw,relatime shared:1 master:2 - ext4 /dev/sda1 rw\n";
const std::string unified = "30 23 0:26 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 cgroup2 rw\n";
const std::string memory = "41 23 0:36 / /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n";
const std::string processors = "42 23 0:37 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,cpuacct\n";

TEST(ControlGroups, TheLeastOfAllLevelsCounts) {
  const Files files = {{"sys/fs/cgroup/memory.stat", "anon 1\n"},
                       {"sys/fs/cgroup/machine/memory.max", "3000\n"},
                       {"sys/fs/cgroup/machine/guest/memory.max", "max\n"},
                       {"sys/fs/cgroup/machine/guest/service/memory.max", "5000\n"}};
  EXPECT_EQ(limitOf(files, "0::/machine/guest/service\n", root + unified), 3000u);
  EXPECT_EQ(limitOf(files, "0::/machine/guest\n", root + unified), 3000u);
  EXPECT_EQ(limitOf(files, "0::/\n", root + unified), none);
  EXPECT_EQ(limitOf(files, "0::/machine-two\n", root + unified), none);
  EXPECT_EQ(limitOf(files, "0::/machine\n", root), none) << "not mounted";
  EXPECT_EQ(limitOf({}, "", ""), none);
  EXPECT_EQ(limitOf({{"sys/fs/cgroup/machine/memory.max", "0\n"}}, "0::/machine\n", root + unified), 0u);
}

TEST(ControlGroups, VersionOneHasAHierarchyOfItsOwn) {
  const Files files = {{"sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n"},
                       {"sys/fs/cgroup/memory/docker/memory.limit_in_bytes", "7000\n"},
                       {"sys/fs/cgroup/memory/docker/one/memory.limit_in_bytes", "8000\n"},
                       {"sys/fs/cgroup/cpu/docker/one/memory.limit_in_bytes", "1\n"},
                       {"sys/fs/cgroup/memory/cpu/memory.limit_in_bytes", "2\n"}};
  const std::string memberships = "12:cpu,cpuacct:/cpu\n5:memory:/docker/one\n0::/\n";
  EXPECT_EQ(limitOf(files, memberships, root + processors + memory), 7000u);
  EXPECT_EQ(limitOf(files, memberships, root + processors), none);
  // Beside version 2, which then has other controllers.
  Files both = files;
  both["sys/fs/cgroup/unified/cgroup.procs"] = "1\n";
  EXPECT_EQ(limitOf(both, memberships,
                    root + "31 23 0:27 / /sys/fs/cgroup/unified rw - cgroup2 cgroup2 rw\n" + memory),
            7000u);
}

// Inside a container the mount shows a part of the hierarchy, or a process is told of groups that it cannot
// see.
TEST(ControlGroups, AsSeenFromInside) {
  const Files files = {{"sys/fs/cgroup/memory.max", "4000\n"}, {"sys/fs/cgroup/inner/memory.max", "6000\n"}};
  const std::string part = "30 23 0:26 /docker/x /sys/fs/cgroup ro - cgroup2 cgroup2 rw\n";
  EXPECT_EQ(limitOf(files, "0::/docker/x\n", root + part), 4000u);
  EXPECT_EQ(limitOf(files, "0::/docker/x/inner\n", root + part), 4000u);
  EXPECT_EQ(limitOf(files, "0::/docker/xinner\n", root + part), 4000u);
  EXPECT_EQ(limitOf(files, "0::/../other\n", root + unified), 4000u);
  EXPECT_EQ(limitOf({{"mnt/control groups/a/memory.max", "9\n"}}, "0::/a\n",
                    "30 23 0:26 / /mnt/control\\040groups rw - cgroup2 cgroup2 rw\n"),
            9u);
}

// A device is not to have all the addresses that a process may have, nor more memory than those.
TEST(AddressLimit, LeavesAShareToTheDevice) {
  if (software_device::sanitizerBuild) GTEST_SKIP() << "sanitizers need most addresses themselves";
  constexpr rlim_t gibibyte = rlim_t{1} << 30;
  const std::size_t before = software_device::defaultMachine().devices[0].memory;
  for (const rlim_t limit : {gibibyte / 2, gibibyte, 2 * gibibyte}) {
    const rlimit addresses = {limit, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &addresses), 0);
    const std::size_t share = software_device::defaultMachine().devices[0].memory;
    const rlimit all = {RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &all), 0);
    EXPECT_LE(share, limit / 2);
    EXPECT_GE(share, std::min<std::size_t>(before, limit / 8));
  }
}

TEST(ControlGroups, ProcessorTimeCountsAsWholeProcessors) {
  const Files files = {{"sys/fs/cgroup/machine/cpu.max", "250000 100000\n"},
                       {"sys/fs/cgroup/machine/guest/cpu.max", "max 100000\n"},
                       {"sys/fs/cgroup/machine/guest/service/cpu.max", "100000 100000\n"},
                       {"sys/fs/cgroup/cpu/docker/cpu.cfs_quota_us", "150000\n"},
                       {"sys/fs/cgroup/cpu/docker/cpu.cfs_period_us", "50000\n"},
                       {"sys/fs/cgroup/cpu/docker/one/cpu.cfs_quota_us", "-1\n"},
                       {"sys/fs/cgroup/cpu/docker/one/cpu.cfs_period_us", "50000\n"}};
  EXPECT_EQ(processorsOf(files, "0::/machine/guest\n", root + unified), 3);
  EXPECT_EQ(processorsOf(files, "0::/machine/guest/service\n", root + unified), 1);
  EXPECT_EQ(processorsOf(files, "0::/\n", root + unified), std::numeric_limits<int>::max());
  EXPECT_EQ(processorsOf(files, "4:cpu,cpuacct:/docker/one\n", root + processors), 3);
}

}  // namespace
