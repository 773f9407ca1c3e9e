// Allocators and the handle that owns what they allocate: what lies where after a copy, on any device.

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <vector>

#include "cudalib/allocators.h"
#include "cudalib/check.h"
#include "cudalib/managed_memory.h"
#include "tests/support/matrix.h"

namespace {

using cudalib::CudaAllocator;
using cudalib::CudaPitchAllocator;
using cudalib::ManagedMemory;
using cudalib::PageLockedAllocator;
using tovi::BlasAllocator;
using tovi::Complex;

template <class T>
std::vector<T> numbered(std::size_t n, int first = 1) {
  std::vector<T> x(n);
  for (std::size_t i = 0; i < n; ++i)
    x[i] = testing_support::makeElement<T>(first + static_cast<int>(i), -first - static_cast<int>(i));
  return x;
}

template <class T>
struct ElementOf;
template <template <class> class A, class T>
struct ElementOf<A<T>> {
  using type = T;
};

template <class Allocator>
class Allocators : public ::testing::Test {};
using AllocatorTypes =
    ::testing::Types<CudaAllocator<float>, CudaAllocator<Complex<double>>, CudaAllocator<int>,
                     CudaAllocator<unsigned>, CudaPitchAllocator<double>, CudaPitchAllocator<Complex<float>>,
                     CudaPitchAllocator<int>, BlasAllocator<float>, BlasAllocator<double>,
                     BlasAllocator<Complex<float>>, BlasAllocator<Complex<double>>, BlasAllocator<int>,
                     PageLockedAllocator<float>, PageLockedAllocator<Complex<float>>>;
TYPED_TEST_SUITE(Allocators, AllocatorTypes);

TYPED_TEST(Allocators, WholeMatricesComeBack) {
  using T = typename ElementOf<TypeParam>::type;
  for (const std::size_t rows : {1, 7, 96, 128})
    for (const std::size_t count : {1, 3}) {
      const std::size_t cols = 5;
      const std::vector<T> sent = numbered<T>(rows * cols * count);
      std::vector<T> back(sent.size());
      const ManagedMemory<T, TypeParam> memory(rows, cols, count);
      EXPECT_EQ(memory.allocator().copyToDevice(memory.get(), sent.data(), rows, cols, count), cudaSuccess);
      EXPECT_EQ(memory.allocator().copyFromDevice(back.data(), memory.get(), rows, cols, count), cudaSuccess);
      EXPECT_TRUE(sent == back) << rows << " rows, count " << count;
    }
}

// Every range of a small matrix, in both directions, against the same on a dense host array.
TYPED_TEST(Allocators, RangesGoWhereTheLinearIndexSays) {
  using T = typename ElementOf<TypeParam>::type;
  const std::size_t rows = 4, cols = 4, total = rows * cols;
  const ManagedMemory<T, TypeParam> memory(rows, cols);
  TypeParam& allocator = memory.allocator();
  const std::vector<T> fill = numbered<T>(total), piece = numbered<T>(total, 100);
  for (std::size_t offset = 0; offset < total; ++offset)
    for (std::size_t n = 0; n <= total - offset; ++n) {
      allocator.copyToDevice(memory.get(), fill.data(), rows, cols, 1);
      std::vector<T> expected = fill, whole(total);
      std::copy_n(piece.begin(), n, expected.begin() + static_cast<std::ptrdiff_t>(offset));
      EXPECT_EQ(allocator.copyRangeToDevice(memory.get(), piece.data(), rows, cols, 1, offset, n),
                cudaSuccess);
      allocator.copyFromDevice(whole.data(), memory.get(), rows, cols, 1);
      EXPECT_TRUE(whole == expected) << "to the device: " << n << " elements at " << offset;

      std::vector<T> read(n + 1, T(77));  // one more, to be left alone
      EXPECT_EQ(allocator.copyRangeFromDevice(read.data(), memory.get(), rows, cols, 1, offset, n),
                cudaSuccess);
      EXPECT_TRUE(std::equal(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(n), read.begin()) &&
                  read[n] == T(77))
          << "from the device: " << n << " elements at " << offset;
    }
}

TYPED_TEST(Allocators, PitchedSlabsKeepWhatLiesBetween) {
  using T = typename ElementOf<TypeParam>::type;
  // Two slabs of 3 x 2 elements, in the host with pitch 5 and stride 12, on the device with pitch 4 and
  // stride 9.
  const std::size_t width = 3, height = 2, depth = 2;
  const std::vector<T> host = numbered<T>(24), device = numbered<T>(18, 200);
  const ManagedMemory<T, TypeParam> own(18, 1);
  T* memory = own.get();
  TypeParam& allocator = own.allocator();
  allocator.copyToDevice(memory, device.data(), 18, 1, 1);
  allocator.copyToDevice2D(memory, 4, 9, 0, host.data(), 5, 12, 0, width, height, depth);
  std::vector<T> expected = device, got(18);
  for (std::size_t z = 0; z < depth; ++z)
    for (std::size_t y = 0; y < height; ++y)
      for (std::size_t x = 0; x < width; ++x) expected[z * 9 + y * 4 + x] = host[z * 12 + y * 5 + x];
  allocator.copyFromDevice(got.data(), memory, 18, 1, 1);
  EXPECT_TRUE(got == expected);

  std::vector<T> back = host;
  allocator.copyToDevice(memory, device.data(), 18, 1, 1);
  allocator.copyFromDevice2D(back.data(), 5, 12, 0, memory, 4, 9, 0, width, height, depth);
  expected = host;
  for (std::size_t z = 0; z < depth; ++z)
    for (std::size_t y = 0; y < height; ++y)
      for (std::size_t x = 0; x < width; ++x) expected[z * 12 + y * 5 + x] = device[z * 9 + y * 4 + x];
  EXPECT_TRUE(back == expected);
}

// What stands so far apart that its bytes cannot be counted is not there, unless it is alone.
TYPED_TEST(Allocators, PitchesBeyondAllMemory) {
  using T = typename ElementOf<TypeParam>::type;
  const std::size_t far = std::numeric_limits<std::size_t>::max() / sizeof(T) + 1;
  const std::vector<T> host = numbered<T>(3);
  std::vector<T> back(3);
  const ManagedMemory<T, TypeParam> own(3, 1);
  T* const memory = own.get();
  TypeParam& allocator = own.allocator();
  EXPECT_EQ(allocator.copyToDevice2D(memory, 3, 3, 0, host.data(), far, far, 0, 3, 1, 1), cudaSuccess);
  EXPECT_EQ(allocator.copyFromDevice2D(back.data(), far, far, 0, memory, 3, 3, 0, 3, 1, 1), cudaSuccess);
  EXPECT_TRUE(back == host);
  const auto upload = [&](std::size_t pitch, std::size_t stride, std::size_t height, std::size_t depth) {
    allocator.copyToDevice2D(memory, 1, 1, 0, host.data(), pitch, stride, 0, 1, height, depth);
  };
  EXPECT_THROW(upload(far, 1, 2, 1), cudalib::CudaMemoryException);
  EXPECT_THROW(upload(1, far, 1, 2), cudalib::CudaMemoryException);
}

TYPED_TEST(Allocators, SizesThatCannotBeHadThrow) {
  using T = typename ElementOf<TypeParam>::type;
  const auto most = std::numeric_limits<std::size_t>::max();
  TypeParam allocator;
  EXPECT_THROW(allocator.allocate(most / 2 + 1, 2, 1), cudalib::CudaMemoryException);  // wraps to 0 elements
  EXPECT_THROW(allocator.allocate(1 << 16, most >> 16, 1 << 2), cudalib::CudaMemoryException);
  EXPECT_THROW(allocator.allocate(1, most / 2, 1), cudalib::CudaMemoryException);
  EXPECT_THROW(allocator.allocate(3, 1, most), cudalib::CudaMemoryException);
  // This one fits into a size, but into no memory.
  EXPECT_THROW(allocator.allocate(1, most / sizeof(T) / 2, 1), cudalib::CudaMemoryException);
  cudaGetLastError();
}

TEST(Padding, LeadingDimensions) {
  using tovi::paddedLeadingDimension;
  // One row is one padding unit, unless the unit is itself a whole partition span.
  const auto unit = [](int level) {
    return std::vector<std::size_t>{
        paddedLeadingDimension<float>(1, level, 8), paddedLeadingDimension<double>(1, level, 8),
        paddedLeadingDimension<Complex<float>>(1, level, 8),
        paddedLeadingDimension<Complex<double>>(1, level, 8), paddedLeadingDimension<int>(1, level, 8)};
  };
  for (const int level : {10, 11, 12, 13})
    EXPECT_EQ(unit(level), (std::vector<std::size_t>{32, 48, 32, 48, 32})) << level;
  for (const int level : {9, 14, 20, 90})
    EXPECT_EQ(unit(level), (std::vector<std::size_t>{96, 64, 64, 32, 96})) << level;
  // The span: 8 or 6 partitions of 256 bytes.
  EXPECT_EQ(paddedLeadingDimension<float>(512, 10, 8), 544U);
  EXPECT_EQ(paddedLeadingDimension<float>(512, 10, 6), 512U);
  EXPECT_EQ(paddedLeadingDimension<Complex<float>>(256, 20, 8), 320U);
  EXPECT_EQ(paddedLeadingDimension<double>(192, 10, 6), 240U);
  // The second unit is added once, even where it leads to the next multiple of the span.
  EXPECT_EQ(paddedLeadingDimension<Complex<double>>(96, 20, 1), 128U);
}

TEST(ManagedMemory, EmptyHandlesHoldNothing) {
  using Handle = ManagedMemory<float, BlasAllocator<float>>;
  for (const Handle& handle : {Handle(), Handle(0, 5), Handle(5, 0), Handle(5, 5, 0)}) {
    EXPECT_EQ(handle.get(), nullptr);
    EXPECT_EQ(handle.useCount(), 0);
  }
  EXPECT_EQ(Handle().ld(), 1);
  EXPECT_EQ(Handle(0, 5).ld(), 1);
  EXPECT_EQ(Handle(5, 0).ld(), 5);  // a BLAS call with no columns still wants a valid leading dimension
}

}  // namespace
