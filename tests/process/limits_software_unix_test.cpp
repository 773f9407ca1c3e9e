// What the library is to the process that it is in: what it takes of it and gives back, and how it stands
// limits.

#include <gtest/gtest.h>
#include <link.h>
#include <tovi.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "device/software/src/sanitizer.h"
#include "tests/support/program.h"

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

}  // namespace
