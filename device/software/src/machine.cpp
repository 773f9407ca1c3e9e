#include "device/software/src/machine.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "device/software/src/engine.h"
#include "device/software/src/os.h"
#include "device/software/src/pool.h"
#include "device/software/src/queue.h"
#include "device/software/src/sanitizer.h"
#include "ground/per_process.h"

namespace software_device {

namespace {

std::atomic<std::uint64_t> generationNumber{1};
std::atomic<bool> checkingOn{sanitizerBuild};
std::atomic<std::uint64_t> seed{1};

struct State {
  std::unique_ptr<MachineState> machine = std::make_unique<MachineState>(defaultMachine());
};
tovi::PerProcess<State> theState;

// A program that loads the library again and again has its addresses back each time.
struct FreeAtUnload {
  ~FreeAtUnload() {
    if (os::beingUnloaded() && theState.peek() != nullptr) theState.peek()->machine.reset();
  }
} freeAtUnload;

// The calling thread's device, as long as the machine is the one on which it was set. Device 0 else.
struct Current {
  std::uint64_t generation = 0;
  int ordinal = 0;
};
thread_local Current current;

}  // namespace

MachineState::MachineState(Machine given)
    : machine(std::move(given)),
      pageLocked(Arena::Kind::pageLocked, std::min(os::memory(), os::addressSpace() / 8)) {
  for (const Profile& profile : machine.devices)
    devices.emplace_back(static_cast<int>(devices.size()), profile);
}

MachineState& machineState() { return *theState.get().machine; }

void giveMemoryBack() {
  for (Device& device : machineState().devices) device.memory.giveBack();
  machineState().pageLocked.giveBack();
}

std::uint64_t generation() { return generationNumber.load(std::memory_order_acquire); }
bool checking() { return checkingOn.load(std::memory_order_relaxed); }
std::uint64_t checkingSeed() { return seed.load(std::memory_order_relaxed); }

Device* currentDevice() {
  MachineState& s = machineState();
  if (s.devices.empty()) return nullptr;
  int ordinal = current.generation == generation() ? current.ordinal : 0;
  if (s.machine.oneDevicePerProcess) {
    const std::lock_guard<std::mutex> lock(s.choice);
    ordinal = s.current;
  }
  return &s.devices[static_cast<std::size_t>(ordinal)];
}

cudaError_t setCurrentDevice(int ordinal) {
  MachineState& s = machineState();
  if (s.devices.empty()) return cudaErrorNoDevice;
  if (ordinal < 0 || static_cast<std::size_t>(ordinal) >= s.devices.size()) return cudaErrorInvalidDevice;
  if (s.machine.oneDevicePerProcess) {
    const std::lock_guard<std::mutex> lock(s.choice);
    if (s.active) return cudaErrorSetOnActiveProcess;
    s.current = ordinal;
    s.chosen = true;
  } else {
    current = {generation(), ordinal};
    s.devices[static_cast<std::size_t>(ordinal)].inUse.store(true, std::memory_order_relaxed);
  }
  return cudaSuccess;
}

cudaError_t useDevice(Device** device) {
  *device = currentDevice();
  if (*device == nullptr) return cudaErrorNoDevice;
  if (!(*device)->inUse.load(std::memory_order_acquire)) {
    MachineState& s = machineState();
    const std::lock_guard<std::mutex> lock(s.choice);
    s.active = true;
    (*device)->inUse.store(true, std::memory_order_release);
  }
  return lostWith(**device);
}

void loseDevice(Device& device, cudaError_t error) noexcept {
  int none = cudaSuccess;
  device.lost.compare_exchange_strong(none, error, std::memory_order_acq_rel);
}
cudaError_t lostWith(const Device& device) noexcept {
  return static_cast<cudaError_t>(device.lost.load(std::memory_order_acquire));
}
cudaError_t lostWithCurrent() {
  const Device* const device = currentDevice();
  return device == nullptr ? cudaSuccess : lostWith(*device);
}

bool deviceRange(const void* p, std::size_t bytes) {
  for (const Device& device : machineState().devices)
    if (device.memory.contains(p, bytes)) return true;
  return false;
}
bool deviceRange(const Device& device, const void* p, std::size_t bytes) {
  return device.memory.contains(p, bytes);
}

void verifyGuards() {
  if (!checking()) return;
  for (const Device& device : machineState().devices) device.memory.verify();
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
  device.multiprocessors = os::processors();
  if (const int clock = os::processorClockKHz(); clock > 0) device.clockRateKHz = clock;
  Machine machine;
  machine.devices.push_back(std::move(device));
  return machine;
}

void replaceMachine(const Machine& machine) {
  queue().waitForAll();
  queue().forget();
  theState.get().machine = std::make_unique<MachineState>(machine);
  generationNumber.fetch_add(1, std::memory_order_acq_rel);
}

void check(bool on, std::uint64_t newSeed) {
  checkingOn.store(on, std::memory_order_relaxed);
  seed.store(newSeed, std::memory_order_relaxed);
}

}  // namespace software_device
