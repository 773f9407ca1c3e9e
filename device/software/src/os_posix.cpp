#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <utility>

#include "device/software/src/control_groups.h"
#include "device/software/src/os.h"

namespace software_device::os {

void* reserve(std::size_t bytes) {
  void* p = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return p == MAP_FAILED ? nullptr : p;
}

bool commit(void* p, std::size_t bytes) {
  if (mprotect(p, bytes, PROT_READ | PROT_WRITE) != 0) return false;
#ifdef MADV_HUGEPAGE
  static_cast<void>(madvise(p, bytes, MADV_HUGEPAGE));  // only a wish
#endif
  return true;
}

void decommit(void* p, std::size_t bytes) {
  static_cast<void>(madvise(p, bytes, MADV_DONTNEED));
  static_cast<void>(mprotect(p, bytes, PROT_NONE));
}

void release(void* p, std::size_t bytes) { munmap(p, bytes); }

namespace {

std::uint64_t pageBytes() { return static_cast<std::uint64_t>(std::max(0L, sysconf(_SC_PAGESIZE))); }

// What the process has of addresses. Asked where memory may be short: nothing is allocated.
std::uint64_t addressesInUse() {
  std::array<char, 32> text{};
  const int file = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  static_cast<void>(read(file, text.data(), text.size() - 1));
  close(file);
  return std::strtoull(text.data(), nullptr, 10) * pageBytes();
}

// The value behind "key : value" in /proc/cpuinfo, of the first processor.
std::string processorField(const std::string& key) {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.compare(0, key.size(), key) != 0) continue;
    const std::size_t colon = line.find(':');
    const std::size_t first = colon == std::string::npos ? colon : line.find_first_not_of(" \t", colon + 1);
    return first == std::string::npos ? std::string() : line.substr(first);
  }
  return std::string();
}

}  // namespace

std::size_t addressSpace() {
  constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
  rlimit limit{};
  if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return all;
  const std::uint64_t used = addressesInUse();
  return static_cast<std::size_t>(
      std::min<std::uint64_t>(all, limit.rlim_cur > used ? limit.rlim_cur - used : 0));
}

std::size_t memory() {
  const std::uint64_t pages = static_cast<std::uint64_t>(std::max(0L, sysconf(_SC_PHYS_PAGES)));
  const std::uint64_t bytes = std::min(pages * pageBytes(), controlGroupMemory());
  return static_cast<std::size_t>(std::min<std::uint64_t>(bytes, std::numeric_limits<std::size_t>::max()));
}

int processors() {
  int count = static_cast<int>(std::thread::hardware_concurrency());
#if defined(__linux__)
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) == 0) count = CPU_COUNT(&set);
#endif
  return std::max(std::min(count, controlGroupProcessors()), 1);
}

std::string processorName() { return processorField("model name"); }

int processorClockKHz() {
  const std::string megahertz = processorField("cpu MHz");
  return static_cast<int>(std::strtod(megahertz.c_str(), nullptr) * 1000.0);
}

// Destructors of a library run without a lock that threads need to end.
bool joinsAtUnload() { return true; }
std::shared_ptr<void> keepLoaded() {
  static char nothing;
  return {std::shared_ptr<void>(), &nothing};
}

// It has the signal mask of the thread that starts it.
std::thread startThread(std::function<void()> run) {
  struct Mask {
    sigset_t before;
    ~Mask() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
  } mask;
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &mask.before);
  return std::thread(std::move(run));
}

bool beingUnloaded() { return false; }

}  // namespace software_device::os
