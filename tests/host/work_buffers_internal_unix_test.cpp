// The work buffers of the host BLAS, where it is the embedded one.

#include "host/work_buffers.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <new>
#include <thread>
#include <vector>

#include "host/blas.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool limitsWork = false;  // sanitizers need most addresses themselves
#else
constexpr bool limitsWork = true;
#endif

class WorkBuffers : public ::testing::Test {
 protected:
  void SetUp() override {
#ifndef TOVI_EMBEDDED_OPENBLAS
    GTEST_SKIP() << "the host BLAS is not the embedded one";
#endif
  }
};
using WorkBuffersDeathTest = WorkBuffers;

std::size_t addresses() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// While it lives the process has but a few addresses more than at its start.
class FewAddresses {
 public:
  FewAddresses() {
    getrlimit(RLIMIT_AS, &before_);
    const rlimit limit = {addresses() + (std::size_t{4} << 20), before_.rlim_max};
    setrlimit(RLIMIT_AS, &limit);
  }
  ~FewAddresses() { setrlimit(RLIMIT_AS, &before_); }
  FewAddresses(const FewAddresses&) = delete;
  FewAddresses& operator=(const FewAddresses&) = delete;

 private:
  rlimit before_{};
};

// Large enough for the routine to need a buffer.
bool multiplies() {
  constexpr int n = 200;
  const std::vector<float> a(std::size_t{n} * n, 1);
  std::vector<float> c(a);
  host::gemm<float>('N', 'N', n, n, n, 1, a.data(), n, a.data(), n, 0, c.data(), n);
  return c == std::vector<float>(c.size(), n);
}

TEST_F(WorkBuffers, ThatAreLeasedServeWhereTheSystemGivesNoMore) {
  if (!limitsWork) GTEST_SKIP();
  const std::size_t before = addresses();
  {
    host::WorkBufferLease lease(2);
    const FewAddresses few;
    EXPECT_THROW(lease.extend(3), std::bad_alloc);
    EXPECT_THROW(host::WorkBufferLease(1), std::bad_alloc);
    host::freeWorkBuffers();
    EXPECT_TRUE(multiplies());
    lease.end();
    EXPECT_NO_THROW(host::WorkBufferLease(2));
  }
  host::freeWorkBuffers();
  EXPECT_LT(addresses(), before + (std::size_t{8} << 20));
}

TEST_F(WorkBuffersDeathTest, WithoutOneTheProgramEndsInsteadOfTryingForEver) {
  if (!limitsWork) GTEST_SKIP();
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        const FewAddresses few;
        multiplies();
      },
      "no memory for the work buffer");
}

// Whatever the other threads were doing: they hold no lock in the child.
TEST_F(WorkBuffers, SurviveAFork) {
  std::atomic<bool> done{false};
  std::vector<std::thread> others;
  for (int i = 0; i < 3; ++i)
    others.emplace_back([&] {
      while (!done) host::WorkBufferLease(1);
    });
  host::WorkBufferLease ours(1);
  for (int i = 0; i < 100 && !HasFailure(); ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(10);
      ours.end();
      const host::WorkBufferLease lease(1);
      _exit(multiplies() ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << i;
  }
  done = true;
  for (std::thread& thread : others) thread.join();
}

}  // namespace
