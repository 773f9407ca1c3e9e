// What the device asks of the operating system. A port to another one is another os_*.cpp.

#ifndef TOVI_SOFTWARE_OS_H
#define TOVI_SOFTWARE_OS_H

#include <cstddef>
#include <string>

namespace software_device::os {

// Address space without memory behind it; null when there is not that much.
void* reserve(std::size_t bytes);
// Puts memory behind a part of it (page boundaries). False: refused.
bool commit(void* p, std::size_t bytes);
// Gives the whole reservation back.
void release(void* p, std::size_t bytes);
// What there is of addresses, in bytes.
std::size_t addressSpace();

// Memory of this machine, or of the container that the process runs in, in bytes.
std::size_t memory();
// The processor's name and clock; empty and 0 where unknown.
std::string processorName();
int processorClockKHz();

// Whether threads can be joined while the library is unloaded, or the process ends. Where they cannot, the
// library stays loaded for as long as a KeepLoaded is there.
bool joinsAtUnload();
class KeepLoaded {
 public:
  KeepLoaded();
  ~KeepLoaded();
  KeepLoaded(const KeepLoaded&) = delete;
  KeepLoaded& operator=(const KeepLoaded&) = delete;

 private:
  [[maybe_unused]] void* const library_;
};

}  // namespace software_device::os

#endif
