#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <set>

#include "api/devices.h"
#include "api/frame.h"
#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/device_scope.h"
#include "cudalib/device_table.h"
#include "cudalib/runtime_flags.h"
#include "device/runtime.h"
#include "ground/hooks.h"
#include "ground/per_process.h"
#include "host/process.h"
#include "host/work_buffers.h"

namespace tovi::api {
namespace {

constexpr int oldestVersion = 3020;  // of the CUDA runtime and driver: 3.2

struct Lifecycle {
  boost::mutex mutex;                  // held for the whole of each routine in this file, and by nothing else
  std::set<std::uint32_t> registered;  // the threads that have called toviInitialize
};

tovi::PerProcess<Lifecycle> theLifecycle;
Lifecycle& lifecycle() { return theLifecycle.get(); }

// What initialization has bound a thread to; -1: nothing yet. Giving a thread its own device back puts that
// in use, which is not to be taken for the program's doing.
tovi::PerProcessValue<int> boundDevice(-1);

bool versionsSuffice() {
  int runtime = 0, driver = 0;
  cudalib::check(cudaRuntimeGetVersion(&runtime));
  cudalib::check(cudaDriverGetVersion(&driver));
  return runtime >= oldestVersion && driver >= oldestVersion && driver >= runtime;
}

// An initialization that comes to nothing: what it has started is stopped, and the thread's device is again
// the one that it was.
class Start {
 public:
  Start() = default;
  ~Start() {
    if (complete_) return;
    if (blasStarted_) static_cast<void>(cublasShutdown());
    if (deviceBefore_ >= 0) cudalib::ignoreFailure(cudaSetDevice(deviceBefore_));
  }
  Start(const Start&) = delete;
  Start& operator=(const Start&) = delete;

  toviStatus run() {
    if (!versionsSuffice()) return toviInsufficientRuntime;
    const int best = cudalib::chooseDevice();
    if (best < 0) return toviNoHardware;
    bindDevice(best);
    const auto blas = cublasInit();
    if (blas == CUBLAS_STATUS_ALLOC_FAILED) return toviInsufficientMemory;
    // On a device that is lost nothing starts, and CUBLAS cannot say why.
    if (blas != CUBLAS_STATUS_SUCCESS) cudalib::check(cudaThreadSynchronize());
    if (blas != CUBLAS_STATUS_SUCCESS) throw cudalib::CublasException(static_cast<int>(blas));
    blasStarted_ = true;
    const cudalib::DeviceRecord& device = cudalib::currentDevice();
    cudalib::setRuntimeFlags(device.ordinal, device.code);
    // The host LAPACK's threading runtime tolerates a second copy of itself in the process.
    host::setEnvironment("KMP_DUPLICATE_LIB_OK", "TRUE");
    cudalib::completionCheck();
    complete_ = true;
    return toviNoError;
  }

 private:
  // Becomes the calling thread's current device: the one that was selected, or else the one of an earlier
  // initialization, or else the one that the thread works with and the process uses already, or else the
  // best.
  void bindDevice(int best) {
    int current = -1;
    cudalib::check(cudaGetDevice(&current));
    int wanted = selectedDevice();
    if (wanted < 0) wanted = boundDevice.get();
    if (wanted < 0) wanted = device::deviceInUse(current) ? current : best;
    boundDevice.set(wanted);
    const cudaError_t status = cudaSetDevice(wanted);
    if (status == device::errorSetOnActiveProcess)  // a process that has but one device keeps it
      cudalib::ignoreFailure(status);
    else if (status != cudaSuccess)
      throw cudalib::CudaRuntimeException(static_cast<int>(status));
    if (status == cudaSuccess && wanted != current) deviceBefore_ = current;
  }

  int deviceBefore_ = -1;  // where another one has become current
  bool blasStarted_ = false, complete_ = false;
};

// Where the library is initialized; what fails has nobody to be told. A lock that is no lock ends the
// process.
template <class Release>  // NOLINTNEXTLINE(bugprone-exception-escape)
void onExecutingDevice(const Release& release) noexcept {
  const host::NotCancellable notCancellable;
  if (!initialized()) return;  // there may be no memory for the lock
  const boost::mutex::scoped_lock lock(lifecycle().mutex);
  if (!initialized()) return;
  cudalib::DeviceScope device;
  device.tryEnter(cudalib::runtimeFlags().device);
  release();
}

}  // namespace
}  // namespace tovi::api

using namespace tovi::api;

toviStatus toviInitialize() {
  return guarded([] {
    const boost::mutex::scoped_lock lock(lifecycle().mutex);
    // A thread stays registered when the rest fails.
    lifecycle().registered.insert(host::currentThreadId());
    if (initialized()) {
      cudalib::DeviceScope device;
      device.enter(cudalib::runtimeFlags().device);
      cudalib::completionCheck();
      return toviNoError;
    }
    Start start;
    const toviStatus status = start.run();
    if (status == toviNoError) setInitialized(true);
    return status;
  });
}

void toviShutdown() {
  if (host::onlyThreadLeft()) return;  // from the destructor of another library
  onExecutingDevice([] {
    cudalib::releaseThreadBuffers();
    if (tovi::theCallHooks.peek() != nullptr) tovi::callHooks().clear();
    lifecycle().registered.erase(host::currentThreadId());
    if (!lifecycle().registered.empty()) return;
    cudalib::releaseAllBuffers();
    static_cast<void>(cublasShutdown());
    host::freeWorkBuffers();
    setInitialized(false);
  });
}

void toviFreeBuffers() {
  onExecutingDevice([] { cudalib::releaseThreadBuffers(); });
}
