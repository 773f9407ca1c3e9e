// What shutdown leaves of the device's memory, which all processes share.

#include <thread>

#include "tests/support/interface.h"

namespace testing_support {
namespace {

std::size_t freeMemory() {
  std::size_t free = 0, total = 0;
  EXPECT_EQ(cudaMemGetInfo(&free, &total), cudaSuccess);
  return free;
}

// Uses the device, from this thread and from one that ends without shutdown. Returns what is free just before
// shutdown.
std::size_t use() {
  EXPECT_EQ(toviInitialize(), toviNoError);
  const auto solveOne = [] {
    HostMatrix<float> a = HostMatrix<float>::random(1200, 1200, 0, 1), b = a;
    std::vector<int> ipiv(1200);
    EXPECT_EQ(solve(Memory::host, a, ipiv, b), toviNoError);
  };
  std::thread(solveOne).join();
  solveOne();
  const std::size_t free = freeMemory();
  toviShutdown();
  return free;
}

TEST(Memory, ShutdownGivesItBack) {
  use();  // what the runtime and CUBLAS load once stays
  const std::size_t before = freeMemory();
  for (int round = 0; round < 3; ++round) {
    EXPECT_LT(use(), before) << "nothing was kept: this test shows nothing";
    EXPECT_GE(freeMemory(), before) << "round " << round;
  }
}

}  // namespace
}  // namespace testing_support
