#include "api/frame.h"

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/exceptions.h"
#include "cudalib/runtime_flags.h"
#include "device/runtime.h"
#include "ground/hooks.h"
#include "ground/outcomes.h"
#include "ground/per_process.h"

namespace tovi::api {
namespace {

// Two variables for the whole process: a thread may read what another one's call has left.
tovi::PerProcessValue<int> theLastStatus(toviNoError), theErrorInfo(0);

// Its setting publishes what initialization has recorded. A child of a fork is not initialized: its parent's
// device is not its own.
tovi::PerProcessValue<bool> theInitializedFlag(false);

void setErrorInfo(int info) { theErrorInfo.set(info); }

toviStatus fail(toviStatus status, int info) {
  setErrorInfo(info);
  return status;
}

static_assert(static_cast<int>(Outcome::insufficientComputeCapability) == toviInsufficientComputeCapability &&
              static_cast<int>(Outcome::argumentError) == toviArgumentError &&
              static_cast<int>(Outcome::dataError) == toviDataError &&
              static_cast<int>(Outcome::runtimeError) == toviRuntimeError);

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

// How many calls this thread is inside of. The hooks belong to the one that came from outside, and not to
// those that a hook makes.
thread_local int depth = 0;

}  // namespace

bool initialized() { return theInitializedFlag.get(); }
void setInitialized(bool value) { theInitializedFlag.set(value); }

toviStatus lastStatus() { return static_cast<toviStatus>(theLastStatus.get()); }
int errorInfo() { return theErrorInfo.get(); }

toviStatus store(toviStatus status) {
  theLastStatus.set(status);
  return status;
}

Call::Call(Frame frame)
    : frame_(frame),
      hooked_(++depth == 1 && frame == Frame::routine),
      // Before initialization nothing of ours can be under way on any device, and to wait would be to use
      // one.
      onDevice_(frame != Frame::guarded && initialized()) {
  setErrorInfo(0);
}

Call::~Call() { --depth; }

void Call::begin() {
  workBuffers_.emplace(hooked_ ? 1 : 0);
  if (hooked_) CallHooks::run(callHooks().entry);
}

void Call::enterDevice() {
  if (onDevice_) device_.enter(cudalib::runtimeFlags().device);
}

void Call::complete() {
  if (frame_ == Frame::guarded) return;
  if (onDevice_)
    cudalib::completionCheck();
  else
    cudalib::checkWithoutDevice();
}

toviStatus Call::failed() { return classify(); }

// The device becomes idle and no error stays pending. Arguments are checked before anything else is done:
// then nothing can be.
void Call::settle(toviStatus failure) {
  workBuffers_.reset();
  if (failure == toviArgumentError) return;
  if (onDevice_)
    cudalib::settle();
  else
    cudalib::discardPendingErrors();
  // Also where it was CUBLAS or the host that had no memory: the next call may have more.
  if (failure == toviInsufficientMemory) cudalib::releaseAllBuffers();
}

toviStatus Call::end(toviStatus status) {
  workBuffers_.reset();
  if (hooked_) {
    try {
      CallHooks::run(callHooks().exit);
    } catch (...) {
      status = classify();
    }
  }
  return store(status);
}

}  // namespace tovi::api
