#include "platform/software/src/arena.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "platform/software/src/engine.h"
#include "platform/software/src/os.h"
#include "platform/software/src/sanitizer.h"

namespace software_device {

namespace {

constexpr int nanByte = 0xFF;  // all bytes set: a NaN in every floating-point type
constexpr unsigned char guardByte = 0xCB;
constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr std::size_t page = 2 * mebibyte;  // what commits are rounded to: the large page
constexpr std::size_t growth = 32 * mebibyte;

std::size_t roundUp(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) / unit * unit; }

}  // namespace

Arena::~Arena() {
  if (base_ == nullptr) return;
  unpoison(base_, committed_);
  os::release(base_, reserved_);
}

bool Arena::open() {
  if (base_ != nullptr) return true;
  // Twice the capacity, so that what runs out first is memory and not an unbroken stretch of it. Less where
  // that would be much of the address space.
  std::size_t bytes = std::min(capacity_, std::numeric_limits<std::size_t>::max() / 4);
  if (bytes <= os::addressSpace() / 32) bytes *= 2;
  bytes = roundUp(bytes + growth, page);
  for (; bytes >= page; bytes -= roundUp(bytes / 8, page)) {
    base_ = static_cast<char*>(os::reserve(bytes));
    if (base_ != nullptr) break;
  }
  if (base_ == nullptr) return false;
  reserved_ = bytes;
  addFree(0, reserved_);
  return true;
}

bool Arena::commitUpTo(std::size_t end) {
  if (end <= committed_) return true;
  for (const std::size_t step : {growth, page}) {
    const std::size_t wanted = std::min(reserved_, committed_ + roundUp(end - committed_, step));
    if (!os::commit(base_ + committed_, wanted - committed_)) continue;
    poison(base_ + committed_, wanted - committed_);
    committed_ = wanted;
    return true;
  }
  return false;
}

void Arena::addFree(std::size_t offset, std::size_t size) {
  blocks_[offset] = Block{size, 0, false};
  freeBySize_.emplace(size, offset);
}

void* Arena::allocate(std::size_t bytes) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (bytes > capacity_ || charged(bytes) > capacity_ - charged_ || !open()) return nullptr;
  const bool guarded = checking();
  const std::size_t size = charged(bytes) + (guarded ? alignment() : 0);
  const auto fit = freeBySize_.lower_bound({size, 0});
  if (fit == freeBySize_.end()) return nullptr;
  const auto [whole, offset] = *fit;
  if (!commitUpTo(offset + size)) return nullptr;
  freeBySize_.erase(fit);
  blocks_[offset] = Block{size, bytes, guarded};
  if (whole > size) addFree(offset + size, whole - size);

  char* const p = base_ + offset;
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

bool Arena::deallocate(void* p) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = find(p);
  if (found == blocks_.end() || base_ + found->first != p) return false;
  verify(found);
  if (checking()) rawFill(p, nanByte, found->second.requested);
  if (kind_ == Kind::pageLocked) poison(p, found->second.requested);
  const std::size_t bytes = found->second.requested;
  charged_ -= charged(bytes);
  --usage_.allocations;
  usage_.bytes -= bytes;

  // One free block from this one and its free neighbours.
  std::size_t offset = found->first, size = found->second.size;
  auto next = blocks_.erase(found);
  if (next != blocks_.end() && next->second.requested == 0) {
    size += next->second.size;
    freeBySize_.erase({next->second.size, next->first});
    next = blocks_.erase(next);
  }
  if (next != blocks_.begin()) {
    const auto before = std::prev(next);
    if (before->second.requested == 0) {
      offset = before->first;
      size += before->second.size;
      freeBySize_.erase({before->second.size, before->first});
    }
  }
  addFree(offset, size);
  return true;
}

Arena::Blocks::const_iterator Arena::find(const void* p) const {
  const auto address = reinterpret_cast<std::uintptr_t>(p), base = reinterpret_cast<std::uintptr_t>(base_);
  if (base_ == nullptr || address < base || address - base >= reserved_) return blocks_.end();
  const std::size_t offset = address - base;
  const auto block = std::prev(blocks_.upper_bound(offset));
  return offset - block->first < block->second.requested ? block : blocks_.end();
}

bool Arena::contains(const void* p, std::size_t bytes) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto block = find(p);
  if (block == blocks_.end()) return false;
  const auto offset = static_cast<std::size_t>(static_cast<const char*>(p) - base_) - block->first;
  return bytes <= block->second.requested - offset;
}

void Arena::verify(Blocks::const_iterator block) const {
  const auto& [offset, b] = *block;
  if (!b.guarded) return;
  const char* const guard = base_ + offset + b.requested;
  for (std::size_t done = 0; done < b.size - b.requested;) {
    unsigned char bytes[256];
    const std::size_t part = std::min(sizeof bytes, b.size - b.requested - done);
    rawCopy(bytes, guard + done, part);
    if (!std::all_of(bytes, bytes + part, [](unsigned char byte) { return byte == guardByte; }))
      die("something wrote behind an allocation", base_ + offset, b.requested);
    done += part;
  }
}

void Arena::verify() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (auto block = blocks_.begin(); block != blocks_.end(); ++block) verify(block);
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
