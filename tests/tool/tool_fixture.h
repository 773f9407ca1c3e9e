// A folder for the files of one test, and the program run in it.

#ifndef TOVI_TESTS_TOOL_TOOL_FIXTURE_H
#define TOVI_TESTS_TOOL_TOOL_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

struct Result {
  int exitCode;
  std::string out, err;
};

inline std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline long lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

class Tool : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "tovi-tool-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name)) << text;
    return path(name);
  }
  // In the folder: its files go by their names.
  Result run(const std::string& arguments, const std::string& output = "out") const {
    const std::string command =
        "cd '" + folder_.string() + "' && '" TOVI_TOOL "' " + arguments + " >" + output + " 2>err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(path("out")), contents(path("err"))};
  }
  Result solve(const std::string& text) const { return run("solve '" + write("a.mtx", text) + "'"); }

  // Each case is a text, or arguments, of which call() makes a run that fails with one line.
  using Failures = std::vector<std::pair<std::string, std::string>>;
  template <class Run>
  void expectOneLine(const Failures& failures, const Run& call) const {
    for (const auto& [what, message] : failures) {
      SCOPED_TRACE(what.substr(0, 200));
      const Result result = call(what);
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_EQ(lines(result.err), 1) << result.err;
      EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
  }

  // The numbers of a file that the program wrote, below its size line.
  std::vector<double> solution() const {
    std::ifstream file(path("x.mtx"));
    std::string banner;
    std::getline(file, banner);
    int rows = 0, columns = 0;
    file >> rows >> columns;
    std::vector<double> values;
    for (double value; file >> value;) values.push_back(value);
    return values;
  }

 private:
  std::filesystem::path folder_;
};

#endif
