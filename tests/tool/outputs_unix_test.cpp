// Outputs that are links, pipes and devices, a device that is full, and what is shown on a terminal.

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/tool/tool_fixture.h"

namespace {

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

// The program waits for somebody to read its table, and has written x by then.
TEST_F(UnixOutputs, ASignalLeavesNothing) {
  write("x.mtx", "old");
  const std::filesystem::path elsewhere = testing_support::newFolder(), table = elsewhere / "table";
  ASSERT_EQ(mkfifo(table.c_str(), 0600), 0);
  const auto before = files();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const pid_t program = fork();
    if (program == 0) {
      alarm(20);
      if (chdir(path("").c_str()) == 0)
        execl(TOVI_TOOL, "tovi", "solve", "A.mtx", "-o", "x.mtx", "--csv", table.c_str(), nullptr);
      std::_Exit(99);
    }
    int status = 0;
    while (files() == before && waitpid(program, &status, WNOHANG) == 0) usleep(1000);
    usleep(100000);
    kill(program, signal);
    ASSERT_EQ(waitpid(program, &status, 0), program);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_TRUE(files() == before);
  }
  std::filesystem::remove_all(elsewhere);
}

// Names of files are shown, too.
TEST_F(UnixOutputs, NoNameReachesTheTerminalWhole) {
  const std::string name =
      "a\x1B[31m\xC2\x9B"
      "b\n.mtx";
  write(name, real + "2 2\n4\n1\n1\n3\n");
  const Result good = run("solve '" + name + "'"), bad = run("svd '" + name + "' -o 'no\x1B/x'");
  EXPECT_EQ(good.exitCode, 0);
  expectParts(good.out, {"a?[31m??b"});
  EXPECT_EQ(bad.exitCode, 1);
  for (const std::string& text : {good.out, good.err, bad.out, bad.err})
    EXPECT_EQ(text.find_first_of("\x1B\x9B"), std::string::npos) << text;
}

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
  for (const auto& [arguments, output] : {std::pair{"solve A.mtx b.mtx -o x.mtx", "x.mtx"},
                                          {"svd D.mtx -o p", "p.svg"},
                                          {"solve A.mtx --csv r.csv", "r.csv"}}) {
    expectOneLine(runAfter("trap '' XFSZ; ulimit -f 8", arguments),
                  std::string(output) + ": cannot be written: File too large");
    EXPECT_TRUE(files() == before);
  }
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

TEST_F(Tool, ShowsProgressOnATerminal) {
  write("a.mtx", real + "2 2\n3\n4\n0\n5\n");
  const std::string command = "cd '" + path("") + "' && exec '" TOVI_TOOL "' svd a.mtx >out";
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == -1) GTEST_SKIP() << "no terminal to be had";
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  std::string shown;
  char buffer[256];
  for (ssize_t count = 0;
       (count = read(terminal, buffer, sizeof buffer)) > 0;)  // an error once the child is gone
    shown.append(buffer, static_cast<std::size_t>(count));
  close(terminal);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << shown;
  EXPECT_NE(shown.find("\rdecomposing 2 x 2 ... 0 s"), std::string::npos) << shown;
  const std::string wiped = "\r                \r";
  ASSERT_GE(shown.size(), wiped.size());
  EXPECT_EQ(shown.substr(shown.size() - wiped.size()), wiped);
}

}  // namespace
