#include "cudalib/buffer_cache.h"

#include <boost/thread/mutex.hpp>
#include <list>
#include <map>
#include <tuple>

#include "cudalib/device_scope.h"
#include "cudalib/device_table.h"
#include "ground/complex.h"
#include "ground/per_process.h"
#include "host/process.h"

namespace cudalib {
namespace {

// Buffers up to this size (bytes) serve any smaller need.
constexpr std::size_t smallBuffer = std::size_t{1} << 20;

// A thread, as long as it lives, by an address of its own.
using Thread = const void*;

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

  Buffers& of(Thread thread) { return buffers_[thread]; }

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

  // Takes out all free buffers of a thread, or (null) of all threads.
  Buffers released(Thread thread) {
    Buffers result;
    const auto first = thread == nullptr ? buffers_.begin() : buffers_.find(thread);
    const auto last = thread == nullptr || first == buffers_.end() ? buffers_.end() : std::next(first);
    for (auto found = first; found != last;) {
      Buffers& buffers = found->second;
      for (auto buffer = buffers.begin(); buffer != buffers.end();) {
        const auto next = std::next(buffer);
        if (buffer->free()) result.splice(result.end(), buffers, buffer);
        buffer = next;
      }
      found = buffers.empty() ? buffers_.erase(found) : std::next(found);
    }
    return result;
  }

 private:
  std::map<Thread, Buffers> buffers_;
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
             PageLocked<float>, PageLocked<double>, PageLocked<Complex<float>>, PageLocked<Complex<double>>>
      kinds;
};

tovi::PerProcess<Caches> theCaches;

Thread thisThread() {
  static thread_local const char here = 0;
  return &here;
}

thread_local bool threadEnds = false;

// Frees what a thread leaves behind.
void endThread() {
  threadEnds = true;
  if (!host::onlyThreadLeft()) releaseThreadBuffers();
}
host::AtThreadEnd atThreadEnd(endThread);

// Whether buffers of the calling thread are kept: not where nobody would free them.
bool keepsBuffers() { return !threadEnds && atThreadEnd.ask(); }

std::size_t release(Thread thread) {
  Caches* const all = theCaches.peek();
  if (all == nullptr) return 0;
  const auto releaseKind = [&](auto& cache) {
    DeviceScope device;
    boost::mutex::scoped_lock lock(all->mutex);
    const auto released = cache.released(thread);
    lock.unlock();  // frees wait for the device: nobody else has to
    if (released.empty()) return released.size();
    // All are of the executing device, which need not be the current one of a thread that ends.
    device.tryEnter(released.front().device);
    // A call of another thread that has failed may have left copies under way to its page-locked memory.
    if (thread == nullptr) ignoreFailure(cudaThreadSynchronize());
    return released.size();
  };
  return std::apply([&](auto&... cache) { return (releaseKind(cache) + ...); }, all->kinds);
}

}  // namespace

template <class T, class Allocator>
ManagedMemory<T, Allocator> CachedMemory<T, Allocator>::take(std::size_t rows, std::size_t cols,
                                                             std::size_t count) {
  using Cache = BufferCache<T, Allocator>;
  if (rows == 0 || cols == 0 || count == 0 || !keepsBuffers()) return notKept(rows, cols, count);
  const std::size_t ld = Allocator::plannedLeadingDimension(rows);
  const std::size_t bytes = checkedProduct({ld, cols, count, sizeof(T)});
  const int device = currentDevice().ordinal;
  const Thread thread = thisThread();
  Caches& all = theCaches.get();
  Cache& cache = std::get<Cache>(all.kinds);
  {
    typename Cache::Buffers replaced;  // freed when the lock has been given back
    const boost::mutex::scoped_lock lock(all.mutex);
    typename Cache::Buffers& buffers = cache.of(thread);
    if (const auto* const found = Cache::fitting(buffers, device, bytes)) return found->relaid(ld);
    replaced = Cache::replaced(buffers, device, bytes);
  }
  ManagedMemory<T, Allocator> memory = notKept(rows, cols, count);
  const boost::mutex::scoped_lock lock(all.mutex);
  cache.of(thread).push_back({memory, device});
  return memory;
}

std::size_t releaseThreadBuffers() { return release(thisThread()); }
std::size_t releaseAllBuffers() { return release(nullptr); }

// NOLINTBEGIN(bugprone-macro-parentheses): T is a type
#define TOVI_INSTANCES(T)                                 \
  template class CachedMemory<T, tovi::BlasAllocator<T>>; \
  template class CachedMemory<T, CudaAllocator<T>>;       \
  template class CachedMemory<T, PageLockedAllocator<T>>;
// NOLINTEND(bugprone-macro-parentheses)
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)
template class CachedMemory<int, tovi::BlasAllocator<int>>;
template class CachedMemory<int, CudaAllocator<int>>;

}  // namespace cudalib
