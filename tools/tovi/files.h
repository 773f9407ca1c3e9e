// What the readers and the writers share: kinds of files by name, and text files written in one piece.

#ifndef TOVI_TOOLS_FILES_H
#define TOVI_TOOLS_FILES_H

#include <string>

namespace tool {

// Whether the file's name has this ending (".csv"), in whatever case.
bool hasEnding(const std::string& path, const std::string& ending);

// Replaces the file's contents.
void writeText(const std::string& path, const std::string& text);

}  // namespace tool

#endif
