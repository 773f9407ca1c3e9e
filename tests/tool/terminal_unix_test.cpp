// What the program shows on a terminal.

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "tests/tool/tool_fixture.h"

namespace {

TEST_F(Tool, ShowsProgressOnATerminal) {
  write("a.mtx", "%%MatrixMarket matrix array real general\n2 2\n3\n4\n0\n5\n");
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
