// Which calls of the runtime a copy is made of, and streams on devices of every kind.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "cudalib/check.h"
#include "cudalib/copy2d.h"
#include "cudalib/managed_memory.h"
#include "cudalib/stream.h"
#include "device/software/testing/software_device.h"

namespace {

namespace device = software_device;
using cudalib::CudaPitchAllocator;
using cudalib::ManagedMemory;
using device::Entry;

// The copies that `work` makes, in order.
template <class Work>
std::vector<device::Call> copiesOf(Work&& work) {
  device::startRecording();
  work();
  std::vector<device::Call> copies;
  for (const device::Call& call : device::stopRecording())
    if (call.entry == Entry::memcpy || call.entry == Entry::memcpyAsync || call.entry == Entry::memcpy2D ||
        call.entry == Entry::memcpy2DAsync)
      copies.push_back(call);
  return copies;
}

void expectLinear(const device::Call& call, Entry entry, long long bytes) {
  EXPECT_EQ(call.entry, entry);
  EXPECT_EQ(call.arguments[0], bytes);
}

void expectRectangle(const device::Call& call, Entry entry, long long dpitch, long long spitch,
                     long long width, long long height) {
  EXPECT_EQ(call.entry, entry);
  EXPECT_EQ(call.arguments[0], dpitch);
  EXPECT_EQ(call.arguments[1], spitch);
  EXPECT_EQ(call.arguments[2], width);
  EXPECT_EQ(call.arguments[3], height);
}

constexpr std::size_t pitchLimit = 0x7FFFFFFF;

class Copy2D : public ::testing::Test {
 protected:
  // 40 bytes on the device and as many in page-locked host memory.
  cudaError_t copy(std::size_t dpitch, std::size_t spitch, std::size_t width, std::size_t height, bool async,
                   cudaStream_t stream = nullptr) {
    return cudalib::copy2D(memory_.get(), dpitch, host_.get(), spitch, width, height, cudaMemcpyHostToDevice,
                           async, stream);
  }
  ManagedMemory<float, cudalib::CudaAllocator<float>> memory_{10, 1};
  ManagedMemory<float, cudalib::PageLockedAllocator<float>> host_{10, 1};
};

TEST_F(Copy2D, TakesTheCheapestCall) {
  const cudalib::Stream stream;
  ASSERT_NE(stream.get(), nullptr);
  auto calls = copiesOf([&] {
    EXPECT_EQ(copy(8, 8, 8, 5, false), cudaSuccess);
    EXPECT_EQ(copy(8, 8, 8, 1, false), cudaSuccess);
    EXPECT_EQ(copy(8, 8, 8, 4, true, stream.get()), cudaSuccess);
    EXPECT_EQ(copy(8, 12, 8, 3, false), cudaSuccess);
    EXPECT_EQ(copy(12, 12, 8, 2, true, stream.get()), cudaSuccess);
    EXPECT_EQ(copy(8, pitchLimit - 1, 8, 1, false), cudaSuccess);
    EXPECT_EQ(copy(8, pitchLimit, 8, 1, false), cudaSuccess);
    EXPECT_EQ(copy(pitchLimit, 8, 8, 1, true, stream.get()), cudaSuccess);
    EXPECT_EQ(copy(pitchLimit, 8, 8, 0, false), cudaSuccess);
  });
  stream.synchronize();
  ASSERT_EQ(calls.size(), 8U);
  expectLinear(calls[0], Entry::memcpy, 40);
  expectLinear(calls[1], Entry::memcpy, 8);
  expectLinear(calls[2], Entry::memcpyAsync, 32);
  expectRectangle(calls[3], Entry::memcpy2D, 8, 12, 8, 3);
  expectRectangle(calls[4], Entry::memcpy2DAsync, 12, 12, 8, 2);
  expectRectangle(calls[5], Entry::memcpy2D, 8, pitchLimit - 1, 8, 1);
  expectLinear(calls[6], Entry::memcpy, 8);
  expectLinear(calls[7], Entry::memcpyAsync, 8);
  EXPECT_EQ(calls[1].stream, 0U);
  for (const int i : {2, 4, 7}) EXPECT_EQ(calls[static_cast<std::size_t>(i)].stream, calls[2].stream);
  EXPECT_NE(calls[2].stream, 0U);
}

TEST_F(Copy2D, ReturnsWhatTheTransferReturns) {
  device::failCall(Entry::memcpy2D, 1, cudaErrorMemoryAllocation);
  EXPECT_EQ(copy(8, 12, 8, 3, false), cudaErrorMemoryAllocation);
  device::failCall(Entry::memcpy, 1, cudaErrorLaunchFailure);
  EXPECT_EQ(copy(8, 8, 8, 5, false), cudaErrorLaunchFailure);
  cudaGetLastError();
}

// Rows too far apart for a two-dimensional copy: most of the host range is never touched.
TEST_F(Copy2D, CopiesRowByRowBeyondThePitchLimit) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "needs more than 4 GiB of addresses";
  const std::size_t pitch = pitchLimit + 5, reserved = 2 * pitch + 4096;
  const std::unique_ptr<char, decltype(&std::free)> space(static_cast<char*>(std::calloc(reserved, 1)),
                                                          std::free);
  char* const rows = space.get();
  if (rows == nullptr) GTEST_SKIP() << "the system has no " << reserved << " bytes";
  for (std::size_t r = 0; r < 3; ++r) rows[r * pitch] = static_cast<char>('a' + r);
  std::vector<char> back(3);
  const auto send = [&] {
    return cudalib::copy2D(memory_.get(), 2, rows, pitch, 1, 3, cudaMemcpyHostToDevice, false, nullptr);
  };
  const auto calls = copiesOf([&] { EXPECT_EQ(send(), cudaSuccess); });
  ASSERT_EQ(calls.size(), 3U);
  for (const device::Call& call : calls) expectLinear(call, Entry::memcpy, 1);
  cudalib::check(
      cudalib::copy2D(back.data(), 1, memory_.get(), 2, 1, 3, cudaMemcpyDeviceToHost, false, nullptr));
  EXPECT_EQ(std::string(back.begin(), back.end()), "abc");

  device::failCall(Entry::memcpy, 2, cudaErrorInvalidValue);
  device::resetCounts();
  EXPECT_EQ(send(), cudaErrorInvalidValue);
  EXPECT_EQ(device::calls(Entry::memcpy), 2U);  // the third row is not tried
}

TEST(AllocatorCopies, RangesAreWholeColumnsThenHeadThenTail) {
  const ManagedMemory<float, CudaPitchAllocator<float>> memory(10, 6);
  CudaPitchAllocator<float>& allocator = memory.allocator();
  const auto pitch = static_cast<long long>(memory.leadingDimension() * sizeof(float));
  std::vector<float> host(60);
  auto calls = copiesOf([&] { allocator.copyRangeToDevice(memory.get(), host.data(), 10, 6, 1, 7, 25); });
  ASSERT_EQ(calls.size(), 3U);
  expectRectangle(calls[0], Entry::memcpy2D, pitch, 40, 40, 2);
  expectLinear(calls[1], Entry::memcpy, 12);
  expectLinear(calls[2], Entry::memcpy, 8);
  calls = copiesOf([&] { allocator.copyRangeFromDevice(host.data(), memory.get(), 10, 6, 1, 10, 20); });
  ASSERT_EQ(calls.size(), 1U);
  expectRectangle(calls[0], Entry::memcpy2D, 40, pitch, 40, 2);
  calls = copiesOf([&] { allocator.copyRangeFromDevice(host.data(), memory.get(), 10, 6, 1, 12, 5); });
  ASSERT_EQ(calls.size(), 1U);
  expectLinear(calls[0], Entry::memcpy, 20);
}

TEST(Streams, DeviceWithoutOverlapHasNone) {
  device::Machine machine = device::defaultMachine();
  machine.devices[0].overlapsCopies = false;
  device::configure(machine);
  device::setSchedule(device::Schedule::lazy);
  const ManagedMemory<float, cudalib::PageLockedAllocator<float>> host(4, 1);
  const ManagedMemory<float, cudalib::CudaAllocator<float>> memory(4, 1);
  const cudalib::Stream stream;
  EXPECT_EQ(stream.get(), nullptr);
  const auto calls = copiesOf([&] { cudalib::uploadAsync(host.get(), 4, memory.view(4, 1), stream.get()); });
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].stream, 0U);
  EXPECT_TRUE(stream.query());  // at once: there is no private stream to ask about
  stream.synchronize();
  EXPECT_EQ(device::pending(), 1U);
  for (const Entry entry : {Entry::streamCreate, Entry::streamQuery, Entry::streamSynchronize})
    EXPECT_EQ(device::calls(entry), 0U);
}

TEST(Streams, PendingWorkIsNoError) {
  device::setSchedule(device::Schedule::lazy);
  const ManagedMemory<float, cudalib::PageLockedAllocator<float>> host(4, 1);
  const ManagedMemory<float, cudalib::CudaAllocator<float>> memory(4, 1);
  {
    const cudalib::Stream stream;
    EXPECT_EQ(device::live().streams, 1U);
    EXPECT_TRUE(stream.query());
    cudalib::uploadAsync(host.get(), 4, memory.view(4, 1), stream.get());
    EXPECT_FALSE(stream.query());
    EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);
    stream.synchronize();
    EXPECT_TRUE(stream.query());
  }
  EXPECT_EQ(device::live().streams, 0U);
}

TEST(Streams, Failures) {
  device::failCall(Entry::streamCreate, 1, cudaErrorMemoryAllocation);
  EXPECT_THROW(cudalib::Stream(), cudalib::CudaMemoryException);
  device::failCall(Entry::streamCreate, 1, cudaErrorInvalidValue);
  EXPECT_THROW(cudalib::Stream(), cudalib::CudaRuntimeException);
  cudaGetLastError();
  {
    const cudalib::Stream stream;
    device::failCall(Entry::streamQuery, 1, cudaErrorLaunchFailure);
    EXPECT_THROW(stream.query(), cudalib::CudaRuntimeException);
    device::failCall(Entry::streamSynchronize, 1, cudaErrorLaunchFailure);
    EXPECT_THROW(stream.synchronize(), cudalib::CudaRuntimeException);
    cudaGetLastError();
    device::failCall(Entry::streamDestroy, 1, cudaErrorInvalidResourceHandle);
  }
  EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);  // nobody asks about a stream that goes
  EXPECT_EQ(device::live().streams, 0U);
}

}  // namespace
