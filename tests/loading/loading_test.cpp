// A program that knows nothing of the library until it runs, as hosts of plug-ins and interpreters do.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "include/tovi.h"
#include "tests/support/failing_allocation.h"

namespace {

// 4 x + y = 6, x + 3 y = 7
void solve(decltype(&toviSgesv) gesv) {
  float a[] = {4, 1, 1, 3}, b[] = {6, 7};
  int pivots[2];
  EXPECT_EQ(gesv(2, 1, a, 2, pivots, b, 2), toviNoError);
  EXPECT_NEAR(b[0], 1, 1e-5);
  EXPECT_NEAR(b[1], 2, 1e-5);
}

TEST(Loading, WhileTheProcessRuns) {
  std::promise<decltype(&toviSgesv)> found;
  std::thread older([&] {  // than the library
    if (const auto gesv = found.get_future().get()) solve(gesv);
  });
  void* const library = dlopen(TOVI_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(library, nullptr) << dlerror();
  if (library == nullptr) {
    found.set_value(nullptr);
    return older.join();
  }
  const auto gesv = reinterpret_cast<decltype(&toviSgesv)>(dlsym(library, "toviSgesv"));
  const auto initialize = reinterpret_cast<decltype(&toviInitialize)>(dlsym(library, "toviInitialize"));
  const auto shutdown = reinterpret_cast<decltype(&toviShutdown)>(dlsym(library, "toviShutdown"));
  const toviStatus status = initialize();
  const bool device = status != toviNoHardware && status != toviInsufficientRuntime;
  if (device) {
    EXPECT_EQ(status, toviNoError);
    solve(gesv);
  }
  // A thread's first use of what is its own in the library.
  if (device && TOVI_SOFTWARE_DEVICE)
    std::thread([&] {
      const testing_support::FailingAllocation failing(1, testing_support::FailingAllocation::forever);
      float a = 2, b = 4;
      int pivot = 0;
      EXPECT_EQ(gesv(1, 1, &a, 1, &pivot, &b, 1), toviInsufficientMemory);
    }).join();
  found.set_value(device ? gesv : nullptr);
  older.join();
  shutdown();
  EXPECT_EQ(dlclose(library), 0);
  EXPECT_NE(dlopen(TOVI_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "other threads may be inside of it";
}

}  // namespace
