// Another program, run without a shell.

#ifndef TOVI_TESTS_SUPPORT_PROGRAM_H
#define TOVI_TESTS_SUPPORT_PROGRAM_H

#include <filesystem>
#include <string>
#include <vector>

namespace testing_support {

// Runs words[0] in a folder, its output and its messages in files, and waits for it. The exit code, -1 where
// it did not end by itself.
int runProgram(const std::vector<std::string>& words, const std::filesystem::path& folder,
               const std::filesystem::path& out, const std::filesystem::path& err);

// The program that is running.
std::filesystem::path thisProgram();

// A new, empty folder for temporary files.
std::filesystem::path newFolder();

}  // namespace testing_support

#endif
