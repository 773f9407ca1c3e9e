// What docs/promises.md promises, for every export: failures of the platform, memory that runs short, NaN and
// infinities, waits, the same bits in every process, with any number of processors and beside other threads.

#include <algorithm>
#include <array>
#include <cfenv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>

#if defined(__SSE2__)
#include <pmmintrin.h>
#endif

#include "host/process.h"
#include "tests/promises/faults.h"
#include "tests/support/machines.h"
#include "tests/support/program.h"

namespace testing_support {

// For the names of the tests.
static void PrintTo(const Family& family, std::ostream* out) { *out << family.name; }

namespace {

// One call of each export that succeeds.
std::vector<Call> goodCalls(int least, int most, std::uint64_t seed) {
  std::vector<Call> calls;
  for (const Export& routine : allExports()) {
    Random random(seed * 1000 + calls.size());
    calls.push_back(drawCall(routine, random, {sizesBetween(least, most)}));
  }
  return calls;
}

void runAll(std::vector<Call>& calls) {
  for (Call& call : calls) {
    const toviStatus status = call.run();
    EXPECT_EQ(call.fault(status, toviGetErrorInfo()), "") << call.text();
  }
}

// A test for each family of exports.
class PromisesTest : public ::testing::TestWithParam<Family> {
 protected:
  template <class Visit>
  void forEveryExport(Visit visit) {
    for (const Export& routine : allExports())
      if (std::string_view(routine.family->name) == GetParam().name) {
        SCOPED_TRACE(routine.name);
        visit(routine);
      }
  }
};
INSTANTIATE_TEST_SUITE_P(Exports, PromisesTest, ::testing::ValuesIn(families()));

Call callOfSizes(const Export& routine, const std::vector<int>& sizes, std::uint64_t seed) {
  Random random(seed);
  return drawCall(routine, random, {sizesOf(sizes)});
}

TEST_P(PromisesTest, EveryPlatformCallMayFail) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  software_device::setChecking(true);  // what nobody has written is NaN
  forEveryExport([](const Export& routine) {
    std::uint64_t seed = 0;
    for (const std::vector<int>& sizes : routine.family->problems) {
      // Underneath, the routine for host memory calls the one for device memory.
      if (++seed > 2 && (routine.where == Memory::device || !routine.isTypicalInstance())) break;
      const Call call = callOfSizes(routine, sizes, seed);
      SCOPED_TRACE(call.text());
      for (const bool forever : {false, true}) {
        if (seed > 2 && forever != (seed % 2 == 0)) continue;  // the large ones in turn
        failEveryCall(call, forever, seed % 2 == 0);
        if (seed == 1) failEveryCall(call, forever, true);
      }
    }
  });
}

// Devices without copy overlap, where all work is queued on one stream; and square matrices of an order that
// is factored in transposed storage.
TEST(Promises, EveryCallMayFailElsewhere) {
  ASSERT_EQ(pretend(1, 3, false), toviNoError);
  for (const Export& routine : allExports()) {
    const std::string& name = routine.name;
    SCOPED_TRACE(name);
    if (routine.family->lapack && routine.where == Memory::host)
      failEveryCall(callOfSizes(routine, routine.family->problems.back(), 1), false, false);
    if (name == "toviSgesv") failEveryCall(callOfSizes(routine, {514, 2}, 1), false, false);
  }
}

TEST_P(PromisesTest, NaNAndInfinityEnd) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  forEveryExport([](const Export& routine) {
    for (const int size : {1, 2, 5, 20, 34, 70, 130})
      for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        Random random(seed);
        Call call = drawCall(routine, random, {sizesBetween(size, size + size / 4), true, Data::notFinite});
        const toviStatus status = call.run();
        EXPECT_EQ(call.fault(status, toviGetErrorInfo()), "") << call.text() << " gave " << status;
      }
  });
}

// A bad argument ends a call before anything is asked of the device.
TEST(Arguments, AreCheckedBeforeAnyCallOfTheDevice) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  forEveryOddArgument(1, [](Call& call) {
    if (call.expectedInfo() == 0) return;
    Around counting;
    counting.before = software_device::resetCounts;
    counting.after = [&] { EXPECT_EQ(software_device::allCalls(), 0u) << call.text(); };
    EXPECT_EQ(call.run(counting), toviArgumentError);
  });
}

// Results that did not fit are not there at all, the others are the same as ever.
TEST(Promises, MemoryThatRunsShortRefusesACallAsAWhole) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  std::vector<Call> good = goodCalls(60, 80, 1);
  runAll(good);
  int refused = 0, computed = 0;
  for (const std::size_t memory : {0x2000u, 0x8000u, 0x10000u, 0x18000u, 0x20000u, 0x40000u, 0x80000u}) {
    ASSERT_EQ(pretendMemory(memory), toviNoError);
    for (const Call& expected : good) {
      if (expected.routine().where == Memory::device) continue;  // the operands themselves would not fit
      SCOPED_TRACE(expected.text() + ", " + std::to_string(memory));
      Call call = expected;
      const toviStatus status = call.run();
      if (status == toviNoError) {
        ++computed;
        EXPECT_TRUE(call.sameBits(expected));
      } else {
        ++refused;
        EXPECT_EQ(status, toviInsufficientMemory);
        EXPECT_EQ(toviGetErrorInfo(), 0);
        EXPECT_TRUE(call.unchanged());
      }
      EXPECT_EQ(liveBesideBuffers().allocations, 0u);
    }
  }
  EXPECT_GT(refused, 40);
  EXPECT_GT(computed, 40);
}

// No operand that is not there is touched: one element stands for each.
TEST(Promises, SizesWhoseBytesCannotBeCountedAreRefused) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const int huge : {2000000000, INT_MAX})
    for (const Export& routine : allExports()) {
      if (routine.where == Memory::device) continue;  // the operands would have to be there
      SCOPED_TRACE(routine.name);
      std::array<std::array<unsigned char, 16>, 16> elements{};
      const auto before = elements;
      std::vector<Value> values;
      for (const Argument& argument : routine.family->arguments) {
        Value value;
        if (argument.kind == Kind::option)
          value.option = argument.accepted.front();
        else if (argument.kind == Kind::scalar)
          value.re = 1;
        else if (argument.kind == Kind::array)
          value.address = elements.at(values.size()).data();
        else
          value.number = huge;
        values.push_back(value);
      }
      EXPECT_EQ(routine.call(values), toviInsufficientMemory);
      EXPECT_EQ(toviGetErrorInfo(), 0);
      EXPECT_TRUE(elements == before);
      EXPECT_EQ(liveBesideBuffers().allocations, 0u);
    }
}

// Large enough for products, and for the factorizations' updates, to be cut into tiles.
TEST(Promises, SameBitsWithAnyNumberOfWorkers) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Export& routine : allExports()) {
    if (routine.where == Memory::host) continue;
    for (const bool native : {true, false}) {
      if (!native && std::string_view(routine.family->name) != "gemv") continue;
      software_device::useNativeBodies(native);
      Random random(2);
      Call alone = drawCall(routine, random,
                            {routine.family->lapack ? sizesBetween(150, 200) : sizesBetween(380, 450)});
      for (const int workers : {0, 1, 3, 7}) {
        software_device::setWorkers(workers);
        Call call = alone;
        EXPECT_EQ(call.run(), toviNoError) << call.text();
        if (workers == 0) alone = call;
        EXPECT_TRUE(call.sameBits(alone)) << workers << ": " << call.text();
      }
    }
  }
}

// All kernels themselves, also those that have native bodies. A barrier that is missing, and a block that
// needs what another one does, show.
class PromisesInAnyOrder : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Capability, PromisesInAnyOrder, ::testing::Values(1, 2));

TEST_P(PromisesInAnyOrder, KernelsGiveTheSameBits) {
  ASSERT_EQ(GetParam() == 1 ? pretend(1, 3) : pretend(2, 0), toviNoError);
  software_device::useNativeBodies(false);
  for (const Export& routine : allExports())
    for (const Data data : {Data::regular, Data::extreme}) {
      if (routine.where == Memory::host) continue;
      Random random(8);
      Call inOrder = drawCall(routine, random, {sizesBetween(60, 140), true, data});
      software_device::setChecking(false);
      const toviStatus status = inOrder.run();
      ASSERT_EQ(inOrder.fault(status, toviGetErrorInfo()), "") << inOrder.text();
      for (const std::uint64_t seed : {1U, 2U, 3U}) {
        software_device::setChecking(true, seed);
        Call call = inOrder;
        EXPECT_EQ(call.run(), status) << call.text();
        EXPECT_TRUE(call.sameBits(inOrder)) << seed << ": " << call.text();
      }
    }
}

// Work that nobody waits for has not run when it is needed. With and without a stream of its own for what
// travels beside the work.
class PromisesOnALazyDevice : public ::testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Overlap, PromisesOnALazyDevice, ::testing::Bool());

TEST_P(PromisesOnALazyDevice, EveryWaitIsThere) {
  ASSERT_EQ(pretend(1, 3, GetParam()), toviNoError);
  software_device::resetCounts();
  const auto check = [](const Export& routine, const Draw& draw, std::uint64_t seed) {
    Random random(seed);
    Call good = drawCall(routine, random, draw), late = good;
    software_device::setSchedule(software_device::Schedule::eager);
    software_device::startRecording();
    const toviStatus status = good.run();
    forEachRecorded([](const software_device::Call&, bool) {});
    EXPECT_EQ(good.fault(status, toviGetErrorInfo()), "") << good.text();
    software_device::setSchedule(software_device::Schedule::lazy);
    EXPECT_EQ(late.run(), status) << late.text();
    EXPECT_TRUE(late.sameBits(good)) << late.text();
    EXPECT_EQ(software_device::pending(), 0u);
  };
  for (const Export& routine : allExports()) {
    check(routine, {sizesBetween(40, 80)}, 1);
    if (!routine.family->lapack) continue;
    for (std::uint64_t seed = 2; seed <= 6; ++seed) check(routine, {sizesBetween(30, 150)}, seed);
    check(routine, {sizesBetween(40, 80), true, Data::extreme}, 7);
    if (routine.name == "toviDeviceSgesv")  // in transposed storage
      check(routine, {[](Random&) { return 520; }}, 8);
  }
  toviFreeBuffers();
  EXPECT_TRUE(nothingAlive());
  EXPECT_EQ(software_device::calls(software_device::Entry::streamCreate) == 0, !GetParam());
}

// Whatever order streams and events allow, the results are those of the order of issue: what may not come
// early or late has been said. What nobody has written yet is NaN.
TEST_P(PromisesTest, EveryDependencyIsStated) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  software_device::setChecking(true);
  const auto check = [](const Export& routine, const Draw& draw, std::uint64_t seed) {
    Random random(seed);
    Call good = drawCall(routine, random, draw);
    const Call problem = good;
    software_device::setSchedule(software_device::Schedule::eager);
    const toviStatus status = good.run();
    EXPECT_EQ(good.fault(status, toviGetErrorInfo()), "") << good.text();
    for (std::uint64_t order = 1; order <= 6; ++order) {
      toviFreeBuffers();
      software_device::setSchedule(software_device::Schedule::drawn, order);
      software_device::startRecording();
      Call drawn = problem;
      EXPECT_EQ(drawn.run(), status) << drawn.text();
      forEachRecorded([](const software_device::Call&, bool) {});
      EXPECT_TRUE(drawn.sameBits(good)) << "order " << order << ": " << drawn.text();
    }
  };
  forEveryExport([&](const Export& routine) {
    if (!routine.isTypicalInstance() && routine.name.find("sgesv") == std::string::npos) return;
    check(routine, {sizesBetween(40, 80)}, 1);
    if (!routine.family->lapack) return;
    for (std::uint64_t seed = 2; seed <= 5; ++seed) check(routine, {sizesBetween(100, 260)}, seed);
    if (routine.name == "toviDeviceSgetrf")  // square ones in transposed storage
      check(routine, {[](Random&) { return 520; }}, 6);
  });
  toviFreeBuffers();
  EXPECT_TRUE(nothingAlive());
}

// The bits of all results, and of larger ones of the routine that shares out the sums of a matrix. `past`:
// calls of another size, and failures, have gone before.
std::string digests(bool past, int processors) {
  const auto oldest = [=](software_device::Profile& device) {
    device.major = 1, device.minor = 3, device.multiprocessors = processors;
  };
  EXPECT_EQ(pretend(oldest), toviNoError);
  if (past) {
    std::vector<Call> others = goodCalls(30, 90, 3);
    runAll(others);
    for (Call& call : others) {
      Around around;
      around.before = [] { software_device::failAnyCall(5, cudaErrorUnknown, 14); };
      around.after = software_device::clearFaults;
      call.run(around);
    }
  }
  std::vector<Call> calls = goodCalls(60, 120, 4);
  for (const Call& large : goodCalls(240, 260, 4))
    if (large.family().name == std::string_view("gesdd")) calls.push_back(large);
  runAll(calls);
  std::string text;
  for (const Call& call : calls) {
    std::array<char, 20> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx\n", static_cast<unsigned long long>(call.digest()));
    text += digits.data();
  }
  return text;
}

// A test again in a process of its own, where it does something else, on so many device threads: what it
// prints.
struct Printed {
  std::string out, err;
};
constexpr const char* inAnotherProcess = "TOVI_TEST_IN_ANOTHER_PROCESS";
Printed again(const std::string& test, const std::string& threads) {
  host::setEnvironment(inAnotherProcess, "1");
  host::setEnvironment("TOVI_DEVICE_THREADS", threads.c_str());
  const std::filesystem::path folder = newFolder();
  EXPECT_EQ(runProgram({thisProgram().string(), "--gtest_filter=" + test}, folder, "out", "err"), 0);
  const auto contents = [&](const char* name) {
    std::ifstream file(folder / name);
    return std::string((std::istreambuf_iterator<char>(file)), {});
  };
  Printed printed = {contents("out"), contents("err")};
  std::filesystem::remove_all(folder);
  return printed;
}

TEST(Promises, SameBitsInEveryProcess) {
  if (std::getenv(inAnotherProcess) != nullptr) {
    std::printf("\n%s", digests(false, std::atoi(std::getenv("TOVI_DEVICE_THREADS"))).c_str());
    return;
  }
  const std::string here = digests(true, 3);
  EXPECT_GT(here.size(), 17 * allExports().size());
  for (const char* const threads : {"1", "2", "5"})
    EXPECT_NE(again("Promises.SameBitsInEveryProcess", threads).out.find(here), std::string::npos) << threads;
}

// As a program has it that flushes to zero for speed, or rounds for bounds.
TEST(Promises, SameBitsInEveryFloatingPointMode) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Export& routine : allExports())
    for (const int size : {30, 110}) {  // on the host, by blocks
      Random random(6);
      Call good = drawCall(routine, random, {sizesBetween(size, size + 20)}), other = good;
      EXPECT_EQ(good.run(), toviNoError) << good.text();
      Around mode;
      mode.before = [] {
        std::fesetround(FE_UPWARD);
#if defined(__SSE2__)
        _mm_setcsr(_mm_getcsr() | _MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON | _MM_ROUND_UP);
#endif
        software_device::setWorkers(2);  // which begin with the mode of who starts them
      };
      mode.after = [] {
        EXPECT_EQ(std::fegetround(), FE_UPWARD) << "is the caller's again";
#if defined(__SSE2__)
        EXPECT_EQ(_mm_getcsr() & _MM_FLUSH_ZERO_MASK, static_cast<unsigned>(_MM_FLUSH_ZERO_ON));
#endif
        std::fesetenv(FE_DFL_ENV);
      };
      EXPECT_EQ(other.run(mode), toviNoError) << other.text();
      EXPECT_TRUE(other.sameBits(good)) << other.text();
    }
}

#if defined(__GLIBC__)
// Exceptions that the program traps, and those that it will look for.
TEST(Promises, TheCallersFloatingPointExceptionsStayTheirs) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  double a[] = {3, 1, 1, 7}, b[] = {1, 1};  // whose norms OpenBLAS computes with the x87
  std::feclearexcept(FE_ALL_EXCEPT);
  std::feraiseexcept(FE_OVERFLOW);
  feenableexcept(FE_INEXACT);
  const toviStatus status = toviDgels('N', 2, 2, 1, a, 2, b, 2);
  const int enabled = fegetexcept(), raised = std::fetestexcept(FE_ALL_EXCEPT);
  fedisableexcept(FE_ALL_EXCEPT);
  EXPECT_EQ(status, toviNoError);
  EXPECT_EQ(enabled, FE_INEXACT);
  EXPECT_EQ(raised, FE_OVERFLOW);
}
#endif

// What TOVI_DEVICE_THREADS may be: 1 to 4 times the processors. Anything else is told, once, and not done.
TEST(Promises, AMeaninglessNumberOfThreadsIsTold) {
  if (std::getenv(inAnotherProcess) != nullptr) {
    std::vector<Call> calls = goodCalls(100, 120, 1);
    for (int time = 0; time < 2; ++time) {
      EXPECT_EQ(toviInitialize(), toviNoError);
      runAll(calls);
      toviShutdown();
    }
    return;
  }
  const int number = 4 * software_device::defaultMachine().devices[0].multiprocessors;
  const std::string most = std::to_string(number);
  const auto told = [](const std::string& threads) {
    return again("Promises.AMeaninglessNumberOfThreadsIsTold", threads).err;
  };
  for (const std::string& good : {std::string("1"), most}) EXPECT_EQ(told(good), "");
  const std::string badOnes[] = {std::to_string(number + 1), "0", "-3", "4000000000", "two", "2x", ""};
  for (const std::string& bad : badOnes) {
    const std::string text = told(bad), begin = "tovi: TOVI_DEVICE_THREADS is \"" + bad;
    EXPECT_EQ(text.rfind(begin + "\", not a number from 1 to " + most + ';', 0), 0U) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
  }
}

// Host operands that are only read may be each other, and the one that is written: they are copied first.
template <class T>
void expectThatWhatIsReadMayBeWritten() {
  constexpr int n = 70;
  constexpr Memory where = Memory::host;
  std::vector<T> a(n * n);
  for (int i = 0; i < n * n; ++i)
    a[static_cast<std::size_t>(i)] = makeElement<T>(i * 37 % 101 / 64.0 - 0.5, i * 41 % 103 / 64.0 - 0.5);
  using Routine = toviStatus (*)(const T* a, const T* b, T* c);
  const Routine routines[] = {
      [](auto x, auto y, auto z) { return gemm(where, 'N', 'T', n, n, n, T(2), x, n, y, n, T(3), z, n); },
      [](auto x, auto y, auto z) { return symm(where, 'R', 'U', n, n, T(2), x, n, y, n, T(3), z, n); },
      [](auto x, auto y, auto z) { return syr2k(where, 'L', 'N', n, n, T(2), x, n, y, n, T(3), z, n); },
      [](auto x, auto, auto z) { return syrk(where, 'U', 'N', n, n, T(2), x, n, T(3), z, n); },
      [](auto x, auto, auto z) { return trmm(where, 'L', 'U', 'N', 'N', n, n, T(2), x, n, z, n); },
      [](auto x, auto, auto z) { return trsm(where, 'R', 'L', 'T', 'U', n, n, T(2), x, n, z, n); },
      [](auto x, auto y, auto z) { return gemv(where, 'T', n, n, T(2), x, n, y, 1, T(3), z, 1); },
  };
  for (const Routine routine : routines) {
    const std::vector<T> x = a, y = a;
    std::vector<T> apart = a, together = a;
    EXPECT_EQ(routine(x.data(), y.data(), apart.data()), toviNoError);
    EXPECT_EQ(routine(together.data(), together.data(), together.data()), toviNoError);
    EXPECT_FALSE(apart == a);
    EXPECT_TRUE(together == apart) << &routine - routines;
  }
}

TEST(Promises, AHostRoutineMayWriteWhatItHasRead) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  expectThatWhatIsReadMayBeWritten<float>();
  expectThatWhatIsReadMayBeWritten<double>();
  expectThatWhatIsReadMayBeWritten<Complex<float>>();
  expectThatWhatIsReadMayBeWritten<Complex<double>>();
}

TEST(Promises, ThreadsGetWhatTheyGetAlone) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  std::vector<Call> good = goodCalls(20, 80, 5);
  runAll(good);
  std::vector<std::thread> crew;
  for (std::size_t t = 0; t < 4; ++t)
    crew.emplace_back([&good, t] {
      for (std::size_t i = 0; i < good.size(); ++i) {
        const Call& expected = good[(i + t * 7) % good.size()];
        Call call = expected;
        EXPECT_EQ(call.run(), toviNoError) << call.text();
        EXPECT_TRUE(call.sameBits(expected)) << call.text();
      }
    });
  for (std::thread& thread : crew) thread.join();
  toviFreeBuffers();
  EXPECT_TRUE(nothingAlive());
}

}  // namespace
}  // namespace testing_support
