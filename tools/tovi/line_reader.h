// A text file, line by line. What is wrong with it becomes one line that names the file, and the line where
// there is one.

#ifndef TOVI_TOOLS_LINE_READER_H
#define TOVI_TOOLS_LINE_READER_H

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

class LineReader {
 public:
  explicit LineReader(const std::string& path);

  // The next line without its end (nor a byte order mark), valid until the next call; false at the end of the
  // file.
  bool next(std::string_view& line);

  [[noreturn]] void fail(const std::string& message) const;        // about the file
  [[noreturn]] void failAtLine(const std::string& message) const;  // about the line just read

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::ifstream file_;
  std::vector<char> line_;
  std::uint64_t lineNumber_ = 0;
};

}  // namespace tool

#endif
