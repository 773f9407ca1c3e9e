#include "platform/software/src/machine.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/software/src/engine.h"
#include "platform/software/src/os.h"
#include "platform/software/src/pool.h"
#include "platform/software/src/queue.h"
#include "platform/software/src/sanitizer.h"

namespace software_device {

namespace {

std::atomic<std::uint64_t> generationNumber{1};
std::atomic<bool> checkingOn{sanitizerBuild};

// Never destroyed at the end of the process: calls may come until the very last.
std::unique_ptr<MachineState>& state() {
  static auto* const instance =
      new std::unique_ptr<MachineState>(std::make_unique<MachineState>(defaultMachine()));
  return *instance;
}

// A program that loads the library again and again has its addresses back each time.
struct FreeAtUnload {
  ~FreeAtUnload() {
    if (os::beingUnloaded()) state().reset();
  }
} freeAtUnload;

}  // namespace

MachineState::MachineState(Machine given)
    : machine(std::move(given)),
      pageLocked(Arena::Kind::pageLocked, std::min(os::memory(), os::addressSpace() / 8)) {
  for (const Profile& profile : machine.devices)
    memory.push_back(std::make_unique<Arena>(Arena::Kind::device, profile.memory));
}

MachineState& machineState() { return *state(); }

void giveMemoryBack() {
  for (const auto& arena : machineState().memory) arena->giveBack();
  machineState().pageLocked.giveBack();
}

std::uint64_t generation() { return generationNumber.load(std::memory_order_acquire); }
bool checking() { return checkingOn.load(std::memory_order_relaxed); }

cudaError_t activate() {
  MachineState& s = machineState();
  if (s.active.load(std::memory_order_acquire)) return cudaSuccess;
  if (s.machine.devices.empty()) return cudaErrorNoDevice;
  const std::lock_guard<std::mutex> lock(s.choice);
  s.active.store(true, std::memory_order_release);
  return cudaSuccess;
}

const Profile& currentProfile() {
  MachineState& s = machineState();
  const std::lock_guard<std::mutex> lock(s.choice);
  return s.machine.devices[static_cast<std::size_t>(s.current)];
}

bool deviceRange(const void* p, std::size_t bytes) {
  for (const auto& arena : machineState().memory)
    if (arena->contains(p, bytes)) return true;
  return false;
}

void verifyGuards() {
  if (!checking()) return;
  for (const auto& arena : machineState().memory) arena->verify();
  machineState().pageLocked.verify();
}

Limits limits(const Profile& profile) {
  const int code = profile.emulation ? 20 : 10 * profile.major + profile.minor;
  if (code >= 20) return {1024, 1024, 1024, 64, 65535, 65535, 65535, 32768, 49152};
  return {512, 512, 512, 64, 65535, 65535, 1, code >= 12 ? 16384 : 8192, 16384};
}

Machine defaultMachine() {
  Profile device;
  device.name = os::processorName();
  if (device.name.empty()) device.name = "Software device";
  device.memory = std::min(os::memory() / 2, os::addressSpace() / 8 * 3);  // the host program needs some, too
  device.multiprocessors = usableProcessors();
  if (const int clock = os::processorClockKHz(); clock > 0) device.clockRateKHz = clock;
  Machine machine;
  machine.devices.push_back(std::move(device));
  return machine;
}

void configure(const Machine& machine) {
  queue().waitForAll();
  queue().removeAllStreams();
  clearFaults();
  resetCounts();
  static_cast<void>(stopRecording());
  state() = std::make_unique<MachineState>(machine);
  generationNumber.fetch_add(1, std::memory_order_acq_rel);
}

void setSchedule(Schedule schedule) { queue().setSchedule(schedule); }
void setChecking(bool on) { checkingOn.store(on, std::memory_order_relaxed); }
std::size_t pending() { return queue().pending(); }

Live live() {
  Live result;
  for (const auto& arena : machineState().memory) {
    const Arena::Usage usage = arena->usage();
    result.allocations += usage.allocations;
    result.deviceBytes += usage.bytes;
    result.peakDeviceBytes += usage.peakBytes;
  }
  const Arena::Usage pageLocked = machineState().pageLocked.usage();
  result.pageLockedBlocks = pageLocked.allocations;
  result.pageLockedBytes = pageLocked.bytes;
  result.peakPageLockedBytes = pageLocked.peakBytes;
  result.streams = queue().streams();
  return result;
}

void resetPeaks() {
  for (const auto& arena : machineState().memory) arena->resetPeak();
  machineState().pageLocked.resetPeak();
}

bool isDevicePointer(const void* p) { return deviceRange(p, 1); }

}  // namespace software_device
