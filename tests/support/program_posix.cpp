#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/program.h"

namespace testing_support {

namespace {

bool redirect(int stream, const std::filesystem::path& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  return file >= 0 && dup2(file, stream) == stream;
}

}  // namespace

int runProgram(const std::vector<std::string>& words, const std::filesystem::path& folder,
               const std::filesystem::path& out, const std::filesystem::path& err) {
  std::vector<std::string> copies = words;
  std::vector<char*> arguments;
  for (std::string& word : copies) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(folder.c_str()) == 0 && redirect(STDOUT_FILENO, out) && redirect(STDERR_FILENO, err))
      execv(arguments[0], arguments.data());
    _exit(127);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::filesystem::path thisProgram() { return std::filesystem::read_symlink("/proc/self/exe"); }

std::filesystem::path newFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "tovi-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) std::abort();
  return name;
}

}  // namespace testing_support
