// Random argument lists, good and bad, for all exports.

#include <thread>

#include "tests/fuzz/fuzz.h"

namespace testing_support {
namespace {

using FuzzTest = LibraryTest;

TEST_F(FuzzTest, RandomCalls) {
  Fuzz fuzz(true);
  fuzz.run();
  fuzz.expectBothOutcomes();
}

TEST_F(FuzzTest, RandomCallsFromSeveralThreads) {
  Fuzz fuzz(false);
  constexpr std::uint64_t threads = 4;
  std::vector<std::thread> crew;
  for (std::uint64_t t = 0; t < threads; ++t)
    crew.emplace_back([&fuzz, t] {
      fuzz.run(t, threads + 1);  // any thread comes to any export
      toviFreeBuffers();
    });
  for (std::thread& thread : crew) thread.join();
  fuzz.expectBothOutcomes();
}

// The routines that manage the library. Buffers as large as they are said to be, and not a byte more.
TEST_F(FuzzTest, RandomCallsOfManagementRoutines) {
  const std::uint64_t seed = fromEnvironment("TOVI_FUZZ_SEED", 1);
  int devices = 0;
  ASSERT_EQ(toviGetDeviceCount(&devices), toviNoError);
  Random random(seed);
  for (int i = 0; i < 20000 && !HasFailure(); ++i) {
    const int number = random.below(5) - 2, size = random.below(70) - 2;
    std::vector<char> text(static_cast<std::size_t>(std::max(1, size)) + 16, '#');
    char* const buffer = random.below(8) == 0 ? nullptr : text.data() + 8;
    const int status = random.below(16) - 2, info = random.below(3) == 0 ? INT_MIN : random.below(40) - 20;
    int expected = 0;
    toviStatus result = toviNoError;
    if (random.below(2) == 0) {
      result = toviGetDeviceInfo(number, buffer, size);
      expected = number < 0 || number >= devices ? -1 : buffer == nullptr ? -2 : size < 1 ? -3 : 0;
    } else {
      result = toviGetErrorInfoString(static_cast<toviStatus>(status), info, buffer, size);
      expected = status < 0 || status > 10 ? -1 : buffer == nullptr ? -3 : size < 1 ? -4 : 0;
    }
    EXPECT_EQ(result, expected == 0 ? toviNoError : toviArgumentError) << "seed " << seed << ", case " << i;
    EXPECT_EQ(toviGetErrorInfo(), expected);
    const auto used = static_cast<std::size_t>(expected == 0 ? size : 0);
    for (std::size_t k = 0; k < text.size(); ++k)
      if (k < 8 || k >= 8 + used) {
        EXPECT_EQ(text[k], '#');
      }
    if (expected == 0) {
      EXPECT_EQ(text[8 + used - 1], '\0');
      EXPECT_LT(std::strlen(buffer), used);
    }
    EXPECT_STRNE(toviGetStatusString(static_cast<toviStatus>(status)), "");
    if (random.below(10) == 0) {
      EXPECT_EQ(toviSelectDevice(devices + random.below(3)), toviArgumentError);
      EXPECT_EQ(toviGetExecutingDevice(nullptr), toviArgumentError);
      EXPECT_EQ(toviGetDeviceCount(nullptr), toviArgumentError);
      EXPECT_EQ(toviGetErrorInfo(), -1);
    }
  }
}

}  // namespace
}  // namespace testing_support
