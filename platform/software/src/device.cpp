// The runtime's versions, devices and streams.

#include <algorithm>

#include "platform/software/src/engine.h"
#include "platform/software/src/machine.h"
#include "platform/software/src/queue.h"

using namespace software_device;

namespace {

cudaError_t version(Entry entry, int Machine::*which, int* result) {
  const CallGuard guard(entry);
  if (guard.failed()) return fail(guard.error());
  if (result == nullptr) return fail(cudaErrorInvalidValue);
  *result = machineState().machine.*which;
  return cudaSuccess;
}

bool validOrdinal(int device) {
  return device >= 0 && static_cast<std::size_t>(device) < machineState().machine.devices.size();
}

}  // namespace

cudaError_t cudaRuntimeGetVersion(int* result) {
  return version(Entry::runtimeGetVersion, &Machine::runtimeVersion, result);
}

cudaError_t cudaDriverGetVersion(int* result) {
  return version(Entry::driverGetVersion, &Machine::driverVersion, result);
}

cudaError_t cudaGetDeviceCount(int* count) {
  const CallGuard guard(Entry::getDeviceCount);
  if (guard.failed()) return fail(guard.error());
  if (count == nullptr) return fail(cudaErrorInvalidValue);
  *count = static_cast<int>(machineState().machine.devices.size());
  return cudaSuccess;
}

cudaError_t cudaGetDeviceProperties(cudaDeviceProp* properties, int device) {
  const CallGuard guard(Entry::getDeviceProperties);
  if (guard.failed()) return fail(guard.error());
  if (properties == nullptr) return fail(cudaErrorInvalidValue);
  if (!validOrdinal(device)) return fail(cudaErrorInvalidDevice);
  const Profile& profile = machineState().machine.devices[static_cast<std::size_t>(device)];
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
  *properties = p;
  return cudaSuccess;
}

cudaError_t cudaSetDevice(int device) {
  const CallGuard guard(Entry::setDevice, {device});
  if (guard.failed()) return fail(guard.error());
  MachineState& s = machineState();
  if (s.machine.devices.empty()) return fail(cudaErrorNoDevice);
  if (!validOrdinal(device)) return fail(cudaErrorInvalidDevice);
  const std::lock_guard<std::mutex> lock(s.choice);
  if (s.active) return fail(cudaErrorSetOnActiveProcess);
  s.current = device;
  s.chosen = true;
  return cudaSuccess;
}

cudaError_t cudaGetDevice(int* device) {
  const CallGuard guard(Entry::getDevice);
  if (guard.failed()) return fail(guard.error());
  if (device == nullptr) return fail(cudaErrorInvalidValue);
  MachineState& s = machineState();
  if (s.machine.devices.empty()) return fail(cudaErrorNoDevice);
  const std::lock_guard<std::mutex> lock(s.choice);
  *device = s.current;
  return cudaSuccess;
}

cudaError_t cudaStreamCreate(cudaStream_t* stream) {
  const CallGuard guard(Entry::streamCreate);
  if (guard.failed()) return fail(guard.error());
  if (stream == nullptr) return fail(cudaErrorInvalidValue);
  if (const cudaError_t error = activate()) return fail(error);
  *stream = queue().createStream();
  return cudaSuccess;
}

// A failing destruction still destroys, as a failing free still frees: callers ignore the code of both.
cudaError_t cudaStreamDestroy(cudaStream_t stream) {
  const CallGuard guard(Entry::streamDestroy, {}, stream);
  std::uint64_t last = 0;
  if (stream == nullptr || !queue().lastIssued(stream, &last)) return fail(cudaErrorInvalidResourceHandle);
  queue().wait(last);
  queue().removeStream(stream);
  return guard.failed() ? fail(guard.error()) : cudaSuccess;
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream) {
  const CallGuard guard(Entry::streamSynchronize, {}, stream);
  if (guard.failed()) return fail(guard.error());
  std::uint64_t last = 0;
  if (!queue().lastIssued(stream, &last)) return fail(cudaErrorInvalidResourceHandle);
  queue().wait(last);
  verifyGuards();
  return cudaSuccess;
}

cudaError_t cudaStreamQuery(cudaStream_t stream) {
  const CallGuard guard(Entry::streamQuery, {}, stream);
  if (guard.failed()) return fail(guard.error());
  std::uint64_t last = 0;
  if (!queue().lastIssued(stream, &last)) return fail(cudaErrorInvalidResourceHandle);
  return queue().poll(last) ? cudaSuccess : cudaErrorNotReady;  // an answer, not an error: it does not stick
}

// Makes the device active that cudaSetDevice has chosen. Where none has been chosen there is nothing to wait
// for, and the choice stays open.
cudaError_t cudaThreadSynchronize() {
  const CallGuard guard(Entry::threadSynchronize);
  if (guard.failed()) return fail(guard.error());
  MachineState& s = machineState();
  {
    const std::lock_guard<std::mutex> lock(s.choice);
    if (s.chosen) s.active = true;
  }
  queue().waitForAll();
  verifyGuards();
  return cudaSuccess;
}

cudaError_t cudaDeviceSynchronize() { return cudaThreadSynchronize(); }
