#include "api/frame.h"

#include <atomic>

#include "cudalib/check.h"
#include "cudalib/exceptions.h"
#include "cudalib/hooks.h"
#include "platform/host/work_buffers.h"
#include "platform/runtime.h"

namespace tovi::api {
namespace {

// Two variables for the whole process: a thread may read what another one's call has left. Atomic only so
// that this is no data race.
std::atomic<int> theLastStatus{toviNoError};
std::atomic<int> theErrorInfo{0};

// Its setting publishes what initialization has recorded.
std::atomic<bool> theInitializedFlag{false};

void setErrorInfo(int info) { theErrorInfo.store(info, std::memory_order_relaxed); }

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

// After a failure the device is idle and no error is pending.
void drain() {
  static_cast<void>(cudaThreadSynchronize());
  cudalib::discardPendingErrors();
}

}  // namespace

bool initialized() { return theInitializedFlag.load(std::memory_order_acquire); }
void setInitialized(bool value) { theInitializedFlag.store(value, std::memory_order_release); }

toviStatus lastStatus() { return static_cast<toviStatus>(theLastStatus.load(std::memory_order_relaxed)); }
int errorInfo() { return theErrorInfo.load(std::memory_order_relaxed); }

toviStatus store(toviStatus status) {
  theLastStatus.store(status, std::memory_order_relaxed);
  return status;
}

toviStatus detail::run(Frame frame, toviStatus (*call)(void*), void* body) {
  const Nesting nesting;
  const bool hooked = frame == Frame::routine && nesting.outermost();
  setErrorInfo(0);

  toviStatus status = attempt([=] {
    const host::WorkBufferLease buffers(hooked ? 1 : 0);
    if (hooked) CallHooks::run(callHooks().entry);
    const toviStatus result = call(body);
    if (result == toviNoError && frame != Frame::guarded) cudalib::completionCheck();
    return result;
  });
  // Arguments are checked before anything else is done: then nothing can be pending.
  if (status != toviNoError && status != toviArgumentError) drain();

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
