#include "cudalib/allocators.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "cudalib/check.h"
#include "cudalib/copy2d.h"
#include "cudalib/device_table.h"
#include "cudalib/runtime_flags.h"

namespace cudalib {
namespace {

[[noreturn]] void outOfMemory() { throw CudaMemoryException(cudaGetErrorString(cudaErrorMemoryAllocation)); }

// Success without memory is none, unless nothing was asked for.
template <class T>
T* obtained(void* memory, std::size_t bytes) {
  if (memory == nullptr && bytes != 0) outOfMemory();
  return static_cast<T*>(memory);
}

template <class T>
T* allocateLinear(std::size_t bytes) {
  void* memory = nullptr;
  check(cudaMalloc(&memory, bytes));
  return obtained<T>(memory, bytes);
}

// How bytes travel: through the runtime in one direction, or by the processor.
struct RuntimeCopy {
  cudaMemcpyKind kind;
  cudaError_t linear(void* dst, const void* src, std::size_t bytes) const {
    return check(cudaMemcpy(dst, src, bytes, kind));
  }
  cudaError_t rectangle(void* dst, std::size_t dstPitch, const void* src, std::size_t srcPitch,
                        std::size_t width, std::size_t height) const {
    return check(copy2D(dst, dstPitch, src, srcPitch, width, height, kind, false, nullptr));
  }
};
struct HostCopy {
  cudaError_t linear(void* dst, const void* src, std::size_t bytes) const {
    if (bytes != 0) std::memmove(dst, src, bytes);
    return cudaSuccess;
  }
  cudaError_t rectangle(void* dst, std::size_t dstPitch, const void* src, std::size_t srcPitch,
                        std::size_t width, std::size_t height) const {
    for (std::size_t row = 0; row < height; ++row)
      linear(static_cast<char*>(dst) + row * dstPitch, static_cast<const char*>(src) + row * srcPitch, width);
    return cudaSuccess;
  }
};

// One side of a copy of several slabs, each a rectangle of pitched rows. Strides in bytes.
template <class Pointer>
struct Side {
  Pointer data;
  std::size_t pitch, slabStride;
};

// `count` matrices of `cols` columns, ld elements apart, one behind the other.
template <class Void, class T>
Side<Void*> side(T* data, std::size_t ld, std::size_t cols, std::size_t count) {
  checkedProduct({ld, sizeof(T), cols, count});
  return {data, ld * sizeof(T), ld * sizeof(T) * cols};
}

// `depth` slabs of `height` runs of `width` bytes.
template <class Copy>
cudaError_t copySlabs(const Copy& copy, Side<void*> dst, Side<const void*> src, std::size_t width,
                      std::size_t height, std::size_t depth) {
  const std::size_t slab = width * height;
  if (dst.pitch == width && src.pitch == width && dst.slabStride == slab && src.slabStride == slab)
    return copy.linear(dst.data, src.data, slab * depth);
  cudaError_t status = cudaSuccess;
  for (std::size_t z = 0; z < depth; ++z)
    status =
        copy.rectangle(static_cast<char*>(dst.data) + z * dst.slabStride, dst.pitch,
                       static_cast<const char*>(src.data) + z * src.slabStride, src.pitch, width, height);
  return status;
}

// The same with everything in elements. What there is but one of stands apart from nothing: then the pitch,
// or the stride, may be anything.
template <class T, class Copy>
cudaError_t copyElements2D(const Copy& copy, T* dst, std::size_t dstPitch, std::size_t dstSlabStride,
                           const T* src, std::size_t srcPitch, std::size_t srcSlabStride, std::size_t width,
                           std::size_t height, std::size_t depth) {
  const std::size_t run = width * sizeof(T);
  const auto pitch = [=](std::size_t apart) { return height > 1 ? checkedProduct({apart, sizeof(T)}) : run; };
  const auto stride = [=](std::size_t apart) {
    return depth > 1 ? checkedProduct({apart, sizeof(T)}) : run * height;
  };
  return copySlabs(copy, {dst, pitch(dstPitch), stride(dstSlabStride)},
                   {src, pitch(srcPitch), stride(srcSlabStride)}, run, height, depth);
}

// A piece of a range of consecutive elements of a column-major matrix: where it starts on the pitched device
// side and in the dense host array (elements), and its shape. No columns: one run.
struct Piece {
  std::size_t device, host, length, columns;

  template <class Copy, class T>
  cudaError_t copy(const Copy& how, T* dst, std::size_t dstLd, const T* src, std::size_t srcLd) const {
    const std::size_t run = length * sizeof(T);
    return columns == 0 ? how.linear(dst, src, run)
                        : how.rectangle(dst, dstLd * sizeof(T), src, srcLd * sizeof(T), run, columns);
  }
};

// Hands `copy` the pieces of the range of n elements from linear index `offset` on: all of it where columns
// touch, else the whole columns, then the run that finishes the column in which the range starts, then the
// run that starts the column in which it ends.
template <class Copy>
cudaError_t copyPieces(std::size_t rows, std::size_t ld, std::size_t offset, std::size_t n,
                       const Copy& copy) {
  if (ld == rows) return copy(Piece{offset, 0, n, 0});
  if (n == 0) return cudaSuccess;
  std::size_t head = std::min(n, rows - offset % rows);
  if (head == rows) head = 0;
  const std::size_t tail = (n - head) % rows;
  const std::size_t whole = n - head - tail;
  const auto device = [=](std::size_t index) {
    return (offset + index) / rows * ld + (offset + index) % rows;
  };

  cudaError_t status = cudaSuccess;
  if (whole != 0) status = copy(Piece{device(head), head, rows, whole / rows});
  if (head != 0) status = copy(Piece{device(0), 0, head, 0});
  if (tail != 0) status = copy(Piece{device(head + whole), head + whole, tail, 0});
  return status;
}

}  // namespace

std::size_t checkedProduct(std::initializer_list<std::size_t> factors) {
  std::size_t result = 1;
  for (const std::size_t factor : factors) {
    if (factor != 0 && result > std::numeric_limits<std::size_t>::max() / factor) outOfMemory();
    result *= factor;
  }
  return result;
}

struct CopiedByRuntime {
  static constexpr RuntimeCopy toDevice{cudaMemcpyHostToDevice}, fromDevice{cudaMemcpyDeviceToHost};
};
struct CopiedByProcessor {
  static constexpr HostCopy toDevice{}, fromDevice{};
};

// --- Copies.

template <class T, class Copies>
cudaError_t CopyingAllocator<T, Copies>::copyToDevice(T* device, const T* host, std::size_t rows,
                                                      std::size_t cols, std::size_t count) {
  return copySlabs(Copies::toDevice, side<void>(device, this->leadingDimension(rows), cols, count),
                   side<const void>(host, rows, cols, count), rows * sizeof(T), cols, count);
}
template <class T, class Copies>
cudaError_t CopyingAllocator<T, Copies>::copyFromDevice(T* host, const T* device, std::size_t rows,
                                                        std::size_t cols, std::size_t count) {
  return copySlabs(Copies::fromDevice, side<void>(host, rows, cols, count),
                   side<const void>(device, this->leadingDimension(rows), cols, count), rows * sizeof(T),
                   cols, count);
}

template <class T, class Copies>
cudaError_t CopyingAllocator<T, Copies>::copyRangeToDevice(T* device, const T* host, std::size_t rows,
                                                           std::size_t, std::size_t, std::size_t offset,
                                                           std::size_t n) {
  const std::size_t ld = this->leadingDimension(rows);
  return copyPieces(rows, ld, offset, n, [&](const Piece& piece) {
    return piece.copy(Copies::toDevice, device + piece.device, ld, host + piece.host, rows);
  });
}
template <class T, class Copies>
cudaError_t CopyingAllocator<T, Copies>::copyRangeFromDevice(T* host, const T* device, std::size_t rows,
                                                             std::size_t, std::size_t, std::size_t offset,
                                                             std::size_t n) {
  const std::size_t ld = this->leadingDimension(rows);
  return copyPieces(rows, ld, offset, n, [&](const Piece& piece) {
    return piece.copy(Copies::fromDevice, host + piece.host, rows, device + piece.device, ld);
  });
}

template <class T, class Copies>
cudaError_t CopyingAllocator<T, Copies>::copyToDevice2D(T* dst, std::size_t dstPitch,
                                                        std::size_t dstSlabStride, std::size_t, const T* src,
                                                        std::size_t srcPitch, std::size_t srcSlabStride,
                                                        std::size_t, std::size_t width, std::size_t height,
                                                        std::size_t depth) {
  return copyElements2D(Copies::toDevice, dst, dstPitch, dstSlabStride, src, srcPitch, srcSlabStride, width,
                        height, depth);
}
template <class T, class Copies>
cudaError_t CopyingAllocator<T, Copies>::copyFromDevice2D(
    T* dst, std::size_t dstPitch, std::size_t dstSlabStride, std::size_t, const T* src, std::size_t srcPitch,
    std::size_t srcSlabStride, std::size_t, std::size_t width, std::size_t height, std::size_t depth) {
  return copyElements2D(Copies::fromDevice, dst, dstPitch, dstSlabStride, src, srcPitch, srcSlabStride, width,
                        height, depth);
}

// --- Allocation: linear device memory, pitched device memory, page-locked host memory.

template <class T>
T* CudaAllocator<T>::allocate(std::size_t rows, std::size_t cols, std::size_t count) {
  return allocateLinear<T>(checkedProduct({rows, cols, count, sizeof(T)}));
}
template <class T>
cudaError_t CudaAllocator<T>::deallocate(T* device) {
  return cudaFree(device);
}

template <class T>
T* CudaPitchAllocator<T>::allocate(std::size_t rows, std::size_t cols, std::size_t count) {
  const std::size_t width = checkedProduct({rows, sizeof(T)});
  const std::size_t height = checkedProduct({cols, count});
  const std::size_t bytes = checkedProduct({width, height});
  void* memory = nullptr;
  check(cudaMallocPitch(&memory, &pitch_, width, height));
  return obtained<T>(memory, bytes);
}
template <class T>
cudaError_t CudaPitchAllocator<T>::deallocate(T* device) {
  return cudaFree(device);
}

template <class T>
T* PageLockedAllocator<T>::allocate(std::size_t rows, std::size_t cols, std::size_t count) {
  const std::size_t bytes = checkedProduct({rows, cols, count, sizeof(T)});
  void* memory = nullptr;
  check(cudaMallocHost(&memory, bytes));
  return obtained<T>(memory, bytes);
}
template <class T>
cudaError_t PageLockedAllocator<T>::deallocate(T* device) {
  return cudaFreeHost(device);
}

// --- The instances that exist.

#define TOVI_INSTANCES(T)                                \
  template class CopyingAllocator<T, CopiedByRuntime>;   \
  template class CopyingAllocator<T, CopiedByProcessor>; \
  template class CudaAllocator<T>;                       \
  template class CudaPitchAllocator<T>;                  \
  template class PageLockedAllocator<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)
template class CopyingAllocator<int, CopiedByRuntime>;
template class CopyingAllocator<unsigned int, CopiedByRuntime>;
template class CudaAllocator<int>;
template class CudaAllocator<unsigned int>;
template class CudaPitchAllocator<int>;

}  // namespace cudalib

namespace tovi {

template <class T>
std::size_t BlasAllocator<T>::plannedLeadingDimension(std::size_t rows) {
  // Leading dimensions are int in every interface below.
  constexpr std::size_t largest = std::numeric_limits<int>::max();
  if (rows > largest) cudalib::outOfMemory();
  const std::size_t ld =
      paddedLeadingDimension<T>(rows, cudalib::computeLevel(), cudalib::runtimeFlags().partitions);
  if (ld > largest) cudalib::outOfMemory();
  return ld;
}

template <class T>
T* BlasAllocator<T>::allocate(std::size_t rows, std::size_t cols, std::size_t count) {
  const std::size_t ld = plannedLeadingDimension(rows);
  this->setLeadingDimension(ld);
  return cudalib::allocateLinear<T>(cudalib::checkedProduct({ld, cols, count, sizeof(T)}));
}

#define TOVI_BLAS_INSTANCE(T) template class BlasAllocator<T>;
TOVI_FOR_EACH_TYPE(TOVI_BLAS_INSTANCE)
template class BlasAllocator<int>;

}  // namespace tovi
