#include "tools/tovi/files.h"

#include <cctype>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "tools/tovi/failure.h"

namespace tool {

bool hasEnding(const std::string& path, const std::string& ending) {
  std::string end = path.substr(path.size() < ending.size() ? 0 : path.size() - ending.size());
  for (char& c : end) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return end == ending;
}

void writeText(const std::string& path, const std::string& text) {
  errno = 0;
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw Failure(path + ": cannot be written: " + std::generic_category().message(errno));
}

}  // namespace tool
