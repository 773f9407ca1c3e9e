#include <windows.h>
// after windows.h
#include <winternl.h>

#include <cstdlib>
#include <string>

#include "platform/host/per_process.h"
#include "platform/host/process.h"

extern "C" NTSYSAPI BOOLEAN NTAPI RtlDllShutdownInProgress(void);

namespace platform {

std::uint32_t currentThreadId() { return GetCurrentThreadId(); }

// The process's variables, and the copy of them that the C library's getenv reads.
void setEnvironment(const char* name, const char* value) {
  SetEnvironmentVariableA(name, value);
  _putenv((std::string(name) + "=" + value).c_str());
}

// ExitProcess ends all other threads before libraries hear of it.
bool onlyThreadLeft() { return RtlDllShutdownInProgress() != 0; }

// No process is a copy of another one on this system.
void ForgottenByChildren::list() noexcept {}
void ForgottenByChildren::forgetAll() noexcept {}

}  // namespace platform
