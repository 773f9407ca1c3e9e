// The software device as a test sees it: which machine it pretends to be, which of its calls fail, what was
// called and what is still alive. Never installed; the functions stand in the device's shared library.

#ifndef TOVI_SOFTWARE_DEVICE_TESTING_H
#define TOVI_SOFTWARE_DEVICE_TESTING_H

#include <cublas.h>  // first: its macros rename entry points, and with them the enumerators of Entry

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace software_device {

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

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
Machine defaultMachine();
// Makes this the machine, as a fresh process would see it: nothing allocated, no device chosen, no error
// pending.
void configure(const Machine& machine);

// When queued work runs. Eager: the device thread takes it at once. Lazy: only when somebody waits for it, as
// late as the interface allows, so that a missing wait is a wrong result every time.
enum class Schedule { eager, lazy };
void setSchedule(Schedule schedule);

// Worker threads beside the one that runs the queue; the bits of every result must not depend on it.
void setWorkers(int count);
// Fresh and freed device memory is filled with NaN bytes, and the space between allocations is checked for
// writes whenever something is freed. The blocks of a grid, and between two barriers the threads of a block,
// run in an order that the seed and the number of the launch give, where it is else the order of their
// numbers. On from the start in sanitizer builds.
void setChecking(bool on, std::uint64_t seed = 1);
// Whether a kernel that has a native body runs as that body; else thread by thread. On from the start.
void useNativeBodies(bool on);

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
  trsm,
  trmm,
  symm,
  hemm,
  syrk,
  herk,
  syr2k,
  her2k,
  otherBlas,  // level 1 and the level-2 routines but gemv
  count_
};

// --- Faults. Calls are counted from the latest injection; the `call`-th one (1: the next) fails with `code`
// (a CUDA error, or a CUBLAS status for the CUBLAS entries), and, with forever, every later one too. A
// failing free still frees.
void failCall(Entry entry, std::uint64_t call, int code, bool forever = false);
// The same over all entries that can fail, in the order in which they are called. getLastError,
// peekAtLastError, getErrorString and cublasGetError never count.
void failAnyCall(std::uint64_t call, int cudaError, int cublasStatus, bool forever = false);
void clearFaults();
// Number of injected failures that have happened since the latest injection.
std::uint64_t failuresInjected();

// --- Counts and arguments.
struct Call {
  Entry entry;
  // What tells one call from another, by entry: malloc, mallocHost: bytes. memcpy(Async): bytes, kind.
  // memcpy2D(Async): dpitch, spitch, width, height, kind. launch: grid x, y, z, block x, y, z. gemm: transa,
  // transb, m, n, k, lda, ldb, ldc. trsm, trmm: side, uplo, trans, diag, m, n. The others of BLAS: their
  // characters, then their dimensions.
  std::array<long long, 8> arguments{};
  std::size_t stream = 0;  // 0: the default stream
};
std::uint64_t calls(Entry entry);
std::uint64_t allCalls();
void resetCounts();
void startRecording();
std::vector<Call> stopRecording();

// From here on every call that uses this device fails with this error, as after an illegal address.
void loseDevice(int ordinal, int error);

// --- What is alive.
struct Live {
  std::size_t allocations = 0, pageLockedBlocks = 0, streams = 0, blasHandles = 0;
  std::size_t deviceBytes = 0, peakDeviceBytes = 0, pageLockedBytes = 0, peakPageLockedBytes = 0;
};
Live live();
void resetPeaks();
bool isDevicePointer(const void* p);
// Work that was queued and has not run yet.
std::size_t pending();

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

}  // namespace software_device

#endif
