// Memory of the software device: allocation and its accounts, copies and what they refuse, and the checks
// that catch a kernel or a host program that touches what it must not.

#include <cublas.h>
#include <cuda_runtime.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "device/launch.h"
#include "device/software/testing/software_device.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/machines.h"

namespace {

using software_device::live;

constexpr std::size_t mebibyte = std::size_t{1} << 20;

void configureMemory(std::size_t bytes) {
  testing_support::configureDevice([=](software_device::Profile& device) { device.memory = bytes; });
}

char* allocate(std::size_t bytes) {
  char* p = nullptr;
  EXPECT_EQ(cudaMalloc(&p, bytes), cudaSuccess);
  return p;
}

__global__ void writeByte_k(char* p, std::size_t at) { p[at] = 1; }

TEST(DeviceMemory, AccountsForEveryByte) {
  configureMemory(10 * mebibyte);
  char* const half = allocate(5 * mebibyte);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(half) % 256, 0u);
  char* refused = half;
  EXPECT_EQ(cudaMalloc(&refused, 6 * mebibyte), cudaErrorMemoryAllocation);
  EXPECT_EQ(refused, nullptr);
  EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
  EXPECT_EQ(cudaMalloc(&refused, ~std::size_t{0} - 100), cudaErrorMemoryAllocation);
  char* const rest = allocate(5 * mebibyte);
  std::size_t free = 1, total = 0;
  EXPECT_EQ(cudaMemGetInfo(&free, &total), cudaSuccess);
  EXPECT_EQ(free, 0u);
  EXPECT_EQ(total, 10 * mebibyte);
  EXPECT_EQ(live().allocations, 2u);
  EXPECT_EQ(live().deviceBytes, 10 * mebibyte);
  EXPECT_EQ(cudaFree(half), cudaSuccess);
  EXPECT_EQ(cudaFree(rest), cudaSuccess);
  EXPECT_EQ(live().deviceBytes, 0u);
  EXPECT_EQ(live().peakDeviceBytes, 10 * mebibyte);

  std::size_t pitch = 0;
  ASSERT_EQ(cudaMallocPitch(&refused, &pitch, 513, 3), cudaSuccess);
  EXPECT_EQ(pitch, 1024u);
  EXPECT_EQ(live().deviceBytes, 3 * 1024u);
  EXPECT_EQ(cudaFree(refused), cudaSuccess);
  EXPECT_EQ(cudaMallocPitch(&refused, &pitch, mebibyte, ~std::size_t{0} >> 19), cudaErrorMemoryAllocation);
}

TEST(DeviceMemory, FreedNeighboursBecomeOneBlock) {
  configureMemory(64 * mebibyte);
  char* p[4];
  for (char*& block : p) block = allocate(16 * mebibyte);
  for (const int i : {2, 1, 0, 3}) EXPECT_EQ(cudaFree(p[i]), cudaSuccess);  // joined from either side
  EXPECT_EQ(allocate(64 * mebibyte), p[0]);
}

// The device's own records are host memory. A free never needs any.
TEST(DeviceMemory, HostMemoryThatRunsShortLosesNothing) {
  using testing_support::FailingAllocation;
  char *p = nullptr, *q = nullptr;
  for (long call = 1, failures = 1; failures != 0; ++call) {
    configureMemory(10 * mebibyte);
    failures = 0;
    for (char** const pointer : {&p, &q}) {
      const FailingAllocation failing(call);
      const cudaError_t error = cudaMalloc(pointer, mebibyte);
      failures += failing.happened();
      EXPECT_EQ(error, failing.happened() ? cudaErrorMemoryAllocation : cudaSuccess) << call;
    }
    EXPECT_EQ(cudaGetLastError(), failures != 0 ? cudaErrorMemoryAllocation : cudaSuccess);
    char* const whole = p == nullptr && q == nullptr ? allocate(10 * mebibyte) : nullptr;
    const FailingAllocation failing(1, FailingAllocation::forever);
    for (char* const one : {p, whole, q}) EXPECT_EQ(cudaFree(one), cudaSuccess);
    EXPECT_FALSE(failing.happened());
  }
}

// What is free goes back to the system then.
TEST(DeviceMemory, ShuttingDownTheBlasLeavesWhatIsInUse) {
  configureMemory(64 * mebibyte);
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  const std::size_t bytes = 5 * mebibyte + 1000;
  char* p[4];
  for (char*& block : p) {
    block = allocate(bytes);
    ASSERT_EQ(cudaMemset(block, 0x5A, bytes), cudaSuccess);
  }
  for (const int i : {0, 2}) ASSERT_EQ(cudaFree(p[i]), cudaSuccess);
  ASSERT_EQ(cublasShutdown(), CUBLAS_STATUS_SUCCESS);
  for (const int i : {0, 2}) {
    EXPECT_EQ(allocate(bytes), p[i]);
    EXPECT_EQ(cudaMemset(p[i], 0x5A, bytes), cudaSuccess);
  }
  for (const char* const block : p) {
    std::vector<char> bytesOf(bytes);
    ASSERT_EQ(cudaMemcpy(bytesOf.data(), block, bytes, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(bytesOf, std::vector<char>(bytes, 0x5A));
  }
}

// Sizes around the one from which copies are cut into pieces, there and back, with both directions pitched.
TEST(DeviceMemory, CopiesArriveWhole) {
  configureMemory(64 * mebibyte);
  for (const std::size_t width : {1u, 1000u, 3u << 20}) {
    const std::size_t height = width == 1000u ? 3000 : 3, hostPitch = width + 5, devicePitch = width + 11;
    std::vector<unsigned char> in(hostPitch * height), out(in.size(), 7);
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
    char* const d = allocate(devicePitch * height);
    char* const e = allocate(devicePitch * height);
    ASSERT_EQ(cudaMemcpy2D(d, devicePitch, in.data(), hostPitch, width, height, cudaMemcpyHostToDevice),
              cudaSuccess);
    ASSERT_EQ(cudaMemcpy(e, d, devicePitch * (height - 1) + width, cudaMemcpyDeviceToDevice), cudaSuccess);
    ASSERT_EQ(cudaMemcpy2D(out.data(), hostPitch, e, devicePitch, width, height, cudaMemcpyDeviceToHost),
              cudaSuccess);
    for (std::size_t r = 0; r < height; ++r) {
      ASSERT_EQ(std::memcmp(&out[r * hostPitch], &in[r * hostPitch], width), 0) << r;
      for (std::size_t i = width; i < hostPitch; ++i) ASSERT_EQ(out[r * hostPitch + i], 7) << "padding";
    }
    std::vector<unsigned char> whole(width * height);
    ASSERT_EQ(cudaMemset(e, 0x5A, whole.size()), cudaSuccess);
    ASSERT_EQ(cudaMemcpy(whole.data(), e, whole.size(), cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(whole, std::vector<unsigned char>(whole.size(), 0x5A));
    EXPECT_EQ(cudaFree(d), cudaSuccess);
    EXPECT_EQ(cudaFree(e), cudaSuccess);
  }
}

TEST(DeviceMemory, CallsRefuseWhatIsNotTheirs) {
  configureMemory(mebibyte);
  char *const d = allocate(1000), *const neighbour = allocate(1000), *none = d, *locked = nullptr;
  std::vector<char> host(2000);
  char* const h = host.data();
  const auto flat = [](void* to, const void* from, std::size_t bytes) {
    return cudaMemcpy(to, from, bytes, cudaMemcpyHostToDevice);
  };
  const auto deep = [&](std::size_t dpitch, std::size_t spitch, std::size_t height) {
    return cudaMemcpy2D(d, dpitch, h, spitch, 10, height, cudaMemcpyHostToDevice);
  };
  const auto expectResults = [](const std::vector<std::pair<cudaError_t, cudaError_t>>& results) {
    for (const auto& row : results) EXPECT_EQ(row.first, row.second) << &row - results.data();
  };
  expectResults({{flat(d, h, 1000), cudaSuccess},
                 {flat(d + 1, h, 1000), cudaErrorInvalidValue},
                 {flat(d, h, 2000), cudaErrorInvalidValue},  // although the neighbour's memory is there
                 {flat(h + 1000, h, 10), cudaErrorInvalidDevicePointer},
                 {flat(nullptr, h, 10), cudaErrorInvalidValue},
                 {flat(nullptr, h, 0), cudaSuccess},
                 {flat(h, d, 10), cudaErrorInvalidDevicePointer},
                 {flat(d, neighbour, 10), cudaErrorInvalidValue},  // the source is no host memory
                 {deep(9, 10, 2), cudaErrorInvalidPitchValue},
                 {deep(10, std::size_t{1} << 31, 2), cudaErrorInvalidPitchValue},
                 {deep(500, 10, 3), cudaErrorInvalidValue},
                 {deep(495, 10, 3), cudaSuccess},
                 {cudaMemset(d, 0, 1001), cudaErrorInvalidValue}});
  EXPECT_TRUE(software_device::isDevicePointer(d + 999));
  for (const char* const p : {d + 1000, h}) EXPECT_FALSE(software_device::isDevicePointer(p));
  expectResults({{cudaMalloc(&none, 0), cudaSuccess},
                 {cudaFree(nullptr), cudaSuccess},
                 {cudaFreeHost(nullptr), cudaSuccess},
                 {cudaFree(d + 256), cudaErrorInvalidDevicePointer},
                 {cudaFreeHost(d), cudaErrorInvalidHostPointer},
                 {cudaFree(d), cudaSuccess},
                 {cudaFree(d), cudaErrorInvalidDevicePointer},
                 {cudaFree(h), cudaErrorInvalidDevicePointer},
                 {flat(d, h, 10), cudaErrorInvalidDevicePointer},
                 {cudaFree(neighbour), cudaSuccess}});
  EXPECT_EQ(none, nullptr);
  // Page-locked memory is the host's.
  ASSERT_EQ(cudaMallocHost(&locked, 3 * mebibyte), cudaSuccess);  // not out of the device's memory
  std::memset(locked, 1, 3 * mebibyte);
  EXPECT_EQ(live().pageLockedBytes, 3 * mebibyte);
  EXPECT_EQ(live().deviceBytes, 0u);
  expectResults({{cudaFree(locked), cudaErrorInvalidDevicePointer},
                 {cudaFreeHost(locked), cudaSuccess},
                 {cudaFreeHost(locked), cudaErrorInvalidHostPointer}});
  EXPECT_EQ(live().pageLockedBlocks, 0u);
}

TEST(DeviceMemory, FreshMemoryIsNaNWhileChecking) {
  configureMemory(mebibyte);
  software_device::setChecking(true);
  for (int round = 0; round < 2; ++round) {  // new memory, then used memory
    char* const d = allocate(8000);
    std::vector<double> h(1000, 0.0);
    ASSERT_EQ(cudaMemcpy(h.data(), d, 8000, cudaMemcpyDeviceToHost), cudaSuccess);
    for (const double x : h) ASSERT_NE(x, x);
    ASSERT_EQ(cudaMemset(d, 0, 8000), cudaSuccess);
    ASSERT_EQ(cudaFree(d), cudaSuccess);
  }
}

TEST(DeviceMemoryDeathTest, GuardsCatchAKernelThatWritesBehindItsMemory) {
  configureMemory(mebibyte);
  software_device::setChecking(true);
  char* const d = allocate(1001);
  device::launch<&writeByte_k>(dim3(1), dim3(1), 0, nullptr, d, std::size_t{1000});
  ASSERT_EQ(cudaGetLastError(), cudaSuccess);
  EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        char* const other = allocate(1001);
        device::launch<&writeByte_k>(dim3(1), dim3(1), 0, nullptr, other, std::size_t{1001});
        cudaThreadSynchronize();
      },
      "wrote behind an allocation");
}

TEST(DeviceMemoryDeathTest, HostCodeCannotTouchDeviceMemory) {
#if defined(__SANITIZE_ADDRESS__)
  configureMemory(mebibyte);
  char* const d = allocate(1000);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(*static_cast<volatile char*>(d) = 1, "AddressSanitizer");
  std::vector<char> h(999);
  EXPECT_DEATH(cudaMemcpy(h.data(), d, 1000, cudaMemcpyDeviceToHost), "outside its host memory");
  char* locked = nullptr;
  ASSERT_EQ(cudaMallocHost(&locked, 1000), cudaSuccess);
  EXPECT_DEATH(*static_cast<volatile char*>(locked + 1000) = 1, "AddressSanitizer");
#else
  GTEST_SKIP() << "needs AddressSanitizer";
#endif
}

}  // namespace
