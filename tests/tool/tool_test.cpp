// The command-line program, run as a user runs it: files in, text, files and exit codes out.

#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tool/tool_fixture.h"

namespace {

using Complex = std::complex<double>;
constexpr int n = 4;  // even: a skew-symmetric matrix of odd order is singular
using Matrix = std::array<std::array<Complex, n>, n>;

// --- Every kind of file: a matrix with that symmetry, written in that format, against a solution known
// beforehand.

struct Kind {
  std::string format, field, symmetry;
};

// The file that holds a matrix of this kind.
std::string example(const Kind& kind, Matrix& a) {
  const bool general = kind.symmetry == "general", skew = kind.symmetry == "skew-symmetric",
             hermitian = kind.symmetry == "hermitian", coordinate = kind.format == "coordinate",
             complex = kind.field == "complex", pattern = kind.field == "pattern";
  std::ostringstream body;
  int entries = 0;
  for (int j = 0; j < n; ++j)
    for (int i = general ? 0 : skew ? j + 1 : j; i < n; ++i) {
      Complex value = (i == j ? 9.0 + i : 1.0 + i - 2.0 * j) * (kind.field == "real" ? 0.5 : 1.0);
      if (complex) value += Complex(0.0, i == j && hermitian ? 0.0 : 2.0 - i + 0.25 * j);
      if (pattern) value = general ? double(i >= j) : double(i == j + 1);
      if (!general) a[std::size_t(j)][std::size_t(i)] = skew ? -value : hermitian ? std::conj(value) : value;
      a[std::size_t(i)][std::size_t(j)] = value;
      if (coordinate && value == 0.0) continue;
      if (coordinate) body << i + 1 << ' ' << j + 1 << ' ';
      if (!pattern) body << value.real();
      if (complex) body << ' ' << value.imag();
      body << '\n';
      ++entries;
    }
  return "%%MatrixMarket matrix " + kind.format + ' ' + kind.field + ' ' + kind.symmetry +
         "\n% a comment\n\n4 4" + (coordinate ? ' ' + std::to_string(entries) : "") + '\n' + body.str();
}

TEST_F(Tool, ReadsEveryKindOfFile) {
  std::vector<Kind> kinds;
  for (const char* format : {"coordinate", "array"})
    for (const char* field : {"real", "integer", "complex"})
      for (const char* symmetry : {"general", "symmetric", "skew-symmetric"})
        kinds.push_back({format, field, symmetry});
  for (const char* format : {"coordinate", "array"}) kinds.push_back({format, "complex", "hermitian"});
  for (const char* symmetry : {"general", "symmetric"}) kinds.push_back({"coordinate", "pattern", symmetry});
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.format + kind.field + kind.symmetry);
    // Two right-hand sides, complex ones for every matrix: b = A x with x = (1 + column + i, -row).
    Matrix a{};
    write("a.mtx", example(kind, a));
    std::ostringstream b;
    b << "%%MatrixMarket matrix array complex general\n" << n << " 2\n" << std::setprecision(17);
    std::vector<double> expected;
    for (int column = 0; column < 2; ++column)
      for (int i = 0; i < n; ++i) {
        Complex sum = 0.0;
        for (int j = 0; j < n; ++j)
          sum += a[std::size_t(i)][std::size_t(j)] * Complex(1.0 + column + j, -double(j));
        b << sum.real() << ' ' << sum.imag() << '\n';
        expected.insert(expected.end(), {1.0 + column + i, -double(i)});
      }
    write("b.mtx", b.str());
    const Result result = run("solve a.mtx b.mtx -o x.mtx");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::vector<double> x = solution();
    ASSERT_EQ(x.size(), expected.size());
    for (std::size_t k = 0; k < x.size(); ++k) EXPECT_NEAR(x[k], expected[k], 1e-4) << k;
  }
}

TEST_F(Tool, AddsEntriesForOnePlaceAndTakesOnesWithoutB) {
  write("a.mtx",
        "%%MatrixMarket MATRIX Coordinate Real GENERAL\r\n2 2 4\r\n1 1 1.5\r\n2 2 +4e0\r\n\r\n1 1 0.5\r\n"
        "1 2 1e-400\r\n");
  const Result result = run("solve a.mtx -o x.mtx");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(contents(path("x.mtx")), "%%MatrixMarket matrix array real general\n2 1\n0.5\n0.25\n");
}

TEST_F(Tool, WrittenSolutionComesBackBitForBit) {
  write("a.mtx", "%%MatrixMarket matrix coordinate pattern general\n4 4 4\n1 1\n2 2\n3 3\n4 4\n");
  // The same numbers, told by nine digits each: what comes back must round to the same bits.
  const float values[] = {0.1f, 16777217.0f, -1.17549435e-38f, 3.40282347e+38f};
  std::ostringstream b;
  b << real + "4 1\n" << std::setprecision(9);
  for (const float value : values) b << value << '\n';
  write("b.mtx", b.str());
  const Result result = run("solve a.mtx b.mtx -o x.mtx");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::vector<double> x = solution();
  ASSERT_EQ(x.size(), 4u);
  for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(static_cast<float>(x[k]), values[k]);
}

// They leave the folder as it was, and show no results.
TEST_F(Tool, FailuresGetOneLine) {
  const int runs = forEachRun(TOVI_TABLES "/failures.txt", [&](const std::vector<std::string>& fields) {
    if (fields.size() == 3) write(wordsOf(fields[0]).at(1), fields[1]);
    const auto before = files();
    const Result result = run(fields[0]);
    expectOneLine(result, fields.back());
    EXPECT_EQ(result.out.find("time"), std::string::npos) << result.out;
    EXPECT_TRUE(files() == before);
  });
  EXPECT_EQ(runs, 141);
}

TEST_F(Tool, OutputThatCannotBeWrittenIsAFailure) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  write("a.mtx", real + "1 1\n2\n");
  for (const char* arguments : {"solve a.mtx -o x.mtx", "lstsq a.mtx", "devices", "--help"}) {
    SCOPED_TRACE(arguments);
    const Result result = run(arguments, "/dev/full");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "tovi: the output cannot be written\n");
  }
  EXPECT_EQ(solution(), std::vector<double>{0.5}) << "what goes to a file is there all the same";
}

TEST_F(Tool, OptionsAndExitCodes) {
  EXPECT_EQ(run("--help").exitCode, 0);
  expectParts(run("solve --help").out, {"2/3 n^3"});
  for (const char* arguments :
       {"", "solve", "solve a b c", "solve --unknown a", "devices a", "nothing", "lstsq", "lstsq a b c",
        "lstsq a --constraint B", "svd", "svd a b", "svd a --rank 0", "svd t.csv --scatter", "chol",
        "chol a b c", "eig", "eig a b", "eig a --modes"})
    EXPECT_EQ(run(arguments).exitCode, 2) << arguments;

  const std::string a = write("a.mtx", real + "1 1\n2\n");
  const Result result = run("solve -d 1000 '" + a + "'");
  EXPECT_EQ(result.exitCode, 1);
  expectParts(result.err, {"Argument 1 is invalid (see the TOVI Reference Manual for more information)"});

  for (int time = 0; time < 2; ++time)
    EXPECT_EQ(run("solve -d 0 '" + a + "' --csv '" + path("results.csv") + "'").exitCode, 0);
  std::istringstream csv(contents(path("results.csv")));
  std::string line;
  std::getline(csv, line);
  EXPECT_EQ(line.rfind("order,columns,kind,", 0), 0u) << line;
  for (int time = 0; time < 2; ++time) {
    std::getline(csv, line);
    EXPECT_EQ(line.rfind("1,1,array real general,", 0), 0u) << line;
  }
  EXPECT_FALSE(std::getline(csv, line));
}

TEST_F(Tool, OutputsReplaceWhatStoodThere) {
  write("A.mtx", real + "2 2\n4\n1\n1\n3\n");
  write("b.mtx", real + "2 1\n6\n7\n");
  write("x.mtx", std::string(10000, 'x'));
  ASSERT_EQ(run("solve A.mtx b.mtx -o x.mtx").exitCode, 0);
  EXPECT_EQ(contents(path("x.mtx")), real + "2 1\n1\n2\n");
  EXPECT_EQ(files().size(), 3u) << "nothing else is left in the folder";
}

TEST_F(Tool, ATableOfResultsHasOneKindOfLine) {
  write("A.mtx", real + "2 2\n4\n1\n1\n3\n");
  for (const char* name : {"solve", "chol", "lstsq", "svd", "eig"})
    ASSERT_EQ(run(std::string(name) + " A.mtx --csv " + name).exitCode, 0);
  write("notes.txt", "to do\n");
  const auto before = files();
  for (const char* arguments :
       {"solve A.mtx --csv lstsq", "solve A.mtx --csv notes.txt", "lstsq A.mtx --csv solve",
        "svd A.mtx --csv solve", "chol A.mtx --csv solve", "solve A.mtx --csv chol", "eig A.mtx --csv svd"})
    expectOneLine(run(arguments), ":1: holds no results of this kind");
  EXPECT_TRUE(files() == before);

  // What an editor may have left: other line ends, no end of the last line. An empty file is a new one.
  std::string table = contents(path("solve"));
  const std::string line = table.substr(table.find('\n'));
  table.insert(table.find('\n'), "\r");
  table.pop_back();
  write("solve", table);
  write("empty", "");
  for (const char* name : {"solve", "empty"})
    ASSERT_EQ(run(std::string("solve A.mtx --csv ") + name).exitCode, 0);
  expectParts(contents(path("solve")), {line});
  EXPECT_EQ(lines(contents(path("solve"))), 3);
  EXPECT_EQ(lines(contents(path("empty"))), 2);
}

}  // namespace
