// The library in processes that fork, end in the midst of calls, use signals, and cancel threads.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

#include "device/runtime.h"
#include "tests/process/solve.h"

namespace {

// ThreadSanitizer's children start no threads, AddressSanitizer's inherit the locks of its allocator.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool threadsFork = false;
#else
constexpr bool threadsFork = true;
#endif

// What a CUDA runtime does with forks and signals is its own affair, and its threads are.
#if defined(TOVI_SOFTWARE_CUDA_RUNTIME_H)
constexpr bool softwareDevice = true;
#else
constexpr bool softwareDevice = false;
#endif

// Runs body in a child, for twenty seconds at most; the child's status as waitpid gives it.
template <class Body>
int inChild(const Body& body) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    std::exit(body());
  }
  int status = -1;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

class Process : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TOVI_DEVICE_THREADS", "4", 1);
    const toviStatus status = toviInitialize();
    if (status == toviNoHardware || status == toviInsufficientRuntime) GTEST_SKIP() << "no device";
    ASSERT_EQ(status, toviNoError);
    ASSERT_EQ(solve(300), 0);
  }
};

// In a child the library is as it was when it was loaded. There it starts anew on the software device, a CUDA
// runtime that the parent has used refuses (cudaErrorInitializationError).
int useInChild() {
  if (solve(1) != toviNotInitialized) return 97;
  toviShutdown();
  toviFreeBuffers();
  const toviStatus status = toviInitialize();
  if (status == toviRuntimeError && toviGetErrorInfo() == cudaErrorInitializationError) return 0;
  if (status != toviNoError) return status;
  if (const int wrong = solve(200)) return wrong;
  std::thread([] {
    if (solve(100) != 0) std::_Exit(98);
  }).join();
  toviShutdown();
  return 0;
}

TEST_F(Process, AChildEndsWithoutTheLibraryOrUsesIt) {
  if (!threadsFork) GTEST_SKIP();
  EXPECT_EQ(inChild([] { return 0; }), 0);
  EXPECT_EQ(inChild(useInChild), 0);
  EXPECT_EQ(inChild([] {
              if (const int wrong = useInChild()) return wrong;
              return toviInitialize() == toviNoError ? inChild(useInChild) : 0;  // a grandchild
            }),
            0);
  EXPECT_EQ(solve(300), 0) << "the parent goes on";
}

// Threads that are inside a call at that moment are not there in the child; what they held is.
TEST_F(Process, AChildOfAForkInTheMidstOfCallsWorks) {
  if (!threadsFork || !softwareDevice) GTEST_SKIP();
  std::atomic<bool> ends{false};
  std::vector<std::thread> crew;
  for (const int n : {3, 40, 300})
    crew.emplace_back([&ends, n] {
      while (!ends) {
        EXPECT_EQ(toviInitialize(), toviNoError);
        EXPECT_EQ(solve(n), 0);
        if (n == 3) toviFreeBuffers();
      }
    });
  for (int i = 0; i < 40 && !HasFailure(); ++i) EXPECT_EQ(inChild(useInChild), 0) << i;
  ends = true;
  for (std::thread& thread : crew) thread.join();
}

// As the ranks of a parallel program do: this test again, in four processes at a time.
TEST(Processes, ShareADevice) {
  constexpr const char* rankName = "TOVI_TEST_RANK";
  if (const char* const rank = std::getenv(rankName)) {
    const toviStatus status = toviInitialize();
    if (status == toviNoHardware || status == toviInsufficientRuntime) return;
    ASSERT_EQ(status, toviNoError);
    for (int i = 0; i < 20; ++i) ASSERT_EQ(solve(100 + 50 * std::atoi(rank) + i), 0);
    return toviShutdown();
  }
  std::vector<pid_t> ranks;
  for (const char* const rank : {"0", "1", "2", "3"}) {
    ranks.push_back(fork());
    if (ranks.back() != 0) continue;
    alarm(60);
    setenv(rankName, rank, 1);
    execl("/proc/self/exe", "rank", "--gtest_filter=Processes.ShareADevice", nullptr);
    std::_Exit(99);
  }
  for (const pid_t rank : ranks) {
    int status = -1;
    EXPECT_EQ(waitpid(rank, &status, 0), rank);
    EXPECT_EQ(status, 0);
  }
}

// Signals are for the program's threads: one that all of them block stays pending.
TEST_F(Process, TheLibrarysThreadsTakeNoSignals) {
  if (!softwareDevice) GTEST_SKIP() << "there are none; those of the runtime and the host LAPACK may";
  sigset_t terminate;
  sigemptyset(&terminate);
  sigaddset(&terminate, SIGTERM);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &terminate, nullptr), 0);
  ASSERT_EQ(kill(getpid(), SIGTERM), 0);
  ASSERT_EQ(solve(300), 0);
  const timespec soon = {5, 0};
  EXPECT_EQ(sigtimedwait(&terminate, nullptr, &soon), SIGTERM);
}

// One that computes, and one that begins and ends with the library each time.
void* computes(void* count) {
  while (true) {
    for (const int n : {3, 20, 60, 150}) EXPECT_EQ(solve(n), 0);
    ++*static_cast<std::atomic<int>*>(count);
    pthread_testcancel();
  }
}
void* comesAndGoes(void* count) {
  while (true) {
    EXPECT_EQ(toviInitialize(), toviNoError);
    EXPECT_EQ(solve(20), 0);
    toviFreeBuffers();
    toviShutdown();
    ++*static_cast<std::atomic<int>*>(count);
    pthread_testcancel();
  }
}

TEST_F(Process, AThreadIsCancelledAfterItsCall) {
  for (int i = 0; i < 200; ++i) {
    const bool alone = i % 2 == 1;  // shuts down for the process
    if (alone) toviShutdown();
    std::atomic<int> calls{0};
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, alone ? comesAndGoes : computes, &calls), 0);
    while (calls == 0) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(11 * i));
    ASSERT_EQ(pthread_cancel(thread), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    ASSERT_EQ(toviInitialize(), toviNoError);
    EXPECT_EQ(solve(100), 0) << "nobody waits for a lock that has gone with it";
  }
}

}  // namespace
