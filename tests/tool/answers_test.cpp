// What the program answers, and what it says of answers that single precision does not determine.

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tool/tool_fixture.h"

namespace {

std::vector<double> numbersOf(std::istream& text) { return {std::istream_iterator<double>(text), {}}; }

void expectNear(const std::vector<double>& numbers, const std::vector<double>& expected) {
  ASSERT_EQ(numbers.size(), expected.size());
  for (std::size_t k = 0; k < numbers.size(); ++k) EXPECT_NEAR(numbers[k], expected[k], 2e-5) << k;
}

class Answers : public Tool {
 protected:
  // A run of answers.txt
  void expectAnswer(const std::vector<std::string>& fields) const {
    for (const char* name : {"x.mtx", "r.csv"}) std::filesystem::remove(path(name));
    std::string arguments = fields.at(0);
    if (const std::size_t at = arguments.find("@data"); at != std::string::npos)
      arguments.replace(at, 5, TOVI_DATA);
    const Result result = run(arguments + (fields.at(1) == "1" ? "" : " -o x.mtx --csv r.csv"));
    const bool noPivot = fields[1] == "3 or 1" && result.exitCode == 1;
    EXPECT_EQ(result.exitCode, noPivot ? 1 : std::stoi(fields[1])) << result.err;
    long messages = 0;
    for (std::size_t i = 2; i < fields.size(); ++i) {
      if (noPivot && fields[i].find(": condition") != std::string::npos) continue;
      expectThat(fields[i], result);
      if (fields[i].rfind("line ", 0) == 0) ++messages;
    }
    EXPECT_TRUE(noPivot || lines(result.err) == messages) << result.err;
  }

 private:
  void expectThat(const std::string& field, const Result& result) const {
    std::istringstream words(field);
    std::string what, more;
    words >> what;
    const std::string text = field.substr(std::min(what.size() + 1, field.size()));
    if (what == "out") return expectParts(result.out, {text});
    if (what == "line" || what == "err") return expectParts(result.err, {text});
    if (what == "no") {
      EXPECT_EQ(result.out.find(text), std::string::npos) << result.out;
    } else if (what == "x") {
      expectNear(solution(), numbersOf(words));
    } else if (what == "row") {
      words >> more;
      const std::size_t at = result.out.find('\n' + more + ' ');
      ASSERT_NE(at, std::string::npos) << result.out;
      const std::size_t begin = at + more.size() + 2;
      std::istringstream row(result.out.substr(begin, result.out.find('\n', begin) - begin));
      expectNear(numbersOf(row), numbersOf(words));
    } else {
      const auto all = results("r.csv");
      ASSERT_EQ(all.count(what), 1u) << what;
      const std::string value = all.at(what);
      words >> more;
      if (more == "=") {
        EXPECT_EQ(value, text.substr(std::min<std::size_t>(2, text.size()))) << what;
        return;
      }
      ASSERT_FALSE(value.empty()) << what;
      double number = 0, distance = 0;
      words >> number >> distance;
      EXPECT_TRUE(more == "<" ? std::stod(value) < number : std::abs(std::stod(value) - number) <= distance)
          << field << ": " << value;
    }
  }
};

TEST_F(Answers, AreThoseOfTheTable) {
  EXPECT_EQ(forEachRun(TOVI_TABLES "/answers.txt", [&](const auto& fields) { expectAnswer(fields); }), 43);
}

// The diabetes table with a column more, made of the fields of each line.
template <class Make>
std::string diabetesWith(const std::string& name, const Make& make) {
  std::istringstream table(contents(TOVI_DATA "/diabetes.csv"));
  std::string line, result;
  for (bool header = true; std::getline(table, line); header = false) {
    std::istringstream stream(line);
    std::vector<double> fields;
    for (std::string field; !header && std::getline(stream, field, ',');) fields.push_back(std::stod(field));
    result += line + ',' + (header ? name : std::to_string(make(fields))) + '\n';
  }
  return result;
}

TEST_F(Answers, ColumnsThatDependAreNamed) {
  const auto bmi = [](const std::vector<double>& line) { return line[2]; };
  write("twice.csv", diabetesWith("again", bmi));
  write("cm.csv", diabetesWith("b/2.54", [&](const auto& line) { return line[2] / 2.54; }));
  write("sum.csv", diabetesWith("sum", [](const auto& line) { return line[3] + line[5] + line[7]; }));
  // 0 and 1 for two sexes, beside 1 and 2, and the intercept.
  write("sexes.csv", diabetesWith("male", [](const auto& line) { return line[1] - 1; }));
  const auto expectDepends = [&](const std::string& name, const std::string& which) {
    expectAnswer({"lstsq " + name + " --response progression --intercept", "3 or 1",
                  "line tovi: warning: " + name + ": condition ",
                  "line tovi: warning: " + name + ": to single precision column " + which + '\n'});
  };
  expectDepends("twice.csv", "'again' depends on 'bmi'");
  expectDepends("cm.csv", "'b/2.54' depends on 'bmi'");
  expectDepends("sum.csv", "'sum' depends on 'bp', 's2', 's4'");
  expectDepends("sexes.csv", "'male' depends on '(intercept)', 'sex'");
  // What the coefficients of a million leave is not rounding error, and no least residual either.
  const Result result = run("lstsq twice.csv --response progression --intercept");
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(result.out.find("\noptimality      none"), std::string::npos) << result.out;
  expectParts(result.out, {"no digit of x can be trusted"});
}

}  // namespace
