// The runtime's versions, devices and streams.

#include <algorithm>

#include "device/runtime.h"
#include "device/software/src/engine.h"
#include "device/software/src/machine.h"
#include "device/software/src/queue.h"

using namespace software_device;

namespace {

cudaError_t version(Entry entry, int Machine::*which, int* result) {
  return entryPoint(CallGuard(entry), [=] {
    if (result == nullptr) return cudaErrorInvalidValue;
    *result = machineState().machine.*which;
    return cudaSuccess;
  });
}

cudaDeviceProp properties(const Profile& profile) {
  const Limits limit = limits(profile);
  cudaDeviceProp p = {};
  profile.name.copy(p.name, sizeof p.name - 1);
  p.totalGlobalMem = profile.memory;
  p.sharedMemPerBlock = limit.sharedMemory;
  p.regsPerBlock = limit.registers;
  p.warpSize = warpSize;
  p.memPitch = maximalPitch;
  p.maxThreadsPerBlock = limit.threadsPerBlock;
  const int block[] = {limit.blockX, limit.blockY, limit.blockZ},
            grid[] = {limit.gridX, limit.gridY, limit.gridZ};
  std::copy_n(block, 3, p.maxThreadsDim);
  std::copy_n(grid, 3, p.maxGridSize);
  p.clockRate = profile.clockRateKHz;
  p.totalConstMem = 65536;
  p.major = profile.emulation ? 9999 : profile.major;
  p.minor = profile.emulation ? 9999 : profile.minor;
  p.textureAlignment = 256;
  p.deviceOverlap = profile.overlapsCopies ? 1 : 0;
  p.multiProcessorCount = profile.multiprocessors;
  p.integrated = 1;
  p.canMapHostMemory = profile.mapsHostMemory ? 1 : 0;
  p.computeMode = cudaComputeModeDefault;
  return p;
}

// How a wait ends: with the error of the device, or of work that this thread has issued.
cudaError_t afterWait(const Device& device) {
  verifyGuards();
  const cudaError_t failure = queue().takeFailure(), lost = lostWith(device);
  return lost != cudaSuccess ? lost : failure;
}

cudaError_t createStream(cudaStream_t* stream, unsigned flags) {
  return entryPoint(CallGuard(Entry::streamCreate, {flags}), [=] {
    if (stream == nullptr || (flags & ~unsigned{cudaStreamNonBlocking}) != 0) return cudaErrorInvalidValue;
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    *stream = queue().createStream(*device, (flags & cudaStreamNonBlocking) == 0);
    return cudaSuccess;
  });
}

// Whether the work of the number that find(device, &number) gives is done, alone or with all before it.
template <class Find>
cudaError_t query(const CallGuard& guard, bool alone, const Find& find) {
  bool done = true;
  const cudaError_t status = entryPoint(guard, [&] {
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    std::uint64_t last = 0;
    if (!find(*device, &last)) return cudaErrorInvalidResourceHandle;
    done = queue().poll(last, alone);
    return done ? afterWait(*device) : cudaSuccess;
  });
  return done ? status : cudaErrorNotReady;  // an answer, not an error: it does not stick
}

}  // namespace

int toviSw_deviceInUse(int device) {
  MachineState& s = machineState();
  if (device < 0 || static_cast<std::size_t>(device) >= s.devices.size()) return 0;
  return s.devices[static_cast<std::size_t>(device)].inUse.load(std::memory_order_acquire) ? 1 : 0;
}

cudaError_t cudaRuntimeGetVersion(int* result) {
  return version(Entry::runtimeGetVersion, &Machine::runtimeVersion, result);
}

cudaError_t cudaDriverGetVersion(int* result) {
  return version(Entry::driverGetVersion, &Machine::driverVersion, result);
}

cudaError_t cudaGetDeviceCount(int* count) {
  return entryPoint(CallGuard(Entry::getDeviceCount), [=] {
    if (count == nullptr) return cudaErrorInvalidValue;
    *count = static_cast<int>(machineState().devices.size());
    return cudaSuccess;
  });
}

cudaError_t cudaGetDeviceProperties(cudaDeviceProp* result, int device) {
  return entryPoint(CallGuard(Entry::getDeviceProperties), [=] {
    if (result == nullptr) return cudaErrorInvalidValue;
    const auto& devices = machineState().machine.devices;
    if (device < 0 || static_cast<std::size_t>(device) >= devices.size()) return cudaErrorInvalidDevice;
    *result = properties(devices[static_cast<std::size_t>(device)]);
    return cudaSuccess;
  });
}

cudaError_t cudaSetDevice(int device) {
  return entryPoint(CallGuard(Entry::setDevice, {device}), [=] { return setCurrentDevice(device); });
}

cudaError_t cudaGetDevice(int* device) {
  return entryPoint(CallGuard(Entry::getDevice), [=] {
    if (device == nullptr) return cudaErrorInvalidValue;
    const Device* const current = currentDevice();
    if (current == nullptr) return cudaErrorNoDevice;
    *device = current->ordinal;
    return cudaSuccess;
  });
}

cudaError_t cudaStreamCreate(cudaStream_t* stream) { return createStream(stream, cudaStreamDefault); }

cudaError_t cudaStreamCreateWithFlags(cudaStream_t* stream, unsigned flags) {
  return createStream(stream, flags);
}

// Does not wait: the stream's work goes on without it.
cudaError_t cudaStreamDestroy(cudaStream_t stream) {
  return releasePoint(CallGuard(Entry::streamDestroy, {}, stream), [=] {
    if (stream == nullptr || !queue().removeStream(stream)) return cudaErrorInvalidResourceHandle;
    return lostWithCurrent();
  });
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream) {
  return entryPoint(CallGuard(Entry::streamSynchronize, {}, stream), [=] {
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    return queue().waitForTurn(*device, stream) ? afterWait(*device) : cudaErrorInvalidResourceHandle;
  });
}

cudaError_t cudaStreamQuery(cudaStream_t stream) {
  const CallGuard guard(Entry::streamQuery, {}, stream);
  return query(guard, stream != nullptr, [=](const Device& device, std::uint64_t* last) {
    return queue().lastIssued(device, stream, last);
  });
}

// The event may be another device's.
cudaError_t cudaStreamWaitEvent(cudaStream_t stream, cudaEvent_t event, unsigned flags) {
  return entryPoint(CallGuard(Entry::streamWaitEvent, {}, stream), [=] {
    if (flags != 0) return cudaErrorInvalidValue;
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    const bool valid = queue().belongs(stream, *device) && queue().await(*device, stream, event);
    return valid ? cudaSuccess : cudaErrorInvalidResourceHandle;
  });
}

cudaError_t cudaEventCreateWithFlags(cudaEvent_t* event, unsigned flags) {
  return entryPoint(CallGuard(Entry::eventCreate, {flags}), [=] {
    constexpr unsigned known = cudaEventBlockingSync | cudaEventDisableTiming;
    if (event == nullptr || (flags & ~known) != 0) return cudaErrorInvalidValue;
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    *event = queue().createEvent(*device);
    return cudaSuccess;
  });
}

cudaError_t cudaEventDestroy(cudaEvent_t event) {
  return releasePoint(CallGuard(Entry::eventDestroy), [=] {
    return queue().removeEvent(event) ? lostWithCurrent() : cudaErrorInvalidResourceHandle;
  });
}

cudaError_t cudaEventRecord(cudaEvent_t event, cudaStream_t stream) {
  return entryPoint(CallGuard(Entry::eventRecord, {}, stream), [=] {
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    const bool valid = queue().belongs(stream, *device) && queue().record(*device, stream, event);
    return valid ? cudaSuccess : cudaErrorInvalidResourceHandle;
  });
}

cudaError_t cudaEventSynchronize(cudaEvent_t event) {
  return entryPoint(CallGuard(Entry::eventSynchronize), [=] {
    Device* device = nullptr;
    if (const cudaError_t error = useDevice(&device)) return error;
    std::uint64_t last = 0;
    if (!queue().lastBefore(event, &last)) return cudaErrorInvalidResourceHandle;
    queue().waitForWork(last);
    return afterWait(*device);
  });
}

cudaError_t cudaEventQuery(cudaEvent_t event) {
  return query(CallGuard(Entry::eventQuery), true,
               [=](const Device&, std::uint64_t* last) { return queue().lastBefore(event, last); });
}

// Where a process has but one device, makes the one active that cudaSetDevice has chosen. Where none has been
// chosen there is nothing to wait for, and the choice stays open.
cudaError_t cudaThreadSynchronize() {
  return entryPoint(CallGuard(Entry::threadSynchronize), [] {
    MachineState& s = machineState();
    Device* device = currentDevice();
    if (device == nullptr) return cudaSuccess;
    bool uses = !s.machine.oneDevicePerProcess;
    if (!uses) {
      const std::lock_guard<std::mutex> lock(s.choice);
      uses = s.chosen || s.active;
    }
    if (uses) {
      if (const cudaError_t error = useDevice(&device)) return error;
    }
    queue().wait(device->issued.load(std::memory_order_acquire));
    return afterWait(*device);
  });
}

cudaError_t cudaDeviceSynchronize() { return cudaThreadSynchronize(); }
