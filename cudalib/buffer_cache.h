// Work buffers that outlive the call they were allocated for. A thread's next call, or the next step of this
// one, takes them again: once warm, a call allocates nothing.
//
// Fourteen kinds are kept: padded matrices and linear device memory of float, double, Complex<float>,
// Complex<double> and int, page-locked memory of all of these but int. Each thread has its own buffers; a
// buffer is free when the cache holds its only handle.
//
//   A need is met by the smallest free buffer of its kind that fits: one on the current device that is large
//   enough and, beyond a mebibyte, not more than twice as large as the need, so that a small need never
//   holds what a large one lacks. Padded matrices are laid out anew, by the rule of padding.h.
//   Where none fits, the largest free buffer that is too small is freed and a new one allocated.
//   Where memory runs short, the thread's free buffers of all kinds are freed and the allocation tried once
//   more, and after that those of all threads.
//
// A buffer keeps what its last user left in it. Device memory may be given back while work on it is queued on
// the default stream: drivers end with their private streams at rest, and begin what they issue there after
// the default stream's work so far. Page-locked memory must be at rest, which the drivers see to; after a
// failure the frame waits for the device.

#ifndef TOVI_CUDALIB_BUFFER_CACHE_H
#define TOVI_CUDALIB_BUFFER_CACHE_H

#include <cstddef>

#include "cudalib/allocators.h"
#include "cudalib/check.h"
#include "cudalib/managed_memory.h"

namespace cudalib {

// Frees the calling thread's free buffers, those of the other threads stay; returns how many there were. A
// thread that ends frees its buffers by itself.
std::size_t releaseThreadBuffers();
// The same of all threads, when the device is at rest.
std::size_t releaseAllBuffers();

// make(), which asks the device for memory, and again when it has failed as long as there are free buffers.
template <class Make>
auto withBuffersFreed(const Make& make) {
  // What was pending before is not ours to take back.
  const bool failedBefore = cudaPeekAtLastError() != cudaSuccess;
  while (true) {
    try {
      return make();
    } catch (const CudaMemoryException&) {
      if (failedBefore || (releaseThreadBuffers() == 0 && releaseAllBuffers() == 0)) throw;
    }
    for (const cudaError_t error : {cudaErrorMemoryAllocation, cudaErrorMemoryValueTooLarge})
      ignoreFailure(error);
  }
}

// A handle whose memory is taken from, and goes back to, the buffers of the thread that makes it. Goes with
// that thread: handles are neither handed to other threads nor kept from call to call.
template <class T, class Allocator>
class CachedMemory : public ManagedMemory<T, Allocator> {
 public:
  CachedMemory() = default;
  // `count` matrices of rows x cols elements, one behind the other. No elements: no memory.
  CachedMemory(std::size_t rows, std::size_t cols, std::size_t count = 1)
      : ManagedMemory<T, Allocator>(take(rows, cols, count)) {}

  // Memory that goes when its handles do.
  static ManagedMemory<T, Allocator> notKept(std::size_t rows, std::size_t cols, std::size_t count = 1) {
    return withBuffersFreed([=] { return ManagedMemory<T, Allocator>(rows, cols, count); });
  }

 private:
  static ManagedMemory<T, Allocator> take(std::size_t rows, std::size_t cols, std::size_t count);
};

template <class T>
using PaddedMemory = CachedMemory<T, tovi::BlasAllocator<T>>;
template <class T>
using LinearMemory = CachedMemory<T, CudaAllocator<T>>;
template <class T>
using PageLockedMemory = CachedMemory<T, PageLockedAllocator<T>>;

}  // namespace cudalib

#endif
