// What the library is to the process that it is in: what it takes of it, of each thread's stack as well, and
// gives back, and how it stands limits.

#include <gtest/gtest.h>
#include <link.h>
#include <pthread.h>
#include <sys/mman.h>
#include <tovi.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "device/software/src/sanitizer.h"
#include "device/software/testing/software_device.h"
#include "tests/support/calls.h"
#include "tests/support/program.h"

namespace testing_support {
namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;

// Runs tests/process/subject.cpp after a line of shell. How it ended, and what it has said.
struct End {
  int code;
  std::string message;
};
End runSubject(const std::string& before, const std::string& what, int number) {
  const std::filesystem::path folder = testing_support::newFolder();
  const int code = testing_support::runProgram(
      {"/bin/sh", "-c", before + "; exec '" TOVI_SUBJECT "' " + what + " " + std::to_string(number)}, folder,
      "out", "err");
  std::ifstream err(folder / "err");
  const std::string message(std::istreambuf_iterator<char>(err), {});
  std::filesystem::remove_all(folder);
  return {code, message};
}

// From what is hardly enough for the program to start to what leaves everything.
TEST(Process, UnderALimitOfAddressesACallSucceedsOrSaysThatMemoryIsShort) {
  if (software_device::sanitizerBuild) GTEST_SKIP() << "sanitizers need most addresses themselves";
  for (const int megabytes : {100, 150, 200, 300, 400, 500, 600, 800, 1000, 2000, 4000, 8000, 17000, 34000}) {
    const End end = runSubject(
        "export TOVI_DEVICE_THREADS=2; ulimit -t 60 -v " + std::to_string(megabytes * 1024), "solve", 300);
    EXPECT_TRUE(end.code == toviNoError || (end.code == toviInsufficientMemory && megabytes < 1000))
        << megabytes << " MB: " << end.code << ' ' << end.message;
  }
}

TEST(Process, EndsWhileThreadsAreInsideRoutines) {
  for (int i = 0; i < 40; ++i) {
    const End end = runSubject("ulimit -t 60", "leave", i % 20 + 1);
    EXPECT_EQ(end.code, 0) << end.message;
  }
}

std::size_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t all = 0, resident = 0;
  file >> all >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST(Process, HasItsMemoryBackAfterTheLastShutdown) {
  if (software_device::sanitizerBuild) GTEST_SKIP() << "sanitizers keep memory of their own";
  const int n = 5000, k = 4;  // 100 MB on the device
  const std::vector<float> a(static_cast<std::size_t>(n) * k, 1);
  std::vector<float> c(static_cast<std::size_t>(n) * n, 1), b(n);
  std::vector<int> pivots(n);
  const std::size_t before = residentBytes();
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(toviInitialize(), toviNoError);
    ASSERT_EQ(toviSgemm('N', 'N', n, n, k, 1, a.data(), n, a.data(), k, 0, c.data(), n), toviNoError);
    EXPECT_EQ(c[0], k);
    ASSERT_EQ(toviSgesv(500, 1, c.data(), n, pivots.data(), b.data(), n), toviDataError);
    EXPECT_GT(residentBytes(), before + 100 * mebibyte);
    toviShutdown();
    EXPECT_LT(residentBytes(), before + 10 * mebibyte);
  }
}

// Every thread of a process has it on its stack, whether or not it ever calls the library.
TEST(Process, ThreadsHaveFewThreadLocalBytesOfTheLibrary) {
  struct Sum {
    int modules = 0;
    std::size_t bytes = 0;
  } sum;
  dl_iterate_phdr(
      [](dl_phdr_info* module, std::size_t, void* result) {
        if (std::string(module->dlpi_name).find("libtovi") == std::string::npos) return 0;
        Sum& total = *static_cast<Sum*>(result);
        ++total.modules;
        for (int i = 0; i < module->dlpi_phnum; ++i)
          if (module->dlpi_phdr[i].p_type == PT_TLS) total.bytes += module->dlpi_phdr[i].p_memsz;
        return 0;
      },
      &sum);
  EXPECT_EQ(sum.modules, 2);
  EXPECT_LT(sum.bytes, 8192u);
}

constexpr std::size_t kibibyte = 1024, painted = 1024 * kibibyte;
constexpr unsigned char paint = 0xA5;

// Runs something on a thread with a stack of its own. Returns how far down that has been written to:
// thread-local memory and the system's record of the thread, which stand at its top, count.
std::size_t stackUsedBy(const std::function<void()>& run) {
  void* const stack =
      mmap(nullptr, painted, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  EXPECT_NE(stack, MAP_FAILED);
  std::memset(stack, paint, painted);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstack(&attributes, stack, painted);
  pthread_t thread;
  const auto body = [](void* function) -> void* {
    (*static_cast<const std::function<void()>*>(function))();
    return nullptr;
  };
  EXPECT_EQ(pthread_create(&thread, &attributes, body, const_cast<std::function<void()>*>(&run)), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  const auto* const bytes = static_cast<unsigned char*>(stack);
  const auto* const deepest =
      std::find_if(bytes, bytes + painted, [](unsigned char byte) { return byte != paint; });
  const std::size_t used = static_cast<std::size_t>(bytes + painted - deepest);
  munmap(stack, painted);
  return used;
}

// The lazy schedule has the calling thread run the device's work, too.
TEST(Stack, OfSixtyFourKibibytesIsEnoughForEveryCall) {
  if (software_device::sanitizerBuild) GTEST_SKIP() << "instrumented code needs more";
  software_device::setSchedule(software_device::Schedule::lazy);
  ASSERT_EQ(toviInitialize(), toviNoError);
  for (const Export& routine : allExports())
    for (const bool native : {true, false})
      for (const auto& [least, most] : {std::pair{1, 20}, {60, 80}, {180, 200}}) {
        software_device::useNativeBodies(native);
        Random random(1);
        Call call = drawCall(routine, random, {sizesBetween(least, most)});
        toviStatus status = toviRuntimeError;
        const std::size_t used = stackUsedBy([&] { status = call.run(); });
        EXPECT_EQ(call.fault(status, toviGetErrorInfo()), "") << call.text();
        EXPECT_LT(used, 64 * kibibyte) << call.text();
      }
  toviShutdown();
}

}  // namespace
}  // namespace testing_support
