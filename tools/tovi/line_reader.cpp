#include "tools/tovi/line_reader.h"

#include <cerrno>
#include <system_error>

#include "tools/tovi/failure.h"

namespace tool {
namespace {

constexpr std::size_t longestLine = 1 << 20;  // so that a file without line ends is refused, not loaded

}  // namespace

LineReader::LineReader(const std::string& path) : path_(path), line_(longestLine) {
  errno = 0;
  file_.open(path, std::ios::binary);
  if (!file_) fail("cannot be opened: " + std::generic_category().message(errno));
}

void LineReader::fail(const std::string& message) const { throw Failure(path_ + ": " + message); }

void LineReader::failAtLine(const std::string& message) const {
  throw Failure(path_ + ":" + std::to_string(lineNumber_) + ": " + message);
}

bool LineReader::next(std::string_view& line) {
  if (file_.peek() == std::ifstream::traits_type::eof()) {
    if (file_.bad()) fail("cannot be read");
    return false;
  }
  ++lineNumber_;
  file_.getline(line_.data(), static_cast<std::streamsize>(line_.size()));
  if (file_.bad()) fail("cannot be read");
  if (file_.fail()) failAtLine("the line is too long");
  auto length = static_cast<std::size_t>(file_.gcount());
  if (!file_.eof()) --length;  // gcount counts the line end
  line = std::string_view(line_.data(), length);
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (lineNumber_ == 1 && line.substr(0, byteOrderMark.size()) == byteOrderMark)
    line.remove_prefix(byteOrderMark.size());
  return true;
}

}  // namespace tool
