// Turns what the CUDA runtime and CUBLAS report into exceptions.

#ifndef TOVI_CUDALIB_CHECK_H
#define TOVI_CUDALIB_CHECK_H

#include <platform/runtime.h>

#include "cudalib/exceptions.h"

namespace cudalib {

// Returns cudaSuccess, throws for everything else.
cudaError_t check(cudaError_t status);

// Reads, and thereby clears, the pending CUBLAS status and the pending CUDA error; throws for the first of
// them.
void checkPending();

// Waits for the device, then checks what is pending.
void completionCheck();

// Clears both without looking, so that what comes after a failure starts clean.
void discardPendingErrors() noexcept;

// For a call whose failure means nothing to the caller (a free, a query of unfinished work): takes back the
// error that the call left pending, and no other. Returns the status.
cudaError_t ignoreFailure(cudaError_t status) noexcept;

}  // namespace cudalib

#endif
