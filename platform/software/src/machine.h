// The pretended machine and what this process has of it: the active device, its memory, the page-locked
// memory.

#ifndef TOVI_SOFTWARE_MACHINE_H
#define TOVI_SOFTWARE_MACHINE_H

#include <cuda_runtime.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/software/src/arena.h"
#include "platform/software/testing/software_device.h"

namespace software_device {

// Lives from one configure() to the next.
struct MachineState {
  explicit MachineState(Machine machine);

  const Machine machine;
  std::vector<std::unique_ptr<Arena>> memory;  // of each device
  Arena pageLocked;

  std::mutex choice;  // guards the next two
  int current = 0;
  bool chosen = false;               // by cudaSetDevice
  std::atomic<bool> active = false;  // current will not change any more
};

MachineState& machineState();
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
