// The BLAS through the exported functions, on whatever device is there: every family and precision, every
// option, both interfaces, sizes on both sides of where the work is cut into blocks.

#include <array>
#include <climits>

#include "tests/support/blas_checks.h"

namespace testing_support {
namespace {

template <class T>
class BlasTest : public LibraryTest {};
using Elements = ::testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(BlasTest, Elements);

template <class T>
class HermitianBlasTest : public LibraryTest {};
using ComplexElements = ::testing::Types<Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(HermitianBlasTest, ComplexElements);

template <class T>
std::array<T, 3> betas() {
  return {T(0), T(1), makeElement<T>(-1.25, 0.5)};
}

// Large enough for several tiles of the software device, of which the last ones are ragged; long, and wide.
const std::pair<int, int> tiled[] = {{201, 170}, {1030, 99}, {50, 1030}};

TYPED_TEST(BlasTest, Gemm) {
  using T = TypeParam;
  for (const auto& [m, n] : tiled)
    for (const char transa : {'N', 'T', 'C'})
      for (const char transb : {'N', 'T', 'C'})
        checkGemm<T>(Memory::device, transa, transb, m, n, 133, nonTrivial<T>(), makeElement<T>(-1.25, 0.5));
  for (const Memory where : bothInterfaces) {
    for (const char transa : {'N', 'T', 'C', 'n', 't', 'c'})
      for (const char transb : {'N', 'T', 'C', 'n', 't', 'c'})
        for (const T beta : betas<T>()) {
          checkGemm<T>(where, transa, transb, 1, 1, 1, nonTrivial<T>(), beta);
          checkGemm<T>(where, transa, transb, 33, 17, 65, nonTrivial<T>(), beta);
        }
    checkGemm<T>(where, 'N', 'C', 192, 193, 191, T(1), T(0));
    checkGemm<T>(where, 'N', 'N', 20, 30, 40, T(0), T(2));
    checkGemm<T>(where, 'N', 'T', 20, 30, 0, T(3), T(2));  // without inner dimension C is still scaled
    checkGemm<T>(where, 'C', 'N', 20, 30, 0, T(3), T(0));
  }
}

TYPED_TEST(BlasTest, Gemv) {
  using T = TypeParam;
  for (const Memory where : bothInterfaces)
    for (const char trans : {'N', 'T', 'C', 'n', 't', 'c'})
      for (const T beta : betas<T>())
        for (const int incx : {1, 3, -1, -2})
          for (const int incy : {1, 2, -1, -3}) {
            checkGemv<T>(where, trans, 1, 1, incx, incy, nonTrivial<T>(), beta);
            checkGemv<T>(where, trans, 67, 33, incx, incy, nonTrivial<T>(), beta);
          }
  for (const Memory where : bothInterfaces)
    for (const char trans : {'N', 'T', 'C'}) {
      checkGemv<T>(where, trans, 513, 20, 1, 1, T(1), T(0));
      checkGemv<T>(where, trans, 20, 513, 1, 1, T(0), T(2));
    }
}

TYPED_TEST(BlasTest, GemvTransposed) {
  using T = TypeParam;
  checkGemvBlocks<T>(Memory::device);
  for (const Memory where : bothInterfaces) checkGemvNaN<T>(where);
  checkGemv<T>(Memory::host, 'T', 513, 33, -1, 2, nonTrivial<T>(), T(2));
  checkGemv<T>(Memory::host, 'C', 5000, 300, 1, 1, nonTrivial<T>(), T(0));
}

// An increment that leads nowhere may be any number but 0.
TYPED_TEST(BlasTest, GemvOfOneElement) {
  using T = TypeParam;
  for (const Memory where : bothInterfaces)
    for (const char trans : {'N', 'T', 'C'})
      for (const int increment : {INT_MIN, INT_MAX}) {
        HostMatrix<T> a(1, 1), x(1, 1), y(1, 1);
        a(0, 0) = T(2), x(0, 0) = T(5), y(0, 0) = T(7);
        const Placed<T> pa(where, a), px(where, x), py(where, y);
        EXPECT_EQ(
            gemv(where, trans, 1, 1, T(3), pa.data(), 1, px.data(), increment, T(-1), py.data(), increment),
            toviNoError);
        py.fetch();
        EXPECT_EQ(y(0, 0), T(23)) << trans << ' ' << increment;
      }
}

TYPED_TEST(BlasTest, GemvWithoutFactor) {
  for (const Memory where : bothInterfaces) checkGemvWithoutFactor<TypeParam>(where);
}

template <class T>
void everyTriangle(Triangular what, Memory where, int m, int n) {
  for (const char side : {'L', 'R', 'l', 'r'})
    for (const char uplo : {'L', 'U', 'l', 'u'})
      for (const char trans : {'N', 'T', 'C', 'n', 't', 'c'})
        for (const char diag : {'N', 'U', 'n', 'u'})
          checkTriangular<T>(what, where, side, uplo, trans, diag, m, n);
}

template <class T>
void everyTiledTriangle(Triangular what) {
  for (const auto& [m, n] : {std::pair(170, 230), std::pair(260, 40), std::pair(40, 260)})
    for (const char side : {'L', 'R'})
      for (const char uplo : {'L', 'U'})
        for (const char trans : {'N', 'T', 'C'})
          checkTriangular<T>(what, Memory::device, side, uplo, trans, trans == 'T' ? 'U' : 'N', m, n);
}

TYPED_TEST(BlasTest, Trsm) {
  using T = TypeParam;
  for (const Memory where : bothInterfaces) everyTriangle<T>(Triangular::solve, where, 31, 18);
  everyTiledTriangle<T>(Triangular::solve);
  for (const char side : {'L', 'R'})
    for (const char uplo : {'L', 'U'})
      for (const char trans : {'N', 'T', 'C'})
        checkTriangular<T>(Triangular::solve, Memory::device, side, uplo, trans, trans == 'T' ? 'U' : 'N',
                           513, 512);
  checkTriangular<T>(Triangular::solve, Memory::host, 'L', 'L', 'N', 'U', 512, 513);
  checkTriangular<T>(Triangular::solve, Memory::host, 'L', 'U', 'N', 'N', 2000, 511);
  checkTriangular<T>(Triangular::solve, Memory::host, 'R', 'U', 'C', 'N', 511, 600);
}

TYPED_TEST(BlasTest, Trmm) {
  using T = TypeParam;
  for (const Memory where : bothInterfaces) everyTriangle<T>(Triangular::multiply, where, 31, 18);
  everyTiledTriangle<T>(Triangular::multiply);
  for (const int d : {1023, 1024, 1025})
    for (const char uplo : {'L', 'U'})
      for (const char trans : {'N', 'T', 'C'}) {
        const char diag = trans == 'T' ? 'U' : 'N';
        checkTriangular<T>(Triangular::multiply, Memory::device, 'L', uplo, trans, diag, d, 5);
        checkTriangular<T>(Triangular::multiply, Memory::device, 'R', uplo, trans, diag, 5, d);
      }
  checkTriangular<T>(Triangular::multiply, Memory::host, 'L', 'U', 'N', 'N', 1100, 3);
}

// With alpha = 0 the result is zero and A is not read, also where the work would be cut into blocks.
TYPED_TEST(BlasTest, TriangularWithoutFactor) {
  using T = TypeParam;
  const int n = 1024;
  HostMatrix<T> a(n, n), b = HostMatrix<T>::random(n, n, 0, 1);
  a.fill(quietNaN<T>());
  const HostMatrix<T> zero(n, n), b0 = b;
  for (const auto routine : {trsm<T>, trmm<T>}) {
    b = b0;
    ASSERT_EQ(routine(Memory::host, 'L', 'L', 'N', 'N', n, n, T(0), a.data(), n, b.data(), n), toviNoError);
    CHECK_RATIO(productRatio(b, widen(zero), 1), blasBound);
  }
}

template <class T>
void checkAllSymmetric(Export which) {
  for (const auto& [m, n] : tiled)
    for (const char side : {'L', 'R'})
      for (const char uplo : {'L', 'U'})
        if ((side == 'L' ? m : n) < 1000)
          checkSymmetric<T>(which, Memory::device, side, uplo, m, n, nonTrivial<T>(), T(2));
  for (const Memory where : bothInterfaces)
    for (const char side : {'L', 'R', 'l', 'r'})
      for (const char uplo : {'L', 'U', 'l', 'u'})
        for (const T beta : betas<T>())
          checkSymmetric<T>(which, where, side, uplo, 31, 18, nonTrivial<T>(), beta);
}

// Enough for the blocked form of symm, which looks at either dimension.
TYPED_TEST(BlasTest, Symm) {
  using T = TypeParam;
  checkAllSymmetric<T>(Export::symmetric);
  for (const int d : {1023, 1024, 1025})
    for (const char uplo : {'L', 'U'})
      for (const T beta : betas<T>()) {
        checkSymmetric<T>(Export::symmetric, Memory::device, 'L', uplo, d, 5, nonTrivial<T>(), beta);
        checkSymmetric<T>(Export::symmetric, Memory::device, 'R', uplo, 5, d, nonTrivial<T>(), beta);
      }
  checkSymmetric<T>(Export::symmetric, Memory::host, 'L', 'U', 1100, 3, T(1), T(0));
}

TYPED_TEST(HermitianBlasTest, Hemm) {
  using T = TypeParam;
  checkAllSymmetric<T>(Export::hermitian);
  checkSymmetric<T>(Export::hermitian, Memory::host, 'L', 'L', 1100, 3, T(1), T(0));
  for (const char side : {'L', 'R'})
    for (const char uplo : {'L', 'U'})
      checkSymmetric<T>(Export::hermitian, Memory::device, side, uplo, 1024, 1025, nonTrivial<T>(),
                        uplo == 'L' ? T(0) : T(2));
}

// The same bits: symm is served by the Hermitian routine.
TYPED_TEST(HermitianBlasTest, SymmIsHemmAndSyr2kIsHer2k) {
  using T = TypeParam;
  const int n = 40;
  const HostMatrix<T> a = HostMatrix<T>::random(n, n, 0, 1), b = HostMatrix<T>::random(n, n, 0, 2);
  const HostMatrix<T> c = HostMatrix<T>::random(n, n, 0, 3);
  const T alpha = nonTrivial<T>(), beta = makeElement<T>(2, 0.5);
  HostMatrix<T> c1 = c, c2 = c;
  const Memory where = Memory::host;
  ASSERT_EQ(symm(where, 'L', 'U', n, n, alpha, a.data(), n, b.data(), n, beta, c1.data(), n), toviNoError);
  ASSERT_EQ(hemm(where, 'L', 'U', n, n, alpha, a.data(), n, b.data(), n, beta, c2.data(), n), toviNoError);
  EXPECT_TRUE(c1.sameBits(c2));
  ASSERT_EQ(syr2k(where, 'U', 'N', n, n, alpha, a.data(), n, b.data(), n, beta, c1.data(), n), toviNoError);
  ASSERT_EQ(her2k(where, 'U', 'N', n, n, alpha, a.data(), n, b.data(), n, tovi::real(beta), c2.data(), n),
            toviNoError);
  EXPECT_TRUE(c1.sameBits(c2));
}

template <class T, class Check>
void checkAllUpdates(Check check, Export which, const char* transposes) {
  for (const char uplo : {'L', 'U'})
    for (const char* trans = transposes; *trans >= 'A' && *trans <= 'Z'; ++trans)
      for (const auto& [n, k] : {std::pair(230, 90), std::pair(611, 20)})
        check(which, Memory::device, uplo, *trans, n, k, nonTrivial<T>(), makeElement<T>(-1.25, 0.5));
  for (const Memory where : bothInterfaces)
    for (const char uplo : {'L', 'U', 'l', 'u'})
      for (const char* trans = transposes; *trans != 0; ++trans)
        for (const T beta : betas<T>()) {
          check(which, where, uplo, *trans, 1, 1, nonTrivial<T>(), beta);
          check(which, where, uplo, *trans, 33, 18, nonTrivial<T>(), beta);
          check(which, where, uplo, *trans, 12, 0, nonTrivial<T>(), beta);
        }
}

// The blocked form wants both dimensions.
template <class T, class Check>
void checkBlockedUpdates(Check check, Export which, char transposed) {
  for (const char uplo : {'L', 'U'})
    for (const char trans : {'N', transposed})
      check(which, Memory::device, uplo, trans, trans == 'N' ? 1024 : 1025, 1024, nonTrivial<T>(),
            uplo == 'L' ? T(0) : makeElement<T>(-1.25, 0.5));
  check(which, Memory::host, 'L', 'N', 1300, 3, nonTrivial<T>(), T(0));
}

TYPED_TEST(BlasTest, Syrk) {
  using T = TypeParam;
  checkAllUpdates<T>(checkRankK<T>, Export::symmetric, "NTnt");
  checkBlockedUpdates<T>(checkRankK<T>, Export::symmetric, 'T');
}

TYPED_TEST(HermitianBlasTest, Herk) {
  using T = TypeParam;
  checkAllUpdates<T>(checkRankK<T>, Export::hermitian, "NCnc");
  checkBlockedUpdates<T>(checkRankK<T>, Export::hermitian, 'C');
}

TYPED_TEST(BlasTest, Syr2k) {
  using T = TypeParam;
  const bool hermitian = tovi::isComplex<T>;
  checkAllUpdates<T>(checkRank2K<T>, Export::symmetric, hermitian ? "Nn" : "NTnt");
  checkBlockedUpdates<T>(checkRank2K<T>, Export::symmetric, hermitian ? 'N' : 'T');
}

TYPED_TEST(HermitianBlasTest, Her2k) {
  using T = TypeParam;
  checkAllUpdates<T>(checkRank2K<T>, Export::hermitian, "NCnc");
  checkBlockedUpdates<T>(checkRank2K<T>, Export::hermitian, 'C');
}

// A dimension of zero: nothing is read or written, null operands are fine, so are the smallest leading
// dimensions.
TYPED_TEST(BlasTest, EmptyProblems) {
  using T = TypeParam;
  T* const none = nullptr;
  for (const Memory where : bothInterfaces) {
    EXPECT_EQ(gemm(where, 'N', 'N', 0, 0, 0, T(1), none, 0, none, 0, T(0), none, 0), toviNoError);
    EXPECT_EQ(gemm(where, 'N', 'N', 0, 4, 4, T(1), none, 0, none, 4, T(0), none, 0), toviNoError);
    EXPECT_EQ(gemm(where, 'T', 'T', 4, 4, 0, T(1), none, 0, none, 4, T(0), none, 4), toviNoError);
    EXPECT_EQ(gemv(where, 'N', 0, 4, T(1), none, 1, none, 1, T(0), none, 1), toviNoError);
    EXPECT_EQ(gemv(where, 'T', 4, 0, T(1), none, 4, none, 1, T(0), none, 1), toviNoError);
    EXPECT_EQ(trsm(where, 'L', 'L', 'N', 'N', 0, 4, T(1), none, 0, none, 0), toviNoError);
    EXPECT_EQ(trsm(where, 'L', 'L', 'N', 'N', 4, 0, T(1), none, 4, none, 4), toviNoError);
    EXPECT_EQ(trmm(where, 'R', 'L', 'N', 'N', 4, 0, T(1), none, 1, none, 4), toviNoError);
    EXPECT_EQ(symm(where, 'L', 'U', 4, 0, T(1), none, 4, none, 4, T(0), none, 4), toviNoError);
    EXPECT_EQ(syrk(where, 'U', 'N', 0, 4, T(1), none, 1, T(0), none, 1), toviNoError);
    EXPECT_EQ(syrk(where, 'U', 'N', 4, 0, T(1), none, 4, T(0), none, 4), toviNoError);
    EXPECT_EQ(syr2k(where, 'U', 'N', 0, 4, T(1), none, 0, none, 0, T(0), none, 0), toviNoError);
    EXPECT_EQ(syr2k(where, 'U', 'N', 4, 0, T(1), none, 4, none, 4, T(0), none, 4), toviNoError);
    if constexpr (tovi::isComplex<T>) {
      EXPECT_EQ(hemm(where, 'R', 'U', 0, 4, T(1), none, 4, none, 0, T(0), none, 0), toviNoError);
      EXPECT_EQ(herk(where, 'U', 'C', 4, 0, 1, none, 1, 0, none, 4), toviNoError);
      EXPECT_EQ(her2k(where, 'U', 'C', 4, 0, T(1), none, 0, none, 0, 0, none, 4), toviNoError);
    }
  }
}

}  // namespace
}  // namespace testing_support
