// What kernels find declared beside the runtime: where they are, and the barrier. Not in <cuda_runtime.h>, as
// the names are macros here, and host programs may have variables of these names.

#ifndef TOVI_PLATFORM_KERNEL_H
#define TOVI_PLATFORM_KERNEL_H

#include <cuda_runtime.h>

namespace software_device {

struct KernelPlace {
  uint3 threadIdx, blockIdx;
  dim3 blockDim, gridDim;
};

// That of the host thread that runs the kernel. The loop over the threads of a block stands in the module
// that holds the kernel, and so does this storage. Its address is constant: the compiler asks for it once,
// outside of that loop. Thread-local variables of the model that is as fast, initial-exec, would keep the
// module, with all that it has in __shared__, from being loaded while a process runs.
#if defined(__ELF__)
__attribute__((const, noinline, visibility("hidden")))
#elif defined(__GNUC__)
__attribute__((const, noinline))
#endif
inline KernelPlace&
kernelPlace() {
  static thread_local KernelPlace place{};
  return place;
}

}  // namespace software_device

#define threadIdx (software_device::kernelPlace().threadIdx)
#define blockIdx (software_device::kernelPlace().blockIdx)
#define blockDim (software_device::kernelPlace().blockDim)
#define gridDim (software_device::kernelPlace().gridDim)

extern "C" TOVI_SOFTWARE_API void toviSw_syncthreads(unsigned int thread);

inline void __syncthreads() {
  const uint3 thread = threadIdx;
  toviSw_syncthreads((thread.z * blockDim.y + thread.y) * blockDim.x + thread.x);
  threadIdx = thread;  // the other threads of the block have run in between
}

#endif
