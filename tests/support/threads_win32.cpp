// Wine 8 kills its own process, after all its work, when the process ends while one of its threads is still
// being created. GoogleTest creates one for thread-local values, as those of SCOPED_TRACE, and a program that
// ends without toviShutdown may leave the device's. So a test program first waits for its threads to be
// there.

#include <gtest/gtest.h>

#include <windows.h>

#include <tlhelp32.h>

namespace {

// Only a thread that runs can be stopped and shows its registers.
void waitUntilRunning(DWORD id) {
  const HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, id);
  if (thread == nullptr) return;  // it has ended
  CONTEXT registers{};
  registers.ContextFlags = CONTEXT_CONTROL;
  if (SuspendThread(thread) != static_cast<DWORD>(-1)) {
    GetThreadContext(thread, &registers);
    ResumeThread(thread);
  }
  CloseHandle(thread);
}

class ThreadsAreThere : public ::testing::Environment {
  void TearDown() override {
    const HANDLE threads = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (threads == INVALID_HANDLE_VALUE) return;
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    for (BOOL more = Thread32First(threads, &thread); more; more = Thread32Next(threads, &thread))
      if (thread.th32OwnerProcessID == GetCurrentProcessId() && thread.th32ThreadID != GetCurrentThreadId())
        waitUntilRunning(thread.th32ThreadID);
    CloseHandle(threads);
  }
};

const ::testing::Environment* const threadsAreThere =
    ::testing::AddGlobalTestEnvironment(new ThreadsAreThere);

}  // namespace
