// The sticky error and the runtime's texts.

#include "platform/software/src/engine.h"

namespace software_device {

namespace {

// Each host thread has its own last error, as with CUDA. One of an earlier machine has never happened.
struct LastError {
  cudaError_t error = cudaSuccess;
  std::uint64_t generation = 0;
};
thread_local LastError lastError;

cudaError_t pendingError() { return lastError.generation == generation() ? lastError.error : cudaSuccess; }

}  // namespace

cudaError_t fail(cudaError_t error) noexcept {
  if (error != cudaSuccess) lastError = {error, generation()};
  return error;
}

}  // namespace software_device

using software_device::CallGuard;
using software_device::Entry;

cudaError_t cudaGetLastError() {
  const CallGuard guard(Entry::getLastError);
  const cudaError_t error = software_device::pendingError();
  software_device::lastError.error = cudaSuccess;
  return error;
}

cudaError_t cudaPeekAtLastError() {
  const CallGuard guard(Entry::peekAtLastError);
  return software_device::pendingError();
}

const char* cudaGetErrorString(cudaError_t error) {
  const CallGuard guard(Entry::getErrorString);
  switch (static_cast<int>(error)) {
    case cudaSuccess:
      return "no error";
    case cudaErrorMissingConfiguration:
      return "__global__ function call is not configured";
    case cudaErrorMemoryAllocation:
      return "out of memory";
    case cudaErrorInitializationError:
      return "initialization error";
    case cudaErrorLaunchFailure:
      return "unspecified launch failure";
    case cudaErrorPriorLaunchFailure:
      return "unspecified launch failure in prior launch";
    case cudaErrorLaunchTimeout:
      return "the launch timed out and was terminated";
    case cudaErrorLaunchOutOfResources:
      return "too many resources requested for launch";
    case cudaErrorInvalidDeviceFunction:
      return "invalid device function";
    case cudaErrorInvalidConfiguration:
      return "invalid configuration argument";
    case cudaErrorInvalidDevice:
      return "invalid device ordinal";
    case cudaErrorInvalidValue:
      return "invalid argument";
    case cudaErrorInvalidPitchValue:
      return "invalid pitch argument";
    case cudaErrorInvalidSymbol:
      return "invalid device symbol";
    case cudaErrorMapBufferObjectFailed:
      return "mapping of buffer object failed";
    case cudaErrorUnmapBufferObjectFailed:
      return "unmapping of buffer object failed";
    case cudaErrorInvalidHostPointer:
      return "invalid host pointer";
    case cudaErrorInvalidDevicePointer:
      return "invalid device pointer";
    case cudaErrorInvalidTexture:
      return "invalid texture reference";
    case cudaErrorInvalidTextureBinding:
      return "texture is not bound to a pointer";
    case cudaErrorInvalidChannelDescriptor:
      return "invalid channel descriptor";
    case cudaErrorInvalidMemcpyDirection:
      return "invalid copy direction for memcpy";
    case cudaErrorAddressOfConstant:
      return "address of constant could not be taken";
    case cudaErrorTextureFetchFailed:
      return "fetch from texture failed";
    case cudaErrorTextureNotBound:
      return "cannot fetch from a texture that is not bound";
    case cudaErrorSynchronizationError:
      return "incorrect use of __syncthreads()";
    case cudaErrorInvalidFilterSetting:
      return "linear filtering not supported for non-float type";
    case cudaErrorInvalidNormSetting:
      return "read as normalized float not supported for 32-bit non float type";
    case cudaErrorMixedDeviceExecution:
      return "device emulation mode and device execution mode cannot be mixed";
    case cudaErrorCudartUnloading:
      return "driver shutting down";
    case cudaErrorUnknown:
      return "unknown error";
    case cudaErrorNotYetImplemented:
      return "feature not yet implemented";
    case cudaErrorMemoryValueTooLarge:
      return "memory size or pointer value too large to fit in 32 bit";
    case cudaErrorInvalidResourceHandle:
      return "invalid resource handle";
    case cudaErrorNotReady:
      return "device not ready";
    case cudaErrorInsufficientDriver:
      return "CUDA driver version is insufficient for CUDA runtime version";
    case cudaErrorSetOnActiveProcess:
      return "cannot set while device is active in this process";
    case cudaErrorInvalidSurface:
      return "invalid surface reference";
    case cudaErrorNoDevice:
      return "no CUDA-capable device is detected";
    case cudaErrorECCUncorrectable:
      return "uncorrectable ECC error encountered";
    case cudaErrorSharedObjectSymbolNotFound:
      return "shared object symbol not found";
    case cudaErrorSharedObjectInitFailed:
      return "shared object initialization failed";
    case cudaErrorUnsupportedLimit:
      return "limit is not supported on this architecture";
    case cudaErrorDuplicateVariableName:
      return "duplicate global variable looked up by string name";
    case cudaErrorDuplicateTextureName:
      return "duplicate texture looked up by string name";
    case cudaErrorDuplicateSurfaceName:
      return "duplicate surface looked up by string name";
    case cudaErrorDevicesUnavailable:
      return "all CUDA-capable devices are busy or unavailable";
    case cudaErrorInvalidKernelImage:
      return "device kernel image is invalid";
    case cudaErrorNoKernelImageForDevice:
      return "no kernel image is available for execution on the device";
    case cudaErrorIncompatibleDriverContext:
      return "incompatible driver context";
    case cudaErrorStartupFailure:
      return "startup failure in cuda runtime";
    default:
      return "unknown error";
  }
}
