// Memory of one kind: a device's, or page-locked host memory. Address space is reserved once and gets memory
// behind it as it is needed; freed memory stays warm for the next allocation until it is given back.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_ARENA_H
#define TOVI_DEVICE_SOFTWARE_SRC_ARENA_H

#include <boost/intrusive/set.hpp>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
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

  // Null when there is not enough, of the host's own memory either. bytes is not zero.
  void* allocate(std::size_t bytes) noexcept;
  // False when p is not the start of a live allocation.
  bool deallocate(void* p) noexcept;
  // Gives the memory behind all that is free back to the system.
  void giveBack() noexcept;
  // Whether all of these bytes lie inside one live allocation; with bytes = 0, whether p lies in one.
  bool contains(const void* p, std::size_t bytes) const;
  // Whether p lies in a live allocation, or where one ends. Of what was last found it is known without a
  // lock.
  bool holds(const void* p) const;
  // Aborts when something was written between the allocations made while checking was on.
  void verify() const;
  Usage usage() const;
  void resetPeak();
  std::size_t free() const;
  std::size_t capacity() const { return capacity_; }

 private:
  struct ByOffset;
  struct BySize;
  template <class Order>
  using Hook = boost::intrusive::set_base_hook<boost::intrusive::tag<Order>>;
  // A part of the reservation; the parts adjoin each other and cover it.
  struct Block : Hook<ByOffset>, Hook<BySize> {
    std::size_t offset = 0;
    std::size_t size = 0;       // with the guard behind it, a multiple of the alignment
    std::size_t backed = 0;     // so much from its start on has memory behind it
    std::size_t requested = 0;  // 0: free
    bool guarded = false;

    bool free() const { return requested == 0; }
    std::size_t end() const { return offset + size; }
  };
  struct ByOffset {
    using type = std::size_t;
    type operator()(const Block& block) const { return block.offset; }
  };
  struct BySize {
    using type = std::pair<std::size_t, std::size_t>;
    type operator()(const Block& block) const { return {block.size, block.offset}; }
  };
  template <class Order>
  using Blocks = boost::intrusive::set<Block, boost::intrusive::base_hook<Hook<Order>>,
                                       boost::intrusive::key_of_value<Order>>;

  std::size_t alignment() const { return kind_ == Kind::device ? 256 : 4096; }
  std::size_t charged(std::size_t bytes) const {
    return (bytes + alignment() - 1) / alignment() * alignment();
  }
  static std::unique_ptr<Block> newBlock() { return std::unique_ptr<Block>(new (std::nothrow) Block); }
  bool open();
  // Puts memory behind the first `size` bytes of a free block.
  bool commit(Block& block, std::size_t size);
  void verify(const Block& block) const;
  const Block* find(const void* p) const;  // the live block that p lies in, or null

  const Kind kind_;
  const std::size_t capacity_;
  mutable std::mutex mutex_;
  char* base_ = nullptr;
  std::size_t reserved_ = 0, charged_ = 0;
  std::size_t touched_ = 0;  // nothing has ever had memory beyond
  Usage usage_;
  Blocks<ByOffset> blocks_;
  Blocks<BySize> free_;  // the best fit, lowest address first
};

}  // namespace software_device

#endif
