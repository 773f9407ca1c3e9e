#include "cudalib/check.h"

#include "ground/per_process.h"

namespace cudalib {

CudaRuntimeException::CudaRuntimeException(int error)
    : std::runtime_error(cudaGetErrorString(static_cast<cudaError_t>(error))), error_(error) {}

cudaError_t check(cudaError_t status) {
  switch (status) {
    case cudaSuccess:
      return status;
    case cudaErrorMemoryAllocation:
    case cudaErrorMemoryValueTooLarge:
      throw CudaMemoryException(cudaGetErrorString(status));
    default:
      throw CudaRuntimeException(static_cast<int>(status));
  }
}

void completionCheck() {
  const cudaError_t before = cudaGetLastError();
  const cudaError_t done = cudaThreadSynchronize();
  discardPendingErrors();  // the wait has left its error there, too
  check(before);
  check(done);
}

void checkWithoutDevice() {
  const cudaError_t pending = cudaGetLastError();
  if (pending != cudaErrorNoDevice && pending != cudaErrorInsufficientDriver) check(pending);
}

void settle() noexcept {
  static_cast<void>(cudaThreadSynchronize());
  discardPendingErrors();
}

void discardPendingErrors() noexcept { static_cast<void>(cudaGetLastError()); }

cudaError_t ignoreFailure(cudaError_t status) noexcept {
  if (status != cudaSuccess && cudaPeekAtLastError() == status) static_cast<void>(cudaGetLastError());
  return status;
}

namespace detail {
namespace {

tovi::PerProcess<std::mutex> theBlasMutex;

}  // namespace

std::mutex& blasMutex() { return theBlasMutex.get(); }

void checkBlasStatus(cublasStatus status) {
  if (status == CUBLAS_STATUS_SUCCESS) return;
  if (status == CUBLAS_STATUS_ALLOC_FAILED) throw CudaMemoryException("CUBLAS Allocation Failure");
  // On a device that is lost every call fails, CUBLAS's as if nobody had started it. The runtime says why.
  check(cudaThreadSynchronize());
  throw CublasException(static_cast<int>(status));
}

}  // namespace detail

}  // namespace cudalib
