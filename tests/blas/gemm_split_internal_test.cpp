// The splitting of long products, on small matrices with a small threshold. Integer data, so that every order
// of the sums gives the same bits.

#include <vector>

#include "host/blas.h"
#include "src/blas/gemm_split.h"
#include "tests/support/matrix.h"

namespace testing_support {
namespace {

using tovi::blas::GemmSplit;

struct Piece {
  int m, n, k;
};
bool operator==(const Piece& a, const Piece& b) { return a.m == b.m && a.n == b.n && a.k == b.k; }
std::ostream& operator<<(std::ostream& out, const Piece& p) { return out << p.m << 'x' << p.n << 'x' << p.k; }

template <class T>
HostMatrix<T> integers(int rows, int cols, int ld, std::uint64_t seed) {
  HostMatrix<T> a(rows, cols, ld - rows);
  Random random(seed);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) a(i, j) = makeElement<T>(random.below(9) - 4, random.below(9) - 4);
  return a;
}

// Splits, compares with the product in one piece, and returns the pieces.
template <class T>
std::vector<Piece> pieces(const GemmSplit& split, char ta, char tb, int m, int n, int k, int lda, int ldb,
                          T beta) {
  const HostMatrix<T> a = integers<T>(ta == 'N' ? m : k, ta == 'N' ? k : m, lda, 1);
  const HostMatrix<T> b = integers<T>(tb == 'N' ? k : n, tb == 'N' ? n : k, ldb, 2);
  HostMatrix<T> c = integers<T>(m, n, m + 3, 3);
  if (beta == T(0)) c.fill(quietNaN<T>());
  HostMatrix<T> whole = c;
  const T alpha = makeElement<T>(2, -1);
  std::vector<Piece> result;
  const auto leaf = [&](char pa, char pb, T factor, tovi::MatrixView<const T> x, tovi::MatrixView<const T> y,
                        T add, tovi::MatrixView<T> z) {
    const int inner = pa == 'N' ? x.cols : x.rows;
    EXPECT_EQ(inner, pb == 'N' ? y.rows : y.cols);
    result.push_back({z.rows, z.cols, inner});
    host::gemm(pa, pb, z.rows, z.cols, inner, factor, x.data, x.ld, y.data, y.ld, add, z.data, z.ld);
  };
  tovi::blas::splitGemm<T>(split, ta, tb, alpha, a.view(), b.view(), beta, c.view(), leaf);
  host::gemm(ta, tb, m, n, k, alpha, a.data(), lda, b.data(), ldb, beta, whole.data(), whole.ld());
  EXPECT_TRUE(c.sameBits(whole)) << ta << tb;
  return result;
}

constexpr GemmSplit small{512, 4};
using Pieces = std::vector<Piece>;

template <class T>
class GemmSplitTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<double>>;
TYPED_TEST_SUITE(GemmSplitTest, Elements);

TYPED_TEST(GemmSplitTest, CutsTheInnerDimensionWhereTheLeadingDimensionDivides) {
  using T = TypeParam;
  for (const T beta : {T(0), T(1), T(3)}) {
    for (const char other : {'N', 'T', 'C'}) {
      const int ld = other == 'N' ? 45 : 7;
      EXPECT_EQ(pieces<T>(small, 'N', other, 13, 6, 41, 16, ld, beta), (Pieces{{13, 6, 20}, {13, 6, 21}}));
      EXPECT_EQ(pieces<T>(small, 'N', other, 13, 6, 33, 64, ld, beta), (Pieces{{13, 6, 4},
                                                                               {13, 6, 4},
                                                                               {13, 6, 4},
                                                                               {13, 6, 4},
                                                                               {13, 6, 4},
                                                                               {13, 6, 4},
                                                                               {13, 6, 4},
                                                                               {13, 6, 5}}));
      EXPECT_EQ(pieces<T>(small, 'N', other, 13, 6, 31, 16, ld, beta).size(), 1u);  // 16 * 31 < 512
      EXPECT_EQ(pieces<T>(small, 'N', other, 13, 6, 32, 16, ld, beta).size(), 2u);
      EXPECT_EQ(pieces<T>(small, 'N', other, 13, 6, 41, 15, ld, beta).size(), 1u);  // 512 mod 15
    }
    for (const char tb : {'T', 'C'})  // by B, when nothing before applies
      EXPECT_EQ(pieces<T>(small, 'T', tb, 13, 6, 41, 41, 16, beta), (Pieces{{13, 6, 20}, {13, 6, 21}}));
  }
}

TYPED_TEST(GemmSplitTest, CutsTheResultWhereItsDimensionDivides) {
  using T = TypeParam;
  for (const T beta : {T(0), T(1), T(3)}) {
    for (const char ta : {'N', 'T'}) {
      const int lda = ta == 'N' ? 5 : 9;
      EXPECT_EQ(pieces<T>(small, ta, 'N', 5, 64, 8, lda, 9, beta), (Pieces{{5, 32, 8}, {5, 32, 8}}));
      EXPECT_EQ(pieces<T>(small, ta, 'N', 5, 56, 8, lda, 10, beta).size(), 1u);  // 512 mod 56
      EXPECT_EQ(pieces<T>(small, ta, 'N', 5, 2, 8, lda, 256, beta).size(), 1u);  // not a multiple of 4
      EXPECT_EQ(pieces<T>(small, ta, 'N', 5, 4, 8, lda, 128, beta).size(), 2u);  // halves are not
      EXPECT_EQ(pieces<T>(small, ta, 'N', 5, 64, 6, lda, 7, beta).size(), 1u);   // 7 * 64 < 512
    }
    for (const char ta : {'T', 'C'})
      for (const char tb : {'N', 'T'}) {
        const int ldb = tb == 'N' ? 9 : 5;
        EXPECT_EQ(pieces<T>(small, ta, tb, 64, 5, 8, 9, ldb, beta), (Pieces{{32, 5, 8}, {32, 5, 8}}));
        EXPECT_EQ(pieces<T>(small, ta, tb, 56, 5, 8, 10, ldb, beta).size(), 1u);
      }
  }
}

TYPED_TEST(GemmSplitTest, TheFirstRuleThatAppliesWinsAndHalvesAreCutAgain) {
  using T = TypeParam;
  EXPECT_EQ(pieces<T>(small, 'N', 'N', 5, 64, 40, 16, 40, T(2)).size(), 2u * 8u);  // k, then n down to 40 * 8
  EXPECT_EQ(pieces<T>(small, 'N', 'N', 5, 64, 40, 16, 40, T(2)).front(), (Piece{5, 8, 20}));
  // With a transposed A, B's columns go before A's, and A's before the inner dimension.
  EXPECT_EQ(pieces<T>(small, 'T', 'N', 64, 64, 8, 9, 9, T(2)),
            (Pieces{{32, 32, 8}, {32, 32, 8}, {32, 32, 8}, {32, 32, 8}}));
  EXPECT_EQ(pieces<T>(small, 'T', 'T', 64, 6, 41, 41, 16, T(0)).front(), (Piece{8, 6, 20}));
}

TEST(GemmSplit, EndsWhereAHalfWouldBeEmpty) {
  EXPECT_EQ(pieces<float>(small, 'N', 'N', 5, 6, 1, 512, 6, 0).size(), 1u);
  EXPECT_EQ(pieces<float>(small, 'N', 'T', 5, 6, 3, 512, 512, 0).size(), 3u);
  EXPECT_EQ(pieces<float>(GemmSplit{512, 1}, 'T', 'N', 1, 1, 5, 512, 512, 0).size(), 1u);
  EXPECT_EQ(pieces<float>(small, 'N', 'N', 5, 6, 0, 5, 1, 2).size(), 1u);
}

TEST(GemmSplit, TheLibrarysThresholdOnItsOwn) {
  constexpr GemmSplit split{134217216, 96};
  EXPECT_FALSE(split.cuts(1 << 15, 1 << 12, 1 << 15));  // long enough, but no divisor
  EXPECT_TRUE(split.cuts(37376, 3591, 37376));
  EXPECT_FALSE(split.cuts(37376, 3590, 37376));
  EXPECT_TRUE(split.cuts(2147483136, 2147483647, 512));  // no overflow
  EXPECT_TRUE(split.cutsOutput(200000, 4032));
  EXPECT_FALSE(split.cutsOutput(200000, 4000));
}

}  // namespace
}  // namespace testing_support
