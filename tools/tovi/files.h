// The files that a command writes, and kinds of files by name.

#ifndef TOVI_TOOLS_FILES_H
#define TOVI_TOOLS_FILES_H

#include <filesystem>
#include <functional>
#include <list>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

// Whether the file's name has this ending (".csv"), in whatever case.
bool hasEnding(const std::string& path, const std::string& ending);

// Whether a file has to be written as it stands: it is there, but not as one that another could replace, or
// it is what the program writes its text to.
bool isStream(const std::string& path);

// An empty file in the folder of another one, with that one's permissions if it is there. It is removed with
// the object, unless it has been moved, and where Ctrl-C or the like ends the program.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string path);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& name() const { return name_; }
  void takePlace() const;

 private:
  std::string path_;  // of the other one, as messages call it
  std::filesystem::path place_, name_;
  std::string nameText_;  // where a signal handler can read it
};

// Files that appear whole or not at all, and all of them together: each is written under another name in its
// folder, and takes its place when everything has been written. Streams are written as they stand.
class Outputs {
 public:
  // Refuses, before anything is computed, files that could not be written, two that are one, and those that
  // are an input, by whatever name. Empty paths are none. appended: the table that appendCsv adds a line to.
  Outputs(const std::vector<std::string>& inputs, const std::vector<std::string>& written,
          const std::string& appended);

  void write(const std::string& path, const std::function<void(std::ostream&)>& content);
  void takePlaces();

 private:
  std::list<TemporaryFile> written_;
};

}  // namespace tool

#endif
