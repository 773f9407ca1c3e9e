// What the device's BLAS does with bad calls. Its products, cut into tiles and not, are those of the exported
// routines (tests/blas/blas_test.cpp).

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "device/software/testing/software_device.h"
#include "host/blas.h"
#include "host/lapack.h"
#include "tests/support/machines.h"
#include "tests/support/ratios.h"

namespace {

using namespace testing_support;

// A fresh machine, so that these tests also pass one after the other in one process
struct FreshDevice {
  FreshDevice() { software_device::configure(software_device::defaultMachine()); }
};
struct Status : testing::Test, FreshDevice {
  // One 8 x 8 matrix of ones, and calls on it
  DeviceArray<float> dA{std::vector<float>(64, 1.f).data(), 64};
  float* a() const { return dA.data(); }
  void gemm(char ta = 'N', int m = 4, int n = 4, int k = 4, int ld = 8) {
    cublasSgemm(ta, 'N', m, n, k, 1.f, a(), ld, a(), 8, 0.f, a() + 32, 8);
  }
  bool untouched() const {
    std::vector<float> now(64);
    dA.download(now.data());
    return now == std::vector<float>(64, 1.f);
  }
};

TEST_F(Status, NothingRunsBeforeInit) {
  gemm();
  EXPECT_TRUE(untouched());
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_NOT_INITIALIZED);
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS);
  EXPECT_EQ(cublasShutdown(), CUBLAS_STATUS_NOT_INITIALIZED);
  EXPECT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  gemm();
  EXPECT_FALSE(untouched());
  EXPECT_EQ(cublasShutdown(), CUBLAS_STATUS_SUCCESS);
  gemm();
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_NOT_INITIALIZED);
}

TEST_F(Status, IsThatOfTheLatestCallUntilRead) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  cuComplex* const z = reinterpret_cast<cuComplex*>(a());
  const cuComplex one = {1, 0};
  const std::vector<std::function<void()>> calls = {
      [&] { gemm('X'); },
      [&] { gemm('N', -1); },
      [&] { gemm('N', 4, -1); },
      [&] { gemm('N', 4, 4, -1); },
      [&] { gemm('N', 4, 4, 4, 3); },
      [&] { cublasStrsm('X', 'L', 'N', 'N', 2, 2, 1.f, a(), 8, a(), 8); },
      [&] { cublasStrmm('L', 'L', 'N', 'X', 2, 2, 1.f, a(), 8, a(), 8); },
      [&] { cublasSsymm('R', 'L', 2, 4, 1.f, a(), 3, a(), 8, 0.f, a(), 8); },
      [&] { cublasCher2k('U', 'T', 2, 2, one, z, 8, z, 8, 0.f, z, 8); },
      [&] { cublasCherk('U', 'T', 2, 2, 1.f, z, 8, 0.f, z, 8); },
      [&] { cublasCsyrk('U', 'C', 2, 2, one, z, 8, one, z, 8); },
      [&] { cublasSgemv('N', 2, 2, 1.f, a(), 8, a(), 0, 0.f, a(), 1); },
  };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    calls[i]();
    EXPECT_TRUE(untouched()) << i;
    EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_INVALID_VALUE) << i;
    EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS) << i;
    calls[i]();
    gemm('N', 0);  // a good call, and the bad one is forgotten
    EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS) << i;
  }
  EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "the runtime's error is another one";
}

// Without a factor or an inner dimension no operand is looked at; an empty result asks for nothing at all.
TEST_F(Status, OperandsThatAreNotReadMayBeNull) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  cublasSgemm('N', 'T', 8, 8, 0, 1.f, nullptr, 8, nullptr, 8, 0.5f, a(), 8);
  cublasSgemm('N', 'T', 8, 8, 8, 0.f, nullptr, 8, nullptr, 8, 0.5f, a(), 8);
  std::vector<float> now(64);
  dA.download(now.data());
  EXPECT_EQ(now, std::vector<float>(64, 0.25f));
  cublasSgemm('N', 'N', 0, 8, 8, 1.f, nullptr, 1, nullptr, 8, 0.f, nullptr, 1);
  EXPECT_EQ(software_device::pending(), 0u);
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS);
}

// One that is not is what an illegal address is on a real device.
TEST(Operands, MustBeDeviceMemoryToTheirLastElement) {
  std::vector<float> host(64, 1.f);
  float *a = nullptr, *c = nullptr;
  const auto multiply = [&](float* x, int ld, float* y) {
    cublasSgemm('N', 'N', 8, 8, 8, 1.f, x, ld, a, 8, 0.f, y, 8);
  };
  const std::vector<std::function<void()>> calls = {
      [&] { multiply(a, 8, c); },           [&] { multiply(a + 1, 8, c); },
      [&] { multiply(a, 9, c); },           [&] { multiply(host.data(), 8, c); },
      [&] { multiply(nullptr, 8, c); },     [&] { multiply(a, 2147483647, c); },
      [&] { multiply(a, 8, host.data()); }, [&] { cublasSgemv('N', 1, 33, 1.f, c, 1, a, -2, 0.f, c, 1); },
  };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    FreshDevice();
    ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
    ASSERT_EQ(cudaMalloc(&a, 64 * sizeof *a), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&c, 64 * sizeof *c), cudaSuccess);
    calls[i]();
    EXPECT_EQ(cudaThreadSynchronize(), i == 0 ? cudaSuccess : cudaErrorLaunchFailure) << i;
  }
  EXPECT_EQ(host, std::vector<float>(64, 1.f));
}

TEST(BlasProfiles, DoublePrecisionNeedsCapability13) {
  for (const auto& [minor, expected] :
       {std::pair{2, CUBLAS_STATUS_ARCH_MISMATCH}, std::pair{3, CUBLAS_STATUS_SUCCESS}}) {
    configureDevice([=](software_device::Profile& device) { device.major = 1, device.minor = minor; });
    ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
    const DeviceArray<double> d(16);
    auto* const z = reinterpret_cast<cuDoubleComplex*>(d.data());
    cublasDgemm('N', 'N', 2, 2, 2, 1.0, d.data(), 2, d.data() + 4, 2, 0.0, d.data() + 8, 2);
    EXPECT_EQ(cublasGetError(), expected);
    cublasZgemv('N', 2, 2, {1, 0}, z, 2, z + 4, 1, {0, 0}, z + 6, 1);
    EXPECT_EQ(cublasGetError(), expected);
    auto* const s = reinterpret_cast<float*>(d.data());
    cublasSgemv('N', 2, 2, 1.f, s, 2, s + 4, 1, 0.f, s + 6, 1);
    EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS);
  }
}

// Calls come back before they have run.
TEST_F(Status, CallsAreQueued) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  software_device::setSchedule(software_device::Schedule::lazy);
  gemm();
  EXPECT_EQ(software_device::pending(), 1u);
  EXPECT_FALSE(untouched());
  EXPECT_EQ(software_device::pending(), 0u);
}

// The host's own BLAS and LAPACK may not be given device memory, which a GPU would not let them read.
TEST(HostBlasDeathTest, DeviceMemoryIsRefused) {
#ifdef TOVI_HOST_ASAN
  const DeviceArray<float> d(16);
  std::vector<float> host(16, 1.f);
  EXPECT_DEATH(host::gemm('N', 'N', 2, 2, 2, 1.f, d.data(), 2, host.data(), 2, 0.f, host.data() + 4, 2),
               "host BLAS");
  int pivots[4];
  EXPECT_DEATH(host::getrf(4, 4, d.data(), 4, pivots), "host BLAS");
  EXPECT_EQ(host::getrf(4, 4, host.data(), 4, pivots), 2);
#else
  GTEST_SKIP() << "needs AddressSanitizer";
#endif
}

}  // namespace
