// What kernels find declared beside the runtime: where they are, what the threads of their block share, and
// the barrier. Not in <cuda_runtime.h>, as the names are macros here, and host programs may have variables of
// these names.

#ifndef TOVI_DEVICE_KERNEL_H
#define TOVI_DEVICE_KERNEL_H

#include <cuda_runtime.h>

#include <memory>

namespace software_device {

struct SharedVariable;

struct KernelPlace {
  uint3 threadIdx, blockIdx;
  dim3 blockDim, gridDim;
  SharedVariable* shared;
};

// That of the host thread that runs the kernel. The loop over the threads of a block stands in the module
// that holds the kernel, and so does this storage. Its address is constant: the compiler asks for it once,
// outside of that loop.
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

// What TOVI_SHARED has declared. Every thread of a process has the thread-local memory of all its libraries
// on its stack, and most never run a kernel: this is had when a thread of a block comes to the declaration,
// and serves one block after the other until the host thread has run those that it was given.
struct SharedVariable {
  explicit SharedVariable(const void* of) : declaration(of) {}
  virtual ~SharedVariable() = default;
  SharedVariable(const SharedVariable&) = delete;
  SharedVariable& operator=(const SharedVariable&) = delete;

  const void* const declaration;
  std::unique_ptr<SharedVariable> next;
};

template <class T>
struct SharedVariableOf final : SharedVariable {
  using SharedVariable::SharedVariable;
  T value;
};

// std::bad_alloc goes to who runs the blocks, provided that no thread has met a barrier.
template <class T>
T& sharedVariable(const void* declaration) {
  SharedVariable*& first = kernelPlace().shared;
  for (SharedVariable* one = first; one != nullptr; one = one->next.get())
    if (one->declaration == declaration) return static_cast<SharedVariableOf<T>*>(one)->value;
  auto made = std::make_unique<SharedVariableOf<T>>(declaration);
  made->next.reset(first);
  T& value = made->value;
  first = made.release();
  return value;
}

// Lives as long as the blocks that use what they have made.
class SharedVariables {
 public:
  SharedVariables() = default;
  ~SharedVariables() {
    const std::unique_ptr<SharedVariable> first(kernelPlace().shared);
    kernelPlace().shared = nullptr;
  }
  SharedVariables(const SharedVariables&) = delete;
  SharedVariables& operator=(const SharedVariables&) = delete;
};

}  // namespace software_device

// An array that the threads of a block share: TOVI_SHARED(float, tile, [16][17]). Stands in front of what
// might return.
// NOLINTBEGIN(bugprone-macro-parentheses): the name is declared
#define TOVI_SHARED(type, name, extents) \
  static char name##Declaration;         \
  auto& name = software_device::sharedVariable<type extents>(&name##Declaration)
// NOLINTEND(bugprone-macro-parentheses)

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

// Products that are rounded before they are added to anything, as the compiler does it for processors without
// other instructions.
inline float __fmul_rn(float x, float y) { return x * y; }
inline double __dmul_rn(double x, double y) { return x * y; }

#endif
