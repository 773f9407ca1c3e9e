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
  const char *format, *field, *symmetry;
};

std::string banner(const Kind& kind) {
  return std::string("%%MatrixMarket matrix ") + kind.format + " " + kind.field + " " + kind.symmetry + "\n";
}

Matrix exampleMatrix(const Kind& kind) {
  const std::string field = kind.field, symmetry = kind.symmetry;
  Matrix a{};
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const bool stored = symmetry == "general" || i >= j;
      if (!stored) continue;
      Complex value = i == j ? 9.0 + i : 1.0 + i - 2.0 * j;
      if (field == "real") value *= 0.5;
      if (field == "complex")
        value += Complex(0.0, i == j && symmetry == "hermitian" ? 0.0 : 2.0 - i + 0.25 * j);
      if (field == "pattern") value = symmetry == "general" ? double(i >= j) : double(i == j + 1);
      if (symmetry == "skew-symmetric" && i == j) value = 0.0;
      auto& mirror = a[std::size_t(j)][std::size_t(i)];
      a[std::size_t(i)][std::size_t(j)] = value;
      if (symmetry == "symmetric") mirror = value;
      if (symmetry == "hermitian") mirror = std::conj(value);
      if (symmetry == "skew-symmetric") mirror = -value;
    }
  return a;
}

void writeValue(std::ostream& out, const Kind& kind, Complex value) {
  const std::string field = kind.field;
  if (field != "pattern") out << value.real();
  if (field == "complex") out << ' ' << value.imag();
  out << '\n';
}

std::string fileOf(const Kind& kind) {
  const Matrix a = exampleMatrix(kind);
  const bool coordinate = std::string(kind.format) == "coordinate",
             general = std::string(kind.symmetry) == "general",
             skew = std::string(kind.symmetry) == "skew-symmetric";
  std::ostringstream body;
  int entries = 0;
  for (int j = 0; j < n; ++j)
    for (int i = general ? 0 : skew ? j + 1 : j; i < n; ++i) {
      const Complex value = a[std::size_t(i)][std::size_t(j)];
      if (coordinate && value == 0.0) continue;
      if (coordinate) body << i + 1 << ' ' << j + 1 << ' ';
      writeValue(body, kind, value);
      ++entries;
    }
  std::ostringstream file;
  file << banner(kind) << "% a comment\n\n" << n << ' ' << n;
  if (coordinate) file << ' ' << entries;
  file << '\n' << body.str();
  return file.str();
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
    SCOPED_TRACE(banner(kind));
    // Two right-hand sides, complex ones for every matrix: b = A x with x = (1 + column + i, -row).
    const Matrix a = exampleMatrix(kind);
    std::ostringstream b;
    b << "%%MatrixMarket matrix array complex general\n" << n << " 2\n" << std::setprecision(17);
    std::vector<double> expected;
    for (int column = 0; column < 2; ++column) {
      for (int i = 0; i < n; ++i) {
        Complex sum = 0.0;
        for (int j = 0; j < n; ++j)
          sum += a[std::size_t(i)][std::size_t(j)] * Complex(1.0 + column + j, -double(j));
        b << sum.real() << ' ' << sum.imag() << '\n';
        expected.push_back(1.0 + column + i);
        expected.push_back(-double(i));
      }
    }
    const Result result = run("solve '" + write("a.mtx", fileOf(kind)) + "' '" + write("b.mtx", b.str()) +
                              "' -o '" + path("x.mtx") + "'");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::vector<double> x = solution();
    ASSERT_EQ(x.size(), expected.size());
    for (std::size_t k = 0; k < x.size(); ++k) EXPECT_NEAR(x[k], expected[k], 1e-4) << k;
  }
}

TEST_F(Tool, AddsEntriesForOnePlaceAndTakesOnesWithoutB) {
  const Result result = run("solve '" +
                            write("a.mtx",
                                  "%%MatrixMarket MATRIX Coordinate Real GENERAL\r\n2 2 4\r\n1 1 1.5\r\n"
                                  "2 2 +4e0\r\n\r\n1 1 0.5\r\n1 2 1e-400\r\n") +
                            "' -o '" + path("x.mtx") + "'");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(contents(path("x.mtx")), "%%MatrixMarket matrix array real general\n2 1\n0.5\n0.25\n");
}

TEST_F(Tool, WrittenSolutionComesBackBitForBit) {
  const std::string identity =
      write("a.mtx", "%%MatrixMarket matrix coordinate pattern general\n4 4 4\n1 1\n2 2\n3 3\n4 4\n");
  // The same numbers, told by nine digits each: what comes back must round to the same bits.
  const float values[] = {0.1f, 16777217.0f, -1.17549435e-38f, 3.40282347e+38f};
  std::ostringstream b;
  b << "%%MatrixMarket matrix array real general\n4 1\n" << std::setprecision(9);
  for (const float value : values) b << value << '\n';
  const Result result =
      run("solve '" + identity + "' '" + write("b.mtx", b.str()) + "' -o '" + path("x.mtx") + "'");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::vector<double> x = solution();
  ASSERT_EQ(x.size(), 4u);
  for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(static_cast<float>(x[k]), values[k]);
}

TEST_F(Tool, BadFilesGetOneLine) {
  const std::string real = "%%MatrixMarket matrix coordinate real general\n",
                    array = "%%MatrixMarket matrix array real general\n";
  std::string nans = array + "3 3\n";
  for (int i = 0; i < 9; ++i) nans += "nan\n";
  const Failures cases = {
      {"", "the file is empty"},
      {"3 3 3\n", "not a Matrix Market file"},
      {"%%MatrixMarket matrix coordinate real\n",
       "a.mtx:1: expected: %%MatrixMarket matrix FORMAT FIELD SYMMETRY"},
      {"%%MatrixMarket vector coordinate real general\n", "holds a 'vector', not a matrix"},
      {"%%MatrixMarket matrix sparse real general\n", "unknown format 'sparse'"},
      {"%%MatrixMarket matrix array double general\n", "unknown field 'double'"},
      {"%%MatrixMarket matrix array real upper\n", "unknown symmetry 'upper'"},
      {"%%MatrixMarket matrix array pattern general\n", "is no kind of Matrix Market file"},
      {"%%MatrixMarket matrix coordinate real hermitian\n", "is no kind of Matrix Market file"},
      {real + "% nothing else\n", "ends before its size line"},
      {real + "2 2\n", "a.mtx:2: expected: rows columns entries"},
      {real + "2 two 1\n1 1 1\n", "'two' is not a whole number"},
      {real + "0 0 0\n", "number of rows '0' is not in 1..2147483647"},
      {real + "2 2 99999999999999999999\n1 1 1\n", "cut short"},
      {real + "2 2 1\n", "cut short: the file ends after 0 of 1 entry"},
      {real + "2 3 1\n1 1 1\n", "not square: 2 x 3"},
      {"%%MatrixMarket matrix coordinate real symmetric\n2 3 1\n1 1 1\n", "not square: 2 x 3"},
      {real + "2 2 3\n1 1 1\n2 2 1\n", "cut short: the file ends after 2 of 3 entries"},
      {real + "1000000 1000000 1\n1 1 1\n", "too large: order 1000000 needs"},
      {real + "2 2 1\n1 1 1\n2 2 1\n", "a.mtx:4: more than the 1 entry that"},
      {real + "2 2 1\n1 1\n", "a.mtx:3: expected 3 numbers, found 2 words"},
      {real + "2 2 1\n3 1 1\n", "row '3' is not in 1..2"},
      {real + "2 2 1\n1 1 1,5\n", "'1,5' is not a number"},
      {real + "2 2 1\n1 1 " + std::string(60000, 'x') + "\n", ": '" + std::string(40, 'x') + "...' is not"},
      {real + "2 2 1\n1 1 \033[2J\n", "a.mtx:3: '?[2J' is not a number"},
      {nans, "a.mtx:3: 'nan' is not a finite number"},
      {real + "2 2 1\n1 1 -inf\n", "'-inf' is not a finite number"},
      {real + "2 2 1\n1 1 3.5e38\n", "'3.5e38' overflows single precision"},
      {real + "2 2 2\n1 1 3e38\n1 1 3e38\n", "a.mtx:4: the sum of the entries for this place overflows"},
      {"%%MatrixMarket matrix coordinate integer general\n2 2 1\n1 1 1.5\n", "'1.5' is not an integer"},
      {"%%MatrixMarket matrix coordinate real symmetric\n2 2 1\n1 2 1\n", "lies above the diagonal"},
      {"%%MatrixMarket matrix coordinate real skew-symmetric\n2 2 1\n1 1 1\n", "has no diagonal entries"},
      {"%%MatrixMarket matrix array complex hermitian\n1 1\n1 1\n",
       "the diagonal of a Hermitian matrix is real"},
      {std::string(1 << 21, '%'), "a.mtx:1: the line is too long"},
  };
  expectOneLine(cases, [&](const std::string& text) {
    const Result result = solve(text);
    EXPECT_EQ(result.out.find("time"), std::string::npos) << result.out;
    return result;
  });
}

TEST_F(Tool, OtherFailuresGetOneLineToo) {
  const std::string a = write("a.mtx", "%%MatrixMarket matrix array real general\n1 1\n1e-30\n");
  const std::string tall = write("b.mtx", "%%MatrixMarket matrix array real general\n2 1\n1\n1\n");
  const std::string sparse =
      write("s.mtx", "%%MatrixMarket matrix coordinate real general\n9999 9999 1\n1 1 1\n");
  const std::string wide =
      write("wide.mtx", "%%MatrixMarket matrix coordinate real general\n9999 2147483647 1\n1 1 1\n");
  const std::string large = write("c.mtx", "%%MatrixMarket matrix array real general\n1 1\n1e30\n");
  const std::string two = write("d.mtx", "%%MatrixMarket matrix array real general\n2 2\n1\n0\n0\n1\n");
  const Failures cases = {
      {"solve '" + path("missing.mtx") + "'", "missing.mtx: cannot be opened: "},
      {"solve '" + path("") + "'", ": cannot be "},
      {"solve '" + a + "' '" + path("missing.mtx") + "'", "missing.mtx: cannot be opened: "},
      {"solve '" + a + "' '" + tall + "'", "b.mtx: has 2 rows, the matrix has 1"},
      {"solve '" + two + "' '" + large + "'", "c.mtx: has 1 row, the matrix has 2"},
      {"solve '" + sparse + "' '" + wide + "'",
       "too large: order 9999 with 2147483647 right-hand sides needs"},
      {"solve '" + a + "' '" + large + "'", "the solution overflows single precision"},
      {"solve '" + a + "' -o '" + path("no/x.mtx") + "'", "x.mtx: cannot be written: "},
  };
  expectOneLine(cases, [&](const std::string& arguments) { return run(arguments); });
}

TEST_F(Tool, OutputThatCannotBeWrittenIsAFailure) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  write("a.mtx", "%%MatrixMarket matrix array real general\n1 1\n2\n");
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
  for (const char* arguments : {"", "solve", "solve a b c", "solve --unknown a", "devices a", "nothing"})
    EXPECT_EQ(run(arguments).exitCode, 2) << arguments;

  const std::string a = write("a.mtx", "%%MatrixMarket matrix array real general\n1 1\n2\n");
  const Result result = run("solve -d 1000 '" + a + "'");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("Argument 1 is invalid (see the TOVI Reference Manual for more information)"),
            std::string::npos)
      << result.err;

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

}  // namespace
