// What the device asks of the operating system. A port to another one is another os_*.cpp.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_OS_H
#define TOVI_DEVICE_SOFTWARE_SRC_OS_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace software_device::os {

// Address space without memory behind it; null when there is not that much.
void* reserve(std::size_t bytes);
// Puts memory behind a part of it (page boundaries). False: refused.
bool commit(void* p, std::size_t bytes);
// Gives that memory back, and loses what is in it.
void decommit(void* p, std::size_t bytes);
// Gives the whole reservation back.
void release(void* p, std::size_t bytes);
// What there is of addresses, in bytes; where the process has a limit, what that leaves.
std::size_t addressSpace();

// Memory of this machine, or of the container that the process runs in, in bytes.
std::size_t memory();
// Processors that this process may use, by affinity and by its containers' quotas; at least 1.
int processors();
// The processor's name and clock; empty and 0 where unknown.
std::string processorName();
int processorClockKHz();

// Whether threads can be joined while the library is unloaded, or the process ends. Where they cannot, the
// library stays loaded for as long as somebody holds what keepLoaded() gives.
bool joinsAtUnload();
std::shared_ptr<void> keepLoaded();

// A thread that gets no signals: those are for the program's own threads. Throws when there is none to be
// had.
std::thread startThread(std::function<void()> run);

// In a destructor: whether the library is being unloaded while the process goes on, and nobody will call it
// any more. False where the system does not tell.
bool beingUnloaded();

}  // namespace software_device::os

#endif
