// What the device's parts share, the CUDA runtime and the BLAS alike: the frame of every entry point, the
// look-up of devices and of their memory, errors, and work for the queue.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_ENGINE_H
#define TOVI_DEVICE_SOFTWARE_SRC_ENGINE_H

#include <cuda_runtime.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <new>
#include <utility>

#include "device/software/src/model.h"
#include "device/work.h"

namespace software_device {

struct Device;

// Stands first in every entry point: counts and records the call and decides whether it is to fail.
class CallGuard {
 public:
  CallGuard() = default;  // of what is no call by itself
  explicit CallGuard(Entry entry, std::initializer_list<long long> arguments = {},
                     cudaStream_t stream = nullptr) noexcept;
  bool failed() const { return failed_; }
  // The CUDA error, or the CUBLAS status of a CUBLAS entry.
  int code() const { return code_; }

 private:
  bool failed_ = false;
  int code_ = 0;
};

// --- Errors. Sets the calling thread's last CUDA error (success leaves it alone) and returns it.
cudaError_t fail(cudaError_t error) noexcept;

// An entry point of the runtime: body() returns how it ended. No exception leaves it, whoever calls.
template <class Body>
cudaError_t entryPoint(const CallGuard& guard, const Body& body) noexcept {
  if (guard.failed()) return fail(static_cast<cudaError_t>(guard.code()));
  try {
    return fail(body());
  } catch (...) {
    return fail(cudaErrorMemoryAllocation);  // of the host's: nothing else is thrown
  }
}

// One that gives something back: release() does so even where the call is to fail, since its callers ignore
// its code.
template <class Release>
cudaError_t releasePoint(const CallGuard& guard, const Release& release) noexcept {
  const cudaError_t error = entryPoint(CallGuard(), release);
  return guard.failed() ? fail(static_cast<cudaError_t>(guard.code())) : error;
}

// --- The calling thread's current device; the process's, on a machine where that has but one. Null where no
// device is.
Device* currentDevice();
cudaError_t setCurrentDevice(int ordinal);
// For a call that uses it: the device is in use from then on. Fails without a device, and on one that is
// lost.
cudaError_t useDevice(Device** device);
// Every call that uses the device fails from here on, in every thread, as after an address that no memory
// stands behind.
void loseDevice(Device& device, cudaError_t error) noexcept;
// The error of a lost device, or success.
cudaError_t lostWith(const Device& device) noexcept;
cudaError_t lostWithCurrent();
// Changes with every configure(): whatever was set up under an earlier number is void.
std::uint64_t generation();

// --- Work. Of all streams it runs in the order of issue, one piece after the other: a legal serialization of
// the streams under the legacy rule of the default stream.
void enqueue(Device& device, cudaStream_t stream, std::unique_ptr<Work> work);
template <class Body>
void enqueue(Device& device, cudaStream_t stream, Body body, bool brief = false) {
  enqueue(device, stream, std::unique_ptr<Work>(std::make_unique<WorkOf<Body>>(std::move(body), brief)));
}
// Runs the body in its turn and returns when that is done: how it ended. Needs no memory.
cudaError_t runInTurn(Device& device, cudaStream_t stream, Work& work);
template <class Body>
cudaError_t runNow(Device& device, cudaStream_t stream, Body body) {
  WorkOf<Body> work(std::move(body));
  return runInTurn(device, stream, work);
}

// CUBLAS contexts that are alive.
std::size_t blasHandles();

// --- Memory. Whether all of these bytes lie inside one live allocation of some device, or of this one.
bool deviceRange(const void* p, std::size_t bytes);
bool deviceRange(const Device& device, const void* p, std::size_t bytes);
// Whether the device looks for faults of its users, and takes its turns in an order that the seed gives.
bool checking();
std::uint64_t checkingSeed();
void check(bool on, std::uint64_t seed);
// Whether kernels that have a native body run as that.
extern std::atomic<bool> nativeBodies;
// How many have.
extern std::atomic<std::uint64_t> nativeRuns;
// Aborts, with a message, when something has written behind an allocation. Looks only while checking.
void verifyGuards();

}  // namespace software_device

#endif
