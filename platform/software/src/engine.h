// What the device's parts share, the CUDA runtime and the BLAS alike: the guard at the top of every entry
// point, the queue, the look-up of device memory, the sticky error, and the machine that is pretended.

#ifndef TOVI_SOFTWARE_ENGINE_H
#define TOVI_SOFTWARE_ENGINE_H

#include <cuda_runtime.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>

#include "platform/software/testing/software_device.h"

namespace software_device {

// Stands first in every entry point: counts and records the call and decides whether it is to fail. Usage:
//   CallGuard guard(Entry::malloc, {bytes});
//   if (guard.failed()) return fail(guard.error());
// The BLAS reads code() as a CUBLAS status instead.
class CallGuard {
 public:
  explicit CallGuard(Entry entry, std::initializer_list<long long> arguments = {},
                     cudaStream_t stream = nullptr);
  bool failed() const { return failed_; }
  int code() const { return code_; }
  cudaError_t error() const { return static_cast<cudaError_t>(code_); }

 private:
  bool failed_ = false;
  int code_ = 0;
};

// --- Errors. Sets the calling thread's sticky CUDA error (success leaves it alone) and returns it.
cudaError_t fail(cudaError_t error);

// --- The device that this process uses. The first call that needs it makes it active, and from then on it
// cannot be changed. cudaErrorNoDevice on a machine without one.
cudaError_t activate();
// The current device; a machine must have one.
const Profile& currentProfile();
// Changes with every configure(): whatever was set up under an earlier number is void.
std::uint64_t generation();

// --- The queue. Work of all streams runs in the order of issue, one piece after the other: a legal
// serialization of the streams under the legacy rule of the default stream.
void enqueue(cudaStream_t stream, std::function<void()> work);
// The same, and returns when the work is done.
void enqueueAndWait(cudaStream_t stream, std::function<void()> work);
// Returns when all work issued so far is done.
void waitForAll();

// --- Memory. Whether all of these bytes lie inside one live allocation of device memory.
bool deviceRange(const void* p, std::size_t bytes);
// From setChecking().
bool checking();
// Aborts, with a message, when something has written behind an allocation. Looks only while checking.
void verifyGuards();

}  // namespace software_device

#endif
