#include "cudalib/check.h"

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

void checkPending() {
  // Both are read before either throws: an error left behind would be blamed on the next routine.
  const auto blas = platform::pendingBlasStatus();
  const cudaError_t cuda = cudaGetLastError();
  if (blas == CUBLAS_STATUS_ALLOC_FAILED) throw CudaMemoryException("CUBLAS Allocation Failure");
  if (blas != CUBLAS_STATUS_SUCCESS) throw CublasException(static_cast<int>(blas));
  check(cuda);
}

void completionCheck() {
  const cudaError_t status = cudaThreadSynchronize();  // what it says is pending, too
  // Without a device, or a driver for it, nothing can have failed: a routine that needs none has succeeded.
  if (status == cudaErrorNoDevice || status == cudaErrorInsufficientDriver) return discardPendingErrors();
  checkPending();
}

void discardPendingErrors() noexcept {
  static_cast<void>(platform::pendingBlasStatus());
  static_cast<void>(cudaGetLastError());
}

cudaError_t ignoreFailure(cudaError_t status) noexcept {
  if (status != cudaSuccess && cudaPeekAtLastError() == status) static_cast<void>(cudaGetLastError());
  return status;
}

}  // namespace cudalib
