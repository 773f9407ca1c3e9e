// The frame around exported routines: order of its tests, table of exceptions, hooks, and what a failure
// leaves behind.

#include "api/operands.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cudalib/check.h"
#include "cudalib/exceptions.h"
#include "device/runtime.h"
#include "device/software/testing/software_device.h"
#include "ground/hooks.h"
#include "ground/outcomes.h"

namespace {

using namespace tovi::api;
using tovi::Complex;

// A routine that fails its argument check leaves this error info.
void leaveErrorInfo() {
  EXPECT_EQ(toviGetDeviceInfo(0, nullptr, 1), toviArgumentError);
  EXPECT_EQ(toviGetErrorInfo(), -2);
}

// A CUDA error stays pending: an unknown pointer is freed.
void leaveCudaError() { EXPECT_NE(cudaFree(reinterpret_cast<void*>(8)), cudaSuccess); }

void expectNothingPending() { EXPECT_EQ(cudaGetLastError(), cudaSuccess); }

// Their arguments need no check.
template <class Body>
toviStatus hostRoutine(const Body& body) {
  return routine<OnHost, float>([] {}, body);
}
template <class T, class Body>
toviStatus deviceRoutine(const Body& body) {
  return routine<OnDevice, T>([] {}, body);
}

TEST(Frame, MapsEveryException) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  const struct {
    std::function<void()> work;
    toviStatus status;
    int info;
  } rows[] = {
      {[] {}, toviNoError, 0},
      {[] { throw cudalib::CudaMemoryException("no room"); }, toviInsufficientMemory, 0},
      {[] { throw std::bad_alloc(); }, toviInsufficientMemory, 0},
      {[] { throw std::bad_array_new_length(); }, toviInsufficientMemory, 0},
      {[] { throw cudalib::CudaRuntimeException(46); }, toviRuntimeError, 46},
      {[] { throw cudalib::CublasException(13); }, toviBlasError, 13},
      {[] { tovi::argumentError(-4); }, toviArgumentError, -4},
      {[] { tovi::dataError(7); }, toviDataError, 7},
      {[] { tovi::checkHostInfo(9); }, toviDataError, 9},
      {[] { tovi::checkHostInfo(-9); }, toviRuntimeError, -9},
      {[] { throw tovi::FeatNotImplException(); }, toviFeatureNotImplemented, 0},
      {[] { throw std::runtime_error("other"); }, toviRuntimeError, -1},
      {[] { throw 5; }, toviRuntimeError, -1},
      {[] { cudalib::check(cudaErrorMemoryAllocation); }, toviInsufficientMemory, 0},
      {[] { cudalib::check(cudaErrorMemoryValueTooLarge); }, toviInsufficientMemory, 0},
      {[] { cudalib::check(cudaErrorInvalidValue); }, toviRuntimeError, cudaErrorInvalidValue},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    for (const toviStatus returned :
         {guarded(row.work), managed(row.work), hostRoutine(row.work), deviceRoutine<float>(row.work)}) {
      EXPECT_EQ(returned, row.status);
      leaveErrorInfo();
    }
    hostRoutine(row.work);
    EXPECT_EQ(toviGetLastStatus(), row.status);
    EXPECT_EQ(toviGetErrorInfo(), row.info);
    expectNothingPending();
  }
}

TEST(Frame, CompletionCheckFindsWhatIsPending) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  for (const cudaError_t ofTheWait : {cudaSuccess, cudaErrorUnknown}) {
    if (ofTheWait != cudaSuccess)
      software_device::failCall(software_device::Entry::threadSynchronize, 1, ofTheWait);
    EXPECT_EQ(hostRoutine([] { leaveCudaError(); }), toviRuntimeError);
    EXPECT_EQ(toviGetErrorInfo(), cudaErrorInvalidDevicePointer) << "what came first";
    EXPECT_EQ(hostRoutine([] {}), toviNoError);
  }
}

TEST(Frame, AFailureLeavesNothingPending) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(hostRoutine([] {
              leaveCudaError();
              throw tovi::FeatNotImplException();
            }),
            toviFeatureNotImplemented);
  expectNothingPending();
  EXPECT_EQ(software_device::pending(), 0U);
}

TEST(Frame, BeforeInitializationNothingRuns) {
  tovi::callHooks().entry = tovi::callHooks().exit = [] { ADD_FAILURE() << "hook called"; };
  leaveErrorInfo();
  software_device::resetCounts();
  const auto work = [] { ADD_FAILURE() << "body called"; };
  EXPECT_EQ(hostRoutine(work), toviNotInitialized);
  EXPECT_EQ(deviceRoutine<float>(work), toviNotInitialized);
  EXPECT_EQ(deviceRoutine<double>(work), toviNotInitialized);
  EXPECT_EQ(software_device::allCalls(), 0U);
  EXPECT_EQ(toviGetLastStatus(), toviNotInitialized);
  EXPECT_EQ(toviGetErrorInfo(), -2);
}

// What it has computed comes back after a data error, too; a way back that fails is told in its place.
TEST(Frame, ADataErrorLeavesResults) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  int back = 0;
  const auto dataError = [] {
    leaveCudaError();  // not the next call's
    tovi::dataError(5);
  };
  EXPECT_EQ(hostRoutine([&] { compute<OnHost, float>(dataError, [&] { ++back; }); }), toviDataError);
  EXPECT_EQ(toviGetErrorInfo(), 5);
  EXPECT_EQ(back, 1);
  expectNothingPending();
  EXPECT_EQ(hostRoutine(
                [&] { compute<OnHost, float>(dataError, [] { throw cudalib::CudaRuntimeException(11); }); }),
            toviRuntimeError);
  EXPECT_EQ(toviGetErrorInfo(), 11);
  EXPECT_EQ(hostRoutine([&] { compute<OnHost, float>([] { tovi::argumentError(-2); }, [&] { ++back; }); }),
            toviArgumentError);
  EXPECT_EQ(back, 1);
}

TEST(Frame, HooksRunOnceAroundACallFromOutside) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  std::string log;
  tovi::callHooks().entry = [&] { log += "("; };
  tovi::callHooks().exit = [&] { log += toviGetLastStatus() == toviArgumentError ? ")" : "?"; };
  const auto device = [&] { return deviceRoutine<float>([&] { log += "d"; }); };

  leaveErrorInfo();  // sets the last status, which the exit hook still sees
  EXPECT_EQ(device(), toviNoError);
  EXPECT_EQ(log, "(d)");

  log.clear();
  leaveErrorInfo();
  EXPECT_EQ(hostRoutine([&] {
              log += "h";
              tovi::dataError(1);
            }),
            toviDataError);
  EXPECT_EQ(log, "(h)");

  log.clear();
  tovi::callHooks().exit = [&] { log += ")"; };
  tovi::callHooks().entry = [&] {
    log += "(";
    EXPECT_EQ(device(), toviNoError);  // a hook's own calls run no hooks
  };
  EXPECT_EQ(hostRoutine([&] { log += "h"; }), toviNoError);
  EXPECT_EQ(log, "(dh)");

  log.clear();
  EXPECT_EQ(toviInitialize(), toviNoError);
  int count = 0;
  EXPECT_EQ(toviGetDeviceCount(&count), toviNoError);
  EXPECT_EQ(toviGetExecutingDevice(&count), toviNoError);
  EXPECT_EQ(log, "") << "management routines run no hooks";

  toviShutdown();
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(device(), toviNoError);
  EXPECT_EQ(log, "d") << "shutdown empties the hooks";
}

TEST(Frame, AThrowingHookFailsTheCall) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  int exits = 0, works = 0;
  tovi::callHooks().exit = [&] { ++exits; };
  tovi::callHooks().entry = [] { throw 1; };
  EXPECT_EQ(hostRoutine([&] { ++works; }), toviRuntimeError);
  EXPECT_EQ(toviGetErrorInfo(), -1);
  EXPECT_EQ(exits, 1);
  EXPECT_EQ(works, 0);

  tovi::callHooks().entry.clear();
  tovi::callHooks().exit = [] { throw std::bad_alloc(); };
  EXPECT_EQ(hostRoutine([&] { ++works; }), toviInsufficientMemory);
  EXPECT_EQ(works, 1);
}

TEST(Frame, ThreadsShareTheTwoVariables) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  std::vector<std::thread> threads;
  for (int t = 1; t <= 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(hostRoutine([&] { tovi::dataError(t); }), toviDataError);
        const int info = toviGetErrorInfo();  // anybody's
        EXPECT_TRUE(0 <= info && info <= 4) << info;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(toviGetLastStatus(), toviDataError);
}

}  // namespace
