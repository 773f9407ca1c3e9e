#include "device/software/testing/software_device.h"

#include <utility>

#include "device/software/src/calls.h"
#include "device/software/src/engine.h"
#include "device/software/src/machine.h"
#include "device/software/src/pool.h"
#include "device/software/src/queue.h"

namespace software_device {

void configure(const Machine& machine) {
  clearFaults();
  resetCounts();
  static_cast<void>(stopRecording());
  replaceMachine(machine);
}

void setSchedule(Schedule schedule, std::uint64_t seed) { queue().setSchedule(schedule, seed); }
void setWorkers(int count) { useWorkers(count); }
void setChecking(bool on, std::uint64_t seed) { check(on, seed); }
void useNativeBodies(bool on) { nativeBodies.store(on, std::memory_order_relaxed); }
std::uint64_t nativeLaunches() { return nativeRuns.load(std::memory_order_relaxed); }

void failCall(Entry entry, std::uint64_t call, int code, bool forever) {
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  theCalls.faultOf(entry) = Fault{call, code, code, forever};
  theCalls.injected = 0;
  theCalls.watching.store(true, std::memory_order_release);
}

void failAnyCall(std::uint64_t call, int cudaError, int cublasStatus, bool forever) {
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  theCalls.anyFault = Fault{call, cudaError, cublasStatus, forever};
  theCalls.injected = 0;
  theCalls.watching.store(true, std::memory_order_release);
}

void clearFaults() {
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  theCalls.faults.fill(Fault{});
  theCalls.anyFault = Fault{};
  theCalls.watching.store(theCalls.recording, std::memory_order_release);
}

std::uint64_t failuresInjected() {
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  return theCalls.injected;
}

std::uint64_t calls(Entry entry) { return theCalls.countOf(entry).load(std::memory_order_relaxed); }

std::uint64_t allCalls() {
  std::uint64_t sum = 0;
  for (const auto& count : theCalls.counts) sum += count.load(std::memory_order_relaxed);
  return sum;
}

void resetCounts() {
  for (auto& count : theCalls.counts) count.store(0, std::memory_order_relaxed);
}

void startRecording() {
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  if (theCalls.record == nullptr) theCalls.record = new std::vector<Call>;
  theCalls.record->clear();
  theCalls.recording = true;
  theCalls.watching.store(true, std::memory_order_release);
}

std::vector<Call> stopRecording() {
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  if (!std::exchange(theCalls.recording, false)) return {};
  return std::exchange(*theCalls.record, {});
}

void loseDevice(int ordinal, int error) {
  loseDevice(machineState().devices.at(static_cast<std::size_t>(ordinal)), static_cast<cudaError_t>(error));
}

Live live() {
  Live result;
  for (const Device& device : machineState().devices) {
    const Arena::Usage usage = device.memory.usage();
    result.allocations += usage.allocations;
    result.deviceBytes += usage.bytes;
    result.peakDeviceBytes += usage.peakBytes;
  }
  const Arena::Usage pageLocked = machineState().pageLocked.usage();
  result.pageLockedBlocks = pageLocked.allocations;
  result.pageLockedBytes = pageLocked.bytes;
  result.peakPageLockedBytes = pageLocked.peakBytes;
  result.streams = queue().streams();
  result.events = queue().events();
  result.blasHandles = blasHandles();
  return result;
}

void resetPeaks() {
  for (Device& device : machineState().devices) device.memory.resetPeak();
  machineState().pageLocked.resetPeak();
}

bool isDevicePointer(const void* p) { return deviceRange(p, 1); }
std::size_t pending() { return queue().pending(); }

}  // namespace software_device
