// A failure of CUBLAS belongs to the routine in which it happens, whatever other calls and other threads do
// meanwhile: CUBLAS itself remembers only how its latest call ended.

#include <gtest/gtest.h>
#include <tovi.h>

#include <atomic>
#include <thread>
#include <vector>

#include "device/runtime.h"
#include "device/software/testing/software_device.h"
#include "tests/support/machines.h"

namespace {

using software_device::Entry;
using software_device::failCall;

// Thread B ends with a data error again and again, which discards what is pending in the process; thread D
// does good products. One of the products under thread C's call fails, before others that do not.
TEST(CublasFailures, NoOtherThreadReportsOrErasesOne) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  std::atomic<bool> ends{false};
  std::thread singular([&] {
    while (!ends) {
      float a[4] = {};
      int pivots[2];
      EXPECT_EQ(toviSgetrf(2, 2, a, 2, pivots), toviDataError);
    }
  });
  std::thread good([&] {
    std::vector<float> a(16, 1.0f), c(16);
    while (!ends) {
      // Not gemm: whose product would be failed is chance then.
      EXPECT_EQ(toviSsymm('L', 'L', 4, 4, 1, a.data(), 4, a.data(), 4, 0, c.data(), 4), toviNoError);
    }
  });
  constexpr int n = 1100;  // large enough to be done by blocks: trmm, gemm, trmm
  std::vector<float> a(n * n, 1.0f), b(n * 8, 1.0f);
  for (int round = 0; round < 20; ++round)
    for (const Entry entry : {Entry::trmm, Entry::gemm})
      for (const int status : {13, 3}) {  // an execution that failed, no memory
        failCall(entry, 1, status);
        EXPECT_EQ(toviStrmm('L', 'L', 'N', 'N', n, 8, 1, a.data(), n, b.data(), n),
                  status == 3 ? toviInsufficientMemory : toviBlasError);
        EXPECT_EQ(b, std::vector<float>(n * 8, 1.0f)) << "nothing is copied back";
        software_device::clearFaults();
      }
  ends = true;
  singular.join();
  good.join();
}

// What a program may get wrong: an array in host memory where one on the device is wanted. The runtime's
// error says what happened, now and from then on; that CUBLAS takes itself for not initialized says nothing.
TEST(CublasFailures, ALostDeviceHasTheErrorOfTheRuntime) {
  std::vector<float> host(64, 1.0f);
  const auto expectLost = [](toviStatus status) {
    EXPECT_EQ(status, toviRuntimeError);
    EXPECT_EQ(toviGetErrorInfo(), cudaErrorLaunchFailure);
  };
  for (const bool byKernel : {false, true}) {
    ASSERT_EQ(testing_support::pretend(2, 0), toviNoError);
    float* onDevice = nullptr;
    ASSERT_EQ(cudaMalloc(&onDevice, 64 * sizeof *onDevice), cudaSuccess);
    std::vector<float> c(64);
    ASSERT_EQ(toviSgemm('N', 'N', 8, 8, 8, 1, host.data(), 8, host.data(), 8, 0, c.data(), 8), toviNoError);
    if (byKernel)
      expectLost(toviDeviceSgemv('T', 8, 8, 1, onDevice, 8, host.data(), 1, 0, onDevice, 1));
    else
      expectLost(toviDeviceSgemm('N', 'N', 8, 8, 8, 1, host.data(), 8, onDevice, 8, 0, onDevice, 8));
    expectLost(toviDeviceSgemm('N', 'N', 2, 2, 2, 1, onDevice, 8, onDevice, 8, 0, onDevice + 32, 8));
    expectLost(toviSgemm('N', 'N', 8, 8, 8, 1, host.data(), 8, host.data(), 8, 0, c.data(), 8));
    int pivots[8];
    expectLost(toviSgesv(8, 1, host.data(), 8, pivots, c.data(), 8));
    std::thread([&] {
      expectLost(toviInitialize());
      toviShutdown();
    }).join();
    toviShutdown();
    EXPECT_EQ(cudaFree(onDevice), cudaErrorLaunchFailure);
    EXPECT_EQ(software_device::live().allocations, 0U);
    EXPECT_EQ(software_device::live().blasHandles, 0U);
    EXPECT_EQ(host, std::vector<float>(64, 1.0f));
  }
}

}  // namespace
