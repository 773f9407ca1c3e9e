// Launches: the limits of the device, blocks spread over the workers, and barriers.
//
// A block runs on one worker, one thread after the other, on the worker's own stack. Most kernels need no
// more. The first thread that meets a barrier gives each later thread of its block a fiber and lets each run
// up to its barrier; then all go on in rounds, from barrier to barrier, the first one still on the worker's
// stack. Threads that have ended take no further part.
//
// While checking is on, blocks and threads take their turns in an order that is drawn anew for each launch,
// and for each round: on a real device there is none, and a barrier that is missing, or a block that needs
// another one's results, must not be right by luck.

#include "device/launch.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "device/software/src/calls.h"
#include "device/software/src/draw.h"
#include "device/software/src/engine.h"
#include "device/software/src/fiber.h"
#include "device/software/src/machine.h"
#include "device/software/src/pool.h"
#include "device/software/src/queue.h"
#include "device/software/src/sanitizer.h"
#include "host/process.h"

namespace software_device {

namespace {

// Threads of kernels that one worker runs at a time; what is less than two such pieces is not worth
// spreading.
constexpr std::size_t threadsPerPiece = 16384;

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
  std::uint64_t drawn = 0;      // of the rounds' orders
};
thread_local Worker worker;

void deleteFibers() {
  delete worker.fibers;
  worker.fibers = nullptr;
}

void forgetFibers() {
  worker.ends = true;
  deleteFibers();
}
host::AtThreadEnd atThreadEnd(forgetFibers);

// Throws when there is no memory for a stack. The block has run in part then, and so has the kernel: its
// launch fails.
std::deque<Fiber>& makeFibers(unsigned count) {
  if (worker.fibers == nullptr) {
    worker.fibers = std::make_unique<Fibers>().release();
    if (!atThreadEnd.ask()) worker.ends = true;
  }
  std::deque<Fiber>& fibers = worker.fibers->all;
  while (fibers.size() < count) fibers.emplace_back();
  return fibers;
}

// Launches since checking was set. One runs at a time: the order of work is that of the numbers.
std::atomic<std::uint64_t> checkedLaunches{0};

// Every fiber that waits at the barrier goes on to the next one, or to its end.
void runRound() {
  auto& waiting = worker.fibers->waiting;
  if (worker.range->shuffled)
    for (std::size_t left = waiting.size(); left > 1; --left)
      std::swap(waiting[left - 1], waiting[static_cast<std::size_t>(draw(worker.drawn) % left)]);
  const auto ended = std::remove_if(waiting.begin(), waiting.end(), [](Fiber* fiber) {
    worker.current = fiber;
    return !fiber->resume();
  });
  waiting.erase(ended, waiting.end());
  worker.current = nullptr;
}

}  // namespace

Order::Order(std::size_t count, std::uint64_t seed) : count_(count) {
  constexpr std::uint64_t most = std::uint64_t{1} << 31;  // beyond, products would overflow
  if (seed == 0 || count < 2) return;
  start_ = draw(seed) % count;
  if (count <= most) do  // steps without a common factor visit all
      step_ = 1 + draw(seed) % (count_ - 1);
    while (std::gcd(step_, count_) != 1);
}

Device* acceptLaunch(dim3 grid, dim3 block, std::size_t sharedBytes, cudaStream_t stream,
                     const void* const* pointers, std::size_t pointerCount) noexcept {
  const CallGuard guard(Entry::launch, {grid.x, grid.y, grid.z, block.x, block.y, block.z}, stream);
  Device* device = nullptr;
  const cudaError_t error = entryPoint(guard, [&] {
    if (const cudaError_t unusable = useDevice(&device)) return unusable;
    if (!queue().belongs(stream, *device)) return cudaErrorInvalidResourceHandle;
    const Limits limit = limits(device->profile);
    const auto within = [](unsigned extent, int most) {
      return extent >= 1 && extent <= static_cast<unsigned>(most);
    };
    const bool valid = within(grid.x, limit.gridX) && within(grid.y, limit.gridY) &&
                       within(grid.z, limit.gridZ) && within(block.x, limit.blockX) &&
                       within(block.y, limit.blockY) && within(block.z, limit.blockZ) &&
                       block.x * block.y * block.z <= static_cast<unsigned>(limit.threadsPerBlock) &&
                       sharedBytes <= limit.sharedMemory;
    if (!valid) return cudaErrorInvalidConfiguration;
    // The end of a piece of memory is what a vector without elements may begin with.
    const auto wild = [&](const void* p) { return p != nullptr && !device->memory.holds(p); };
    if (std::any_of(pointers, pointers + pointerCount, wild)) {
      enqueue(*device, stream, [lost = device] { loseDevice(*lost, cudaErrorLaunchFailure); });
      device = nullptr;
    }
    return cudaSuccess;
  });
  return error == cudaSuccess ? device : nullptr;
}

void queueLaunch(Device& device, cudaStream_t stream, std::unique_ptr<Work> launch) noexcept {
  entryPoint(CallGuard(), [&] {
    if (launch == nullptr) return cudaErrorMemoryAllocation;
    amendRecord([&work = *launch](Call& call) {
      call.kernel = &typeid(work);
      call.description = work.describe();
    });
    enqueue(device, stream, std::move(launch));
    return cudaSuccess;
  });
}

void forEachBlock(dim3 grid, dim3 block, RunBlocks runBlocks, void* kernel) {
  const std::size_t blocks = std::size_t{grid.x} * grid.y * grid.z;
  const unsigned threads = block.x * block.y * block.z;
  const std::size_t perPiece = std::max<std::size_t>(1, threadsPerPiece / threads);
  std::uint64_t drawn = 0;
  BlockRange range{0, blocks, threads, checking()};
  if (range.shuffled) {
    drawn = checkingSeed() + checkedLaunches.fetch_add(1, std::memory_order_relaxed);
    range.blockOrder = Order(blocks, draw(drawn));
    range.threadOrder = Order(threads, draw(drawn));
  }
  const auto run = [=](std::size_t piece) {
    BlockRange part = range;
    part.first = piece * perPiece;
    part.last = std::min(blocks, (piece + 1) * perPiece);
    worker.range = &part;
    worker.drawn = drawn + piece;
    try {
      runBlocks(kernel, part);
    } catch (...) {
      worker.range = nullptr;
      deleteFibers();
      throw;
    }
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

std::atomic<bool> nativeBodies{true};
std::atomic<std::uint64_t> nativeRuns{0};
bool runsNatively() {
  if (!nativeBodies.load(std::memory_order_relaxed)) return false;
  nativeRuns.fetch_add(1, std::memory_order_relaxed);
  return true;
}

}  // namespace software_device

void toviSw_syncthreads(unsigned thread) {
  using software_device::worker;
  if (worker.current != nullptr) return worker.current->suspend();
  software_device::BlockRange* const range = worker.range;
  if (range == nullptr) software_device::die("__syncthreads() outside a kernel", nullptr, 0);
  if (!range->barrierMet) {
    if (!range->shuffled) range->place = thread;
    const unsigned others = range->threads - range->place - 1;
    auto& fibers = software_device::makeFibers(others);
    worker.fibers->waiting.reserve(others);
    range->barrierMet = true;
    for (unsigned i = 0; i < others; ++i) {
      const unsigned place = range->place + 1 + i;
      fibers[i].assign(range->runThread, range->kernel,
                       range->shuffled ? static_cast<unsigned>(range->threadOrder.at(place)) : place);
      worker.fibers->waiting.push_back(&fibers[i]);
    }
  }
  software_device::runRound();
}
