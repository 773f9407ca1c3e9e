// The program in double precision: what is read, computed, written and said.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/tool/tool_fixture.h"

namespace {

using Precision = Tool;

// A Hilbert matrix and its product with ones: exact to a few roundings, of condition 1.5e10.
std::string hilbert(int n, bool times) {
  std::ostringstream text;
  text << real << n << ' ' << (times ? 1 : n) << '\n' << std::setprecision(17);
  for (int j = 0; j < (times ? 1 : n); ++j)
    for (int i = 0; i < n; ++i) {
      double sum = 0;
      for (int k = 0; k < n; ++k) sum += 1.0 / (i + k + 1);
      text << (times ? sum : 1.0 / (i + j + 1)) << '\n';
    }
  return text.str();
}

TEST_F(Precision, DoubleSolvesWhatSingleDoesNot) {
  write("a.mtx", hilbert(8, false));
  write("b.mtx", hilbert(8, true));
  for (const std::string command : {"solve", "lstsq"}) {
    SCOPED_TRACE(command);
    const std::string arguments = command + " a.mtx b.mtx -o x.mtx --precision ";
    const Result single = run(arguments + "single"), whole = run(arguments + "double");
    EXPECT_EQ(single.exitCode, 3);
    EXPECT_EQ(single.out.find("precision"), std::string::npos) << single.out;
    EXPECT_EQ(whole.exitCode, 0) << whole.err;
    expectParts(whole.out, {"\nprecision       double\n"});
    EXPECT_EQ(whole.err, "");
    const std::vector<double> x = solution();
    ASSERT_EQ(x.size(), 8u);
    for (const double one : x) EXPECT_NEAR(one, 1, 1e-4);
  }
  write("a.mtx", hilbert(13, false));
  const Result result = run("solve a.mtx --precision double");
  EXPECT_EQ(result.exitCode, 3);
  expectParts(result.err,
              {", double precision resolves ", "a.mtx: to double precision column 13 depends on "});
}

// Times ones: x is known.
TEST_F(Precision, DoubleSolvesTheBadlyScaledSystem) {
  std::istringstream file(contents(TOVI_DATA "/fs_183_1.mtx"));
  std::string line;
  while (std::getline(file, line) && line[0] == '%') continue;
  const int n = std::stoi(line);
  std::vector<double> sums(static_cast<std::size_t>(n));
  for (double i = 0, j = 0, value = 0; file >> i >> j >> value;)
    sums.at(static_cast<std::size_t>(i) - 1) += value;
  std::ostringstream b;
  b << real << n << " 1\n" << std::setprecision(17);
  for (const double sum : sums) b << sum << '\n';
  write("b.mtx", b.str());
  for (const bool inDouble : {false, true}) {
    const Result result =
        run(std::string("solve '") + TOVI_DATA "/fs_183_1.mtx' b.mtx -o x.mtx --precision " +
            (inDouble ? "double" : "single"));
    EXPECT_EQ(result.exitCode, inDouble ? 0 : 3) << result.err;
    double off = 0;
    for (const double x : solution()) off = std::max(off, std::abs(x - 1));
    if (inDouble)
      EXPECT_LT(off, 1e-2);
    else
      EXPECT_GT(off, 1);
  }
}

TEST_F(Precision, EveryBitIsReadAndWritten) {
  write("a.mtx", "%%MatrixMarket matrix coordinate pattern general\n5 5 5\n1 1\n2 2\n3 3\n4 4\n5 5\n");
  using Limits = std::numeric_limits<double>;
  const double values[] = {0.1, 0x1p53 - 1, Limits::min(), Limits::max(), -Limits::denorm_min()};
  for (const bool imaginary : {false, true}) {
    std::ostringstream b;
    b << (imaginary ? "%%MatrixMarket matrix array complex general\n" : real) << "5 1\n"
      << std::setprecision(17);
    for (const double value : values) b << value << (imaginary ? " 1\n" : "\n");
    write("b.mtx", b.str());
    const Result result = run("solve a.mtx b.mtx -o x.mtx --precision double");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    // Not by a stream, which takes a subnormal number for an error.
    std::istringstream lines(contents(path("x.mtx")));
    std::string text;
    std::getline(lines, text), std::getline(lines, text);
    for (const double value : values) {
      std::getline(lines, text);
      EXPECT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
    }
  }
}

// Squares of such numbers overflow, or are zero.
TEST_F(Precision, TheRangeOfTheTypeIsThatOfTheProgram) {
  for (const char* power : {"1e200", "1e-200"}) {
    SCOPED_TRACE(power);
    const std::string p = power;
    write("a.mtx", real + "3 2\n2" + p.substr(1) + "\n0\n0\n0\n" + p + "\n" + p + "\n");
    write("s.mtx", real + "2 2\n2" + p.substr(1) + "\n0\n0\n" + p + "\n");
    write("b.mtx", real + "3 1\n" + p + "\n" + p + "\n0\n");
    write("d.mtx", real + "1 1\n" + p + "\n");
    write("constraint.mtx", real + "1 2\n" + p + "\n" + p + "\n");
    for (const char* arguments :
         {"solve s.mtx", "chol s.mtx", "lstsq a.mtx b.mtx",
          "lstsq a.mtx b.mtx --constraint constraint.mtx d.mtx", "svd a.mtx", "eig s.mtx --vectors"}) {
      const Result result = run(std::string(arguments) + " --precision double");
      EXPECT_EQ(result.exitCode, 0) << arguments << '\n' << result.err;
      EXPECT_EQ(result.out.find("nan"), std::string::npos) << result.out;
      EXPECT_EQ(result.out.find("inf"), std::string::npos) << result.out;
    }
  }
}

TEST_F(Precision, TablesOfResultsAreOfOnePrecision) {
  write("t.csv", "t,y\n1,0.123456789012\n2,0.246913578024\n");
  const Result result = run("lstsq t.csv --response y --precision double --csv r.csv -o x.mtx");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  constexpr double exact = 0.123456789012;
  EXPECT_NEAR(std::stod(result.out.substr(result.out.find("\nt ") + 2)), exact, 1e-15) << result.out;
  EXPECT_NEAR(solution().at(0), exact, 1e-15);
  EXPECT_EQ(results("r.csv")["precision"], "double");
  EXPECT_EQ(run("lstsq t.csv --response y --csv r.csv").exitCode, 1);
  EXPECT_EQ(lines(contents(path("r.csv"))), 2);

  write("a.mtx", real + "2 2\n1\n3\n2\n4\n");
  ASSERT_EQ(run("svd a.mtx --precision double -o a --csv s.csv").exitCode, 0);
  const double largest = std::sqrt(15 + std::sqrt(221.0));
  EXPECT_NEAR(std::stod(results("s.csv")["largest_value"]), largest, 4e-15);
  EXPECT_NEAR(std::stod(results("a.csv")["value"]), largest, 4e-15);
  for (const char* name : {"reconstruction", "orthogonality_u", "orthogonality_v"})
    EXPECT_LT(std::stod(results("s.csv")[name]), 10) << name;
}

TEST_F(Precision, FailuresNameIt) {
  write("large.mtx", real + "1 1\n1e400\n");
  write("a.mtx", real + "1 1\n1e-300\n");
  write("b.mtx", real + "1 1\n1e300\n");
  write("sum.mtx", "%%MatrixMarket matrix coordinate real general\n1 1 2\n1 1 1.7e308\n1 1 1.7e308\n");
  write("huge.mtx", real + "2 2\n1.7e308\n1.7e308\n1.7e308\n1.7e308\n");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"solve large.mtx", "'1e400' overflows double precision"},
      {"solve a.mtx b.mtx", "a.mtx: the solution overflows double precision"},
      {"solve sum.mtx", "the sum of the entries for this place overflows double precision"},
      {"svd huge.mtx", "huge.mtx: the singular values overflow double precision"},
      {"lstsq a.mtx --reference", "--reference compares with double precision"},
  };
  for (const auto& [arguments, message] : cases)
    expectOneLine(run(arguments + " --precision double"), message);
  EXPECT_EQ(run("solve a.mtx --precision half").exitCode, 2);
}

}  // namespace
