// Allocators: how a column-major matrix of rows x cols x count elements of T is had, freed and copied. An
// allocator object lives beside the memory that it allocated (cudalib/managed_memory.h) and knows its leading
// dimension.

#ifndef TOVI_CUDALIB_ALLOCATORS_H
#define TOVI_CUDALIB_ALLOCATORS_H

#include <device/runtime.h>

#include <cstddef>
#include <initializer_list>

#include "cudalib/padding.h"

namespace cudalib {

// Of sizes. A product that does not fit into std::size_t is memory that cannot be had: CudaMemoryException.
std::size_t checkedProduct(std::initializer_list<std::size_t> factors);

// Counts, offsets and the strides of the 2D copies are in elements. "Device" is where the allocator
// allocates. Copies and allocations that fail throw; none returns a null pointer for memory that was asked
// for.
template <class T>
class ManagedMemoryAllocatorInterface {
 public:
  virtual T* allocate(std::size_t rows, std::size_t cols, std::size_t count) = 0;
  // Returns the status of the free, which is never checked: memory is freed by destructors.
  virtual cudaError_t deallocate(T* device) = 0;

  // Between a dense host array (leading dimension rows) and the whole allocation.
  virtual cudaError_t copyToDevice(T* device, const T* host, std::size_t rows, std::size_t cols,
                                   std::size_t count) = 0;
  // n consecutive elements of the column-major matrix from linear index `offset` on. `host` points at the
  // first of them: the offset applies to the device side only.
  virtual cudaError_t copyRangeToDevice(T* device, const T* host, std::size_t rows, std::size_t cols,
                                        std::size_t count, std::size_t offset, std::size_t n) = 0;
  // `depth` matrices of width x height elements, with a pitch and a slab stride on either side, which matter
  // only where there is more than one run, or slab. The unnamed arguments are ignored.
  virtual cudaError_t copyToDevice2D(T* dst, std::size_t dstPitch, std::size_t dstSlabStride, std::size_t,
                                     const T* src, std::size_t srcPitch, std::size_t srcSlabStride,
                                     std::size_t, std::size_t width, std::size_t height,
                                     std::size_t depth) = 0;
  virtual cudaError_t copyFromDevice(T* host, const T* device, std::size_t rows, std::size_t cols,
                                     std::size_t count) = 0;
  virtual cudaError_t copyRangeFromDevice(T* host, const T* device, std::size_t rows, std::size_t cols,
                                          std::size_t count, std::size_t offset, std::size_t n) = 0;
  virtual cudaError_t copyFromDevice2D(T* dst, std::size_t dstPitch, std::size_t dstSlabStride, std::size_t,
                                       const T* src, std::size_t srcPitch, std::size_t srcSlabStride,
                                       std::size_t, std::size_t width, std::size_t height,
                                       std::size_t depth) = 0;

  // What BLAS calls and kernels take for a matrix of `rows` rows in this allocation.
  virtual std::size_t leadingDimension(std::size_t rows) const = 0;
  virtual void setLeadingDimension(std::size_t ld) = 0;

 protected:
  ~ManagedMemoryAllocatorInterface() = default;
};

// Who copies: the runtime, between host and device, or the processor, between page-locked memory and other
// host memory.
struct CopiedByRuntime;
struct CopiedByProcessor;

// The copies of all allocators: columns are leadingDimension() apart on the device side.
template <class T, class Copies>
class CopyingAllocator : public ManagedMemoryAllocatorInterface<T> {
 public:
  cudaError_t copyToDevice(T* device, const T* host, std::size_t rows, std::size_t cols,
                           std::size_t count) override;
  cudaError_t copyRangeToDevice(T* device, const T* host, std::size_t rows, std::size_t cols,
                                std::size_t count, std::size_t offset, std::size_t n) override;
  cudaError_t copyToDevice2D(T* dst, std::size_t dstPitch, std::size_t dstSlabStride, std::size_t,
                             const T* src, std::size_t srcPitch, std::size_t srcSlabStride, std::size_t,
                             std::size_t width, std::size_t height, std::size_t depth) override;
  cudaError_t copyFromDevice(T* host, const T* device, std::size_t rows, std::size_t cols,
                             std::size_t count) override;
  cudaError_t copyRangeFromDevice(T* host, const T* device, std::size_t rows, std::size_t cols,
                                  std::size_t count, std::size_t offset, std::size_t n) override;
  cudaError_t copyFromDevice2D(T* dst, std::size_t dstPitch, std::size_t dstSlabStride, std::size_t,
                               const T* src, std::size_t srcPitch, std::size_t srcSlabStride, std::size_t,
                               std::size_t width, std::size_t height, std::size_t depth) override;

 protected:
  ~CopyingAllocator() = default;
};

// Linear device memory, leading dimension = rows.
template <class T>
class CudaAllocator : public CopyingAllocator<T, CopiedByRuntime> {
 public:
  T* allocate(std::size_t rows, std::size_t cols, std::size_t count) override;
  cudaError_t deallocate(T* device) override;
  // The leading dimension that a matrix of `rows` rows is going to have.
  static std::size_t plannedLeadingDimension(std::size_t rows) { return rows; }
  std::size_t leadingDimension(std::size_t rows) const override { return rows; }
  void setLeadingDimension(std::size_t) override {}
};

// Device memory with the runtime's own pitch.
template <class T>
class CudaPitchAllocator : public CopyingAllocator<T, CopiedByRuntime> {
 public:
  T* allocate(std::size_t rows, std::size_t cols, std::size_t count) override;
  cudaError_t deallocate(T* device) override;
  std::size_t leadingDimension(std::size_t) const override { return pitch_ / sizeof(T); }
  void setLeadingDimension(std::size_t ld) override { pitch_ = ld * sizeof(T); }

 private:
  std::size_t pitch_ = 0;  // bytes
};

// Page-locked host memory, leading dimension = rows; its copies are host copies that may overlap.
template <class T>
class PageLockedAllocator : public CopyingAllocator<T, CopiedByProcessor> {
 public:
  T* allocate(std::size_t rows, std::size_t cols, std::size_t count) override;
  cudaError_t deallocate(T* device) override;
  // The leading dimension that a matrix of `rows` rows is going to have.
  static std::size_t plannedLeadingDimension(std::size_t rows) { return rows; }
  std::size_t leadingDimension(std::size_t rows) const override { return rows; }
  void setLeadingDimension(std::size_t) override {}
};

}  // namespace cudalib

namespace tovi {

// Linear device memory with the leading dimension of cudalib/padding.h, for the operands of the device BLAS.
template <class T>
class BlasAllocator : public cudalib::CudaPitchAllocator<T> {
 public:
  static std::size_t plannedLeadingDimension(std::size_t rows);
  T* allocate(std::size_t rows, std::size_t cols, std::size_t count) override;
};

}  // namespace tovi

#endif
