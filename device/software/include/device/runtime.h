// What the library includes for the CUDA runtime and the legacy BLAS interface, on the software device.

#ifndef TOVI_DEVICE_RUNTIME_H
#define TOVI_DEVICE_RUNTIME_H

#include <cublas.h>
#include <cuda_runtime.h>

#include "device/kernel.h"

extern "C" TOVI_SOFTWARE_API int toviSw_deviceInUse(int device);

namespace device {

inline constexpr cudaError_t errorSetOnActiveProcess = cudaErrorSetOnActiveProcess;

// The runtime's device properties, with two fields that other toolkits keep elsewhere.
struct DeviceProperties : cudaDeviceProp {
  int clockRateKHz;    // shader clock
  int overlapsCopies;  // non-zero: copies run beside kernels
};

inline cudaError_t getDeviceProperties(DeviceProperties* properties, int device) {
  const cudaError_t status = cudaGetDeviceProperties(properties, device);
  if (status == cudaSuccess) {
    properties->clockRateKHz = properties->clockRate;
    properties->overlapsCopies = properties->deviceOverlap;
  }
  return status;
}

// Whether this process is using the device already.
inline bool deviceInUse(int device) { return toviSw_deviceInUse(device) != 0; }

}  // namespace device

#endif
