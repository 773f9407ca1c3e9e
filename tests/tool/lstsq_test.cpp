// `tovi lstsq` on problems small enough to be solved by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tool/tool_fixture.h"

namespace {

// A line through four points: 3.5 + 1.4 t, residual norm sqrt(4.2).
const std::string line = real + "4 2\n1 1 1 1\n1 2 3 4\n", points = real + "4 1\n6 5 7 10\n";

class Lstsq : public Tool {
 protected:
  // A file of array format: one number a line, or two, from a text with blanks between them.
  void array(const std::string& name, const std::string& text) const {
    std::string lines = text;
    const bool complexNumbers = text.rfind(complex, 0) == 0;
    const std::size_t numbers = text.find('\n', text.find('\n') + 1);
    int blanks = 0;
    for (std::size_t at = numbers; at < lines.size(); ++at)
      if (lines[at] == ' ' && (++blanks % 2 == 0 || !complexNumbers)) lines[at] = '\n';
    write(name, lines);
  }

  // Solves, writes x.mtx, and returns the fields of the line of results by name.
  std::map<std::string, std::string> lstsq(const std::string& arguments, Result& result) const {
    std::filesystem::remove(path("results.csv"));
    result = run("lstsq " + arguments + " -o x.mtx --csv results.csv --reference");
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return results("results.csv");
  }

  void expectSolution(const std::vector<double>& expected) const {
    const std::vector<double> x = solution();
    ASSERT_EQ(x.size(), expected.size());
    for (std::size_t k = 0; k < x.size(); ++k) EXPECT_NEAR(x[k], expected[k], 2e-5) << k;
  }
};

void expectBelow(const std::map<std::string, std::string>& fields, const std::string& name, double bound) {
  ASSERT_EQ(fields.count(name), 1u) << name;
  const std::string& value = fields.at(name);
  ASSERT_FALSE(value.empty()) << name;
  EXPECT_FALSE(!(std::stod(value) < bound)) << name << " is " << value;
}

TEST_F(Lstsq, SolvesByShape) {
  Result result;
  array("tall.mtx", line);
  array("points.mtx", points);
  auto fields = lstsq("tall.mtx points.mtx", result);
  expectSolution({3.5, 1.4});
  EXPECT_EQ(fields["problem"], "least squares");
  EXPECT_NEAR(std::stod(fields["residual_norm"]), std::sqrt(4.2), 1e-5);
  expectBelow(fields, "optimality", 30);
  expectBelow(fields, "difference", 1e-4);
  expectParts(result.out, {"device  ", " with transfers", " without", "GFLOP/s", "residual norm   2.04939\n",
                           "\noptimality  ", "\ndifference  "});

  // x + y = 2, y + z = 2; and a second right-hand side.
  array("wide.mtx", real + "2 3\n1 0 1 1 0 1\n");
  array("two.mtx", real + "2 2\n2 2 3 -3\n");
  fields = lstsq("wide.mtx two.mtx", result);
  expectSolution({2 / 3.0, 4 / 3.0, 2 / 3.0, 3, 0, -3});
  EXPECT_EQ(fields["problem"], "minimum norm");
  EXPECT_EQ(fields["optimality"], "");
  expectBelow(fields, "residual_ratio", 30);

  // Complex, a^H b / ||a||^2 with a = (1, i, 1 + i) and b = (2, 0, 2 + 4i), alone and for a real matrix.
  array("tall.mtx", complex + "3 1\n1 0 0 1 1 1\n");
  array("b.mtx", complex + "3 1\n2 0 0 0 2 4\n");
  fields = lstsq("tall.mtx b.mtx", result);
  expectSolution({2, 0.5});
  expectBelow(fields, "optimality", 30);
  expectBelow(fields, "difference", 1e-4);
  array("tall.mtx", real + "3 1\n1 1 2\n");
  lstsq("tall.mtx b.mtx", result);
  expectSolution({1, 4 / 3.0});
  array("wide.mtx", complex + "1 2\n1 0 0 1\n");  // x + i y = 1: (1, -i) / 2
  fields = lstsq("wide.mtx", result);
  expectSolution({0.5, 0, 0, -0.5});

  // A system that has a solution leaves nothing to be optimal in.
  array("tall.mtx", line);
  array("b.mtx", real + "4 1\n2.1 2.2 2.3 2.4\n");
  fields = lstsq("tall.mtx b.mtx", result);
  expectSolution({2, 0.1});
  EXPECT_EQ(fields["optimality"], "");
  expectParts(result.out, {"none: the residual is within the rounding error of A x"});
}

TEST_F(Lstsq, SolvesWithAConstraint) {
  Result result;
  array("a.mtx", line);
  array("c.mtx", points);
  array("sum.mtx", real + "1 2\n1 1\n");
  array("five.mtx", real + "1 1\n5\n");
  auto fields = lstsq("a.mtx c.mtx --constraint sum.mtx five.mtx", result);
  expectSolution({51 / 14.0, 19 / 14.0});
  EXPECT_EQ(fields["problem"], "constrained least squares");
  expectBelow(fields, "optimality", 30);
  expectBelow(fields, "constraint", 30);
  expectBelow(fields, "difference", 1e-4);

  // As many constraints as unknowns, and fewer rows than unknowns.
  array("all.mtx", real + "2 2\n2 0 0 4\n");
  array("d.mtx", real + "2 1\n2 2\n");
  lstsq("a.mtx c.mtx --constraint all.mtx d.mtx", result);
  expectSolution({1, 0.5});
  array("row.mtx", complex + "1 2\n0 1 0 0\n");  // i x = 1, x + y = 5
  lstsq("row.mtx --constraint sum.mtx five.mtx", result);
  expectSolution({0, -1, 5, 1});
}

TEST_F(Lstsq, ReadsTables) {
  Result result;
  // Names in quotes, blanks, an empty line, carriage returns and a byte order mark; the response in the
  // middle.
  write("t.csv",
        "\xEF\xBB\xBF\"one\", \"y, \"\"measured\"\"\" ,t\r\n\r\n1,6,1\r\n 1,\"5\",2\r\n1,7.0,3\r\n1,+10,4");
  auto fields = lstsq("t.csv --response 'y, \"measured\"'", result);
  expectSolution({3.5, 1.4});
  expectBelow(fields, "optimality", 30);
  expectParts(result.out, {"\n\ncoefficient "});
  std::istringstream rows(
      result.out.substr(std::min(result.out.size(), result.out.find("\n\ncoefficient "))));
  std::string word, name;
  double value = 0, reference = 0;
  rows >> word >> word >> word >> word;  // coefficient, value, double precision
  for (const auto& [expectedName, expected] : {std::pair{"one", 3.5}, std::pair{"t", 1.4}}) {
    ASSERT_TRUE(rows >> name >> value >> reference) << result.out;
    EXPECT_EQ(name, expectedName);
    EXPECT_NEAR(value, expected, 1e-5);
    EXPECT_NEAR(reference, expected, 1e-6);  // the operands are exact in single precision
  }
  EXPECT_FALSE(rows >> word) << result.out;

  // Numbers alone: columns without names, with an intercept and the response last; and b from a file.
  write("plain.CSV", "1,6\n2,5\n3,7\n4,10\n");
  lstsq("plain.CSV --response 2 --intercept", result);
  expectSolution({3.5, 1.4});
  expectParts(result.out, {"\n(intercept) "});
  write("ab.csv",
        "gr\xC3\xB6\xC3\x9F"
        "e,gr\xF6\xDF"
        "e\n1,1\n1,2\n1,3\n1,4\n");  // UTF-8 and Latin 1 alike
  array("points.mtx", points);
  lstsq("ab.csv points.mtx", result);
  expectSolution({3.5, 1.4});
}

}  // namespace
