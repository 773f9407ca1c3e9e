#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/host/process.h"

namespace platform {

std::uint32_t currentThreadId() { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

void setEnvironment(const char* name, const char* value) { setenv(name, value, 1); }

// Threads run on until the last destructor has.
bool onlyThreadLeft() { return false; }

}  // namespace platform
