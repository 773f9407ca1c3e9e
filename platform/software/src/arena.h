// Memory of one kind: a device's, or page-locked host memory. Address space is reserved once and gets memory
// behind it as it is needed; freed memory stays warm for the next allocation.

#ifndef TOVI_SOFTWARE_ARENA_H
#define TOVI_SOFTWARE_ARENA_H

#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace software_device {

class Arena {
 public:
  enum class Kind { device, pageLocked };
  struct Usage {
    std::size_t allocations = 0, bytes = 0, peakBytes = 0;  // bytes as they were asked for
  };

  // capacity: bytes that may be allocated at a time, each allocation rounded up to its alignment.
  Arena(Kind kind, std::size_t capacity) : kind_(kind), capacity_(capacity) {}
  ~Arena();
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Null when there is not enough. bytes is not zero.
  void* allocate(std::size_t bytes);
  // False when p is not the start of a live allocation.
  bool deallocate(void* p);
  // Whether all of these bytes lie inside one live allocation; with bytes = 0, whether p lies in one.
  bool contains(const void* p, std::size_t bytes) const;
  // Aborts when something was written between the allocations made while checking was on.
  void verify() const;
  Usage usage() const;
  void resetPeak();
  std::size_t free() const;
  std::size_t capacity() const { return capacity_; }

 private:
  struct Block {
    std::size_t size;       // with the guard behind it, a multiple of the alignment
    std::size_t requested;  // 0: free
    bool guarded;
  };
  using Blocks = std::map<std::size_t, Block>;  // by offset

  std::size_t alignment() const { return kind_ == Kind::device ? 256 : 4096; }
  std::size_t charged(std::size_t bytes) const {
    return (bytes + alignment() - 1) / alignment() * alignment();
  }
  bool open();
  bool commitUpTo(std::size_t end);
  void addFree(std::size_t offset, std::size_t size);
  void verify(Blocks::const_iterator block) const;
  Blocks::const_iterator find(const void* p) const;  // the block that p lies in, or end

  const Kind kind_;
  const std::size_t capacity_;
  mutable std::mutex mutex_;
  char* base_ = nullptr;
  std::size_t reserved_ = 0, committed_ = 0, charged_ = 0;
  Usage usage_;
  Blocks blocks_;  // adjoin each other and cover the reservation
  std::set<std::pair<std::size_t, std::size_t>>
      freeBySize_;  // (size, offset): the best fit, lowest address first
};

}  // namespace software_device

#endif
