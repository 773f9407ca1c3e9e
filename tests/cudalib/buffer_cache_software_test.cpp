// The buffers that the library keeps from call to call: which one a need takes, what a warm call still asks
// of the platform, and when they are freed.

#include "cudalib/buffer_cache.h"

#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "cudalib/stream.h"
#include "device/software/testing/software_device.h"
#include "ground/hooks.h"
#include "tests/lu/lu_checks.h"
#include "tests/support/calls.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using cudalib::CachedMemory;
using software_device::Entry;
using tovi::BlasAllocator;
template <class T>
using Padded = CachedMemory<T, BlasAllocator<T>>;
template <class T>
using Linear = CachedMemory<T, cudalib::CudaAllocator<T>>;

constexpr std::size_t mebibyte = std::size_t{1} << 20;

// Calls that get or free memory. Streams are not among them: each driver call owns its own.
std::uint64_t allocationCalls() {
  std::uint64_t calls = 0;
  for (const Entry entry :
       {Entry::malloc, Entry::mallocPitch, Entry::mallocHost, Entry::free, Entry::freeHost})
    calls += software_device::calls(entry);
  return calls;
}

template <class Handle>
const void* addressOf(std::size_t rows, std::size_t cols) {
  return Handle(rows, cols).get();
}

// What is held for a small need must not be missing for a large one: few bytes take no huge buffer.
TEST(BufferCache, TakesTheSmallestThatFits) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const float *small = nullptr, *large = nullptr;
  {
    const Linear<float> a(100, 1), b(200, 1);
    small = a.get(), large = b.get();
    EXPECT_NE(small, large);
  }
  EXPECT_EQ(addressOf<Linear<float>>(200, 1), large);
  EXPECT_EQ(addressOf<Linear<float>>(10, 3), small);
  {
    const Linear<float> first(100, 1), second(100, 1);
    EXPECT_TRUE(first.get() == small && second.get() == large && second.ld() == 100);
    EXPECT_EQ(software_device::calls(Entry::malloc), 2u);
    const Linear<float> third(1, 1);
    EXPECT_EQ(software_device::calls(Entry::malloc), 3u);
  }
  EXPECT_EQ(Linear<float>(0, 7).get(), nullptr);
  EXPECT_EQ(Linear<float>(7, 0).ld(), 7);

  toviFreeBuffers();
  const std::size_t n = mebibyte;  // elements: four mebibytes
  const void* const huge = addressOf<Linear<float>>(n, 1);
  EXPECT_EQ(addressOf<Linear<float>>(n / 2, 1), huge);
  EXPECT_NE(addressOf<Linear<float>>(n / 2 - 1, 1), huge);
  EXPECT_EQ(software_device::live().allocations, 2u);
  toviFreeBuffers();
  const void* const modest = addressOf<Linear<float>>(n / 4, 1);
  EXPECT_EQ(addressOf<Linear<float>>(1, 1), modest);
}

TEST(BufferCache, ALargerNeedReplacesTheNextSmaller) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const void* const smallest = [] {
    const Linear<float> a(100, 1), b(200, 1);
    return a.get();
  }();
  Linear<float>(300, 1);
  EXPECT_EQ(software_device::live().allocations, 2u);
  EXPECT_EQ(software_device::live().deviceBytes, 400u * sizeof(float));
  EXPECT_EQ(addressOf<Linear<float>>(100, 1), smallest);
}

TEST(BufferCache, PaddedMatricesAreLaidOutAnew) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const void* const data = addressOf<Padded<float>>(96, 60);
  {
    const HostMatrix<float> sent = HostMatrix<float>::random(500, 10, 0, 1);
    HostMatrix<float> back(500, 10);
    const Padded<float> tall(500, 10);  // 576 * 10 elements, no more and no less
    EXPECT_EQ(tall.get(), data);
    EXPECT_EQ(tall.ld(), 576);
    tall.allocator().copyToDevice(tall.get(), sent.data(), 500, 10, 1);
    tall.allocator().copyFromDevice(back.data(), tall.get(), 500, 10, 1);
    EXPECT_TRUE(back.sameBits(sent));
  }
  EXPECT_EQ(addressOf<Padded<float>>(1, 60), data);
  EXPECT_EQ(software_device::calls(Entry::malloc), 1u);
  Padded<float>(1, 61);  // 96 * 61
  EXPECT_EQ(software_device::calls(Entry::malloc), 2u);
  EXPECT_EQ(software_device::live().allocations, 1u);
}

// --- Calls of every routine for host memory, in sizes that are worked on by blocks

std::vector<Call> hostCalls(int least, int most, Data data = Data::regular) {
  std::vector<Call> calls;
  for (const Export& routine : allExports())
    if (routine.where == Memory::host) {
      Random random(calls.size());
      calls.push_back(drawCall(routine, random, {sizesBetween(least, most), true, data}));
    }
  return calls;
}

void expectSuccess(std::vector<Call>& calls) {
  for (Call& call : calls) EXPECT_EQ(call.run(), toviNoError) << call.text();
}

TEST(BufferCacheOfRoutines, NoWarmRoutineAllocates) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const auto& [least, most] : {std::pair{1, 20}, {200, 230}, {513, 530}})
    for (const Call& call : hostCalls(least, most)) {
      Call cold = call, settled = call, warm = call;
      EXPECT_EQ(cold.run(), toviNoError) << call.text();
      // A larger buffer may have replaced a smaller one, which the next call asks for again.
      const std::string_view family = call.family().name;
      const bool settles = family == "gesvd" || family == "gesdd" || family == "syevd" || family == "heevd";
      if (least > 500 && settles) {
        EXPECT_EQ(settled.run(), toviNoError) << call.text();
      }
      software_device::resetCounts();
      EXPECT_EQ(warm.run(), toviNoError) << call.text();
      // But for the room of vectors that gesvd does not return, which is had and freed in each call.
      std::uint64_t rooms = 0;
      if (family == "gesvd")
        for (const char* const job : {"jobu", "jobvt"}) rooms += !call.arguments().is(job, "AS");
      EXPECT_EQ(allocationCalls(), 2 * rooms) << call.text();
    }
}

TEST(BufferCacheOfRoutines, WhatACallLeavesInItsBuffersDoesNotReachTheNext) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  std::vector<Call> fresh = hostCalls(120, 140), after = fresh,
                    spoiled = hostCalls(120, 140, Data::notFinite);
  expectSuccess(fresh);
  for (Call& call : spoiled) call.run();
  expectSuccess(after);
  for (std::size_t i = 0; i < fresh.size(); ++i) EXPECT_TRUE(after[i].sameBits(fresh[i])) << after[i].text();
}

// The copies of the operands, buffers as wide as a panel, and little else, whatever the shape: in bytes, of
// the device and page-locked.
TEST(BufferCacheOfRoutines, PeaksStayNearTheOperands) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const double n = 1500, m = 1200, single = sizeof(float), complex = 2 * single;
  const struct {
    const char* name;
    std::vector<int> sizes;
    double device, pageLocked;
  } rows[] = {{"toviSgetrf", {1500, 1500}, 1.3 * single * n * n, 0.3 * single * n * n},
              {"toviSgeqrf", {1500, 1500}, 1.25 * single * n * n, 0.1 * single * n * n},
              // Five panels of reflectors beside the operands
              {"toviSgels", {1200, 600, 1}, single * m * (600 + 5 * 96), single * m * 600},
              {"toviSgels", {600, 1200, 1}, single * m * (600 + 5 * 96), single * m * 600},
              {"toviSgglse", {1200, 600, 300}, single * (n * 600 + 5 * m * 96), single * m * 600},
              {"toviCgels", {1200, 600, 1}, complex * m * (600 + 5 * 64), complex * m * 600},
              {"toviCgels", {600, 1200, 1}, complex * m * (600 + 5 * 64), complex * m * 600},
              {"toviCgglse", {1200, 600, 300}, complex * (n * 600 + 5 * m * 64), complex * m * 600}};
  for (const auto& row : rows)
    for (const Export& routine : allExports()) {
      if (routine.name != row.name) continue;
      Random random(1);
      Call call = drawCall(routine, random, {sizesOf(row.sizes)});
      toviFreeBuffers();
      software_device::resetPeaks();
      EXPECT_EQ(call.run(), toviNoError) << call.text();
      EXPECT_LT(static_cast<double>(software_device::live().peakDeviceBytes), row.device) << call.text();
      EXPECT_LT(static_cast<double>(software_device::live().peakPageLockedBytes), row.pageLocked);
      EXPECT_EQ(liveBesideBuffers().allocations, 0u);
    }
}

// A hook runs in the middle of a call, which keeps what it is using.
TEST(BufferCacheOfRoutines, BuffersInUseAreNotFreed) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  std::vector<Call> undisturbed = hostCalls(120, 140), disturbed = undisturbed;
  expectSuccess(undisturbed);
  tovi::callHooks().phaseBegin = tovi::callHooks().phaseEnd = [] { toviFreeBuffers(); };
  expectSuccess(disturbed);
  for (std::size_t i = 0; i < disturbed.size(); ++i)
    EXPECT_TRUE(disturbed[i].sameBits(undisturbed[i])) << disturbed[i].text();
  toviShutdown();
}

// --- Threads

void solveOneSystem() { checkSolve<float>(Memory::host, 200, 2); }

std::size_t everythingAlive() {
  const software_device::Live live = software_device::live();
  return live.allocations + live.pageLockedBlocks + live.streams;
}

// Registered or not; and objects of the host program's threads may still use the library when its own are
// gone.
TEST(BufferCacheThreads, AThreadThatEndsFreesItsBuffers) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  struct Late {
    ~Late() {
      if (uses) solveOneSystem();
    }
    bool uses = false;
  };
  for (const bool registered : {false, true})
    for (const bool late : {false, true}) {
      std::thread([=] {
        static thread_local Late object;
        object.uses = late;  // made before the library's, so it goes after them
        if (registered) {
          EXPECT_EQ(toviInitialize(), toviNoError);
        }
        solveOneSystem();
        EXPECT_GT(everythingAlive(), 0u);
      }).join();
      EXPECT_EQ(everythingAlive(), 0u);
    }
}

// Another thread that has run something, and then waits, its buffers in its hands, until this one lets it go
// on.
class IdleThread {
 public:
  explicit IdleThread(
      const std::function<void()>& run, const std::function<void()>& after = [] {})
      : thread_([=] {
          run();
          idle_.set_value();
          goOn_.get_future().wait();
          after();
        }) {
    idle_.get_future().wait();
  }
  ~IdleThread() {
    goOn_.set_value();
    thread_.join();
  }
  IdleThread(const IdleThread&) = delete;
  IdleThread& operator=(const IdleThread&) = delete;

 private:
  std::promise<void> idle_, goOn_;
  std::thread thread_;
};

TEST(BufferCacheThreads, EachThreadFreesItsOwn) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  solveOneSystem();
  const std::size_t ours = everythingAlive();
  EXPECT_GT(ours, 0u);
  {
    const IdleThread other(solveOneSystem, [] {
      software_device::resetCounts();
      solveOneSystem();
      EXPECT_EQ(allocationCalls(), 0u) << "its buffers still are there";
    });
    EXPECT_EQ(everythingAlive(), 2 * ours);
    toviFreeBuffers();
    EXPECT_EQ(everythingAlive(), ours);
    toviFreeBuffers();
    EXPECT_EQ(everythingAlive(), ours);
  }
  EXPECT_EQ(everythingAlive(), 0u);

  const IdleThread one(solveOneSystem), two(solveOneSystem);
  solveOneSystem();
  toviShutdown();  // the last one frees everybody's
  EXPECT_EQ(everythingAlive(), 0u);
}

// A product with a result of n x n and little else.
toviStatus product(int n) {
  const std::vector<float> a(static_cast<std::size_t>(n), 1);
  std::vector<float> c(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
  const toviStatus status = toviSgemm('N', 'N', n, n, 1, 1, a.data(), n, a.data(), 1, 0, c.data(), n);
  EXPECT_TRUE(status != toviNoError || c == std::vector<float>(c.size(), 1));
  return status;
}

TEST(BufferCacheThreads, WhatNobodyUsesIsFreedBeforeACallFails) {
  ASSERT_EQ(pretendMemory(64 * mebibyte), toviNoError);
  const auto another = [] { EXPECT_EQ(product(2500), toviNoError); };
  const IdleThread idle(another, another);
  EXPECT_GT(software_device::live().deviceBytes, 24 * mebibyte);
  EXPECT_EQ(product(3400), toviNoError);  // 45 MiB
  EXPECT_EQ(product(4200), toviInsufficientMemory) << "more than there is";

  for (const Entry entry : {Entry::streamCreate, Entry::eventCreate}) {
    toviFreeBuffers();
    const IdleThread second(another);
    software_device::failCall(entry, 1, cudaErrorMemoryAllocation);
    EXPECT_NO_THROW(cudalib::Stream());
    EXPECT_EQ(everythingAlive(), 0u);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
  }
}

// Where CUBLAS has no memory the call cannot be made again: what it has changed is not known.
TEST(BufferCacheThreads, NothingIsKeptAfterACallThatHadNoMemory) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  ASSERT_EQ(product(100), toviNoError);
  EXPECT_GT(software_device::live().allocations, 0u);
  software_device::failCall(Entry::gemm, 1, CUBLAS_STATUS_ALLOC_FAILED);
  EXPECT_EQ(product(100), toviInsufficientMemory);
  software_device::clearFaults();
  EXPECT_EQ(software_device::live().allocations, 0u);
}

TEST(BufferCacheThreads, BuffersThatAreBeingUsedStay) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  std::atomic<int> running{3};
  std::vector<std::thread> users;
  for (int i = 0; i < 3; ++i)
    users.emplace_back([&] {
      for (int round = 0; round < 20; ++round) solveOneSystem();
      --running;
    });
  std::size_t released = 0;
  while (running != 0) released += cudalib::releaseAllBuffers();
  for (std::thread& user : users) user.join();
  EXPECT_GT(released, 0u);
  EXPECT_EQ(everythingAlive(), 0u);
}

}  // namespace
}  // namespace testing_support
