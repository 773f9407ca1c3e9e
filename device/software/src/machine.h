// The pretended machine and what this process has of it: its devices with their memory, and the page-locked
// memory.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_MACHINE_H
#define TOVI_DEVICE_SOFTWARE_SRC_MACHINE_H

#include <cuda_runtime.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>

#include "device/software/src/arena.h"
#include "device/software/src/model.h"

namespace software_device {

struct Device {
  Device(int number, const Profile& of)
      : ordinal(number), profile(of), memory(Arena::Kind::device, of.memory) {}

  const int ordinal;
  const Profile& profile;
  Arena memory;
  std::atomic<std::uint64_t> issued{0};   // number of the work issued last
  std::atomic<std::uint64_t> inOrder{0};  // of that which the default stream waits for
  std::atomic<int> lost{cudaSuccess};     // the error that every call gets, once there is one
  std::atomic<bool> inUse{false};         // by this process
};

// Lives from one configure() to the next.
struct MachineState {
  explicit MachineState(Machine machine);

  const Machine machine;
  std::deque<Device> devices;
  Arena pageLocked;

  // Of a machine whose processes have one device each; else every thread has a current one of its own.
  std::mutex choice;  // guards the next three
  int current = 0;
  bool chosen = false;  // by cudaSetDevice
  bool active = false;  // current will not change any more
};

MachineState& machineState();
// Makes this the machine once all work is done, as a fresh process would see it.
void replaceMachine(const Machine& machine);
// Gives the memory that nobody uses back to the system.
void giveMemoryBack();

// The device's limits, which follow from its capability.
struct Limits {
  int threadsPerBlock, blockX, blockY, blockZ, gridX, gridY, gridZ, registers;
  std::size_t sharedMemory;
};
Limits limits(const Profile& profile);
// The greatest pitch that copies take, in bytes.
inline constexpr std::size_t maximalPitch = 2147483647;

}  // namespace software_device

#endif
