#include <windows.h>
// after windows.h
#include <winternl.h>

#include <array>
#include <cstdlib>
#include <string>

#include "host/process.h"

extern "C" NTSYSAPI BOOLEAN NTAPI RtlDllShutdownInProgress(void);

namespace host {

std::uint32_t currentThreadId() { return GetCurrentThreadId(); }

// The process's variables, and the copy of them that the C library's getenv reads.
void setEnvironment(const char* name, const char* value) {
  SetEnvironmentVariableA(name, value);
  _putenv((std::string(name) + "=" + value).c_str());
}

// ExitProcess ends all other threads before libraries hear of it.
bool onlyThreadLeft() { return RtlDllShutdownInProgress() != 0; }

// No thread is cancelled on this system.
NotCancellable::NotCancellable() = default;
NotCancellable::~NotCancellable() = default;

namespace {

// The functions that the thread has asked for. Thread-local objects are destroyed when their thread ends.
struct Asked {
  std::array<void (*)(), 4> functions{};
  ~Asked() {
    for (const auto function : functions)
      if (function != nullptr) function();
  }
};
thread_local Asked asked;

}  // namespace

AtThreadEnd::AtThreadEnd(void (*function)()) noexcept : function_(function), usable_(true) {}
AtThreadEnd::~AtThreadEnd() = default;
bool AtThreadEnd::ask() noexcept {
  for (auto& function : asked.functions) {
    if (function == nullptr) function = function_;
    if (function == function_) return true;
  }
  return false;
}

}  // namespace host
