// `tovi eig` on matrices whose eigenvalues and eigenvectors are known.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tool/svg.h"
#include "tests/tool/tool_fixture.h"
#include "tools/tovi/eigen_quality.h"

namespace {

const double pi = std::acos(-1.0);

class Eig : public Tool {
 protected:
  // Writes everything under the name "x".
  Result eig(const std::string& arguments) const {
    std::filesystem::remove(path("r.csv"));
    Result result = run("eig " + arguments + " -o x --csv r.csv");
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    for (const char* ratio : {"sums", "residual", "orthogonality"})
      if (const std::string value = results("r.csv")[ratio]; !value.empty()) {
        EXPECT_FALSE(!(std::stod(value) < 50)) << ratio;
      }
    return result;
  }

  // The columns of x.csv
  void expectValues(const std::vector<double>& values, double tolerance) const {
    std::istringstream csv(contents(path("x.csv")));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ(line, "index,value");
    for (std::size_t k = 0; k < values.size(); ++k) {
      double index = 0, value = 0;
      char comma = 0;
      ASSERT_TRUE(csv >> index >> comma >> value) << k;
      EXPECT_EQ(index, static_cast<double>(k + 1));
      EXPECT_NEAR(value, values[k], tolerance);
    }
    EXPECT_FALSE(csv >> line) << line;
  }

  std::string signs() const {
    auto fields = results("r.csv");
    return fields["negative"] + ' ' + fields["zero"] + ' ' + fields["positive"];
  }
};

// Second differences: 2 - 2 cos(j pi / (n + 1)), and sines.
TEST_F(Eig, FindsThoseOfSecondDifferences) {
  constexpr int n = 60;
  std::ostringstream file;
  file << "%%MatrixMarket matrix coordinate real symmetric\n" << n << ' ' << n << ' ' << 2 * n - 1 << '\n';
  for (int i = 1; i <= n; ++i) file << i << ' ' << i << " 2\n";
  for (int i = 1; i < n; ++i) file << i + 1 << ' ' << i << " -1\n";
  write("a.mtx", file.str());
  std::vector<double> values, vectors;
  for (int j = 1; j <= n; ++j) {
    values.push_back(2 - 2 * std::cos(j * pi / (n + 1)));
    for (int i = 1; i <= n; ++i)
      vectors.push_back(std::sqrt(2.0 / (n + 1)) * std::abs(std::sin(i * j * pi / (n + 1))));
  }
  for (const std::string precision : {"single", "double"}) {
    SCOPED_TRACE(precision);
    const bool inDouble = precision == "double";
    const Result result = eig("a.mtx --vectors --precision " + precision);
    expectValues(values, inDouble ? 1e-14 : 4e-6);
    expectParts(result.out,
                {"order 60, coordinate real symmetric, 119 entries\n", "\ntime  ", "GFLOP/s\n",
                 "\nresidual  ", "\northogonality  ", "\nvalues          0 negative, 60 positive, 0 within ",
                 "\n      10 ", "\n     ...\n      60 ", "written         x.csv, x.svg, x.mtx\n"});
    const std::vector<double> found = solution();
    ASSERT_EQ(found.size(), vectors.size());
    for (std::size_t k = 0; k < found.size(); ++k)
      EXPECT_NEAR(std::abs(found[k]), vectors[k], inDouble ? 1e-11 : 1e-3) << k;
    EXPECT_NEAR(std::stod(results("r.csv")["smallest_value"]), values.front(), inDouble ? 1e-14 : 4e-6);
    // From 0.0027 to 4: a logarithmic scale
    expectParts(svg(path("x.svg")), {"Eigenvalues of a.mtx</text>", ">index</text>", ">10⁻²</text>"});
  }
  std::filesystem::remove(path("x.mtx"));
  const Result result = eig("a.mtx");
  expectValues(values, 4e-6);
  EXPECT_EQ(result.out.find("residual"), std::string::npos) << result.out;
  EXPECT_EQ(results("r.csv")["residual"], "");
  EXPECT_FALSE(std::filesystem::exists(path("x.mtx")));
}

TEST_F(Eig, FindsThoseOfEveryKindOfMatrix) {
  // 2 i; -i 2, its vectors (1, -i) and (1, i) over sqrt(2)
  write("h.mtx", "%%MatrixMarket matrix array complex general\n2 2\n2 0\n0 -1\n0 1\n2 0\n");
  eig("h.mtx --vectors");
  expectValues({1, 3}, 1e-6);
  const std::vector<double> v = solution();
  ASSERT_EQ(v.size(), 8u);
  for (const std::size_t column : {0u, 4u}) {
    const std::complex<double> first(v[column], v[column + 1]), second(v[column + 2], v[column + 3]);
    EXPECT_NEAR(std::abs(first), std::sqrt(0.5), 1e-6);
    EXPECT_NEAR(std::abs(second / first - std::complex<double>(0, column == 0 ? 1 : -1)), 0, 1e-6);
  }
  write("i.mtx", real + "2 2\n0\n1\n1\n0\n");
  eig("i.mtx --vectors");
  expectValues({-1, 1}, 1e-6);
  EXPECT_EQ(signs(), "1 0 1");
  svg(path("x.svg"));
  // Their difference overflows, and what stands around them in a plot.
  write("one.mtx", real + "1 1\n1.7e308\n");
  eig("one.mtx --vectors --precision double");
  expectValues({1.7e308}, 1e294);
  svg(path("x.svg"));
  write("i.mtx", real + "2 2\n0\n1.7e308\n1.7e308\n0\n");
  eig("i.mtx --vectors --precision double");
  expectValues({-1.7e308, 1.7e308}, 1e294);
  svg(path("x.svg"));
  write("ones.mtx", real + "3 3\n1\n1\n1\n1\n1\n1\n1\n1\n1\n");
  eig("ones.mtx");
  expectValues({0, 0, 3}, 1e-6);
  EXPECT_EQ(signs(), "0 2 1");
  write("zero.mtx", real + "1 1\n0\n");
  eig("zero.mtx --vectors");
  EXPECT_EQ(signs(), "0 1 0");
  svg(path("x.svg"));
}

// A strip of 20 x 3 points that two displacements each couple, and an unknown of its own that has the lowest
// value. The strip's are (4 - 2 cos(j pi / 21) - 2 cos(k pi / 4)) times 1 or 3.
TEST_F(Eig, DrawsTheLowestModesOfTheLargestPart) {
  constexpr int length = 20, height = 3, n = 2 * length * height;
  std::ostringstream entries;
  int count = 1;
  const auto add = [&](int p, int q, double value) {
    for (int a = 1; a <= 2; ++a)
      for (int b = 1; b <= 2; ++b) {
        entries << 2 * p + a << ' ' << 2 * q + b << ' ' << value * (a == b ? 2 : 1) << '\n';
        ++count;
      }
  };
  for (int x = 0; x < length; ++x)
    for (int y = 0; y < height; ++y) {
      const int p = x * height + y;
      add(p, p, 4);
      if (x + 1 < length) add(p, p + height, -1), add(p + height, p, -1);
      if (y + 1 < height) add(p, p + 1, -1), add(p + 1, p, -1);
    }
  write("a.mtx", "%%MatrixMarket matrix coordinate real general\n" + std::to_string(n + 1) + ' ' +
                     std::to_string(n + 1) + ' ' + std::to_string(count) + '\n' + entries.str() +
                     std::to_string(n + 1) + ' ' + std::to_string(n + 1) + " 0.001\n");
  std::vector<double> values = {0.001};
  for (int j = 1; j <= length; ++j)
    for (int k = 1; k <= height; ++k)
      for (const int times : {1, 3})
        values.push_back(times * (4 - 2 * std::cos(j * pi / 21) - 2 * std::cos(k * pi / 4)));
  std::sort(values.begin(), values.end());
  eig("a.mtx --modes");
  expectValues(values, 2e-5);
  const std::string plot = svg(path("x.svg"));
  EXPECT_EQ(occurrences(plot, ": eigenvalue "), 6u);
  for (std::size_t mode = 1; mode <= 6; ++mode) {
    std::ostringstream title;
    title << ">mode " << mode + 1 << ": eigenvalue " << std::setprecision(4) << values[mode];
    expectParts(plot, {title.str()});
  }
  expectParts(plot, {"60 nodes of the matrix's graph"});
  EXPECT_EQ(occurrences(plot, "h0"), 6u * length * height);
}

// The norms that are estimated, where they are known: a vector that is turned by a thousandth.
TEST(EigenQuality, TellsAVectorThatIsWrong) {
  constexpr int n = 300;
  tool::EigenDecomposition<float> eigen{std::vector<float>(n), tool::Matrix<float>(n, n)};
  tool::Matrix<float> a(n, n);
  for (int i = 0; i < n; ++i) {
    a(i, i) = eigen.values[static_cast<std::size_t>(i)] = 1.0f + static_cast<float>(i);
    eigen.vectors(i, i) = 1.0f;
  }
  EXPECT_EQ(tool::eigenResidualRatio(a, eigen), 0);
  EXPECT_EQ(tool::eigenOrthogonalityRatio(eigen.vectors), 0);
  EXPECT_EQ(tool::sumsRatio(a, eigen.values), 0);
  constexpr double turn = 1e-3;
  eigen.vectors(10, 200) = static_cast<float>(turn);
  const double norm = std::sqrt(n * (n + 1.0) * (2 * n + 1) / 6), unit = n * tool::eps<float>;
  EXPECT_NEAR(tool::eigenResidualRatio(a, eigen), turn * 190 / norm / unit, 1e-3 * turn * 190 / norm / unit);
  EXPECT_NEAR(tool::eigenOrthogonalityRatio(eigen.vectors), std::sqrt(2.0) * turn / unit, 0.3 * turn / unit);
  eigen.values[10] += 0.5f;
  EXPECT_NEAR(tool::sumsRatio(a, eigen.values), 0.5 / norm / unit, 1e-3 / unit);
}

}  // namespace
