// Launches: the limits of the device, blocks spread over the workers, and barriers.
//
// A block runs on one worker, one thread after the other, on the worker's own stack. Most kernels need no
// more. The first thread that meets a barrier gives each later thread of its block a fiber and lets each run
// up to its barrier; then all go on in rounds, from barrier to barrier, the first one still on the worker's
// stack. Threads that have ended take no further part.

#include "platform/launch.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <vector>

#include "platform/software/src/engine.h"
#include "platform/software/src/fiber.h"
#include "platform/software/src/machine.h"
#include "platform/software/src/pool.h"
#include "platform/software/src/queue.h"
#include "platform/software/src/sanitizer.h"

namespace software_device {

namespace {

// Threads of kernels that one worker runs at a time; what is less than two such pieces is not worth
// spreading.
constexpr std::size_t threadsPerPiece = 16384;

std::atomic<bool> nativeBodies{true};

struct Fibers {
  std::deque<Fiber> all;
  std::vector<Fiber*> waiting;  // those of this block that have not ended
};

// What the worker, a host thread, is at. It has no destructor: a thread that ends may yet have to run
// kernels, when another of its thread-local objects waits for the device.
struct Worker {
  BlockRange* range = nullptr;  // null: not inside a kernel
  Fiber* current = nullptr;     // null: on its own stack
  Fibers* fibers = nullptr;     // made when first needed
  bool ends = false;            // nobody would delete fibers later
};
thread_local Worker worker;

void deleteFibers() {
  delete worker.fibers;
  worker.fibers = nullptr;
}

struct AtThreadEnd {
  ~AtThreadEnd() {
    worker.ends = true;
    deleteFibers();
  }
};

// Without memory for a stack the program ends: a block that has run in part cannot be taken back.
std::deque<Fiber>& makeFibers(unsigned count) noexcept {
  if (worker.fibers == nullptr) worker.fibers = std::make_unique<Fibers>().release();
  if (!worker.ends) {
    static thread_local const AtThreadEnd atThreadEnd;
    static_cast<void>(&atThreadEnd);
  }
  std::deque<Fiber>& fibers = worker.fibers->all;
  while (fibers.size() < count) fibers.emplace_back();
  return fibers;
}

// Every fiber that waits at the barrier goes on to the next one, or to its end.
void runRound() {
  auto& waiting = worker.fibers->waiting;
  const auto ended = std::remove_if(waiting.begin(), waiting.end(), [](Fiber* fiber) {
    worker.current = fiber;
    return !fiber->resume();
  });
  waiting.erase(ended, waiting.end());
  worker.current = nullptr;
}

}  // namespace

bool acceptLaunch(dim3 grid, dim3 block, std::size_t sharedBytes, cudaStream_t stream) {
  const CallGuard guard(Entry::launch, {grid.x, grid.y, grid.z, block.x, block.y, block.z}, stream);
  if (guard.failed()) return fail(guard.error()), false;
  if (const cudaError_t error = activate()) return fail(error), false;
  std::uint64_t last = 0;
  if (!queue().lastIssued(stream, &last)) return fail(cudaErrorInvalidResourceHandle), false;
  const Limits limit = limits(currentProfile());
  const auto within = [](unsigned extent, int most) {
    return extent >= 1 && extent <= static_cast<unsigned>(most);
  };
  const bool valid = within(grid.x, limit.gridX) && within(grid.y, limit.gridY) &&
                     within(grid.z, limit.gridZ) && within(block.x, limit.blockX) &&
                     within(block.y, limit.blockY) && within(block.z, limit.blockZ) &&
                     block.x * block.y * block.z <= static_cast<unsigned>(limit.threadsPerBlock) &&
                     sharedBytes <= limit.sharedMemory;
  if (!valid) fail(cudaErrorInvalidConfiguration);
  return valid;
}

void queueLaunch(cudaStream_t stream, std::function<void()> launch) { enqueue(stream, std::move(launch)); }

void forEachBlock(dim3 grid, dim3 block, RunBlocks runBlocks, void* kernel) {
  const std::size_t blocks = std::size_t{grid.x} * grid.y * grid.z;
  const unsigned threads = block.x * block.y * block.z;
  const std::size_t perPiece = std::max<std::size_t>(1, threadsPerPiece / threads);
  const auto run = [=](std::size_t piece) {
    BlockRange range{piece * perPiece, std::min(blocks, (piece + 1) * perPiece)};
    range.threads = threads;
    worker.range = &range;
    runBlocks(kernel, range);
    worker.range = nullptr;
    if (!fibersAreKept() || worker.ends) deleteFibers();
  };
  const std::size_t pieces = (blocks + perPiece - 1) / perPiece;
  if (pieces == 1)
    run(0);
  else
    parallelFor(pieces, run);
}

void finishBlock() {
  while (worker.fibers != nullptr && !worker.fibers->waiting.empty()) runRound();
}

bool nativeBodiesUsed() { return nativeBodies.load(std::memory_order_relaxed); }
void useNativeBodies(bool on) { nativeBodies.store(on, std::memory_order_relaxed); }

}  // namespace software_device

void toviSw_syncthreads(unsigned thread) {
  using software_device::worker;
  if (worker.current != nullptr) return worker.current->suspend();
  software_device::BlockRange* const range = worker.range;
  if (range == nullptr) software_device::die("__syncthreads() outside a kernel", nullptr, 0);
  if (!range->barrierMet) {
    range->barrierMet = true;
    const unsigned others = range->threads - thread - 1;
    auto& fibers = software_device::makeFibers(others);
    for (unsigned i = 0; i < others; ++i) {
      fibers[i].assign(range->runThread, range->kernel, thread + 1 + i);
      worker.fibers->waiting.push_back(&fibers[i]);
    }
  }
  software_device::runRound();
}
