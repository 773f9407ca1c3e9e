#include "device/software/src/arena.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <iterator>

#include "device/software/src/engine.h"
#include "device/software/src/os.h"
#include "device/software/src/sanitizer.h"

namespace software_device {

namespace {

constexpr int nanByte = 0xFF;  // all bytes set: a NaN in every floating-point type
constexpr unsigned char guardByte = 0xCB;
constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr std::size_t page = 2 * mebibyte;  // what commits are rounded to: the large page
constexpr std::size_t growth = 32 * mebibyte;

std::size_t roundUp(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) / unit * unit; }

// The allocations that a thread's latest questions were about. Allocations change seldom; any change, of any
// arena, makes this void.
struct Known {
  std::uint64_t changes = 0;
  const void* arena = nullptr;
  struct Range {
    std::uintptr_t begin, bytes;
  };
  std::array<Range, 6> ranges{};
  std::size_t next = 0;
};
thread_local Known known;
std::atomic<std::uint64_t> changes{1};

void noteChange() { changes.fetch_add(1, std::memory_order_release); }

}  // namespace

Arena::~Arena() {
  noteChange();
  free_.clear();
  blocks_.clear_and_dispose(std::default_delete<Block>());
  if (base_ == nullptr) return;
  unpoison(base_, touched_);
  os::release(base_, reserved_);
}

bool Arena::open() {
  if (base_ != nullptr) return true;
  std::unique_ptr<Block> whole = newBlock();
  if (whole == nullptr) return false;
  // Twice the capacity, so that what runs out first is memory and not an unbroken stretch of it. Where
  // addresses are scarce no more than half of those that are left.
  const std::size_t addresses = os::addressSpace();
  std::size_t bytes =
      capacity_ <= addresses / 32 ? 2 * capacity_ + growth : std::min(capacity_, addresses / 2) + page;
  for (bytes = roundUp(bytes, page); bytes >= page; bytes -= roundUp(bytes / 8, page)) {
    base_ = static_cast<char*>(os::reserve(bytes));
    if (base_ != nullptr) break;
  }
  if (base_ == nullptr) return false;
  whole->size = reserved_ = bytes;
  free_.insert(*whole);
  blocks_.insert(*whole.release());
  return true;
}

bool Arena::commit(Block& block, std::size_t size) {
  if (size <= block.backed) return true;
  const std::size_t bare = block.offset + block.backed, begin = bare / page * page;
  for (const std::size_t step : {growth, page}) {
    const std::size_t end = std::min(reserved_, begin + roundUp(block.offset + size - begin, step));
    if (!os::commit(base_ + begin, end - begin)) continue;
    block.backed = std::min(end, block.end()) - block.offset;
    poison(base_ + bare, block.offset + block.backed - bare);
    touched_ = std::max(touched_, block.offset + block.backed);
    return true;
  }
  return false;
}

void* Arena::allocate(std::size_t bytes) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (bytes > capacity_ || charged(bytes) > capacity_ - charged_ || !open()) return nullptr;
  const bool guarded = checking();
  const std::size_t size = charged(bytes) + (guarded ? alignment() : 0);
  const auto fit = free_.lower_bound({size, 0});
  if (fit == free_.end()) return nullptr;
  Block& block = *fit;
  std::unique_ptr<Block> rest;
  if (block.size > size && (rest = newBlock()) == nullptr) return nullptr;
  if (!commit(block, size)) return nullptr;

  free_.erase(fit);
  if (rest != nullptr) {
    rest->offset = block.offset + size;
    rest->size = block.size - size;
    rest->backed = block.backed - size;
    block.size = block.backed = size;
    free_.insert(*rest);
    blocks_.insert(*rest.release());
  }
  noteChange();
  block.requested = bytes;
  block.guarded = guarded;

  char* const p = base_ + block.offset;
  if (guarded) {
    rawFill(p, nanByte, bytes);
    rawFill(p + bytes, guardByte, size - bytes);
  }
  if (kind_ == Kind::pageLocked) unpoison(p, bytes);
  charged_ += charged(bytes);
  ++usage_.allocations;
  usage_.bytes += bytes;
  usage_.peakBytes = std::max(usage_.peakBytes, usage_.bytes);
  return p;
}

bool Arena::deallocate(void* p) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Block* const found = find(p);
  if (found == nullptr || base_ + found->offset != p) return false;
  verify(*found);
  const std::size_t bytes = found->requested;
  if (checking()) rawFill(p, nanByte, bytes);
  if (kind_ == Kind::pageLocked) poison(p, bytes);
  charged_ -= charged(bytes);
  --usage_.allocations;
  usage_.bytes -= bytes;

  // One free block of this one and its free neighbours.
  auto block = blocks_.find(found->offset);
  noteChange();
  block->requested = 0;
  free_.insert(*block);
  if (block != blocks_.begin() && std::prev(block)->free()) --block;
  free_.erase(free_.iterator_to(*block));
  for (auto next = std::next(block); next != blocks_.end() && next->free(); next = std::next(block)) {
    if (block->backed == block->size) block->backed += next->backed;
    block->size += next->size;
    free_.erase(free_.iterator_to(*next));
    blocks_.erase_and_dispose(next, std::default_delete<Block>());
  }
  free_.insert(*block);
  return true;
}

void Arena::giveBack() noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (Block& block : free_) {
    const std::size_t begin = roundUp(block.offset, page),
                      end = std::min(touched_, block.end()) / page * page;
    if (begin >= end) continue;
    os::decommit(base_ + begin, end - begin);
    block.backed = std::min(block.backed, begin - block.offset);
  }
}

const Arena::Block* Arena::find(const void* p) const {
  const auto address = reinterpret_cast<std::uintptr_t>(p), base = reinterpret_cast<std::uintptr_t>(base_);
  if (base_ == nullptr || address < base || address - base >= reserved_) return nullptr;
  const std::size_t offset = address - base;
  const Block& block = *std::prev(blocks_.upper_bound(offset));
  return offset - block.offset < block.requested ? &block : nullptr;
}

bool Arena::contains(const void* p, std::size_t bytes) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Block* const block = find(p);
  if (block == nullptr) return false;
  const auto offset = static_cast<std::size_t>(static_cast<const char*>(p) - base_) - block->offset;
  return bytes <= block->requested - offset;
}

bool Arena::holds(const void* p) const {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  const std::uint64_t now = changes.load(std::memory_order_acquire);
  if (known.changes != now || known.arena != this) {
    known = {};
    known.changes = now;
    known.arena = this;
  }
  for (const Known::Range& range : known.ranges)
    if (range.begin != 0 && address - range.begin <= range.bytes) return true;
  const std::lock_guard<std::mutex> lock(mutex_);
  const Block* block = find(p);
  if (block == nullptr) block = find(static_cast<const char*>(p) - 1);
  if (block == nullptr) return false;
  known.ranges[known.next] = {reinterpret_cast<std::uintptr_t>(base_ + block->offset), block->requested};
  known.next = (known.next + 1) % known.ranges.size();
  return true;
}

void Arena::verify(const Block& block) const {
  if (!block.guarded) return;
  const char* const guard = base_ + block.offset + block.requested;
  for (std::size_t done = 0; done < block.size - block.requested;) {
    unsigned char bytes[256];
    const std::size_t part = std::min(sizeof bytes, block.size - block.requested - done);
    rawCopy(bytes, guard + done, part);
    if (!std::all_of(bytes, bytes + part, [](unsigned char byte) { return byte == guardByte; }))
      die("something wrote behind an allocation", base_ + block.offset, block.requested);
    done += part;
  }
}

void Arena::verify() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const Block& block : blocks_)
    if (!block.free()) verify(block);
}

Arena::Usage Arena::usage() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return usage_;
}

void Arena::resetPeak() {
  const std::lock_guard<std::mutex> lock(mutex_);
  usage_.peakBytes = usage_.bytes;
}

std::size_t Arena::free() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return capacity_ - charged_;
}

}  // namespace software_device
