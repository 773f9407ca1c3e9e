// The CUDA runtime and the legacy BLAS interface of today's toolkits, together with the few things that the
// library calls and that they have dropped: cudaThreadSynchronize, which CUDA 12 still has and warns of, and
// two fields of the device properties.

#ifndef TOVI_DEVICE_RUNTIME_H
#define TOVI_DEVICE_RUNTIME_H

#include <cublas.h>
#include <cuda_runtime.h>
#include <device_launch_parameters.h>  // blockIdx and its like, declared for the host compiler, too

#include <atomic>
#include <map>
#include <mutex>

#define cudaThreadSynchronize cudaDeviceSynchronize

namespace device {

// cudaErrorSetOnActiveProcess: "cannot set while device is active in this process".
inline constexpr cudaError_t errorSetOnActiveProcess = cudaErrorSetOnActiveProcess;

// The runtime's device properties with the two fields that later toolkits moved to attributes.
struct DeviceProperties : cudaDeviceProp {
  int clockRateKHz;    // shader clock
  int overlapsCopies;  // non-zero: copies run beside kernels
};

// Read once a device and kept: the query takes milliseconds, and every launch of a vector kernel asks for the
// limits of the grid.
inline cudaError_t getDeviceProperties(DeviceProperties* properties, int device) {
  // Never destroyed: calls may come until the very last.
  static auto& lock = *new std::mutex;
  static auto& known = *new std::map<int, DeviceProperties>;
  const std::lock_guard<std::mutex> guard(lock);
  if (const auto found = known.find(device); found != known.end()) {
    *properties = found->second;
    return cudaSuccess;
  }
  cudaError_t status = cudaGetDeviceProperties(properties, device);
  if (status == cudaSuccess)
    status = cudaDeviceGetAttribute(&properties->clockRateKHz, cudaDevAttrClockRate, device);
  if (status == cudaSuccess)
    status = cudaDeviceGetAttribute(&properties->overlapsCopies, cudaDevAttrGpuOverlap, device);
  if (status == cudaSuccess) known[device] = *properties;
  return status;
}

// Whether this process is using the device already: whether the runtime has a context on it.
inline bool deviceInUse(int device) {
  void* query = nullptr;
  cudaDriverEntryPointQueryResult found = cudaDriverEntryPointSymbolNotFound;
#if CUDART_VERSION >= 12050
  const cudaError_t status =
      cudaGetDriverEntryPointByVersion("cuDevicePrimaryCtxGetState", &query, 7000, cudaEnableDefault, &found);
#else
  const cudaError_t status =
      cudaGetDriverEntryPoint("cuDevicePrimaryCtxGetState", &query, cudaEnableDefault, &found);
#endif
  if (status != cudaSuccess || found != cudaDriverEntryPointSuccess) {
    static_cast<void>(cudaGetLastError());
    return false;
  }
  unsigned flags = 0;
  int active = 0;
  const auto getState = reinterpret_cast<int (*)(int, unsigned*, int*)>(query);
  return getState(device, &flags, &active) == 0 && active != 0;
}

}  // namespace device

#endif
