// Allocation: padding on devices of every level, failures, and that nothing is left.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "cudalib/check.h"
#include "cudalib/managed_memory.h"
#include "cudalib/runtime_flags.h"
#include "device/software/testing/software_device.h"

namespace {

namespace device = software_device;
using device::Entry;
using tovi::BlasAllocator;
using tovi::Complex;

// Two devices of the given levels.
void useLevels(int first, int second) {
  device::Machine machine = device::defaultMachine();
  machine.devices.resize(1);
  machine.devices.push_back(machine.devices[0]);
  machine.devices[0].major = first / 10;
  machine.devices[0].minor = first % 10;
  machine.devices[1].major = second / 10;
  machine.devices[1].minor = second % 10;
  device::configure(machine);
}

template <class T>
std::size_t paddedRows(std::size_t rows) {
  return cudalib::ManagedMemory<T, BlasAllocator<T>>(rows, 2).leadingDimension();
}

TEST(BlasAllocator, PadsByTheCurrentDeviceAndTheRecordedPartitions) {
  useLevels(20, 12);
  cudalib::setRuntimeFlags(0, 20);
  EXPECT_EQ(paddedRows<float>(480), 480U);
  EXPECT_EQ(paddedRows<float>(500), 576U);
  EXPECT_EQ(paddedRows<Complex<double>>(128), 160U);
  EXPECT_EQ(paddedRows<double>(192), 192U);
  const cudalib::ManagedMemory<float, BlasAllocator<float>> memory(500, 3, 2);  // whole padded columns
  EXPECT_EQ(device::live().deviceBytes, 576U * 3 * 2 * 4);
  cudalib::setRuntimeFlags(0, 12);  // initialized on a device of six partitions
  EXPECT_EQ(paddedRows<double>(192), 256U);
  EXPECT_EQ(paddedRows<int>(384), 480U);
}

TEST(BlasAllocator, AsksForTheCurrentDeviceAtEveryAllocation) {
  useLevels(20, 13);
  cudalib::setRuntimeFlags(0, 20);
  ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
  EXPECT_EQ(paddedRows<float>(1000), 1056U);
  EXPECT_EQ(paddedRows<double>(1), 48U);
}

template <class Work>
void expectRuntimeError(int code, Work&& work) {
  try {
    work();
    ADD_FAILURE() << "no exception";
  } catch (const cudalib::CudaRuntimeException& e) {
    EXPECT_EQ(e.error(), code);
  }
}

template <class Allocator>
void failingAllocations(Entry entry) {
  Allocator allocator;
  for (const cudaError_t code : {cudaErrorMemoryAllocation, cudaErrorMemoryValueTooLarge}) {
    device::failCall(entry, 1, code);
    try {
      allocator.allocate(4, 4, 1);
      ADD_FAILURE() << "no exception";
    } catch (const cudalib::CudaMemoryException& e) {
      EXPECT_STREQ(e.what(), cudaGetErrorString(code));
    }
  }
  device::failCall(entry, 1, cudaErrorInvalidValue);
  expectRuntimeError(cudaErrorInvalidValue, [&] { allocator.allocate(4, 4, 1); });
  cudaGetLastError();
}

TEST(Allocators, FailingAllocations) {
  failingAllocations<cudalib::CudaAllocator<int>>(Entry::malloc);
  failingAllocations<BlasAllocator<float>>(Entry::malloc);
  failingAllocations<cudalib::CudaPitchAllocator<double>>(Entry::mallocPitch);
  failingAllocations<cudalib::PageLockedAllocator<float>>(Entry::mallocHost);
  EXPECT_EQ(device::live().allocations, 0U);
}

TEST(Allocators, EverySlabIsChecked) {
  const cudalib::ManagedMemory<float, cudalib::CudaPitchAllocator<float>> memory(3, 2, 3);
  const float host[18] = {};
  device::failCall(Entry::memcpy2D, 2, cudaErrorLaunchFailure);
  device::resetCounts();
  expectRuntimeError(cudaErrorLaunchFailure,
                     [&] { memory.allocator().copyToDevice(memory.get(), host, 3, 2, 3); });
  EXPECT_EQ(device::calls(Entry::memcpy2D), 2U);
}

TEST(Allocators, FailingFreesAreReportedOnly) {
  cudalib::CudaAllocator<float> allocator;
  float* memory = allocator.allocate(4, 4, 1);
  device::failCall(Entry::free, 1, cudaErrorInvalidDevicePointer);
  EXPECT_EQ(allocator.deallocate(memory), cudaErrorInvalidDevicePointer);
  cudaGetLastError();

  device::failCall(Entry::free, 1, cudaErrorInvalidDevicePointer);
  { const cudalib::ManagedMemory<float, BlasAllocator<float>> owned(4, 4); }
  EXPECT_EQ(device::failuresInjected(), 1U);
  EXPECT_EQ(cudaPeekAtLastError(), cudaSuccess);
  EXPECT_EQ(device::live().allocations, 0U);
}

TEST(ManagedMemory, TheLastHandleFrees) {
  using Handle = cudalib::ManagedMemory<float, cudalib::CudaAllocator<float>>;
  {
    Handle first(10, 10);
    const Handle second = first;
    EXPECT_EQ(device::live().allocations, 1U);
    first = Handle();
    EXPECT_EQ(device::live().allocations, 1U);
    EXPECT_EQ(device::calls(Entry::free), 0U);
  }
  EXPECT_EQ(device::live().allocations, 0U);
  const Handle empty(10, 0);
  EXPECT_EQ(device::calls(Entry::malloc), 1U);

  struct Owner {
    cudalib::ManagedMemory<float, cudalib::PageLockedAllocator<float>> host{10, 1};
    Handle device{10, 1};
  };
  device::failCall(Entry::malloc, 1, cudaErrorMemoryAllocation);
  EXPECT_THROW(Owner(), cudalib::CudaMemoryException);
  EXPECT_EQ(device::live().pageLockedBlocks, 0U);
}

}  // namespace
