// Launch geometry: shapes worked out by hand, and kernels that mark what they own.

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "cudalib/check.h"
#include "cudalib/launch.h"
#include "cudalib/managed_memory.h"

namespace {

using cudalib::Map1D;
using cudalib::Map2D;

void expectShape(dim3 shape, unsigned x, unsigned y, unsigned z) {
  EXPECT_EQ(shape.x, x);
  EXPECT_EQ(shape.y, y);
  EXPECT_EQ(shape.z, z);
}

TEST(Maps, FoldedGrids) {
  const unsigned limit = 65535;
  expectShape(cudalib::foldedGrid(0, 256, limit), 0, 1, 1);
  expectShape(cudalib::foldedGrid(1, 256, limit), 1, 1, 1);
  expectShape(cudalib::foldedGrid(256, 256, limit), 1, 1, 1);
  expectShape(cudalib::foldedGrid(257, 256, limit), 2, 1, 1);
  expectShape(cudalib::foldedGrid(1000000, 64, limit), 15625, 1, 1);
  expectShape(cudalib::foldedGrid(16 * 65535, 16, limit), 65535, 1, 1);
  expectShape(cudalib::foldedGrid(16 * 65535 + 1, 16, limit), 32768, 2, 1);
  expectShape(cudalib::foldedGrid((1 << 24) + 1, 128, limit), 32768, 5, 1);
  expectShape(cudalib::foldedGrid(std::numeric_limits<int>::max(), 16, limit), 32768, 4096, 1);
  expectShape(cudalib::foldedGrid(std::numeric_limits<int>::max(), 256, 0x7FFFFFFF), 8388608, 1, 1);
  // 50 blocks -> 25 -> 12 -> 6 -> 3; 100 / 6 -> 17 -> 8 -> 4 -> 2; 100 / 12 -> 9.
  expectShape(cudalib::foldedGrid(100, 2, 3), 3, 2, 9);
}

TEST(Maps, BlockShapes) {
  expectShape(Map1D(1000).block(), 256, 1, 1);
  expectShape(Map1D(1000, 1).block(), 256, 1, 1);
  expectShape(Map1D(1000, 2).block(), 64, 1, 1);
  expectShape(Map1D(1000, 3).block(), 16, 1, 1);
  expectShape(Map1D(1000, 7).block(), 256, 1, 1);
  expectShape(Map1D(1000, 2, 128).block(), 128, 1, 1);
  expectShape(Map1D(1000, 2, 128).grid(), 8, 1, 1);
  expectShape(cudalib::StaticMap1D<128>(300).block(), 128, 1, 1);
  expectShape(cudalib::StaticMap1D<64>(300).grid(), 5, 1, 1);
  expectShape(cudalib::StaticOneBlockMap1D<32>().block(), 32, 1, 1);
  expectShape(cudalib::StaticOneBlockMap1D<32>().grid(), 1, 1, 1);
}

TEST(Maps, MatrixShapes) {
  const Map2D plain(100, 33);
  expectShape(plain.block(), 16, 16, 1);
  expectShape(plain.grid(), 7, 3, 1);
  const Map2D own(100, 33, 32, 8);
  expectShape(own.block(), 32, 8, 1);
  expectShape(own.grid(), 4, 5, 1);
  expectShape(Map2D(16, 17, 0, 8).block(), 16, 16, 1);  // an override without x is none
  expectShape(Map2D(16, 17).grid(), 1, 2, 1);
  expectShape(Map2D(0, 5).grid(), 0, 1, 1);
  expectShape(cudalib::StaticMap2D<16, 16>(33, 100).grid(), 3, 7, 1);
  expectShape(cudalib::TriangularMap2D(40).grid(), 3, 3, 1);
  expectShape(cudalib::StaticRowWiseMap<256>(1000, 3).grid(), 4, 1, 1);
  expectShape(cudalib::StaticColumnWiseMap<256>(3, 1000).grid(), 4, 1, 1);
}

template <class Map>
__global__ void CountVisits_k(int n, int* visits) {
  const std::ptrdiff_t i = Map::index();
  if (i < n) visits[i] += static_cast<int>(i) + 1;
}

// An array of zeros on the device, and what it holds in the end.
class DeviceCounters {
 public:
  explicit DeviceCounters(int n) : host_(static_cast<std::size_t>(n), 0), device_(host_.size(), 1) {
    device_.allocator().copyToDevice(device_.get(), host_.data(), host_.size(), 1, 1);
  }
  int* get() const { return device_.get(); }
  const std::vector<int>& read() {
    cudalib::completionCheck();
    device_.allocator().copyFromDevice(host_.data(), device_.get(), host_.size(), 1, 1);
    return host_;
  }

 private:
  std::vector<int> host_;
  cudalib::ManagedMemory<int, cudalib::CudaAllocator<int>> device_;
};

class MapsOnDevice : public ::testing::Test {
 protected:
  // Errors of CUBLAS are read beside those of the runtime.
  void SetUp() override { ASSERT_EQ(cublasInit(), static_cast<cublasStatus>(CUBLAS_STATUS_SUCCESS)); }
  void TearDown() override { cublasShutdown(); }
};

TEST_F(MapsOnDevice, EveryElementOfAFoldedGridHasOneThread) {
  const int n = 1000;
  DeviceCounters dynamic(n), fixed(n);
  device::launch<&CountVisits_k<Map1D>>(cudalib::foldedGrid(n, 16, 5), dim3(16), 0, nullptr, n,
                                        dynamic.get());
  device::launch<&CountVisits_k<cudalib::StaticMap1D<64>>>(dim3(2, 3, 3), dim3(64), 0, nullptr, n,
                                                           fixed.get());
  const std::vector<int>& a = dynamic.read();
  const std::vector<int>& b = fixed.read();
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(a[static_cast<std::size_t>(i)], i + 1);
    EXPECT_EQ(b[static_cast<std::size_t>(i)], i + 1);
  }
}

}  // namespace
