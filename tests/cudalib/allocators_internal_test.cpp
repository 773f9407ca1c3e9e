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
using testing_support::Complex;
using tovi::BlasAllocator;

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

// Every range of two small matrices, in both directions, against the same on a dense host array.
TYPED_TEST(Allocators, RangesGoWhereTheLinearIndexSays) {
  using T = typename ElementOf<TypeParam>::type;
  const std::size_t rows = 4, cols = 2, count = 2, total = rows * cols * count;
  const ManagedMemory<T, TypeParam> memory(rows, cols, count);
  TypeParam& allocator = memory.allocator();
  const std::vector<T> fill = numbered<T>(total), piece = numbered<T>(total, 100);
  for (std::size_t offset = 0; offset < total; ++offset)
    for (std::size_t n = 0; n <= total - offset; ++n) {
      std::vector<T> expected = fill, whole(total), read(n + 1, T(77));  // one more, to be left alone
      std::copy_n(piece.begin(), n, expected.begin() + static_cast<std::ptrdiff_t>(offset));
      std::vector<T> part(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(n));
      part.push_back(T(77));
      for (const cudaError_t error :
           {allocator.copyToDevice(memory.get(), fill.data(), rows, cols, count),
            allocator.copyRangeToDevice(memory.get(), piece.data(), rows, cols, count, offset, n),
            allocator.copyFromDevice(whole.data(), memory.get(), rows, cols, count),
            allocator.copyRangeFromDevice(read.data(), memory.get(), rows, cols, count, offset, n)})
        EXPECT_EQ(error, cudaSuccess);
      EXPECT_TRUE(whole == expected && read == part) << n << " elements at " << offset;
    }
}

TYPED_TEST(Allocators, PitchedSlabsKeepWhatLiesBetween) {
  using T = typename ElementOf<TypeParam>::type;
  // Two slabs of 3 x 2 elements, in the host with pitch 5 and stride 12, on the device with 4 and 9.
  const std::vector<T> host = numbered<T>(24), device = numbered<T>(18, 200);
  std::vector<T> sent = device, fetched = host, got(18), back = host;
  for (std::size_t z = 0; z < 2; ++z)
    for (std::size_t y = 0; y < 2; ++y)
      for (std::size_t x = 0; x < 3; ++x) {
        sent[z * 9 + y * 4 + x] = host[z * 12 + y * 5 + x];
        fetched[z * 12 + y * 5 + x] = device[z * 9 + y * 4 + x];
      }
  const ManagedMemory<T, TypeParam> memory(18, 1);
  TypeParam& allocator = memory.allocator();
  allocator.copyToDevice(memory.get(), device.data(), 18, 1, 1);
  allocator.copyFromDevice2D(back.data(), 5, 12, 0, memory.get(), 4, 9, 0, 3, 2, 2);
  EXPECT_TRUE(back == fetched);
  allocator.copyToDevice2D(memory.get(), 4, 9, 0, host.data(), 5, 12, 0, 3, 2, 2);
  allocator.copyFromDevice(got.data(), memory.get(), 18, 1, 1);
  EXPECT_TRUE(got == sent);
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
  // The first one wraps to 0 elements; the last one fits into a size, but into no memory.
  const std::size_t sizes[][3] = {{most / 2 + 1, 2, 1},
                                  {1 << 16, most >> 16, 4},
                                  {1, most / 2, 1},
                                  {3, 1, most},
                                  {1, most / sizeof(T) / 2, 1}};
  for (const auto& [rows, cols, count] : sizes)
    EXPECT_THROW(TypeParam().allocate(rows, cols, count), cudalib::CudaMemoryException);
  cudaGetLastError();
}

template <class T>
void expectPadding(int level, unsigned partitions, std::size_t rows, std::size_t expected) {
  EXPECT_EQ(tovi::paddedLeadingDimension<T>(rows, level, partitions), expected) << level << ' ' << rows;
}

TEST(Padding, LeadingDimensions) {
  // One row is one padding unit, unless the unit is itself a whole partition span.
  for (const int level : {9, 10, 11, 12, 13, 14, 20, 90}) {
    const bool first = level >= 10 && level <= 13;
    expectPadding<float>(level, 8, 1, first ? 32 : 96);
    expectPadding<double>(level, 8, 1, first ? 48 : 64);
    expectPadding<Complex<float>>(level, 8, 1, first ? 32 : 64);
    expectPadding<Complex<double>>(level, 8, 1, first ? 48 : 32);
    expectPadding<int>(level, 8, 1, first ? 32 : 96);
  }
  // The span: 8 or 6 partitions of 256 bytes.
  expectPadding<float>(10, 8, 512, 544);
  expectPadding<float>(10, 6, 512, 512);
  expectPadding<Complex<float>>(20, 8, 256, 320);
  expectPadding<double>(10, 6, 192, 240);
  // The second unit is added once, even where it leads to the next multiple of the span.
  expectPadding<Complex<double>>(20, 1, 96, 128);
}

TEST(ManagedMemory, EmptyHandlesHoldNothing) {
  using Handle = ManagedMemory<float, BlasAllocator<float>>;
  for (const Handle& handle : {Handle(), Handle(0, 5), Handle(5, 0), Handle(5, 5, 0)}) {
    EXPECT_EQ(handle.get(), nullptr);
    EXPECT_EQ(handle.useCount(), 0);
  }
  EXPECT_TRUE(Handle().ld() == 1 && Handle(0, 5).ld() == 1);
  EXPECT_EQ(Handle(5, 0).ld(), 5);  // a BLAS call with no columns still wants a valid leading dimension
}

}  // namespace
