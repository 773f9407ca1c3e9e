#include "api/frame.h"

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/device_scope.h"
#include "cudalib/exceptions.h"
#include "cudalib/hooks.h"
#include "platform/host/floating_point.h"
#include "platform/host/per_process.h"
#include "platform/host/process.h"
#include "platform/host/work_buffers.h"
#include "platform/runtime.h"

namespace tovi::api {
namespace {

// Two variables for the whole process: a thread may read what another one's call has left.
platform::PerProcessValue<int> theLastStatus(toviNoError), theErrorInfo(0);

// Its setting publishes what initialization has recorded. A child of a fork is not initialized: its parent's
// device is not its own.
platform::PerProcessValue<bool> theInitializedFlag(false);

void setErrorInfo(int info) { theErrorInfo.set(info); }

toviStatus fail(toviStatus status, int info) {
  setErrorInfo(info);
  return status;
}

// The table of exceptions, for the one being handled. CudaMemoryException is a bad_alloc.
toviStatus classify() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return toviInsufficientMemory;
  } catch (const cudalib::CudaRuntimeException& exception) {
    return fail(toviRuntimeError, exception.error());
  } catch (const cudalib::CublasException& exception) {
    return fail(toviBlasError, exception.status());
  } catch (const InfoException& exception) {
    return fail(static_cast<toviStatus>(exception.status()), exception.info());
  } catch (const FeatNotImplException&) {
    return toviFeatureNotImplemented;
  } catch (...) {
    return fail(toviRuntimeError, -1);
  }
}

template <class Work>
toviStatus attempt(Work work) {
  try {
    return work();
  } catch (...) {
    return classify();
  }
}

// How many routines this thread is inside of. A host routine calls a device routine: the hooks belong to the
// call that came from outside.
thread_local int depth = 0;

class Nesting {
 public:
  Nesting() { ++depth; }
  ~Nesting() { --depth; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
  bool outermost() const { return depth == 1; }
};

}  // namespace

bool initialized() { return theInitializedFlag.get(); }
void setInitialized(bool value) { theInitializedFlag.set(value); }

toviStatus lastStatus() { return static_cast<toviStatus>(theLastStatus.get()); }
int errorInfo() { return theErrorInfo.get(); }

toviStatus store(toviStatus status) {
  theLastStatus.set(status);
  return status;
}

toviStatus detail::run(Frame frame, Callable check, Callable body) {
  const Nesting nesting;
  const platform::NotCancellable notCancellable;
  const platform::StatedFloatingPointMode mode;
  const bool hooked = frame == Frame::routine && nesting.outermost();
  // Before initialization nothing of ours can be under way on any device, and to wait would be to use one.
  const bool onDevice = frame != Frame::guarded && initialized();
  cudalib::DeviceScope device;
  setErrorInfo(0);

  toviStatus status = attempt([&] {
    const host::WorkBufferLease buffers(hooked ? 1 : 0);
    if (hooked) CallHooks::run(callHooks().entry);
    check();
    if (onDevice) device.enter(cudalib::runtimeFlags().device);
    const toviStatus result = body();
    if (result != toviNoError || frame == Frame::guarded) return result;
    if (onDevice)
      cudalib::completionCheck();
    else
      cudalib::checkWithoutDevice();
    return result;
  });
  // After a failure the device is idle and no error is pending. Arguments are checked before anything else is
  // done: then nothing can be.
  if (status != toviNoError && status != toviArgumentError) {
    if (onDevice) static_cast<void>(cudaThreadSynchronize());
    cudalib::discardPendingErrors();
    // Also where it was CUBLAS or the host that had no memory: the next call may have more.
    if (status == toviInsufficientMemory) cudalib::releaseAllBuffers();
  }

  if (hooked) {
    const toviStatus hookStatus = attempt([] {
      CallHooks::run(callHooks().exit);
      return toviNoError;
    });
    if (hookStatus != toviNoError) status = hookStatus;
  }
  return store(status);
}

}  // namespace tovi::api
