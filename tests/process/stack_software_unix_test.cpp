// How much of its stack a thread needs for calls.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "device/software/src/sanitizer.h"
#include "device/software/testing/software_device.h"
#include "tests/support/calls.h"

namespace testing_support {
namespace {

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
