// Allocation, copies and fills.

#include <algorithm>
#include <limits>

#include "platform/software/src/engine.h"
#include "platform/software/src/machine.h"
#include "platform/software/src/pool.h"
#include "platform/software/src/queue.h"
#include "platform/software/src/sanitizer.h"

using namespace software_device;

namespace {

constexpr std::size_t pitchUnit = 512;                    // bytes, as on a device
constexpr std::size_t pieceBytes = std::size_t{1} << 19;  // what one worker copies at a time

long long argument(std::size_t value) { return static_cast<long long>(value); }

Arena& currentMemory() {
  MachineState& s = machineState();
  const std::lock_guard<std::mutex> lock(s.choice);
  return *s.memory[static_cast<std::size_t>(s.current)];
}

cudaError_t allocate(Arena& arena, void** pointer, std::size_t bytes) {
  *pointer = nullptr;
  if (bytes == 0) return cudaSuccess;
  *pointer = arena.allocate(bytes);
  return *pointer != nullptr ? cudaSuccess : fail(cudaErrorMemoryAllocation);
}

// A rectangle that is copied: height runs of width bytes each.
struct Rectangle {
  char* destination;
  std::size_t dpitch;
  const char* source;
  std::size_t spitch, width, height;

  void run() const {
    if ((dpitch == width && spitch == width) || height == 1) {
      const std::size_t bytes = width * height;
      const std::size_t pieces = (bytes + pieceBytes - 1) / pieceBytes;
      if (pieces <= 2) return rawCopy(destination, source, bytes);
      parallelFor(pieces, [this, bytes](std::size_t i) {
        const std::size_t first = i * pieceBytes;
        rawCopy(destination + first, source + first, std::min(pieceBytes, bytes - first));
      });
    } else {
      const std::size_t rows = std::max<std::size_t>(1, pieceBytes / width);
      const std::size_t pieces = (height + rows - 1) / rows;
      if (pieces <= 2) return copyRows(0, height);
      parallelFor(pieces,
                  [this, rows](std::size_t i) { copyRows(i * rows, std::min(height, (i + 1) * rows)); });
    }
  }
  void copyRows(std::size_t first, std::size_t last) const {
    for (std::size_t r = first; r < last; ++r) rawCopy(destination + r * dpitch, source + r * spitch, width);
  }
  std::size_t span(std::size_t pitch) const { return (height - 1) * pitch + width; }
};

// One side of a copy.
cudaError_t checkSide(const void* p, bool onDevice, const Rectangle& copy, std::size_t pitch) {
  if (p == nullptr) return cudaErrorInvalidValue;
  if (copy.height - 1 >
      (std::numeric_limits<std::size_t>::max() - copy.width) / std::max<std::size_t>(pitch, 1))
    return cudaErrorInvalidValue;
  if (onDevice) {
    if (deviceRange(p, copy.span(pitch))) return cudaSuccess;
    return deviceRange(p, 0) ? cudaErrorInvalidValue : cudaErrorInvalidDevicePointer;
  }
  if (deviceRange(p, 0))
    return cudaErrorInvalidValue;  // the wrong direction: there is no unified addressing here
  for (std::size_t r = 0; r < copy.height; ++r)
    checkHostRange(static_cast<const char*>(p) + r * pitch, copy.width);
  return cudaSuccess;
}

cudaError_t checkCopy(const Rectangle& copy, cudaMemcpyKind kind) {
  if (kind < cudaMemcpyHostToHost || kind > cudaMemcpyDeviceToDevice) return cudaErrorInvalidMemcpyDirection;
  if (copy.width > copy.dpitch || copy.width > copy.spitch) return cudaErrorInvalidPitchValue;
  if (copy.width == 0 || copy.height == 0) return cudaSuccess;
  const bool toDevice = kind == cudaMemcpyHostToDevice || kind == cudaMemcpyDeviceToDevice;
  const bool fromDevice = kind == cudaMemcpyDeviceToHost || kind == cudaMemcpyDeviceToDevice;
  if (const cudaError_t error = checkSide(copy.destination, toDevice, copy, copy.dpitch)) return error;
  return checkSide(copy.source, fromDevice, copy, copy.spitch);
}

cudaError_t copyNow(const Rectangle& copy, cudaMemcpyKind kind) {
  if (const cudaError_t error = activate()) return fail(error);
  if (const cudaError_t error = checkCopy(copy, kind)) return fail(error);
  queue().waitForAll();
  if (copy.width != 0 && copy.height != 0) copy.run();
  return cudaSuccess;
}

// Asynchronous only where the runtime's is: between the device and page-locked memory, or inside the device.
// Pageable memory may change as soon as the call returns.
cudaError_t copyLater(const Rectangle& copy, cudaMemcpyKind kind, cudaStream_t stream) {
  if (const cudaError_t error = activate()) return fail(error);
  std::uint64_t last = 0;
  if (!queue().lastIssued(stream, &last)) return fail(cudaErrorInvalidResourceHandle);
  if (const cudaError_t error = checkCopy(copy, kind)) return fail(error);
  if (copy.width == 0 || copy.height == 0) return cudaSuccess;
  const Arena& pageLocked = machineState().pageLocked;
  const bool now =
      kind == cudaMemcpyHostToHost ||
      (kind == cudaMemcpyHostToDevice && !pageLocked.contains(copy.source, copy.span(copy.spitch))) ||
      (kind == cudaMemcpyDeviceToHost && !pageLocked.contains(copy.destination, copy.span(copy.dpitch)));
  const auto work = [copy] { copy.run(); };
  if (now)
    enqueueAndWait(stream, work);
  else
    enqueue(stream, work);
  return cudaSuccess;
}

Rectangle linear(void* destination, const void* source, std::size_t bytes) {
  return {static_cast<char*>(destination), bytes, static_cast<const char*>(source), bytes, bytes, 1};
}

// Linear copies have no pitch to check; those of two dimensions have a greatest one.
cudaError_t checkPitches(std::size_t dpitch, std::size_t spitch) {
  return dpitch > maximalPitch || spitch > maximalPitch ? cudaErrorInvalidPitchValue : cudaSuccess;
}

}  // namespace

namespace software_device {

void enqueue(cudaStream_t stream, std::function<void()> work) { queue().push(stream, std::move(work)); }

void enqueueAndWait(cudaStream_t stream, std::function<void()> work) {
  queue().wait(queue().push(stream, std::move(work), false));
}

void waitForAll() { queue().waitForAll(); }

}  // namespace software_device

cudaError_t cudaMalloc(void** pointer, size_t bytes) {
  const CallGuard guard(Entry::malloc, {argument(bytes)});
  if (guard.failed()) return fail(guard.error());
  if (pointer == nullptr) return fail(cudaErrorInvalidValue);
  if (const cudaError_t error = activate()) return fail(error);
  return allocate(currentMemory(), pointer, bytes);
}

cudaError_t cudaMallocPitch(void** pointer, size_t* pitch, size_t width, size_t height) {
  const CallGuard guard(Entry::mallocPitch, {argument(width), argument(height)});
  if (guard.failed()) return fail(guard.error());
  if (pointer == nullptr || pitch == nullptr) return fail(cudaErrorInvalidValue);
  if (const cudaError_t error = activate()) return fail(error);
  if (width > maximalPitch - pitchUnit) return fail(cudaErrorMemoryAllocation);
  const std::size_t rounded = (width + pitchUnit - 1) / pitchUnit * pitchUnit;
  if (rounded != 0 && height > std::numeric_limits<std::size_t>::max() / rounded)
    return fail(cudaErrorMemoryAllocation);
  const cudaError_t error = allocate(currentMemory(), pointer, rounded * height);
  if (error == cudaSuccess) *pitch = rounded;
  return error;
}

// A failing free still frees: callers ignore its code.
cudaError_t cudaFree(void* pointer) {
  const CallGuard guard(Entry::free);
  if (pointer != nullptr) {
    queue().waitForAll();
    const auto& memory = machineState().memory;
    if (std::none_of(memory.begin(), memory.end(),
                     [&](const auto& arena) { return arena->deallocate(pointer); }))
      return fail(cudaErrorInvalidDevicePointer);
  }
  return guard.failed() ? fail(guard.error()) : cudaSuccess;
}

cudaError_t cudaMallocHost(void** pointer, size_t bytes) {
  const CallGuard guard(Entry::mallocHost, {argument(bytes)});
  if (guard.failed()) return fail(guard.error());
  if (pointer == nullptr) return fail(cudaErrorInvalidValue);
  if (const cudaError_t error = activate()) return fail(error);
  return allocate(machineState().pageLocked, pointer, bytes);
}

cudaError_t cudaFreeHost(void* pointer) {
  const CallGuard guard(Entry::freeHost);
  if (pointer != nullptr) {
    queue().waitForAll();
    if (!machineState().pageLocked.deallocate(pointer)) return fail(cudaErrorInvalidHostPointer);
  }
  return guard.failed() ? fail(guard.error()) : cudaSuccess;
}

cudaError_t cudaMemGetInfo(size_t* free, size_t* total) {
  if (free == nullptr || total == nullptr) return fail(cudaErrorInvalidValue);
  if (const cudaError_t error = activate()) return fail(error);
  *free = currentMemory().free();
  *total = currentMemory().capacity();
  return cudaSuccess;
}

cudaError_t cudaMemcpy(void* destination, const void* source, size_t bytes, cudaMemcpyKind kind) {
  const CallGuard guard(Entry::memcpy, {argument(bytes), kind});
  if (guard.failed()) return fail(guard.error());
  return copyNow(linear(destination, source, bytes), kind);
}

cudaError_t cudaMemcpyAsync(void* destination, const void* source, size_t bytes, cudaMemcpyKind kind,
                            cudaStream_t stream) {
  const CallGuard guard(Entry::memcpyAsync, {argument(bytes), kind}, stream);
  if (guard.failed()) return fail(guard.error());
  return copyLater(linear(destination, source, bytes), kind, stream);
}

cudaError_t cudaMemcpy2D(void* destination, size_t dpitch, const void* source, size_t spitch, size_t width,
                         size_t height, cudaMemcpyKind kind) {
  const CallGuard guard(Entry::memcpy2D,
                        {argument(dpitch), argument(spitch), argument(width), argument(height), kind});
  if (guard.failed()) return fail(guard.error());
  if (const cudaError_t error = checkPitches(dpitch, spitch)) return fail(error);
  return copyNow(
      {static_cast<char*>(destination), dpitch, static_cast<const char*>(source), spitch, width, height},
      kind);
}

cudaError_t cudaMemcpy2DAsync(void* destination, size_t dpitch, const void* source, size_t spitch,
                              size_t width, size_t height, cudaMemcpyKind kind, cudaStream_t stream) {
  const CallGuard guard(Entry::memcpy2DAsync,
                        {argument(dpitch), argument(spitch), argument(width), argument(height), kind},
                        stream);
  if (guard.failed()) return fail(guard.error());
  if (const cudaError_t error = checkPitches(dpitch, spitch)) return fail(error);
  return copyLater(
      {static_cast<char*>(destination), dpitch, static_cast<const char*>(source), spitch, width, height},
      kind, stream);
}

cudaError_t cudaMemset(void* pointer, int value, size_t bytes) {
  const CallGuard guard(Entry::memset, {argument(bytes), value});
  if (guard.failed()) return fail(guard.error());
  if (const cudaError_t error = activate()) return fail(error);
  if (bytes == 0) return cudaSuccess;
  if (!deviceRange(pointer, bytes))
    return fail(deviceRange(pointer, 0) ? cudaErrorInvalidValue : cudaErrorInvalidDevicePointer);
  enqueue(nullptr, [=] { rawFill(pointer, value, bytes); });
  return cudaSuccess;
}
