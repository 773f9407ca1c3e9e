// Outputs that are links, pipes and devices, and a device that is full.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "tests/tool/tool_fixture.h"

namespace {

const std::string real = "%%MatrixMarket matrix array real general\n";

class UnixOutputs : public Tool {
 protected:
  void SetUp() override {
    Tool::SetUp();
    write("A.mtx", real + "2 2\n4\n1\n1\n3\n");
  }
  // The program under a shell that has run these commands first.
  Result runAfter(const std::string& commands, const std::string& arguments) const {
    const std::string line = commands + "; exec '" TOVI_TOOL "' " + arguments;
    const int exitCode = testing_support::runProgram({"/bin/sh", "-c", line}, path(""), "out", "err");
    return {exitCode, contents(path("out")), contents(path("err"))};
  }
};

TEST_F(UnixOutputs, AFailedWriteLeavesWhatStoodThere) {
  std::string b = real + "2 2000\n";
  for (int k = 0; k < 4000; ++k) b += "1\n";
  write("b.mtx", b);
  write("x.mtx", "old");
  // Eighty values take less than the 4096 bytes that a file may have, their plot takes more.
  std::string diagonal = "%%MatrixMarket matrix coordinate real general\n80 80 80\n";
  for (int i = 1; i <= 80; ++i) diagonal += std::to_string(i) + ' ' + std::to_string(i) + " 1\n";
  write("D.mtx", diagonal);
  write("p.svg", "old");
  // A table with room for a part of a line
  ASSERT_EQ(run("solve A.mtx --csv r.csv").exitCode, 0);
  std::string table = contents(path("r.csv"));
  while (table.size() < 4090) table += "1,2,3\n";
  write("r.csv", table);
  const auto before = files();
  const Failures cases = {{"solve A.mtx b.mtx -o x.mtx", "x.mtx: cannot be written: File too large"},
                          {"svd D.mtx -o p", "p.svg: cannot be written: File too large"},
                          {"solve A.mtx --csv r.csv", "r.csv: cannot be written: File too large"}};
  expectOneLine(cases, [&](const std::string& arguments) {
    const Result result = runAfter("trap '' XFSZ; ulimit -f 8", arguments);
    EXPECT_TRUE(files() == before);
    return result;
  });
}

TEST_F(UnixOutputs, LinksStayLinksAndPermissionsStay) {
  std::filesystem::create_directory(path("elsewhere"));
  std::filesystem::create_symlink("elsewhere/x.mtx", path("x.mtx"));  // to a file that is not there yet
  for (int time = 0; time < 2; ++time) {
    ASSERT_EQ(run("solve A.mtx -o x.mtx").exitCode, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(path("x.mtx")));
    EXPECT_EQ(contents(path("elsewhere/x.mtx")).rfind(real, 0), 0u);
    chmod(path("elsewhere/x.mtx").c_str(), 0640);
  }
  ASSERT_EQ(run("solve A.mtx -o x.mtx").exitCode, 0);
  EXPECT_EQ(std::filesystem::status(path("elsewhere/x.mtx")).permissions(), std::filesystem::perms(0640));

  std::filesystem::create_symlink("A.mtx", path("link.mtx"));
  expectParts(run("solve A.mtx -o link.mtx").err, {"link.mtx: would overwrite the input A.mtx"});
}

TEST_F(UnixOutputs, StreamsAreWrittenAsTheyStand) {
  expectParts(run("solve A.mtx --csv /dev/stdout").out, {"\nbackward error ", "\norder,columns,kind,"});
  const std::string command = "cd '" + path("") +
                              "' && { '" TOVI_TOOL
                              "' solve A.mtx -o /dev/stdout --csv /dev/null; echo $?; } | cat";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string text;
  for (int c = 0; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  pclose(pipe);
  const std::size_t matrix = text.find(real + "2 1\n");
  EXPECT_NE(matrix, std::string::npos) << text;
  EXPECT_NE(text.find("\n0\n", matrix), std::string::npos) << text;
  expectParts(run("solve A.mtx -o /dev/full").err, {"/dev/full: cannot be written: No space left"});
}

}  // namespace
