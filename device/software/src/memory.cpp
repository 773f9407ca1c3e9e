// Allocation, copies and fills.

#include <algorithm>
#include <limits>

#include "device/software/src/engine.h"
#include "device/software/src/machine.h"
#include "device/software/src/pool.h"
#include "device/software/src/queue.h"
#include "device/software/src/sanitizer.h"

using namespace software_device;

namespace {

constexpr std::size_t pitchUnit = 512;                    // bytes, as on a device
constexpr std::size_t pieceBytes = std::size_t{1} << 19;  // what one worker copies at a time

long long argument(std::size_t value) { return static_cast<long long>(value); }

cudaError_t allocate(Arena& arena, void** pointer, std::size_t bytes) {
  *pointer = bytes == 0 ? nullptr : arena.allocate(bytes);
  return bytes == 0 || *pointer != nullptr ? cudaSuccess : cudaErrorMemoryAllocation;
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
  Device* device = nullptr;
  if (const cudaError_t error = useDevice(&device)) return error;
  if (const cudaError_t error = checkCopy(copy, kind)) return error;
  queue().waitForTurn(*device, nullptr);
  if (const cudaError_t error = lostWith(*device)) return error;
  if (const cudaError_t error = queue().takeFailure()) return error;
  if (copy.width != 0 && copy.height != 0) copy.run();
  return cudaSuccess;
}

// Asynchronous only where the runtime's is: between the device and page-locked memory, or inside the device.
// Pageable memory may change as soon as the call returns.
cudaError_t copyLater(const Rectangle& copy, cudaMemcpyKind kind, cudaStream_t stream) {
  Device* device = nullptr;
  if (const cudaError_t error = useDevice(&device)) return error;
  std::uint64_t last = 0;
  if (!queue().lastIssued(*device, stream, &last)) return cudaErrorInvalidResourceHandle;
  if (const cudaError_t error = checkCopy(copy, kind)) return error;
  if (copy.width == 0 || copy.height == 0) return cudaSuccess;
  const Arena& pageLocked = machineState().pageLocked;
  const bool now =
      kind == cudaMemcpyHostToHost ||
      (kind == cudaMemcpyHostToDevice && !pageLocked.contains(copy.source, copy.span(copy.spitch))) ||
      (kind == cudaMemcpyDeviceToHost && !pageLocked.contains(copy.destination, copy.span(copy.dpitch)));
  const auto work = [copy] { copy.run(); };
  if (now) return runNow(*device, stream, work);
  enqueue(*device, stream, work);
  return cudaSuccess;
}

Rectangle rectangle(void* destination, std::size_t dpitch, const void* source, std::size_t spitch,
                    std::size_t width, std::size_t height) {
  return {static_cast<char*>(destination), dpitch, static_cast<const char*>(source), spitch, width, height};
}
Rectangle linear(void* destination, const void* source, std::size_t bytes) {
  return rectangle(destination, bytes, source, bytes, bytes, 1);
}

// Linear copies have no pitch to check; those of two dimensions have a greatest one.
cudaError_t checkPitches(std::size_t dpitch, std::size_t spitch) {
  return dpitch > maximalPitch || spitch > maximalPitch ? cudaErrorInvalidPitchValue : cudaSuccess;
}

}  // namespace

cudaError_t cudaMalloc(void** pointer, size_t bytes) {
  return entryPoint(CallGuard(Entry::malloc, {argument(bytes)}), [=] {
    if (pointer == nullptr) return cudaErrorInvalidValue;
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    return allocate(device->memory, pointer, bytes);
  });
}

cudaError_t cudaMallocPitch(void** pointer, size_t* pitch, size_t width, size_t height) {
  return entryPoint(CallGuard(Entry::mallocPitch, {argument(width), argument(height)}), [=] {
    if (pointer == nullptr || pitch == nullptr) return cudaErrorInvalidValue;
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    if (width > maximalPitch - pitchUnit) return cudaErrorMemoryAllocation;
    const std::size_t rounded = (width + pitchUnit - 1) / pitchUnit * pitchUnit;
    if (rounded != 0 && height > std::numeric_limits<std::size_t>::max() / rounded)
      return cudaErrorMemoryAllocation;
    const cudaError_t error = allocate(device->memory, pointer, rounded * height);
    if (error == cudaSuccess) *pitch = rounded;
    return error;
  });
}

cudaError_t cudaFree(void* pointer) {
  return releasePoint(CallGuard(Entry::free), [=] {
    if (pointer == nullptr) return cudaSuccess;
    queue().waitForAll();
    for (Device& device : machineState().devices)
      if (device.memory.deallocate(pointer)) return lostWithCurrent();
    return cudaErrorInvalidDevicePointer;
  });
}

cudaError_t cudaMallocHost(void** pointer, size_t bytes) {
  return entryPoint(CallGuard(Entry::mallocHost, {argument(bytes)}), [=] {
    if (pointer == nullptr) return cudaErrorInvalidValue;
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    return allocate(machineState().pageLocked, pointer, bytes);
  });
}

cudaError_t cudaFreeHost(void* pointer) {
  return releasePoint(CallGuard(Entry::freeHost), [=] {
    if (pointer == nullptr) return cudaSuccess;
    queue().waitForAll();
    return machineState().pageLocked.deallocate(pointer) ? lostWithCurrent() : cudaErrorInvalidHostPointer;
  });
}

cudaError_t cudaMemGetInfo(size_t* free, size_t* total) {
  return entryPoint(CallGuard(Entry::memGetInfo), [=] {
    if (free == nullptr || total == nullptr) return cudaErrorInvalidValue;
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    *free = device->memory.free();
    *total = device->memory.capacity();
    return cudaSuccess;
  });
}

cudaError_t cudaMemcpy(void* destination, const void* source, size_t bytes, cudaMemcpyKind kind) {
  return entryPoint(CallGuard(Entry::memcpy, {argument(bytes), kind}),
                    [=] { return copyNow(linear(destination, source, bytes), kind); });
}

cudaError_t cudaMemcpyAsync(void* destination, const void* source, size_t bytes, cudaMemcpyKind kind,
                            cudaStream_t stream) {
  return entryPoint(CallGuard(Entry::memcpyAsync, {argument(bytes), kind}, stream),
                    [=] { return copyLater(linear(destination, source, bytes), kind, stream); });
}

cudaError_t cudaMemcpy2D(void* destination, size_t dpitch, const void* source, size_t spitch, size_t width,
                         size_t height, cudaMemcpyKind kind) {
  const CallGuard guard(Entry::memcpy2D,
                        {argument(dpitch), argument(spitch), argument(width), argument(height), kind});
  return entryPoint(guard, [=] {
    if (const cudaError_t error = checkPitches(dpitch, spitch)) return error;
    return copyNow(rectangle(destination, dpitch, source, spitch, width, height), kind);
  });
}

cudaError_t cudaMemcpy2DAsync(void* destination, size_t dpitch, const void* source, size_t spitch,
                              size_t width, size_t height, cudaMemcpyKind kind, cudaStream_t stream) {
  const CallGuard guard(Entry::memcpy2DAsync,
                        {argument(dpitch), argument(spitch), argument(width), argument(height), kind},
                        stream);
  return entryPoint(guard, [=] {
    if (const cudaError_t error = checkPitches(dpitch, spitch)) return error;
    return copyLater(rectangle(destination, dpitch, source, spitch, width, height), kind, stream);
  });
}

cudaError_t cudaMemset(void* pointer, int value, size_t bytes) {
  return entryPoint(CallGuard(Entry::memset, {argument(bytes), value}), [=] {
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    if (bytes == 0) return cudaSuccess;
    if (!deviceRange(pointer, bytes))
      return deviceRange(pointer, 0) ? cudaErrorInvalidValue : cudaErrorInvalidDevicePointer;
    enqueue(*device, nullptr, [=] { rawFill(pointer, value, bytes); });
    return cudaSuccess;
  });
}
