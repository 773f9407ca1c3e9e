#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <set>

#include "api/devices.h"
#include "api/frame.h"
#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/device_table.h"
#include "cudalib/hooks.h"
#include "platform/host/process.h"
#include "platform/host/work_buffers.h"

namespace tovi::api {
namespace {

constexpr int oldestVersion = 3020;  // of the CUDA runtime and driver: 3.2

struct Lifecycle {
  boost::mutex mutex;                  // held for the whole of each routine in this file, and by nothing else
  std::set<std::uint32_t> registered;  // the threads that have called toviInitialize
};

// Never destroyed: a host thread may still be at work while the process ends.
Lifecycle& lifecycle() {
  static Lifecycle& instance = *new Lifecycle;
  return instance;
}

bool versionsSuffice() {
  int runtime = 0, driver = 0;
  cudalib::check(cudaRuntimeGetVersion(&runtime));
  cudalib::check(cudaDriverGetVersion(&driver));
  return runtime >= oldestVersion && driver >= oldestVersion && driver >= runtime;
}

// A process that is using a device already keeps it.
void bindDevice(int device) {
  const cudaError_t status = cudaSetDevice(device);
  if (status == platform::errorSetOnActiveProcess)
    static_cast<void>(cudaGetLastError());
  else if (status != cudaSuccess)
    throw cudalib::CudaRuntimeException(static_cast<int>(status));
}

toviStatus start() {
  if (!versionsSuffice()) return toviInsufficientRuntime;
  const int best = cudalib::chooseDevice();
  if (best < 0) return toviNoHardware;
  bindDevice(selectedDevice() < 0 ? best : selectedDevice());
  // What CUBLAS answers here is not left pending for the completion check.
  const auto blas = platform::startBlas();
  if (blas == CUBLAS_STATUS_ALLOC_FAILED) return toviInsufficientMemory;
  if (blas != CUBLAS_STATUS_SUCCESS) throw cudalib::CublasException(static_cast<int>(blas));
  cudalib::setRuntimeFlags(cudalib::computeLevel());
  // The host LAPACK's threading runtime tolerates a second copy of itself in the process.
  platform::setEnvironment("KMP_DUPLICATE_LIB_OK", "TRUE");
  return toviNoError;
}

}  // namespace
}  // namespace tovi::api

using namespace tovi::api;

toviStatus toviInitialize() {
  return guarded([] {
    const boost::mutex::scoped_lock lock(lifecycle().mutex);
    // A thread stays registered when the rest fails.
    lifecycle().registered.insert(platform::currentThreadId());
    if (!initialized()) {
      const toviStatus status = start();
      if (status != toviNoError) return status;
    }
    cudalib::completionCheck();
    setInitialized(true);
    return toviNoError;
  });
}

void toviShutdown() {
  if (platform::onlyThreadLeft()) return;  // from the destructor of another library
  const boost::mutex::scoped_lock lock(lifecycle().mutex);
  if (!initialized()) return;
  cudalib::releaseThreadBuffers();
  tovi::callHooks().clear();
  lifecycle().registered.erase(platform::currentThreadId());
  if (lifecycle().registered.empty()) {
    cudalib::releaseAllBuffers();
    static_cast<void>(platform::stopBlas());
    static_cast<void>(platform::pendingBlasStatus());
    host::freeWorkBuffers();
    setInitialized(false);
  }
}

void toviFreeBuffers() {
  const boost::mutex::scoped_lock lock(lifecycle().mutex);
  if (initialized()) cudalib::releaseThreadBuffers();
}
