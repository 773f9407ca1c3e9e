// Memory of the host runs short, at any allocation of any call: the call fails as a whole, and nothing else.

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "device/software/src/sanitizer.h"
#include "tests/support/calls.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using Times = FailingAllocation::Times;

// One allocation of a call after the other fails, until a call has none left. Cold calls begin without
// buffers.
void failEveryAllocation(const Call& problem, bool warm, Times times) {
  Call good = problem;
  ASSERT_EQ(good.run(), toviNoError) << toviGetErrorInfo();
  long failed = 0;
  bool done = false;
  // Large problems queue hundreds of pieces of work that are all alike.
  constexpr long oneByOne = software_device::sanitizerBuild ? 5 : 60;
  for (long which = 1; !done; which += 1 + which / oneByOne) {
    SCOPED_TRACE("allocation " + std::to_string(which) +
                 (times == Times::forever ? " and all after it" : "") + (warm ? ", warm" : ""));
    std::optional<FailingAllocation> failing;
    std::size_t placed = 0;
    Around around;
    around.before = [&] {
      if (!warm) toviFreeBuffers();
      placed = software_device::live().allocations;
      failing.emplace(which, times);
    };
    int info = 0;
    around.after = [&] {
      info = toviGetErrorInfo();
      done = !failing->happened();
      failing.reset();
      EXPECT_EQ(software_device::pending(), 0u);
      if (!warm) toviFreeBuffers();
      EXPECT_TRUE(warm ? software_device::live().streams == 0 : nothingAlive(placed));
    };
    Call call = problem;
    const toviStatus status = call.run(around);
    EXPECT_EQ(toviGetLastStatus(), status);
    if (status != toviNoError) {  // else the system had another way, or none was left
      EXPECT_TRUE(status == toviInsufficientMemory && info == 0 && !done) << status << ' ' << info;
      ++failed;
    }
    expectUnharmed(problem, good, call, status);
    if (::testing::Test::HasFatalFailure()) return;
  }
  EXPECT_GE(failed, 1);
}

TEST(HostMemory, EveryAllocationOfEveryCallMayFail) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Export& routine : allExports())
    for (const auto& [least, most] : {std::pair{5, 12}, {66, 80}}) {
      if (least > 10 && !routine.isTypicalInstance()) break;
      Random random(static_cast<std::uint64_t>(least));
      const Call call = drawCall(routine, random, {sizesBetween(least, most)});
      SCOPED_TRACE(call.text());
      failEveryAllocation(call, false, Times::once);
      failEveryAllocation(call, true, Times::once);
      if (least < 10) failEveryAllocation(call, false, Times::forever);
    }
}

// --- The whole life of a process, in children: each begins with a library that nobody has used.

int solve() {
  float a[] = {4, 1, 1, 3}, b[] = {9, 7};
  int pivots[2];
  const toviStatus status = toviSgesv(2, 1, a, 2, pivots, b, 2);
  return status == toviNoError && (b[0] < 1.81f || b[0] > 1.82f) ? 99 : status;
}

// What a program does at most. 0: every call has succeeded or said that memory is short.
int wholeLife() {
  const auto acceptable = [](int status) {
    return status == toviNoError || status == toviInsufficientMemory;
  };
  const toviStatus status = toviInitialize();
  if (!acceptable(status)) return status;
  const int before = status == toviNoError ? toviNoError : toviNotInitialized;
  int solved = solve();
  if (!acceptable(solved) && solved != before) return solved;
  bool right = true;
  try {
    std::thread([&] {
      solved = solve();
      right = acceptable(solved) || solved == before;
    }).join();
  } catch (const std::exception&) {  // the test's own thread
  }
  if (!right) return solved;
  int devices = 0;
  char text[200];
  if (const int asked = toviGetDeviceCount(&devices); !acceptable(asked)) return asked;
  if (const int asked = toviGetDeviceInfo(0, text, sizeof text); !acceptable(asked)) return asked;
  toviFreeBuffers();
  toviShutdown();
  return 0;
}

TEST(HostMemory, EveryAllocationOfALifeMayFail) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "ThreadSanitizer's children start no threads";
#endif
  for (const Times times : {Times::once, Times::forever}) {
    if (software_device::sanitizerBuild && times == Times::forever) break;
    bool done = false;
    for (long which = 1; !done; ++which) {
      const pid_t child = fork();
      if (child == 0) {
        alarm(20);
        int result = 0;
        bool happened = false;
        {
          const FailingAllocation failing(which, times);
          result = wholeLife();
          happened = failing.happened();
        }
        if (result == 0 && (toviInitialize() != toviNoError || solve() != toviNoError)) result = 97;
        toviShutdown();
        std::exit(result != 0 ? result : happened ? 0 : 98);
      }
      int status = -1;
      while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
      }
      done = WIFEXITED(status) && WEXITSTATUS(status) == 98;
      ASSERT_TRUE(status == 0 || done) << "allocation " << which << ": " << status;
      ASSERT_LT(which, 2000);
    }
  }
}

}  // namespace
}  // namespace testing_support
