// The operating system's number for the calling thread, by which the library knows its callers.

#ifndef TOVI_CUDALIB_THREAD_ID_H
#define TOVI_CUDALIB_THREAD_ID_H

#include <cstdint>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace tovi {

inline std::uint32_t currentThreadId() {
#ifdef _WIN32
  return GetCurrentThreadId();
#else
  return static_cast<std::uint32_t>(syscall(SYS_gettid));
#endif
}

}  // namespace tovi

#endif
