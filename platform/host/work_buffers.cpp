// In place of OpenBLAS's own table of buffers (--wrap), which tries for ever where the system gives it no
// memory, and which it takes from under threads that are computing when the process ends.

#include "platform/host/work_buffers.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

#include "platform/host/per_process.h"

namespace host {

class WorkBuffers {
 public:
  void reserve(std::size_t count) {
    const std::lock_guard<std::mutex> lock(mutex_);
    while (mapped_ < leased_ + count) idle_.push_back(map());
    leased_ += count;
  }
  void release(std::size_t count) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    leased_ -= count;
  }
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
  void freeIdle() noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (; !idle_.empty() && mapped_ > leased_; --mapped_) {
      munmap(idle_.back(), bytes);
      idle_.pop_back();
    }
  }

 private:
  static constexpr std::size_t bytes = TOVI_WORK_BUFFER_BYTES;  // as the archive was compiled

  void* map() {
    idle_.reserve(mapped_ + 1);
    void* const buffer = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (buffer == MAP_FAILED) throw std::bad_alloc();
    ++mapped_;
    return buffer;
  }

  std::mutex mutex_;
  std::vector<void*> idle_;  // with room for all: those used last are taken first
  std::size_t mapped_ = 0, leased_ = 0;
};

namespace {

platform::PerProcess<WorkBuffers> theBuffers;

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

}  // extern "C"
