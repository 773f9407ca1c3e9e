#include "cudalib/buffer_cache.h"

#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <list>
#include <map>
#include <tuple>

#include "cudalib/check.h"
#include "cudalib/device_table.h"
#include "platform/host/complex.h"
#include "platform/host/process.h"

namespace cudalib {
namespace {

// Buffers up to this size (bytes) serve any smaller need.
constexpr std::size_t smallBuffer = std::size_t{1} << 20;

// The buffers of one kind. Its users hold the lock.
template <class T, class Allocator>
class BufferCache {
 public:
  using Memory = ManagedMemory<T, Allocator>;
  struct Buffer {
    Memory memory;
    int device;  // that it was allocated on

    bool free() const { return memory.useCount() == 1; }
  };
  using Buffers = std::list<Buffer>;

  Buffers& of(std::uint32_t thread) { return buffers_[thread]; }

  // The smallest free buffer that fits, or null.
  static const Memory* fitting(const Buffers& buffers, int device, std::size_t bytes) {
    const Memory* best = nullptr;
    for (const Buffer& buffer : buffers) {
      const std::size_t capacity = buffer.memory.capacity();
      if (!buffer.free() || buffer.device != device || capacity < bytes) continue;
      if (capacity > smallBuffer && capacity / 2 > bytes) continue;
      if (best == nullptr || capacity < best->capacity()) best = &buffer.memory;
    }
    return best;
  }

  // Takes out the largest free buffer that is too small, if there is one.
  static Buffers replaced(Buffers& buffers, int device, std::size_t bytes) {
    auto largest = buffers.end();
    for (auto buffer = buffers.begin(); buffer != buffers.end(); ++buffer) {
      const std::size_t capacity = buffer->memory.capacity();
      if (!buffer->free() || buffer->device != device || capacity >= bytes) continue;
      if (largest == buffers.end() || capacity > largest->memory.capacity()) largest = buffer;
    }
    Buffers result;
    if (largest != buffers.end()) result.splice(result.end(), buffers, largest);
    return result;
  }

  // Takes out all free buffers of a thread.
  Buffers released(std::uint32_t thread) {
    Buffers result;
    const auto found = buffers_.find(thread);
    if (found == buffers_.end()) return result;
    Buffers& buffers = found->second;
    for (auto buffer = buffers.begin(); buffer != buffers.end();) {
      const auto next = std::next(buffer);
      if (buffer->free()) result.splice(result.end(), buffers, buffer);
      buffer = next;
    }
    if (buffers.empty()) buffers_.erase(found);
    return result;
  }

 private:
  std::map<std::uint32_t, Buffers> buffers_;  // by thread
};

template <class T>
using Padded = BufferCache<T, tovi::BlasAllocator<T>>;
template <class T>
using Linear = BufferCache<T, CudaAllocator<T>>;
template <class T>
using PageLocked = BufferCache<T, PageLockedAllocator<T>>;

using tovi::Complex;

struct Caches {
  boost::mutex mutex;  // of all kinds. Never held while memory is allocated or freed
  std::tuple<Padded<float>, Padded<double>, Padded<Complex<float>>, Padded<Complex<double>>, Padded<int>,
             Linear<float>, Linear<double>, Linear<Complex<float>>, Linear<Complex<double>>, Linear<int>,
             PageLocked<float>, PageLocked<Complex<float>>>
      kinds;
};

// Never destroyed: a thread may end, and release its buffers, while the process does.
Caches& caches() {
  static Caches& instance = *new Caches;
  return instance;
}

// The calling thread's number, asked of the operating system once: that would cost more than all the rest.
std::uint32_t thisThread() {
  static thread_local const std::uint32_t number = platform::currentThreadId();
  return number;
}

thread_local bool threadEnds = false;

// Frees what a thread leaves behind. There is nobody to tell of a failure.
struct AtThreadEnd {
  ~AtThreadEnd() {
    threadEnds = true;
    try {
      if (!platform::onlyThreadLeft()) releaseThreadBuffers();
    } catch (...) {
    }
  }
};

// Whether buffers of the calling thread are kept. They no longer are when its thread-local objects are being
// destroyed: what one of those had allocated then, nobody would free.
bool keepsBuffers() {
  if (threadEnds) return false;
  static thread_local const AtThreadEnd atThreadEnd;
  static_cast<void>(&atThreadEnd);
  return true;
}

template <class T, class Allocator>
ManagedMemory<T, Allocator> allocate(std::size_t rows, std::size_t cols, std::size_t count) {
  using Memory = ManagedMemory<T, Allocator>;
  // What was pending before is not ours to take back.
  const bool failedBefore = cudaPeekAtLastError() != cudaSuccess;
  try {
    return Memory(rows, cols, count);
  } catch (const CudaMemoryException&) {
    if (failedBefore || releaseThreadBuffers() == 0) throw;
  }
  for (const cudaError_t error : {cudaErrorMemoryAllocation, cudaErrorMemoryValueTooLarge})
    ignoreFailure(error);
  return Memory(rows, cols, count);
}

}  // namespace

template <class T, class Allocator>
ManagedMemory<T, Allocator> CachedMemory<T, Allocator>::take(std::size_t rows, std::size_t cols,
                                                             std::size_t count) {
  using Cache = BufferCache<T, Allocator>;
  if (rows == 0 || cols == 0 || count == 0 || !keepsBuffers())
    return ManagedMemory<T, Allocator>(rows, cols, count);
  const std::size_t ld = Allocator::plannedLeadingDimension(rows);
  const std::size_t bytes = checkedProduct({ld, cols, count, sizeof(T)});
  const int device = currentDevice().ordinal;
  const std::uint32_t thread = thisThread();
  Caches& all = caches();
  Cache& cache = std::get<Cache>(all.kinds);
  {
    typename Cache::Buffers replaced;  // freed when the lock has been given back
    const boost::mutex::scoped_lock lock(all.mutex);
    typename Cache::Buffers& buffers = cache.of(thread);
    if (const auto* const found = Cache::fitting(buffers, device, bytes)) return found->relaid(ld);
    replaced = Cache::replaced(buffers, device, bytes);
  }
  ManagedMemory<T, Allocator> memory = allocate<T, Allocator>(rows, cols, count);
  const boost::mutex::scoped_lock lock(all.mutex);
  cache.of(thread).push_back({memory, device});
  return memory;
}

std::size_t releaseThreadBuffers() {
  Caches& all = caches();
  const std::uint32_t thread = thisThread();
  const auto release = [&](auto& cache) {
    boost::mutex::scoped_lock lock(all.mutex);
    const auto released = cache.released(thread);
    lock.unlock();  // frees wait for the device: nobody else has to
    return released.size();
  };
  return std::apply([&](auto&... cache) { return (release(cache) + ...); }, all.kinds);
}

template class CachedMemory<float, tovi::BlasAllocator<float>>;
template class CachedMemory<double, tovi::BlasAllocator<double>>;
template class CachedMemory<Complex<float>, tovi::BlasAllocator<Complex<float>>>;
template class CachedMemory<Complex<double>, tovi::BlasAllocator<Complex<double>>>;
template class CachedMemory<int, tovi::BlasAllocator<int>>;
template class CachedMemory<float, CudaAllocator<float>>;
template class CachedMemory<double, CudaAllocator<double>>;
template class CachedMemory<Complex<float>, CudaAllocator<Complex<float>>>;
template class CachedMemory<Complex<double>, CudaAllocator<Complex<double>>>;
template class CachedMemory<int, CudaAllocator<int>>;
template class CachedMemory<float, PageLockedAllocator<float>>;
template class CachedMemory<Complex<float>, PageLockedAllocator<Complex<float>>>;

}  // namespace cudalib
