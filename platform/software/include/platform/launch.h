// Kernel launches on the software device. The kernel is a template argument: its body is inlined into the
// loop over the threads of a block, which is compiled in the caller's translation unit. The device checks the
// launch, queues it and hands out ranges of blocks.

#ifndef TOVI_PLATFORM_LAUNCH_H
#define TOVI_PLATFORM_LAUNCH_H

#include <cuda_runtime.h>

#include <cstddef>
#include <functional>
#include <tuple>
#include <utility>

#include "platform/kernel.h"
#include "platform/software/native/native_body.h"

namespace software_device {

#pragma GCC visibility push(default)  // between the device and the library

// The blocks of one launch that one worker runs, and the threads of the block that it is at.
struct BlockRange {
  std::size_t first, last;  // linear block numbers, first <= block < last
  // Runs one thread of the current block: called on another stack once a thread has met a barrier.
  void (*runThread)(void* kernel, unsigned thread) = nullptr;
  void* kernel = nullptr;
  unsigned threads = 0;     // of a block
  bool barrierMet = false;  // in the current block
};

using RunBlocks = void (*)(void* kernel, BlockRange& range);

// Checks the launch and reports it. False: a sticky error has been set, and nothing is to run.
bool acceptLaunch(dim3 grid, dim3 block, std::size_t sharedBytes, cudaStream_t stream);
void queueLaunch(cudaStream_t stream, std::function<void()> launch);
// Calls runBlocks for all blocks of the grid, on several threads where that pays.
void forEachBlock(dim3 grid, dim3 block, RunBlocks runBlocks, void* kernel);
// After the thread that met the first barrier has ended: runs the others of its block to their ends.
void finishBlock();
bool nativeBodiesUsed();

#pragma GCC visibility pop

template <auto Kernel>
struct Launch;

template <class... Parameters, void (*Kernel)(Parameters...)>
struct Launch<Kernel> {
  dim3 grid, block;
  std::tuple<Parameters...> arguments;

  void run() {
    if constexpr (NativeBody<Kernel>::exists) {
      if (nativeBodiesUsed()) {
        std::apply([this](const Parameters&... p) { NativeBody<Kernel>::run(grid, block, p...); }, arguments);
        return;
      }
    }
    forEachBlock(grid, block, &runBlocks, this);
  }

 private:
  TOVI_DEVICE_CODE static void runBlocks(void* launch, BlockRange& range) {
    runBlocks(*static_cast<Launch*>(launch), range, std::index_sequence_for<Parameters...>());
  }

  template <std::size_t... I>
  TOVI_DEVICE_CODE static void runBlocks(Launch& launch, BlockRange& range, std::index_sequence<I...>) {
    [[maybe_unused]] const std::tuple<Parameters...> p =
        launch.arguments;  // a copy that no store of the kernel can alias
    const dim3 grid = launch.grid, block = launch.block;
    gridDim = grid;
    blockDim = block;
    const SharedVariables shared;
    range.kernel = &launch;
    range.runThread = &runThread<I...>;
    const std::size_t layer = std::size_t{grid.x} * grid.y;
    uint3 at = {static_cast<unsigned>(range.first % grid.x),
                static_cast<unsigned>(range.first % layer / grid.x),
                static_cast<unsigned>(range.first / layer)};
    for (std::size_t b = range.first; b < range.last; ++b) {
      blockIdx = at;
      for (unsigned z = 0; z < block.z && !range.barrierMet; ++z)
        for (unsigned y = 0; y < block.y && !range.barrierMet; ++y)
          for (unsigned x = 0; x < block.x; ++x) {
            threadIdx = uint3{x, y, z};
            Kernel(std::get<I>(p)...);
            if (range.barrierMet) break;  // the others of this block have their own stacks now
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
    const dim3 block = launch.block;
    threadIdx = uint3{thread % block.x, thread / block.x % block.y, thread / block.x / block.y};
    Kernel(std::get<I>(launch.arguments)...);
  }
};

}  // namespace software_device

namespace platform {

template <auto Kernel, class... Args>
void launch(dim3 grid, dim3 block, std::size_t sharedBytes, cudaStream_t stream, Args... args) {
  if (!software_device::acceptLaunch(grid, block, sharedBytes, stream)) return;
  software_device::Launch<Kernel> work{grid, block, {args...}};
  software_device::queueLaunch(stream, [work]() mutable { work.run(); });
}

}  // namespace platform

#endif
