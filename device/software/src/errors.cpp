// The sticky error and the runtime's texts.

#include "device/software/src/engine.h"

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

namespace {

// The texts of the toolkit.
constexpr struct {
  cudaError_t error;
  const char* text;
} texts[] = {
    {cudaSuccess, "no error"},
    {cudaErrorMissingConfiguration, "__global__ function call is not configured"},
    {cudaErrorMemoryAllocation, "out of memory"},
    {cudaErrorInitializationError, "initialization error"},
    {cudaErrorLaunchFailure, "unspecified launch failure"},
    {cudaErrorPriorLaunchFailure, "unspecified launch failure in prior launch"},
    {cudaErrorLaunchTimeout, "the launch timed out and was terminated"},
    {cudaErrorLaunchOutOfResources, "too many resources requested for launch"},
    {cudaErrorInvalidDeviceFunction, "invalid device function"},
    {cudaErrorInvalidConfiguration, "invalid configuration argument"},
    {cudaErrorInvalidDevice, "invalid device ordinal"},
    {cudaErrorInvalidValue, "invalid argument"},
    {cudaErrorInvalidPitchValue, "invalid pitch argument"},
    {cudaErrorInvalidSymbol, "invalid device symbol"},
    {cudaErrorMapBufferObjectFailed, "mapping of buffer object failed"},
    {cudaErrorUnmapBufferObjectFailed, "unmapping of buffer object failed"},
    {cudaErrorInvalidHostPointer, "invalid host pointer"},
    {cudaErrorInvalidDevicePointer, "invalid device pointer"},
    {cudaErrorInvalidTexture, "invalid texture reference"},
    {cudaErrorInvalidTextureBinding, "texture is not bound to a pointer"},
    {cudaErrorInvalidChannelDescriptor, "invalid channel descriptor"},
    {cudaErrorInvalidMemcpyDirection, "invalid copy direction for memcpy"},
    {cudaErrorAddressOfConstant, "address of constant could not be taken"},
    {cudaErrorTextureFetchFailed, "fetch from texture failed"},
    {cudaErrorTextureNotBound, "cannot fetch from a texture that is not bound"},
    {cudaErrorSynchronizationError, "incorrect use of __syncthreads()"},
    {cudaErrorInvalidFilterSetting, "linear filtering not supported for non-float type"},
    {cudaErrorInvalidNormSetting, "read as normalized float not supported for 32-bit non float type"},
    {cudaErrorMixedDeviceExecution, "device emulation mode and device execution mode cannot be mixed"},
    {cudaErrorCudartUnloading, "driver shutting down"},
    {cudaErrorUnknown, "unknown error"},
    {cudaErrorNotYetImplemented, "feature not yet implemented"},
    {cudaErrorMemoryValueTooLarge, "memory size or pointer value too large to fit in 32 bit"},
    {cudaErrorInvalidResourceHandle, "invalid resource handle"},
    {cudaErrorNotReady, "device not ready"},
    {cudaErrorInsufficientDriver, "CUDA driver version is insufficient for CUDA runtime version"},
    {cudaErrorSetOnActiveProcess, "cannot set while device is active in this process"},
    {cudaErrorInvalidSurface, "invalid surface reference"},
    {cudaErrorNoDevice, "no CUDA-capable device is detected"},
    {cudaErrorECCUncorrectable, "uncorrectable ECC error encountered"},
    {cudaErrorSharedObjectSymbolNotFound, "shared object symbol not found"},
    {cudaErrorSharedObjectInitFailed, "shared object initialization failed"},
    {cudaErrorUnsupportedLimit, "limit is not supported on this architecture"},
    {cudaErrorDuplicateVariableName, "duplicate global variable looked up by string name"},
    {cudaErrorDuplicateTextureName, "duplicate texture looked up by string name"},
    {cudaErrorDuplicateSurfaceName, "duplicate surface looked up by string name"},
    {cudaErrorDevicesUnavailable, "all CUDA-capable devices are busy or unavailable"},
    {cudaErrorInvalidKernelImage, "device kernel image is invalid"},
    {cudaErrorNoKernelImageForDevice, "no kernel image is available for execution on the device"},
    {cudaErrorIncompatibleDriverContext, "incompatible driver context"},
    {cudaErrorStartupFailure, "startup failure in cuda runtime"},
};

}  // namespace

const char* cudaGetErrorString(cudaError_t error) {
  const CallGuard guard(Entry::getErrorString);
  for (const auto& row : texts)
    if (row.error == error) return row.text;
  return "unknown error";
}
