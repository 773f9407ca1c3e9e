#include <windows.h>

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>
#include <utility>

#include "device/software/src/os.h"
#include "host/process.h"

namespace software_device::os {

void* reserve(std::size_t bytes) { return VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS); }
bool commit(void* p, std::size_t bytes) {
  return VirtualAlloc(p, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}
void decommit(void* p, std::size_t bytes) { VirtualFree(p, bytes, MEM_DECOMMIT); }
void release(void* p, std::size_t) { VirtualFree(p, 0, MEM_RELEASE); }

namespace {

MEMORYSTATUSEX memoryStatus() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  GlobalMemoryStatusEx(&status);
  return status;
}

std::size_t inSize(DWORDLONG bytes) {
  return static_cast<std::size_t>(std::min<DWORDLONG>(bytes, std::numeric_limits<std::size_t>::max()));
}

constexpr const char* processorKey = "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";

}  // namespace

std::size_t addressSpace() { return inSize(memoryStatus().ullTotalVirtual); }
std::size_t memory() { return inSize(memoryStatus().ullTotalPhys); }

int processors() { return std::max(static_cast<int>(std::thread::hardware_concurrency()), 1); }

std::string processorName() {
  std::array<char, 256> name{};
  DWORD bytes = name.size() - 1;
  if (RegGetValueA(HKEY_LOCAL_MACHINE, processorKey, "ProcessorNameString", RRF_RT_REG_SZ, nullptr,
                   name.data(), &bytes) != ERROR_SUCCESS)
    return "";
  const std::string text = name.data();
  const std::size_t first = text.find_first_not_of(' '), last = text.find_last_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

int processorClockKHz() {
  DWORD megahertz = 0, bytes = sizeof megahertz;
  RegGetValueA(HKEY_LOCAL_MACHINE, processorKey, "~MHz", RRF_RT_REG_DWORD, nullptr, &megahertz, &bytes);
  return static_cast<int>(megahertz) * 1000;
}

// Whether this is linked into the program, not into a DLL.
static bool partOfTheProgram() {
  HMODULE self = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCSTR>(&joinsAtUnload), &self);
  return self == GetModuleHandleA(nullptr);
}

// The loader of a DLL holds a lock then that a thread needs to end; and when the process ends, the other
// threads are already gone. A program's own destructors run without that lock, beside its threads.
bool joinsAtUnload() { return partOfTheProgram(); }

// To ask the system takes the loader's lock, on which a thread that ends, and so waits for the device, may be
// sitting. It is asked only where nobody holds the library yet.
std::shared_ptr<void> keepLoaded() {
  static std::mutex mutex;
  static std::weak_ptr<void> holders;
  const std::lock_guard<std::mutex> lock(mutex);
  std::shared_ptr<void> result = holders.lock();
  if (result != nullptr) return result;
  HMODULE library = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCSTR>(&joinsAtUnload),
                     &library);
  result.reset(library, [](HMODULE held) {
    if (held != nullptr) FreeLibrary(held);
  });
  holders = result;
  return result;
}

// There are no signals to threads on this system.
std::thread startThread(std::function<void()> run) { return std::thread(std::move(run)); }

bool beingUnloaded() { return !partOfTheProgram() && !host::onlyThreadLeft(); }

}  // namespace software_device::os
