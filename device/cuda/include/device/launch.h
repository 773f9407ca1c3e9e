// Kernel launches. The kernel is a template argument, so that the software device can inline its body; here
// it becomes an ordinary launch through the runtime. Errors stay with the runtime until cudaGetLastError
// reads them.

#ifndef TOVI_DEVICE_LAUNCH_H
#define TOVI_DEVICE_LAUNCH_H

#include <cstddef>

#include "device/native.h"
#include "device/runtime.h"

// An array that the threads of a block share: TOVI_SHARED(float, tile, [16][17]).
#define TOVI_SHARED(type, name, extents) __shared__ type name extents

namespace device {

template <auto Kernel, class Native = native::None, class... Args>
void launch(dim3 grid, dim3 block, std::size_t sharedBytes, cudaStream_t stream, Args... args) {
  cudaLaunchConfig_t configuration = {};
  configuration.gridDim = grid;
  configuration.blockDim = block;
  configuration.dynamicSmemBytes = sharedBytes;
  configuration.stream = stream;
  static_cast<void>(cudaLaunchKernelEx(&configuration, Kernel, args...));
}

}  // namespace device

#endif
