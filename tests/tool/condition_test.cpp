// What the program says of answers that single precision does not determine.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tool/tool_fixture.h"

namespace {

const std::string real = "%%MatrixMarket matrix array real general\n",
                  complex = "%%MatrixMarket matrix array complex general\n";
const std::string none = ": condition ";
constexpr int notResolved = 3;

class Condition : public Tool {
 protected:
  // Runs with a table of results; the condition that it holds.
  double condition(const std::string& arguments, int exitCode, Result& result) const {
    std::filesystem::remove(path("r.csv"));
    result = run(arguments + " --csv r.csv");
    EXPECT_EQ(result.exitCode, exitCode) << arguments << '\n' << result.err;
    EXPECT_EQ(result.err.empty(), exitCode == 0) << result.err;
    expectParts(result.out, {"\ncondition       "});
    const std::string text = results("r.csv")["condition"];
    return text.empty() ? NAN : std::stod(text);
  }

  // Each case ends with the warnings of this text, and no others.
  void expectWarnings(const std::vector<std::pair<std::string, std::vector<std::string>>>& cases) const {
    for (const auto& [arguments, warnings] : cases) {
      SCOPED_TRACE(arguments);
      const Result result = run(arguments);
      // It is the host LAPACK's rounding that leaves no pivot at all, or one that is too small.
      const bool fails = result.exitCode == 1;
      EXPECT_EQ(result.exitCode, fails ? 1 : notResolved);
      if (!fails) {
        EXPECT_EQ(lines(result.err), static_cast<long>(warnings.size())) << result.err;
      }
      for (const std::string& warning : warnings)
        if (!fails || warning.find(none) == std::string::npos)
          expectParts(result.err, {"tovi: warning: " + warning});
    }
  }
};

std::string data(const std::string& name) { return TOVI_DATA "/" + name; }

// The diabetes table with a column more, made of the fields of each line.
template <class Make>
std::string diabetesWith(const std::string& name, const Make& make) {
  std::istringstream table(contents(data("diabetes.csv")));
  std::string line, result;
  for (bool header = true; std::getline(table, line); header = false) {
    std::istringstream stream(line);
    std::vector<double> fields;
    for (std::string field; !header && std::getline(stream, field, ',');) fields.push_back(std::stod(field));
    result += line + ',' + (header ? name : std::to_string(make(fields))) + '\n';
  }
  return result;
}

TEST_F(Condition, IsThatOfTheMatrix) {
  Result result;
  write("diagonal.mtx", "%%MatrixMarket matrix coordinate real general\n3 3 3\n1 1 1000\n2 2 10\n3 3 1\n");
  EXPECT_NEAR(condition("solve diagonal.mtx", 0, result), 1000, 10);
  write("shear.mtx", real + "2 2\n1\n0\n4\n1\n");  // singular values 2 + sqrt(5) and sqrt(5) - 2
  EXPECT_NEAR(condition("solve shear.mtx", 0, result), std::pow(2 + std::sqrt(5.0), 2), 0.2);
  write("pivoted.mtx", complex + "2 2\n0 0\n0 2\n1 0\n0 8\n");  // (0 1; 2i 8i)
  EXPECT_NEAR(condition("solve pivoted.mtx", 0, result), 34.5, 0.4);
  EXPECT_NEAR(condition("solve '" + data("west0067.mtx") + "'", 0, result), 129, 20);

  // Of least squares with the columns at one length: 45 degrees between them here. Of the rows of a wide
  // matrix.
  const double right = 1 + std::sqrt(2.0);
  write("tall.mtx", real + "3 2\n1000\n0\n0\n1\n1\n0\n");
  EXPECT_NEAR(condition("lstsq tall.mtx", 0, result), right, 0.03);
  write("wide.mtx", complex + "2 3\n1000 0\n1 0\n0 0\n0 1\n0 0\n0 0\n");
  EXPECT_NEAR(condition("lstsq wide.mtx", 0, result), right, 0.03);
  // Rows (1 0 0) and (1 1 0) of a constraint; what they leave of x is the third element.
  write("B.mtx", real + "2 3\n1\n7\n0\n7\n0\n0\n");
  write("d.mtx", real + "2 1\n1\n2\n");
  write("A.mtx", real + "2 3\n1\n0\n0\n1\n1\n1\n");
  EXPECT_NEAR(condition("lstsq A.mtx --constraint B.mtx d.mtx", 0, result), right, 0.03);
  const double diabetes =
      condition("lstsq '" + data("diabetes.csv") + "' --response progression --intercept", 0, result);
  EXPECT_NEAR(diabetes, 220, 20);
}

TEST_F(Condition, BeyondSinglePrecisionIsNotSolved) {
  Result result;
  EXPECT_NEAR(condition("solve '" + data("fs_183_1.mtx") + "'", notResolved, result), 2.2e13, 0.3e13);
  EXPECT_EQ(lines(result.err), 1) << result.err;
  expectParts(result.err, {"tovi: warning: ", "fs_183_1.mtx: condition 2.19e+13",
                           "badly scaled: condition 320 ", "about 3.6 digits of x times"});
  EXPECT_EQ(results("r.csv")["digits"], "0");
}

TEST_F(Condition, ColumnsThatDependAreNamed) {
  const auto bmi = [](const std::vector<double>& line) { return line[2]; };
  write("twice.csv", diabetesWith("again", bmi));
  write("cm.csv", diabetesWith("b/2.54", [&](const auto& line) { return line[2] / 2.54; }));
  write("sum.csv", diabetesWith("sum", [](const auto& line) { return line[3] + line[5] + line[7]; }));
  // 0 and 1 for two sexes, beside 1 and 2, and the intercept.
  write("sexes.csv", diabetesWith("male", [](const auto& line) { return line[1] - 1; }));
  const std::string fit = " --response progression --intercept";
  expectWarnings({
      {"lstsq twice.csv" + fit,
       {"twice.csv" + none, "twice.csv: to single precision column 'again' depends on 'bmi'\n"}},
      {"lstsq cm.csv" + fit,
       {"cm.csv" + none, "cm.csv: to single precision column 'b/2.54' depends on 'bmi'\n"}},
      {"lstsq sum.csv" + fit,
       {"sum.csv" + none, "sum.csv: to single precision column 'sum' depends on 'bp', 's2', 's4'\n"}},
      {"lstsq sexes.csv" + fit,
       {"sexes.csv" + none,
        "sexes.csv: to single precision column 'male' depends on '(intercept)', 'sex'\n"}},
  });

  // What the coefficients of a million leave is not rounding error, and no least residual either.
  Result result;
  condition("lstsq twice.csv" + fit, notResolved, result);
  EXPECT_EQ(result.out.find("\noptimality      none"), std::string::npos) << result.out;
  expectParts(result.out, {"no digit of x can be trusted"});

  // By numbers, several, in matrices, complex ones, wide ones; constraints, and what they leave of a matrix.
  write("A.mtx", real + "5 4\n1\n2\n3\n4\n6\n3\n6\n9\n12\n18\n1\n0\n0\n2\n7\n4.1\n6.2\n9.3\n14.4\n25.5\n");
  write("C.mtx", complex + "3 3\n0.1 0\n0 0.7\n1.3 0\n1.1 1.1\n1.7 0\n0 0\n1.1 1.2\n1 0\n0 1.3\n");
  write("W.mtx", real + "2 4\n0.1\n0.3\n0.7\n2.1\n1.3\n3.9\n0.9\n2.7\n");
  write("B.mtx", real + "2 3\n0.1\n0.3\n0.7\n2.1\n1.3\n3.9\n");
  write("d.mtx", real + "2 1\n1\n3\n");
  write("U.mtx", real + "1 3\n1\n1\n1\n");
  write("v.mtx", real + "1 1\n1\n");
  write("T.mtx", real + "4 3\n1.1\n2.3\n3.7\n4.9\n0.7\n0.6\n0.5\n0.1\n1.1\n2.3\n3.7\n4.9\n");
  write("E.mtx", real + "1 3\n1.1\n0.7\n1.1\n");
  expectWarnings({
      {"lstsq A.mtx", {"A.mtx" + none, "A.mtx: to single precision column 2 depends on 1\n"}},
      {"solve C.mtx", {"C.mtx" + none, "C.mtx: to single precision column 3 depends on 1, 2\n"}},
      {"lstsq W.mtx", {"W.mtx" + none, "W.mtx: to single precision row 2 depends on 1\n"}},
      {"lstsq T.mtx --constraint B.mtx d.mtx",
       {"B.mtx" + none, "B.mtx: to single precision row 1 depends on 2\n"}},
      {"lstsq T.mtx --constraint E.mtx v.mtx",
       {"T.mtx" + none, "T.mtx: to single precision column 3 depends on 1\n"}},
  });
  // Not all of many.
  std::string same = real + "40 8\n";
  for (int k = 0; k < 320; ++k) same += std::to_string(0.1 + k % 40 * 0.7) + '\n';
  write("same.mtx", same);
  const std::string column = "same.mtx: to single precision column ";
  expectWarnings({{"lstsq same.mtx",
                   {"same.mtx" + none, column + "2 depends on 1\n", column + "3 depends on 1\n",
                    column + "4 depends on 1\n", column + "5 depends on 1\n", column + "6 depends on 1\n",
                    "same.mtx: so do 2 more\n"}}});
  // A constraint that settles what the columns leave open.
  write("U.mtx", real + "1 3\n1\n0\n-1\n");
  condition("lstsq T.mtx --constraint U.mtx v.mtx", 0, result);
}

// Columns that single precision tells apart, but not beside a residual a hundred times A x.
TEST_F(Condition, ALargeResidualCounts) {
  write("t.csv",
        "a,b,y\n-0.0504791625,-0.0504542254,34.4937973\n0.215064779,0.214990661,86.739151\n"
        "0.282541186,0.282721668,25.8601017\n0.933471739,0.9334355,-24.8747349\n");
  Result result;
  EXPECT_NEAR(condition("lstsq t.csv --response y", notResolved, result), 1e4, 1e3);
  EXPECT_EQ(lines(result.err), 1) << result.err;
  expectParts(result.err, {"with this residual", "no digit of x can be trusted"});
  // With the residual that the coefficients 1 and 2 leave of what they make.
  write("u.csv",
        "a,b,y\n-0.0504791625,-0.0504542254,-0.1514\n0.215064779,0.214990661,0.6451\n"
        "0.282541186,0.282721668,0.8480\n0.933471739,0.9334355,2.8003\n");
  condition("lstsq u.csv --response y", 0, result);
}

TEST_F(Condition, ZeroPivotsAreExplained) {
  write("t.csv", "a,b,c,y\n1,0,2,1\n0,0,1,2\n2,0,5,3\n");
  write("S.mtx", real + "2 2\n1\n2\n2\n4\n");
  write("A.mtx", real + "3 2\n1\n2\n3\n4\n5\n7\n");
  write("W.mtx", real + "2 3\n1\n0\n2\n0\n3\n0\n");
  write("B.mtx", real + "1 2\n0\n0\n");
  write("d.mtx", real + "1 1\n1\n");
  const struct {
    const char *arguments, *warning;
    int position;
  } cases[] = {{"lstsq t.csv --response y", "t.csv: column 'b' is zero", 2},
               {"solve S.mtx", "S.mtx: to single precision column 2 depends on 1", 2},
               {"lstsq W.mtx", "W.mtx: row 2 is zero", 2},
               {"lstsq A.mtx --constraint B.mtx d.mtx", "B.mtx: row 1 is zero", 1}};
  for (const auto& row : cases) {
    const Result result = run(row.arguments);
    EXPECT_EQ(result.exitCode, 1);
    expectParts(
        result.err,
        {std::string("tovi: warning: ") + row.warning, "Data error; see toviGetErrorInfo for error code\n",
         "Data error at pos " + std::to_string(row.position) + " (see the TOVI Reference Manual"});
    EXPECT_EQ(lines(result.err), 3) << result.err;  // the error takes two
    EXPECT_EQ(result.out.find("backward error"), std::string::npos);
    EXPECT_EQ(result.out.find("residual"), std::string::npos);
  }
}

TEST_F(Condition, UnitsOfColumnsMakeNoDifference) {
  // A line and a column of large numbers: what is left of b is no rounding error of it.
  write("t.csv",
        "one,t,steps,y\n1,1,30000000,6\n1,2,-10000000,5\n1,3,20000000,7\n1,4,-25000000,10\n1,5,5000000,9\n");
  Result result;
  EXPECT_LT(condition("lstsq t.csv --response y", 0, result), 20);
  EXPECT_EQ(result.out.find("\noptimality      none"), std::string::npos) << result.out;
}

}  // namespace
