// The words that describe the software device: the machine that it pretends to be, when it works, and the
// entry points that it has.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_MODEL_H
#define TOVI_DEVICE_SOFTWARE_SRC_MODEL_H

#include <cublas.h>  // first: its macros rename entry points, and with them the enumerators of Entry

#include <array>
#include <cstddef>
#include <string>
#include <typeinfo>
#include <vector>

#include "device/work.h"

namespace software_device {

// One device of the pretended machine.
struct Profile {
  std::string name;
  int major = 2, minor = 0;
  std::size_t memory = 0;  // bytes
  int multiprocessors = 1;
  int clockRateKHz = 1000000;
  bool overlapsCopies = true;
  bool mapsHostMemory = true;
  bool emulation = false;  // the runtime's placeholder: capability 9999.9999
};

struct Machine {
  std::vector<Profile> devices;
  int runtimeVersion = 3020, driverVersion = 3020;
  // As with CUDA before 4.0: a process has one current device, and keeps it once it has used it. Else every
  // thread has its own, device 0 until it sets another one.
  bool oneDevicePerProcess = false;
};

// The machine that is there without configure(): one device that describes this processor, capability 2.0.
[[gnu::visibility("default")]] Machine defaultMachine();

// When queued work runs. Eager: the device thread takes it at once. Lazy: only when somebody waits for it, as
// late as the interface allows, so that a missing wait is a wrong result every time. Both keep the order of
// issue. Drawn: when somebody waits, in an order that is drawn from those that streams and events allow, and
// of what nobody waits for all, some or nothing, so that a missing dependency is a wrong result, too.
enum class Schedule { eager, lazy, drawn };

// Every entry point that the library calls. Kernel launches are `launch`; each CUBLAS routine is an entry of
// its family.
enum class Entry : int {
  runtimeGetVersion,
  driverGetVersion,
  getDeviceCount,
  getDeviceProperties,
  setDevice,
  getDevice,
  malloc,
  mallocPitch,
  free,
  mallocHost,
  freeHost,
  memGetInfo,
  memcpy,
  memcpyAsync,
  memcpy2D,
  memcpy2DAsync,
  memset,
  streamCreate,
  streamDestroy,
  streamSynchronize,
  streamQuery,
  streamWaitEvent,
  eventCreate,
  eventDestroy,
  eventRecord,
  eventSynchronize,
  eventQuery,
  threadSynchronize,
  getLastError,
  peekAtLastError,
  getErrorString,
  launch,
  cublasInit,
  cublasShutdown,
  cublasGetError,
  gemm,
  gemv,
  hemv,
  trsm,
  trmm,
  symm,
  hemm,
  syrk,
  herk,
  syr2k,
  her2k,
  count_
};

struct Call {
  Entry entry;
  // What tells one call from another, by entry: malloc, mallocHost: bytes. memcpy(Async): bytes, kind.
  // memcpy2D(Async): dpitch, spitch, width, height, kind. streamCreate, eventCreate: flags. launch: grid x,
  // y, z, block x, y, z. gemm: transa, transb, m, n, k, lda, ldb, ldc. trsm, trmm: side, uplo, trans, diag,
  // m, n. The others of BLAS: their characters, then their dimensions.
  std::array<long long, 8> arguments{};
  std::size_t stream = 0;  // 0: the default stream
  // launch: the work's type, whose name has the kernel's in it; null where nothing was queued
  const std::type_info* kernel = nullptr;
  Description description{};  // launch: its own; of BLAS: the precision alone
};

}  // namespace software_device

#endif
