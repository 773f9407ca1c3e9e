// Kernel launches on the software device. The kernel is a template argument: its body is inlined into the
// loop over the threads of a block, which is compiled in the caller's translation unit. The device checks the
// launch, queues it and hands out ranges of blocks.

#ifndef TOVI_DEVICE_LAUNCH_H
#define TOVI_DEVICE_LAUNCH_H

#include <cuda_runtime.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "device/kernel.h"
#include "device/native_bodies.h"
#include "device/work.h"

namespace software_device {

#pragma GCC visibility push(default)  // between the device and the library

// An order in which things that are numbered from 0 to count - 1 take their turns: drawn from a seed other
// than 0, else that of their numbers.
class Order {
 public:
  Order() = default;
  Order(std::size_t count, std::uint64_t seed);
  std::size_t at(std::size_t place) const {
    return static_cast<std::size_t>((start_ + step_ * place) % count_);
  }

 private:
  std::uint64_t count_ = 1, start_ = 0, step_ = 1;
};

// The blocks of one launch that one worker runs, and the threads of the block that it is at.
struct BlockRange {
  std::size_t first, last;  // first <= the block's number, or its place in the order, < last
  unsigned threads;         // of a block
  bool shuffled = false;
  Order blockOrder{}, threadOrder{};  // while checking; both else unused
  // Runs one thread of the current block: called on another stack once a thread has met a barrier.
  void (*runThread)(void* kernel, unsigned thread) = nullptr;
  void* kernel = nullptr;
  unsigned place = 0;       // of the thread that runs, in the order
  bool barrierMet = false;  // in the current block
};

using RunBlocks = void (*)(void* kernel, BlockRange& range);

// Checks the launch and reports it; pointers are the kernel's arguments that are any, or null. The device
// that it is to run on. Null: it does not run, and that is on its way to whoever asks for errors.
Device* acceptLaunch(dim3 grid, dim3 block, std::size_t sharedBytes, cudaStream_t stream,
                     const void* const* pointers, std::size_t pointerCount) noexcept;
// Null work is such that there was no memory for.
void queueLaunch(Device& device, cudaStream_t stream, std::unique_ptr<Work> launch) noexcept;
// Calls runBlocks for all blocks of the grid, on several threads where that pays.
void forEachBlock(dim3 grid, dim3 block, RunBlocks runBlocks, void* kernel);
// After the thread that met the first barrier has ended: runs the others of its block to their ends.
void finishBlock();
// Asked once by each launch of a kernel that has a native body.
bool runsNatively();

#pragma GCC visibility pop

template <auto Kernel, class Native>
class Launch;

template <class... Parameters, void (*Kernel)(Parameters...), class Native>
class Launch<Kernel, Native> final : public Work {
 public:
  // Null when there is no memory for it, and for what its native body needs.
  static std::unique_ptr<Work> make(dim3 grid, dim3 block, const Parameters&... arguments) noexcept {
    try {
      return std::make_unique<Launch>(grid, block, arguments...);
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }

  Launch(dim3 grid, dim3 block, const Parameters&... arguments)
      : grid_(grid), block_(block), arguments_(arguments...), room_(Native::room(arguments...)) {
    const std::size_t threads = std::size_t{grid.x} * grid.y * grid.z * block.x * block.y * block.z;
    if (threads <= device::native::brief && Native::isBrief(arguments...)) Work::isBrief();
  }

  void run() override {
    if constexpr (!std::is_same_v<Native, device::native::None>) {
      if (native_ || runsNatively())
        return std::apply([this](const Parameters&... p) { Native::run(room_, grid_, block_, p...); },
                          arguments_);
    }
    forEachBlock(grid_, block_, &runBlocks, this);
  }
  Description describe() const override {
    Description result;
    std::apply([&](const Parameters&... p) { (result.add(p), ...); }, arguments_);
    return result;
  }

  bool takeIn([[maybe_unused]] const Work& next) override {
    if constexpr (Native::takesIn) {
      if (typeid(next) != typeid(Launch)) return false;
      const Launch& other = static_cast<const Launch&>(next);
      const auto shape = [](const Launch& of) {
        return std::array{of.grid_.x, of.grid_.y, of.grid_.z, of.block_.x, of.block_.y, of.block_.z};
      };
      if (shape(*this) != shape(other) || !(native_ || (native_ = runsNatively()))) return false;
      return std::apply([this](const auto&... p) { return Native::takeIn(room_, p...); },
                        std::tuple_cat(arguments_, other.arguments_));
    }
    return false;
  }

 private:
  TOVI_DEVICE_CODE static void runBlocks(void* launch, BlockRange& range) {
    runBlocks(*static_cast<Launch*>(launch), range, std::index_sequence_for<Parameters...>());
  }

  template <std::size_t... I>
  TOVI_DEVICE_CODE static void runBlocks(Launch& launch, BlockRange& range, std::index_sequence<I...>) {
    [[maybe_unused]] const std::tuple<Parameters...> p =
        launch.arguments_;  // a copy that no store of the kernel can alias
    const dim3 grid = launch.grid_, block = launch.block_;
    gridDim = grid;
    blockDim = block;
    const SharedVariables shared;
    range.kernel = &launch;
    range.runThread = &runThread<I...>;
    const auto place = [layer = std::size_t{grid.x} * grid.y, x = grid.x](std::size_t number) {
      return uint3{static_cast<unsigned>(number % x), static_cast<unsigned>(number % layer / x),
                   static_cast<unsigned>(number / layer)};
    };
    uint3 at = place(range.first);
    for (std::size_t b = range.first; b < range.last; ++b) {
      if (range.shuffled) {
        blockIdx = place(range.blockOrder.at(b));
        for (range.place = 0; range.place < range.threads && !range.barrierMet; ++range.place)
          runThread<I...>(&launch, static_cast<unsigned>(range.threadOrder.at(range.place)));
      } else {
        blockIdx = at;
        for (unsigned z = 0; z < block.z && !range.barrierMet; ++z)
          for (unsigned y = 0; y < block.y && !range.barrierMet; ++y)
            for (unsigned x = 0; x < block.x; ++x) {
              threadIdx = uint3{x, y, z};
              Kernel(std::get<I>(p)...);
              if (range.barrierMet) break;  // the others of this block have their own stacks now
            }
      }
      if (range.barrierMet) {
        finishBlock();
        range.barrierMet = false;
      }
      if (++at.x == grid.x) {
        at.x = 0;
        if (++at.y == grid.y) {
          at.y = 0;
          ++at.z;
        }
      }
    }
  }

  template <std::size_t... I>
  TOVI_DEVICE_CODE static void runThread(void* kernel, unsigned thread) {
    const Launch& launch = *static_cast<Launch*>(kernel);
    const dim3 block = launch.block_;
    threadIdx = uint3{thread % block.x, thread / block.x % block.y, thread / block.x / block.y};
    Kernel(std::get<I>(launch.arguments_)...);
  }

  dim3 grid_, block_;
  std::tuple<Parameters...> arguments_;
  decltype(Native::room(std::declval<const Parameters&>()...)) room_;
  bool native_ = false;  // as it has been told, if it has asked
};

template <class T>
const void* pointerIn(const T& argument) {
  if constexpr (std::is_pointer_v<T>)
    return argument;
  else
    return nullptr;
}

}  // namespace software_device

namespace device {

template <auto Kernel, class Native = native::None, class... Args>
void launch(dim3 grid, dim3 block, std::size_t sharedBytes, cudaStream_t stream, Args... args) {
  using namespace software_device;
  const std::array<const void*, sizeof...(Args)> pointers = {pointerIn(args)...};
  Device* const device = acceptLaunch(grid, block, sharedBytes, stream, pointers.data(), pointers.size());
  if (device != nullptr) queueLaunch(*device, stream, Launch<Kernel, Native>::make(grid, block, args...));
}

}  // namespace device

#endif
