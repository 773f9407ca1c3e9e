// `tovi svd` on matrices, tables and pictures whose singular values are known.

#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tool/svg.h"
#include "tests/tool/tool_fixture.h"

namespace {

class Svd : public Tool {
 protected:
  // Writes everything under the name "p".
  Result svd(const std::string& arguments) const {
    Result result = run("svd " + arguments + " -o p");
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result;
  }

  // The columns of p.csv.
  void expectValues(const std::vector<double>& values, const std::vector<double>& energy) const {
    std::istringstream csv(contents(path("p.csv")));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ(line, "index,value,energy");
    for (std::size_t k = 0; k < values.size(); ++k) {
      double index = 0, value = 0, part = 0;
      char comma = 0;
      ASSERT_TRUE(csv >> index >> comma >> value >> comma >> part) << k;
      EXPECT_EQ(index, static_cast<double>(k + 1));
      EXPECT_NEAR(value, values[k], 4e-6 * values[0]);
      EXPECT_NEAR(part, energy[k], 1e-5);
    }
    EXPECT_FALSE(csv >> line) << line;
  }

  std::vector<int> png(int width, int height) const {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path("p.png").c_str()) == 0) {
      ADD_FAILURE() << image.message;
      return {};
    }
    EXPECT_EQ(image.width, static_cast<png_uint_32>(width));
    EXPECT_EQ(image.height, static_cast<png_uint_32>(height));
    EXPECT_EQ(image.format, static_cast<png_uint_32>(PNG_FORMAT_GRAY));  // 8 bits, no colour, no alpha
    std::vector<png_byte> pixels(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0) << image.message;
    return {pixels.begin(), pixels.end()};
  }
};

TEST_F(Svd, FindsKnownValues) {
  // A^T A = (25 20; 20 25): 45 and 5.
  write("a.mtx", real + "2 2\n3\n4\n0\n5\n");
  const Result result = svd("a.mtx --csv results.csv");
  expectValues({std::sqrt(45), std::sqrt(5)}, {0.9, 1});
  expectParts(result.out,
              {"device  ", "2 x 2, array real general", "\ntime  ", "\nreconstruction  ", " of U, ",
               "\nrank 2          100 % of the energy, relative error 0, 10 numbers for 4\n",
               "6.708204   90.0000 %\n", "2.236068  100.0000 %\n", "written         p.csv, p.svg\n"});
  std::string plot = svg(path("p.svg"));
  expectParts(plot,
              {"Singular values of a.mtx</text>", ">index</text>", ">singular value</text>", ">5</text>"});
  EXPECT_EQ(occurrences(plot, "<circle"), 2u);

  EXPECT_EQ(contents(path("results.csv"))
                .rfind("rows,columns,kind,rank,seconds,largest_value,energy,reconstruction,orthogonality_u,"
                       "orthogonality_v,",
                       0),
            0u);
  auto fields = results("results.csv");
  EXPECT_EQ(fields["rows"] + fields["columns"] + fields["kind"] + fields["rank"], "22array real general2");
  EXPECT_EQ(std::stod(fields["energy"]), 1.0);
  for (const char* ratio : {"reconstruction", "orthogonality_u", "orthogonality_v"})
    EXPECT_FALSE(!(std::stod(fields[ratio]) < 50)) << ratio;

  // A leading value alone: its error is what the other one holds.
  expectParts(svd("a.mtx --rank 1").out,
              {"rank 1          90 % of the energy, relative error 0.316, 5 numbers for 4\n"});
  expectParts(svg(path("p.svg")), {"rank 1: 90 % of the energy</text>"});

  // Complex, wide, deficient, zero.
  write("c.mtx", "%%MatrixMarket matrix array complex general\n2 3\n0 0\n0 3\n4 0\n0 0\n0 0\n0 0\n");
  svd("c.mtx");
  expectValues({4, 3}, {0.64, 1});
  write("d.mtx", "%%MatrixMarket matrix coordinate pattern general\n4 3 4\n1 1\n2 1\n3 1\n4 1\n");
  svd("d.mtx");
  expectValues({2, 0, 0}, {1, 1, 1});
  svg(path("p.svg"));
  write("z.mtx", real + "3 1\n0\n0\n0\n");
  expectParts(svd("z.mtx").out, {"reconstruction  0\n"});
  expectValues({0}, {1});
  expectParts(svg(path("p.svg")), {"one value is zero"});
}

TEST_F(Svd, PrintsTenValuesAndTheLastOfTheRank) {
  std::ostringstream diagonal;
  diagonal << "%%MatrixMarket matrix coordinate real general\n15 15 15\n";
  for (int i = 1; i <= 15; ++i) diagonal << i << ' ' << i << ' ' << 16 - i << '\n';
  write("a.mtx", diagonal.str());
  std::string out = svd("a.mtx").out;
  expectParts(out, {"\nrank 10 ", "      10               6 "});
  EXPECT_EQ(out.find("..."), std::string::npos) << out;
  out = svd("a.mtx --rank 12").out;
  expectParts(out, {"      10               6 ", "\n     ...\n      12               4 "});
  EXPECT_EQ(out.find("\n      11 "), std::string::npos) << out;
}

TEST_F(Svd, PicturesComeBack) {
  constexpr int width = 7, height = 5;
  struct Format {
    std::string header;
    int white;
    bool raw;
  };
  const Format formats[] = {{"P5\n# a comment\n7 5\n255\n", 255, true},
                            {"P5 7 # seven\n#\n 5\r\n65535\n", 65535, true},
                            {"P2\n7 5 # a comment\n15\n", 15, false},
                            {"P2\n7\n5\n65535\n", 65535, false}};
  for (const Format& format : formats) {
    SCOPED_TRACE(format.header);
    std::string file = format.header;
    std::vector<int> expected;
    for (int k = 0; k < width * height; ++k) {
      const int grey = k == 0 ? 0 : k == 1 ? format.white : (k * k * 7919 + 13 * k) % (format.white + 1);
      expected.push_back(static_cast<int>(std::lround(255.0 * grey / format.white)));
      if (!format.raw)
        file += std::to_string(grey) + (k % 10 == 9 ? " # what follows is on the next line\n" : " ");
      if (format.raw && format.white > 255) file += static_cast<char>(grey / 256);
      if (format.raw) file += static_cast<char>(grey % 256);
    }
    write("picture.PGM", file);
    for (const char* option : {"", " --center"}) {
      const Result result = svd(std::string("picture.PGM --rank 5") + option);
      EXPECT_EQ(png(width, height), expected) << option;
      expectParts(result.out, {"picture.PGM: 5 x 7, picture, white is " + std::to_string(format.white),
                               "p.csv, p.svg, p.png\n"});
    }
  }

  // The larger part of a picture of two; and what is below black or above white after rounding to a rank.
  write("picture.pgm", "P2 2 3 255 200 0 0 100 0 0");
  svd("picture.pgm --rank 1");
  EXPECT_EQ(png(2, 3), (std::vector<int>{200, 0, 0, 0, 0, 0}));
  write("picture.pgm", "P2 3 3 9 9 9 9 9 9 9 9 9 0");
  svd("picture.pgm --rank 1");
  const std::vector<int> pixels = png(3, 3);
  ASSERT_EQ(pixels.size(), 9u);
  EXPECT_EQ(pixels[0], 255);  // 9.7 of 9
  EXPECT_GT(pixels[8], 100);
}

TEST_F(Svd, PlotsPrincipalComponents) {
  // Centered: the corners of a rectangle of 2 by 4, and nothing in the third column.
  write("a&b.csv", "x,kind,y,\"z\"\n1,<b>,0,5\n3,10,0,5\n1,9,4,5\n3,<b>,4,5\n");
  const Result result = svd("'a&b.csv' --label kind --center --scatter");
  expectParts(result.out, {"a&b.csv: 4 x 3, table without kind (3 labels), centered\n"});
  expectValues({4, 2, 0}, {0.8, 1, 1});
  const std::string plot = svg(path("p_scatter.svg"));
  EXPECT_EQ(occurrences(plot, "<circle"), 4u + 3u);
  expectParts(plot, {"Principal components of a&amp;b.csv</text>", "component 1 (80 % of the energy)",
                     "component 2 (20 % of the energy)", ">kind</text>", ">&lt;b&gt;</text>"});
  const std::size_t legend = plot.find(">kind</text>");
  ASSERT_NE(legend, std::string::npos);
  EXPECT_LT(plot.find(">9</text>", legend), plot.find(">10</text>", legend));
  EXPECT_LT(plot.find(">10</text>", legend), plot.find(">&lt;b&gt;</text>", legend));

  // Columns without names, no labels, not centered: x = (1, 0, 0, 2), y = (0, 2, 1, 0).
  write("plain.csv", "1,0\n0,2\n0,1\n2,0\n");
  svd("plain.csv --scatter");
  expectValues({std::sqrt(5), std::sqrt(5)}, {0.5, 1});
  EXPECT_EQ(occurrences(svg(path("p_scatter.svg")), "<circle"), 4u);
  write("plain.csv", "1,0,7\n0,2,8\n");
  svd("plain.csv --label 3");
  expectValues({2, 1}, {0.8, 1});
  write("labels.csv", "x,y,kind\n1,0,\x9B\x80\n0,2,\xC2\x9B\n");  // control characters
  svd("labels.csv --label kind --scatter");
  svg(path("p_scatter.svg"));
  EXPECT_FALSE(std::filesystem::exists(path("p.png")));
}

TEST_F(Svd, APictureMayBeTooLarge) {
  write("p.pgm", "P5\n100000 100000\n255\n");  // and zeros, which take no room
  std::filesystem::resize_file(path("p.pgm"), 22 + std::uintmax_t{100000} * 100000);
  expectOneLine(run("svd p.pgm"), "p.pgm: too large: 100000 x 100000 needs ");
}

}  // namespace
