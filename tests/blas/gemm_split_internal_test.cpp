// The splitting of long products, on small matrices with a small threshold. Integer data, so that every order
// of the sums gives the same bits.

#include <string>
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
  Random random(seed);
  return HostMatrix<T>(rows, cols, ld - rows).set([&](int, int) {
    return makeElement<T>(random.below(9) - 4, random.below(9) - 4);
  });
}

// Splits, and expects so many pieces, the first of which is this one, and the product in one piece.
template <class T>
void expectPieces(const GemmSplit& split, char ta, char tb, int m, int n, int k, int lda, int ldb, T beta,
                  std::size_t count, Piece first) {
  SCOPED_TRACE(testing::Message() << ta << tb << m << 'x' << n << 'x' << k << ", " << lda << ", " << ldb);
  const HostMatrix<T> a = integers<T>(ta == 'N' ? m : k, ta == 'N' ? k : m, lda, 1);
  const HostMatrix<T> b = integers<T>(tb == 'N' ? k : n, tb == 'N' ? n : k, ldb, 2);
  HostMatrix<T> c = integers<T>(m, n, m + 3, 3);
  if (beta == T(0)) c.fill(quietNaN<T>());
  HostMatrix<T> whole = c;
  const T alpha = makeElement<T>(2, -1);
  std::vector<Piece> pieces;
  const auto leaf = [&](char pa, char pb, T factor, tovi::MatrixView<const T> x, tovi::MatrixView<const T> y,
                        T add, tovi::MatrixView<T> z) {
    const int inner = pa == 'N' ? x.cols : x.rows;
    EXPECT_EQ(inner, pb == 'N' ? y.rows : y.cols);
    pieces.push_back({z.rows, z.cols, inner});
    host::gemm(pa, pb, z.rows, z.cols, inner, factor, x.data, x.ld, y.data, y.ld, add, z.data, z.ld);
  };
  tovi::blas::splitGemm<T>(split, ta, tb, alpha, a.view(), b.view(), beta, c.view(), leaf);
  host::gemm(ta, tb, m, n, k, alpha, a.data(), lda, b.data(), ldb, beta, whole.data(), whole.ld());
  EXPECT_TRUE(c.sameBits(whole));
  EXPECT_EQ(pieces.size(), count);
  EXPECT_EQ(pieces.front(), first);
}

using SplitTypes = ::testing::Types<float, Complex<double>>;
TOVI_TYPED_SUITE(GemmSplitTest, ::testing::Test, SplitTypes);

TYPED_TEST(GemmSplitTest, TheFirstRuleThatAppliesWinsAndHalvesAreCutAgain) {
  const struct {
    const char *ta, *tb;  // any of these
    int m, n, k, lda, ldb;
    std::size_t pieces;
    Piece first;
  } rows[] = {
      // The inner dimension, where the leading dimension divides: A's, or B's when nothing before applies.
      {"N", "N", 13, 6, 41, 16, 45, 2, {13, 6, 20}},
      {"N", "TC", 13, 6, 33, 64, 7, 8, {13, 6, 4}},
      {"N", "TC", 13, 6, 31, 16, 7, 1, {13, 6, 31}},  // 16 * 31 < 512
      {"N", "TC", 13, 6, 32, 16, 7, 2, {13, 6, 16}},
      {"N", "TC", 13, 6, 41, 15, 7, 1, {13, 6, 41}},  // 512 mod 15
      {"T", "TC", 13, 6, 41, 41, 16, 2, {13, 6, 20}},
      // The result, where its dimension divides: columns
      {"N", "N", 5, 64, 8, 5, 9, 2, {5, 32, 8}},
      {"TC", "N", 5, 64, 8, 9, 9, 2, {5, 32, 8}},
      {"T", "N", 5, 56, 8, 9, 10, 1, {5, 56, 8}},  // 512 mod 56
      {"T", "N", 5, 2, 8, 9, 256, 1, {5, 2, 8}},   // not a multiple of 4
      {"T", "N", 5, 4, 8, 9, 128, 2, {5, 2, 8}},   // halves are not
      {"T", "N", 5, 64, 6, 9, 7, 1, {5, 64, 6}},   // 7 * 64 < 512
      // and rows
      {"TC", "N", 64, 5, 8, 9, 9, 2, {32, 5, 8}},
      {"TC", "T", 64, 5, 8, 9, 5, 2, {32, 5, 8}},
      {"TC", "N", 56, 5, 8, 10, 9, 1, {56, 5, 8}},
      // k, then n down to 40 * 8; with a transposed A, B's columns before A's, and A's before k
      {"N", "N", 5, 64, 40, 16, 40, 16, {5, 8, 20}},
      {"T", "N", 64, 64, 8, 9, 9, 4, {32, 32, 8}},
      {"T", "T", 64, 6, 41, 41, 16, 16, {8, 6, 20}},
      // A half would be empty.
      {"N", "N", 5, 6, 1, 512, 6, 1, {5, 6, 1}},
      {"N", "T", 5, 6, 3, 512, 512, 3, {5, 6, 1}},
      {"N", "N", 5, 6, 0, 5, 1, 1, {5, 6, 0}},
  };
  for (const auto& row : rows)
    for (const char ta : std::string(row.ta))
      for (const char tb : std::string(row.tb))
        for (const double beta : {0, 1, 3})
          expectPieces<TypeParam>({512, 4}, ta, tb, row.m, row.n, row.k, row.lda, row.ldb,
                                  makeElement<TypeParam>(beta, 0), row.pieces, row.first);
  expectPieces<TypeParam>({512, 1}, 'T', 'N', 1, 1, 5, 512, 512, TypeParam(0), 1, {1, 1, 5});
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
