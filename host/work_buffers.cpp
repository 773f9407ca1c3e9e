// In place of OpenBLAS's own table of buffers (--wrap), which tries for ever where the system gives it no
// memory, and which it takes from under threads that are computing when the process ends. Its products of
// small matrices take no work buffer, but some kernels call malloc, and do not look whether that had memory:
// then they have the buffer.

#include "host/work_buffers.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

#include "ground/per_process.h"

namespace host {

class WorkBuffers {
 public:
  // Mostly there are enough, and no lock is taken: what is leased is counted before it is held against what
  // is mapped, and freeIdle() does it the other way round.
  void reserve(std::size_t count) {
    if ((leased_ += count) <= mapped_) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    try {
      while (mapped_ < leased_) idle_.push_back(map());
    } catch (...) {
      leased_ -= count;
      throw;
    }
  }
  void release(std::size_t count) noexcept { leased_ -= count; }
  // Beyond what is leased, too, if the system has more.
  void* take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (idle_.empty()) return map();
    void* const buffer = idle_.back();
    idle_.pop_back();
    return buffer;
  }
  void giveBack(void* buffer) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    idle_.push_back(buffer);
  }
  // An idle one for so many bytes, or null.
  void* lend(std::size_t wanted) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (wanted > bytes || idle_.empty()) return nullptr;
    lent_.push_back(idle_.back());
    idle_.pop_back();
    lentCount_.store(lent_.size(), std::memory_order_relaxed);
    return lent_.back();
  }
  // False: it is not one that has been lent.
  bool takeBack(void* p) noexcept {
    if (lentCount_.load(std::memory_order_relaxed) == 0) return false;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = std::find(lent_.begin(), lent_.end(), p);
    if (found == lent_.end()) return false;
    idle_.push_back(p);
    lent_.erase(found);
    lentCount_.store(lent_.size(), std::memory_order_relaxed);
    return true;
  }
  void freeIdle() noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    while (!idle_.empty()) {
      if (--mapped_ < leased_) {
        ++mapped_;
        return;
      }
      munmap(idle_.back(), bytes);
      idle_.pop_back();
    }
  }

 private:
  static constexpr std::size_t bytes = TOVI_WORK_BUFFER_BYTES;  // as the archive was compiled

  void* map() {
    idle_.reserve(mapped_ + 1);
    lent_.reserve(mapped_ + 1);
    void* const buffer = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (buffer == MAP_FAILED) throw std::bad_alloc();
    ++mapped_;
    return buffer;
  }

  std::mutex mutex_;
  std::vector<void*> idle_, lent_;  // with room for all; of those idle the one used last is taken first
  std::atomic<std::size_t> lentCount_{0};
  std::atomic<std::size_t> mapped_{0}, leased_{0};
};

namespace {

tovi::PerProcess<WorkBuffers> theBuffers;

}  // namespace

void WorkBufferLease::extend(std::size_t threads) {
  WorkBuffers& buffers = theBuffers.get();
  const std::size_t before = buffers_ == &buffers ? threads_ : 0;
  if (threads <= before) return;
  buffers.reserve(threads - before);
  buffers_ = &buffers;
  threads_ = threads;
}

void WorkBufferLease::end() noexcept {
  if (buffers_ != nullptr && buffers_ == theBuffers.peek()) buffers_->release(threads_);
  buffers_ = nullptr;
  threads_ = 0;
}

void freeWorkBuffers() noexcept {
  if (theBuffers.peek() != nullptr) theBuffers.peek()->freeIdle();
}

}  // namespace host

extern "C" {

void* __wrap_blas_memory_alloc(int) {
  try {
    return host::theBuffers.get().take();
  } catch (const std::bad_alloc&) {
    std::fputs("tovi: no memory for the work buffer of a host BLAS routine\n", stderr);
    std::abort();
  }
}

void __wrap_blas_memory_free(void* buffer) { host::theBuffers.get().giveBack(buffer); }

void* tovi_openblas_malloc(std::size_t bytes) {
  void* const p = std::malloc(bytes);
  return p != nullptr ? p : host::theBuffers.get().lend(bytes);
}

void tovi_openblas_free(void* p) {
  if (!host::theBuffers.get().takeBack(p)) std::free(p);
}

}  // extern "C"
