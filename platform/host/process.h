// What the library asks of the operating system about the process that it is loaded into.

#ifndef TOVI_PLATFORM_HOST_PROCESS_H
#define TOVI_PLATFORM_HOST_PROCESS_H

#include <cstdint>

namespace platform {

// The operating system's number for the calling thread, by which the library knows its callers.
std::uint32_t currentThreadId();

// Sets a variable of the process's environment.
void setEnvironment(const char* name, const char* value);

// Whether the process is ending and its other threads are already gone, with whatever locks they held: the
// thread that is left must not wait for anything.
bool onlyThreadLeft();

}  // namespace platform

#endif
