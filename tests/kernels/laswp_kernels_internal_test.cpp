// Row interchanges, in both storages, against a loop on the host.

#include <utility>
#include <vector>

#include "ground/outcomes.h"
#include "src/basic/LASWP.h"
#include "tests/support/matrix.h"

namespace {

using namespace testing_support;
namespace basic = tovi::basic;

template <class T>
HostMatrix<T> numbered(int rows, int cols) {
  HostMatrix<T> a(rows, cols, 3);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) a(i, j) = makeElement<T>(i + j * rows, j - i);
  return a;
}

// As an LU factorization makes them: row i changes places with itself or a later row.
std::vector<int> randomPivots(int count, int rows, std::uint64_t seed) {
  Random random(seed);
  std::vector<int> pivots;
  for (int i = 0; i < count; ++i) pivots.push_back(i + 1 + random.below(rows - i));
  return pivots;
}

// Interchanges the lines k1..k2 of `lines` lines of the given length and compares with the host.
template <class T>
void expectInterchanges(int lines, int length, int k1, int k2, const std::vector<int>& ipiv) {
  const auto rows = numbered<T>(lines, length), cols = numbered<T>(length, lines);
  auto expectedRows = rows, expectedCols = cols;
  for (int i = k1; k1 < k2 && i <= k2; ++i) {
    const int p = ipiv[static_cast<std::size_t>(i - 1)];
    for (int x = 0; x < length; ++x) {
      std::swap(expectedRows(i - 1, x), expectedRows(p - 1, x));
      std::swap(expectedCols(x, i - 1), expectedCols(x, p - 1));
    }
  }
  const OnDevice<T> dRows(rows), dCols(cols);
  std::vector<int> passed = ipiv;
  basic::laswp(length, dRows.view.data, rows.ld(), k1, k2, passed.data(), 1);
  basic::laswpCol(length, dCols.view.data, cols.ld(), k1, k2, passed.data(), 1);
  passed.assign(passed.size(), 1);  // the pivots were taken along when the calls returned
  EXPECT_TRUE(dRows.holds(expectedRows)) << lines << " rows, " << k1 << ".." << k2;
  EXPECT_TRUE(dCols.holds(expectedCols)) << lines << " columns, " << k1 << ".." << k2;
}

template <class T>
class BasicLaswp : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(BasicLaswp, Elements);

TYPED_TEST(BasicLaswp, RangesAroundTheBatchOfSixteen) {
  for (int k1 : {1, 2, 20})
    for (int count : {2, 15, 16, 17, 32, 33, 60})
      expectInterchanges<TypeParam>(90, 19, k1, k1 + count - 1, randomPivots(79, 90, 7));
}

TYPED_TEST(BasicLaswp, LinesAroundTheBlockOf256) {
  for (int length : {1, 255, 256, 257, 600})
    expectInterchanges<TypeParam>(40, length, 3, 30, randomPivots(30, 40, 11));
}

// A range of one pivot interchanges nothing; neither does one that ends before it starts.
TYPED_TEST(BasicLaswp, SinglePivotAppliesNothing) {
  const std::vector<int> pivots(8, 8);
  expectInterchanges<TypeParam>(8, 5, 3, 3, pivots);
  expectInterchanges<TypeParam>(8, 5, 4, 3, pivots);
}

// Pivots that point backwards and at themselves, and one line that moves through all of them.
TYPED_TEST(BasicLaswp, LaterPivotsSeeEarlierOnes) {
  expectInterchanges<TypeParam>(20, 6, 1, 20,
                                {1, 1, 3, 2, 5, 20, 7, 7, 1, 10, 10, 12, 1, 2, 3, 16, 17, 20, 19, 1});
  std::vector<int> chain;
  for (int i = 1; i < 40; ++i) chain.push_back(i + 1);
  expectInterchanges<TypeParam>(40, 6, 1, 39, chain);
}

// Beyond the lines that 16 bits can name, as target, as first line, and both forms in one call.
TEST(BasicLaswpWide, MoreThan32768Lines) {
  const int lines = 40000;
  std::vector<int> pivots(static_cast<std::size_t>(lines));
  for (int i = 0; i < lines; ++i) pivots[static_cast<std::size_t>(i)] = i + 1;
  const int targets[] = {32767, 32768, 32769, 32770, 40000};
  for (int i = 0; i < 5; ++i) pivots[static_cast<std::size_t>(3 + 10 * i)] = targets[i];
  expectInterchanges<float>(lines, 3, 1, 60, pivots);
  expectInterchanges<Complex<float>>(lines, 2, 1, 18, pivots);
  const auto random = randomPivots(lines, lines, 3);
  expectInterchanges<float>(lines, 3, 32750, 32800, random);
  expectInterchanges<double>(lines, 2, 39990, 40000, random);
}

}  // namespace
