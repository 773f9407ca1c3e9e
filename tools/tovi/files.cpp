#include "tools/tovi/files.h"

#include <array>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>
#include <utility>

#include "tools/tovi/failure.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& why) { throw Failure(path + ": " + why); }
[[noreturn]] void failToWrite(const std::string& path, const std::string& why) {
  fail(path, "cannot be written: " + why);
}
[[noreturn]] void failToWrite(const std::string& path) {
  failToWrite(path, std::generic_category().message(errno));
}

// The file that a path leads to, or would lead to if it were there.
fs::path placeOf(fs::path path) {
  constexpr int longestChain = 40;
  std::error_code error;
  for (int links = 0; links < longestChain && fs::is_symlink(path, error); ++links)
    path = path.parent_path() / fs::read_symlink(path, error);
  return path;
}

fs::path folderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : "."; }

// Whether both paths lead to one file, be it there or not.
bool areOneFile(const std::string& path, const std::string& other) {
  std::error_code none;
  const auto spelled = [&](const std::string& name) {
    return fs::weakly_canonical(fs::absolute(placeOf(name), none), none);
  };
  return fs::equivalent(path, other, none) || spelled(path) == spelled(other);
}

void checkWritable(const std::string& path, bool isReplaced) {
  std::error_code error;
  const fs::path place = placeOf(path);
  if (fs::is_directory(place, error)) failToWrite(path, "it is a folder");
  if (!fs::is_directory(folderOf(place), error))
    failToWrite(path, folderOf(place).string() + " is no folder");
  if (isStream(path)) return;  // a pipe is opened once
  const bool isThere = fs::exists(place, error);
  errno = 0;
  if (isThere && !std::ofstream(path, std::ios::app)) failToWrite(path);
  if (!isThere || isReplaced) const TemporaryFile writable(path);
}

// The names of the temporary files that are there, for a signal that ends the program.
std::array<std::atomic<const char*>, 8> temporaryNames{};

void removeAndEnd(int signal) {
  for (const auto& name : temporaryNames)
    if (const char* const file = name.load()) std::remove(file);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void listTemporary(const char* name) {
#if defined(SIGHUP)
  constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};
#else
  constexpr int signals[] = {SIGINT, SIGTERM};
#endif
  for (const int signal : signals)
    if (const auto before = std::signal(signal, removeAndEnd); before == SIG_IGN)
      std::signal(signal, SIG_IGN);
  for (auto& place : temporaryNames)
    if (const char* none = nullptr; place.compare_exchange_strong(none, name)) return;
}

void unlistTemporary(const char* name) {
  for (auto& place : temporaryNames)
    if (const char* listed = name; place.compare_exchange_strong(listed, nullptr)) return;
}

}  // namespace

bool hasEnding(const std::string& path, const std::string& ending) {
  std::string end = path.substr(path.size() < ending.size() ? 0 : path.size() - ending.size());
  for (char& c : end) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return end == ending;
}

bool isStream(const std::string& path) {
  std::error_code error;
  for (const char* own : {"/dev/stdout", "/dev/stderr"})
    if (fs::equivalent(path, own, error)) return true;
  return fs::exists(path, error) &&
         !(fs::is_regular_file(path, error) && fs::equivalent(path, placeOf(path), error));
}

TemporaryFile::TemporaryFile(std::string path) : path_(std::move(path)), place_(placeOf(path_)) {
  std::random_device random;
  name_ = folderOf(place_) / (".tovi-" + std::to_string(random()) + std::to_string(random()));
  nameText_ = name_.string();
  listTemporary(nameText_.c_str());
  errno = 0;
  if (!std::ofstream(name_, std::ios::binary)) {
    const int error = errno;
    unlistTemporary(nameText_.c_str());
    errno = error;
    failToWrite(path_);
  }
  std::error_code none;
  if (const fs::file_status status = fs::status(place_, none); fs::exists(status))
    fs::permissions(name_, status.permissions(), none);
}

TemporaryFile::~TemporaryFile() {
  std::error_code none;
  fs::remove(name_, none);
  unlistTemporary(nameText_.c_str());
}

void TemporaryFile::takePlace() const {
  std::error_code error;
  fs::rename(name_, place_, error);
  if (error) failToWrite(path_, error.message());
}

Outputs::Outputs(const std::vector<std::string>& inputs, const std::vector<std::string>& written,
                 const std::string& appended) {
  std::vector<std::string> paths = written;
  paths.push_back(appended);
  for (std::size_t k = 0; k < paths.size(); ++k) {
    const std::string& path = paths[k];
    if (path.empty()) continue;
    if (!isStream(path)) {
      for (const std::string& input : inputs)
        if (!input.empty() && areOneFile(path, input)) fail(path, "would overwrite the input " + input);
      for (std::size_t other = 0; other < k; ++other)
        if (!paths[other].empty() && areOneFile(path, paths[other])) fail(path, "two outputs have this name");
    }
    checkWritable(path, k < written.size());
  }
}

void Outputs::write(const std::string& path, const std::function<void(std::ostream&)>& content) {
  const fs::path name = isStream(path) ? fs::path(path) : written_.emplace_back(path).name();
  errno = 0;
  std::ofstream file(name, std::ios::binary);
  if (file) content(file);
  file.close();
  if (!file) failToWrite(path);
}

void Outputs::takePlaces() {
  for (const TemporaryFile& file : written_) file.takePlace();
  written_.clear();
}

}  // namespace tool
