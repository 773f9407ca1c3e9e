// Turns what the CUDA runtime and CUBLAS report into exceptions.

#ifndef TOVI_CUDALIB_CHECK_H
#define TOVI_CUDALIB_CHECK_H

#include <device/runtime.h>

#include <mutex>

#include "cudalib/exceptions.h"

namespace cudalib {

// Returns cudaSuccess, throws for everything else.
cudaError_t check(cudaError_t status);

// Waits for the device; throws what was pending in the calling thread, or what the wait brought to light.
// What is pending is cleared.
void completionCheck();

// The same before initialization, when there is nothing to wait for. Without a device, or a driver for it,
// the runtime says so whatever it is asked, and a routine that needs none has succeeded.
void checkWithoutDevice();

// Waits for the device and clears what is pending without looking: after a failure.
void settle() noexcept;

// Clears it without looking, so that what comes after a failure starts clean.
void discardPendingErrors() noexcept;

// For a call whose failure means nothing to the caller (a free, a query of unfinished work): takes back the
// error that the call left pending, and no other. Returns the status.
cudaError_t ignoreFailure(cudaError_t status) noexcept;

namespace detail {

std::mutex& blasMutex();
void checkBlasStatus(cublasStatus status);

}  // namespace detail

// Makes one call of a CUBLAS routine; throws its failure. The legacy interface keeps one status a context,
// that of the latest call, whichever thread's it was: nobody else calls between this call and the question.
template <class Call>
void checkBlas(const Call& call) {
  cublasStatus status = CUBLAS_STATUS_SUCCESS;
  {
    const std::lock_guard<std::mutex> lock(detail::blasMutex());
    call();
    status = cublasGetError();
  }
  detail::checkBlasStatus(status);
}

}  // namespace cudalib

#endif
