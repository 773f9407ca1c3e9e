// The software device as a test sees it: which machine it pretends to be, which of its calls fail, what was
// called and what is still alive. Never installed; the functions stand in the device's shared library.

#ifndef TOVI_DEVICE_SOFTWARE_TESTING_SOFTWARE_DEVICE_H
#define TOVI_DEVICE_SOFTWARE_TESTING_SOFTWARE_DEVICE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "device/software/src/model.h"

namespace software_device {

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

// Makes this the machine, as a fresh process would see it: nothing allocated, no device chosen, no error
// pending.
void configure(const Machine& machine);

// The seed is that of the drawn schedule: with one host thread the order depends on nothing else.
void setSchedule(Schedule schedule, std::uint64_t seed = 1);

// Worker threads beside the one that runs the queue; the bits of every result must not depend on it.
void setWorkers(int count);
// Fresh and freed device memory is filled with NaN bytes, and the space between allocations is checked for
// writes whenever something is freed. The blocks of a grid, and between two barriers the threads of a block,
// run in an order that the seed and the number of the launch give, where it is else the order of their
// numbers. On from the start in sanitizer builds.
void setChecking(bool on, std::uint64_t seed = 1);
// Whether a kernel that has a native body runs as that body; else thread by thread. On from the start.
void useNativeBodies(bool on);
// How many launches have run as native bodies.
std::uint64_t nativeLaunches();

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
std::uint64_t calls(Entry entry);
std::uint64_t allCalls();
void resetCounts();
void startRecording();
std::vector<Call> stopRecording();

// From here on every call that uses this device fails with this error, as after an illegal address.
void loseDevice(int ordinal, int error);

// --- What is alive.
struct Live {
  std::size_t allocations = 0, pageLockedBlocks = 0, streams = 0, events = 0, blasHandles = 0;
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
