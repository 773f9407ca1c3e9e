// The buffers that the library keeps from call to call: which one a need takes, what a warm call still asks
// of the platform, and when they are freed.

#include "cudalib/buffer_cache.h"

#include <future>
#include <set>
#include <thread>
#include <vector>

#include "cudalib/hooks.h"
#include "platform/software/testing/software_device.h"
#include "tests/support/blas_interface.h"
#include "tests/support/least_squares_checks.h"
#include "tests/support/lu_checks.h"
#include "tests/support/machines.h"
#include "tests/support/svd_checks.h"

namespace testing_support {
namespace {

using cudalib::CachedMemory;
using software_device::Entry;
using tovi::BlasAllocator;
template <class T>
using Padded = CachedMemory<T, BlasAllocator<T>>;
template <class T>
using Linear = CachedMemory<T, cudalib::CudaAllocator<T>>;
template <class T>
using PageLocked = CachedMemory<T, cudalib::PageLockedAllocator<T>>;

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
  const Linear<float> first(100, 1), second(100, 1);
  EXPECT_EQ(first.get(), small);
  EXPECT_EQ(second.get(), large);
  EXPECT_EQ(second.ld(), 100);
  EXPECT_EQ(software_device::calls(Entry::malloc), 2u);
  const Linear<float> third(1, 1);
  EXPECT_EQ(software_device::calls(Entry::malloc), 3u);
  EXPECT_EQ(Linear<float>(0, 7).get(), nullptr);
  EXPECT_EQ(Linear<float>(7, 0).ld(), 7);
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

// What is held for a small need must not be missing for a large one.
TEST(BufferCache, FewBytesTakeNoHugeBuffer) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const std::size_t n = mebibyte;  // elements: four mebibytes
  const void* const large = addressOf<Linear<float>>(n, 1);
  EXPECT_EQ(addressOf<Linear<float>>(n / 2, 1), large);
  EXPECT_NE(addressOf<Linear<float>>(n / 2 - 1, 1), large);
  EXPECT_EQ(software_device::live().allocations, 2u);
  toviFreeBuffers();
  const void* const modest = addressOf<Linear<float>>(n / 4, 1);
  EXPECT_EQ(addressOf<Linear<float>>(1, 1), modest);
}

TEST(BufferCache, PaddedMatricesAreLaidOutAnew) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const float* data = nullptr;
  {
    const Padded<float> wide(96, 60);
    EXPECT_EQ(wide.ld(), 96);
    data = wide.get();
  }
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

template <class... Handles>
std::size_t allocationsOfOneEach() {
  for (int round = 0; round < 2; ++round) (static_cast<void>(Handles(3, 2)), ...);
  return software_device::live().allocations + software_device::live().pageLockedBlocks;
}

TEST(BufferCache, KeepsTwelveKindsApart) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  EXPECT_EQ((allocationsOfOneEach<Padded<float>, Padded<double>, Padded<Complex<float>>,
                                  Padded<Complex<double>>, Padded<int>, Linear<float>, Linear<double>,
                                  Linear<Complex<float>>, Linear<Complex<double>>, Linear<int>,
                                  PageLocked<float>, PageLocked<Complex<float>>>()),
            12u);
  const Linear<double> held(3, 2);
  toviFreeBuffers();
  EXPECT_EQ(software_device::live().allocations, 1u) << "a buffer in use stays";
  EXPECT_EQ(software_device::live().pageLockedBlocks, 0u);
  EXPECT_NE(addressOf<Linear<double>>(3, 1), held.get());
}

TEST(BufferCache, MemoryThatRunsShortEmptiesItOnce) {
  toviShutdown();
  software_device::Machine machine = software_device::defaultMachine();
  machine.devices[0].memory = 32 * mebibyte;
  software_device::configure(machine);
  ASSERT_EQ(toviInitialize(), toviNoError);
  const std::size_t megabytes = mebibyte / sizeof(float);
  const Linear<int> held(megabytes, 4);
  Padded<float>(96, 5 * megabytes / 96);
  PageLocked<float>(10, 10);
  Linear<float>(megabytes, 4);
  software_device::resetCounts();
  {
    const Linear<double> memory(megabytes, 13);
    EXPECT_NE(memory.get(), nullptr);
    EXPECT_EQ(software_device::calls(Entry::malloc), 2u);
    EXPECT_EQ(software_device::calls(Entry::freeHost), 1u) << "of all kinds";
    EXPECT_EQ(software_device::live().allocations, 2u);
    EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);

    EXPECT_THROW(Padded<float>(96, mebibyte), cudalib::CudaMemoryException);
    EXPECT_EQ(software_device::calls(Entry::malloc), 3u) << "nothing was left to be freed";
    EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
  }
  EXPECT_THROW(Padded<float>(96, mebibyte), cudalib::CudaMemoryException);
  EXPECT_EQ(software_device::calls(Entry::malloc), 5u);
  EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
  EXPECT_EQ(software_device::live().allocations, 1u);
}

// An exported routine finds the room that what came before has taken.
TEST(BufferCache, ACallFindsTheMemoryOfTheOneBefore) {
  toviShutdown();
  software_device::Machine machine = software_device::defaultMachine();
  machine.devices[0].memory = 24 * mebibyte;
  software_device::configure(machine);
  ASSERT_EQ(toviInitialize(), toviNoError);
  const int n = 1500;  // 9 MB in single precision
  HostMatrix<float> a = HostMatrix<float>::random(n, n, 0, 1);
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  ASSERT_EQ(factor(Memory::host, a, ipiv), toviNoError);
  HostMatrix<double> x = HostMatrix<double>::random(n, n, 0, 1), u = x;
  for (int i = 0; i < n; ++i) u(i, i) = 2 * n;
  ASSERT_EQ(trmm(Memory::host, 'L', 'U', 'N', 'N', n, 200, 1.0, u.data(), n, x.data(), n), toviNoError);
}

// One of every routine, on random operands or on such that leave NaN in every buffer.
template <class T>
struct Everything {
  HostMatrix<T> a, b, qr, multiplied, product;
  LeastSquares<T> tall, wide;
  Constrained<T> bound;
  Svd<T> thin, square;

  explicit Everything(int n)
      : a(HostMatrix<T>::random(n, n, 1, 1)),
        b(HostMatrix<T>::random(n, 3, 2, 2)),
        qr(HostMatrix<T>::random(n, n, 0, 3)),
        multiplied(HostMatrix<T>::random(n, n, 3, 4)),
        product(n, n, 1),
        tall(leastSquaresProblem<T>('N', n + 20, n, 2)),
        wide(leastSquaresProblem<T>('N', n, n + 30, 2)),
        bound(constrainedProblem<T>(n, n, n / 2)),
        thin(randomSvdProblem<T>({'S', 'O'}, 2 * n, n)),
        square(randomSvdProblem<T>({'A', 'S'}, n, n)) {}

  void spoil() {
    for (HostMatrix<T>* const matrix : {&a, &b, &qr, &multiplied, &tall.a, &tall.b, &wide.a, &wide.b,
                                        &bound.a, &bound.b, &thin.a, &square.a})
      matrix->fill(quietNaN<T>());
  }
  std::vector<toviStatus> run(Memory where) {
    std::vector<int> ipiv(static_cast<std::size_t>(a.rows()));
    std::vector<T> tau(ipiv.size());
    std::vector<toviStatus> statuses = {solve(where, a, ipiv, b), factorQr(where, qr, tau)};
    const Placed<T> dFactor(where, multiplied), dProduct(where, product);
    const int n = product.rows();
    statuses.push_back(gemm(where, 'N', 'T', n, n, n, T(1), dFactor.data(), multiplied.ld(), dFactor.data(),
                            multiplied.ld(), T(0), dProduct.data(), product.ld()));
    dProduct.fetch();
    for (const toviStatus status :
         {tall.run(where), wide.run(where), bound.run(where), thin.run(where), square.run(where)})
      statuses.push_back(status);
    return statuses;
  }
  bool sameBits(const Everything& other) const {
    return a.sameBits(other.a) && b.sameBits(other.b) && qr.sameBits(other.qr) &&
           product.sameBits(other.product) && tall.sameBits(other.tall) && wide.sameBits(other.wide) &&
           bound.sameBits(other.bound) && thin.sameBits(other.thin) && square.sameBits(other.square);
  }
};

template <class T>
class BufferCacheTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(BufferCacheTest, Elements);

TYPED_TEST(BufferCacheTest, AWarmSolveAllocatesNothing) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const int n : {64, 512, 600}) {
    const auto call = [n] {
      HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(n, n, 0, 1), b = a;
      std::vector<int> ipiv(static_cast<std::size_t>(n));
      EXPECT_EQ(solve(Memory::host, a, ipiv, b), toviNoError);
    };
    call();
    software_device::resetCounts();
    for (int round = 0; round < 3; ++round) call();
    EXPECT_EQ(allocationCalls(), 0u) << n;
  }
}

TYPED_TEST(BufferCacheTest, NoWarmRoutineAllocates) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const int n : {10, 210}) {
    const Everything<TypeParam> problems(n);
    Everything<TypeParam> cold = problems, warm = problems;
    cold.run(Memory::host);
    software_device::resetCounts();
    warm.run(Memory::host);
    EXPECT_EQ(allocationCalls(), 0u) << n;
  }
}

TYPED_TEST(BufferCacheTest, WhatACallLeavesInItsBuffersDoesNotReachTheNext) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const Memory where : {Memory::host, Memory::device}) {
    const Everything<TypeParam> problems(130);
    Everything<TypeParam> fresh = problems, spoiled = problems, after = problems;
    for (const toviStatus status : fresh.run(where)) EXPECT_EQ(status, toviNoError);
    spoiled.spoil();
    spoiled.run(where);
    for (const toviStatus status : after.run(where)) EXPECT_EQ(status, toviNoError);
    EXPECT_TRUE(after.sameBits(fresh));
  }
}

// Where the next user of a page-locked buffer would meet a copy that is still under way.
TYPED_TEST(BufferCacheTest, StreamsAreAtRestWhenTheirBuffersAreGivenBack) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  Everything<TypeParam> problems(210);
  software_device::startRecording();
  problems.run(Memory::host);
  std::size_t copies = 0, streams = 0;
  std::set<std::size_t> busy;
  for (const software_device::Call& call : software_device::stopRecording()) {
    if (call.entry == Entry::memcpyAsync || call.entry == Entry::memcpy2DAsync) {
      ++copies;
      busy.insert(call.stream);
    } else if (call.entry == Entry::streamSynchronize) {
      busy.erase(call.stream);
    } else if (call.entry == Entry::streamDestroy) {
      ++streams;
      EXPECT_EQ(busy.count(call.stream), 0u) << "stream " << streams;
    }
  }
  EXPECT_GT(streams, 6u);
  EXPECT_GT(copies, 2 * streams);
  EXPECT_EQ(busy.count(0), 0u) << "copies belong on a stream of their own";
}

// A hook runs in the middle of a call, which keeps what it is using.
TYPED_TEST(BufferCacheTest, BuffersInUseAreNotFreed) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const Everything<TypeParam> problems(130);
  Everything<TypeParam> undisturbed = problems, disturbed = problems;
  undisturbed.run(Memory::host);
  tovi::callHooks().phaseBegin = tovi::callHooks().phaseEnd = [] { toviFreeBuffers(); };
  for (const toviStatus status : disturbed.run(Memory::host)) EXPECT_EQ(status, toviNoError);
  EXPECT_TRUE(disturbed.sameBits(undisturbed));
  toviShutdown();
}

void solveOneSystem(int n = 200) { checkSolve<float>(Memory::host, n, 2); }

std::size_t everythingAlive() {
  const software_device::Live live = software_device::live();
  return live.allocations + live.pageLockedBlocks + live.streams;
}

TEST(BufferCacheThreads, AThreadThatEndsFreesItsBuffers) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  std::thread([] { solveOneSystem(); }).join();
  EXPECT_EQ(everythingAlive(), 0u);
  std::thread([] {
    EXPECT_EQ(toviInitialize(), toviNoError);
    solveOneSystem();
    EXPECT_GT(everythingAlive(), 0u);
  }).join();
  EXPECT_EQ(everythingAlive(), 0u);
}

// Objects of the host program's threads may still use the library when its own are gone.
TEST(BufferCacheThreads, NothingIsKeptWhileAThreadEnds) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  struct Late {
    ~Late() { solveOneSystem(); }
    void begin() {}
  };
  std::thread([] {
    static thread_local Late late;
    late.begin();  // made before the library's, so it goes after them
    solveOneSystem();
  }).join();
  EXPECT_EQ(everythingAlive(), 0u);
}

TEST(BufferCacheThreads, EachThreadFreesItsOwn) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  solveOneSystem();
  const std::size_t ours = everythingAlive();
  EXPECT_GT(ours, 0u);
  std::promise<void> used, goOn;
  std::thread other([&] {
    solveOneSystem();
    used.set_value();
    goOn.get_future().wait();
    software_device::resetCounts();
    solveOneSystem();
    EXPECT_EQ(allocationCalls(), 0u) << "its buffers still are there";
  });
  used.get_future().wait();
  EXPECT_EQ(everythingAlive(), 2 * ours);
  toviFreeBuffers();
  EXPECT_EQ(everythingAlive(), ours);
  toviFreeBuffers();
  EXPECT_EQ(everythingAlive(), ours);
  goOn.set_value();
  other.join();
  EXPECT_EQ(everythingAlive(), 0u);

  solveOneSystem();
  toviShutdown();
  EXPECT_EQ(everythingAlive(), 0u);
}

TEST(BufferCacheThreads, SideBySide) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int round = 0; round < 12; ++round) {
        solveOneSystem(20 + (37 * (round + t)) % 150);
        if (round % 5 == t) toviFreeBuffers();
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(everythingAlive(), 0u);
}

}  // namespace
}  // namespace testing_support
