// What the program writes: never over what it reads, and whole or not at all.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/tool/tool_fixture.h"

namespace {

class Outputs : public Tool {
 protected:
  void SetUp() override {
    Tool::SetUp();
    write("A.mtx", real + "2 2\n4\n1\n1\n3\n");
    write("b.mtx", real + "2 1\n6\n7\n");
    write("C.mtx", real + "1 2\n1\n1\n");
    write("d.mtx", real + "1 1\n5\n");
    write("t.csv", "a,y\n1,2\n2,5\n4,8\n");
    write("p.pgm", "P2 2 2 9 9 0 0 5\n");
    write("q.svg", real + "2 1\n1\n2\n");
  }

  // Each case fails before anything is computed, and leaves the folder as it was.
  void expectRefused(const Failures& cases) const {
    const auto before = files();
    expectOneLine(cases, [&](const std::string& arguments) {
      const Result result = run(arguments);
      EXPECT_EQ(result.out.find("time"), std::string::npos) << result.out;
      EXPECT_TRUE(files() == before);
      return result;
    });
  }
};

TEST_F(Outputs, NoInputIsOverwritten) {
  std::filesystem::create_hard_link(path("A.mtx"), path("link.mtx"));
  std::filesystem::create_directory(path("folder"));
  expectRefused({
      {"solve A.mtx -o A.mtx", "A.mtx: would overwrite the input A.mtx"},
      {"solve A.mtx -o folder/../A.mtx", "folder/../A.mtx: would overwrite the input A.mtx"},
      {"solve A.mtx -o link.mtx", "link.mtx: would overwrite the input A.mtx"},
      {"solve A.mtx b.mtx -o b.mtx", "b.mtx: would overwrite the input b.mtx"},
      {"solve A.mtx --csv A.mtx", "A.mtx: would overwrite the input A.mtx"},
      {"lstsq A.mtx b.mtx -o A.mtx", "A.mtx: would overwrite the input A.mtx"},
      {"lstsq t.csv --response y --csv t.csv", "t.csv: would overwrite the input t.csv"},
      {"lstsq A.mtx b.mtx --constraint C.mtx d.mtx -o C.mtx", "C.mtx: would overwrite the input C.mtx"},
      {"lstsq A.mtx b.mtx --constraint C.mtx d.mtx --csv d.mtx", "d.mtx: would overwrite the input d.mtx"},
      {"svd t.csv -o t", "t.csv: would overwrite the input t.csv"},
      {"svd q.svg -o q", "q.svg: would overwrite the input q.svg"},
      {"svd p.pgm --csv p.pgm", "p.pgm: would overwrite the input p.pgm"},
      {"svd A.mtx -o p --csv p.csv", "p.csv: two outputs have this name"},
      {"solve A.mtx -o x --csv folder/../x", "folder/../x: two outputs have this name"},
  });
}

TEST_F(Outputs, AreCheckedBeforeAnythingIsComputed) {
  std::filesystem::create_directory(path("x.mtx"));
  std::filesystem::create_directory(path("p.svg"));
  expectRefused({
      {"solve A.mtx -o no/x.mtx", "no/x.mtx: cannot be written: no is no folder"},
      {"solve A.mtx -o A.mtx/x.mtx", "A.mtx/x.mtx: cannot be written: A.mtx is no folder"},
      {"solve A.mtx -o x.mtx", "x.mtx: cannot be written: it is a folder"},
      {"solve A.mtx --csv x.mtx", "x.mtx: cannot be written: it is a folder"},
      {"lstsq A.mtx --csv no/r.csv", "no/r.csv: cannot be written: no is no folder"},
      {"svd p.pgm -o no/p", "no/p.csv: cannot be written: no is no folder"},
      {"svd p.pgm -o p", "p.svg: cannot be written: it is a folder"},
  });
}

TEST_F(Outputs, ReplaceWhatStoodThere) {
  write("x.mtx", std::string(10000, 'x'));
  const Result result = run("solve A.mtx b.mtx -o x.mtx");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(contents(path("x.mtx")), real + "2 1\n1\n2\n");
  auto expected = files();
  ASSERT_EQ(run("solve A.mtx b.mtx -o x.mtx").exitCode, 0);
  EXPECT_TRUE(files() == expected) << "nothing else is left in the folder";
}

TEST_F(Outputs, ATableOfResultsHasOneKindOfLine) {
  ASSERT_EQ(run("solve A.mtx --csv solved.csv").exitCode, 0);
  ASSERT_EQ(run("lstsq A.mtx --csv fitted.csv").exitCode, 0);
  ASSERT_EQ(run("svd A.mtx --csv values.csv").exitCode, 0);
  write("notes.txt", "to do\n");
  const std::string message = ":1: holds no results of this kind";
  expectRefused({
      {"solve A.mtx --csv fitted.csv", "fitted.csv" + message},
      {"solve A.mtx --csv notes.txt", "notes.txt" + message},
      {"lstsq A.mtx --csv solved.csv", "solved.csv" + message},
      {"svd A.mtx --csv solved.csv", "solved.csv" + message},
      {"svd A.mtx --csv t.csv", "t.csv" + message},
  });

  // What an editor may have left: other line ends, no end of the last line. An empty file is a new one.
  std::string table = contents(path("solved.csv"));
  const std::string line = table.substr(table.find('\n'));
  table.insert(table.find('\n'), "\r");
  table.pop_back();
  write("solved.csv", table);
  write("empty.csv", "");
  for (const char* name : {"solved.csv", "empty.csv"})
    ASSERT_EQ(run(std::string("solve A.mtx --csv ") + name).exitCode, 0);
  expectParts(contents(path("solved.csv")), {line});
  EXPECT_EQ(lines(contents(path("solved.csv"))), 3);
  EXPECT_EQ(lines(contents(path("empty.csv"))), 2);
}

}  // namespace
