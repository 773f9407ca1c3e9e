#include <windows.h>

#include <cstdlib>
#include <memory>

#include "tests/support/program.h"

namespace testing_support {

namespace {

// As the C library of the program will take it apart again.
std::string quoted(const std::string& word) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char c : word) {
    if (c == '"') text.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    text += c;
  }
  return text.append(backslashes, '\\') + '"';
}

struct CloseHandle_ {
  void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandle_>;

Handle outputFile(const std::filesystem::path& path) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return Handle(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

int runProgram(const std::vector<std::string>& words, const std::filesystem::path& folder,
               const std::filesystem::path& out, const std::filesystem::path& err) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + quoted(word);
  const Handle outHandle = outputFile(folder / out), errHandle = outputFile(folder / err);
  STARTUPINFOA start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = outHandle.get();
  start.hStdError = errHandle.get();
  PROCESS_INFORMATION process{};
  if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, folder.string().c_str(),
                      &start, &process))
    return -1;
  const Handle thread(process.hThread), running(process.hProcess);
  DWORD code = 0;
  WaitForSingleObject(running.get(), INFINITE);
  return GetExitCodeProcess(running.get(), &code) ? static_cast<int>(code) : -1;
}

std::filesystem::path thisProgram() {
  wchar_t name[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, name, MAX_PATH - 1);
  return name;
}

std::filesystem::path newFolder() {
  const std::filesystem::path parent = std::filesystem::temp_directory_path();
  for (int number = 0; number < 10000; ++number) {
    const std::filesystem::path folder =
        parent / ("tovi-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(number));
    if (std::filesystem::create_directory(folder)) return folder;
  }
  std::abort();
}

}  // namespace testing_support
