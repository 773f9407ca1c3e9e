// The BLAS through the exported functions, on whatever device is there: every family and precision, every
// option, both interfaces, sizes on both sides of where the work is cut into blocks.

#include <climits>

#include "tests/blas/blas_checks.h"

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

// Every choice of options that is accepted, in capitals or small letters.
template <class T>
std::vector<std::string> optionsOf(const std::string& family, bool capitals) {
  std::vector<std::string> all = {""};
  for (const Argument& row : exportOf<T>(family, Memory::host).family->arguments)
    if (row.kind == Kind::option) {
      std::vector<std::string> longer;
      for (const std::string& start : all)
        for (const char c : row.accepted)  // the complex syr2k knows no 'T'
          if (family != "syr2k" || !tovi::isComplex<T> || c != 'T')
            longer.push_back(start + (capitals ? c : static_cast<char>(c - 'A' + 'a')));
      all = longer;
    }
  return all;
}

using Sizes = std::vector<std::vector<int>>;

// Small problems through both interfaces with every beta, large ones on the device.
template <class T>
void checkFamily(const std::string& family, const Sizes& small, const Sizes& large) {
  for (const std::vector<int>& sizes : small)
    for (const Memory where : bothInterfaces)
      for (const Scalar beta : {Scalar(0), Scalar(1), otherNonTrivial})
        for (const bool capitals : {true, false})
          for (const std::string& options : optionsOf<T>(family, capitals))
            checkBlas<T>(family, where, options, sizes, nonTrivial, beta);
  for (const std::vector<int>& sizes : large)
    for (const std::string& options : optionsOf<T>(family, true)) {
      // Of triangles every second choice
      if (options.size() == 4 && (options[2] == 'T') != (options[3] == 'U')) continue;
      checkBlas<T>(family, Memory::device, options, sizes, nonTrivial,
                   options[0] == 'L' ? 0 : otherNonTrivial);
    }
}

// The large ones: enough for several tiles of the software device, of which the last ones are ragged; long,
// and wide.

TYPED_TEST(BlasTest, Gemm) {
  using T = TypeParam;
  checkFamily<T>("gemm", {{1, 1, 1}, {33, 17, 65}},
                 {{201, 170, 133}, {1030, 99, 133}, {50, 1030, 133}, {192, 193, 191}});
  for (const Memory where : bothInterfaces) {
    checkBlas<T>("gemm", where, "NC", {192, 193, 191}, 1, 0);
    checkBlas<T>("gemm", where, "NN", {20, 30, 40}, 0, 2);
    checkBlas<T>("gemm", where, "NT", {20, 30, 0}, 3, 2);  // without inner dimension C is still scaled
    checkBlas<T>("gemm", where, "CN", {20, 30, 0}, 3, 0);
  }
}

TYPED_TEST(BlasTest, Gemv) {
  using T = TypeParam;
  for (const int incx : {1, 3, -1, -2})
    for (const int incy : {1, 2, -1, -3})
      checkFamily<T>("gemv", {{1, 1, incx, incy}, {67, 33, incx, incy}}, {});
  for (const Memory where : bothInterfaces)
    for (const char* trans : {"N", "T", "C"}) {
      checkBlas<T>("gemv", where, trans, {513, 20, 1, 1}, 1, 0);
      checkBlas<T>("gemv", where, trans, {20, 513, 1, 1}, 0, 2);
    }
}

TYPED_TEST(BlasTest, GemvTransposed) {
  using T = TypeParam;
  checkGemvBlocks<T>();
  for (const Memory where : bothInterfaces) checkGemvNaN<T>(where);
  checkBlas<T>("gemv", Memory::host, "T", {513, 33, -1, 2}, nonTrivial, 2);
  checkBlas<T>("gemv", Memory::host, "C", {5000, 300, 1, 1}, nonTrivial, 0);
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

// By blocks where both dimensions reach 512.
TYPED_TEST(BlasTest, Trsm) {
  using T = TypeParam;
  checkFamily<T>("trsm", {{31, 18}}, {{170, 230}, {260, 40}, {40, 260}, {513, 512}});
  checkBlas<T>("trsm", Memory::host, "LLNU", {512, 513});
  checkBlas<T>("trsm", Memory::host, "LUNN", {1100, 511});
  checkBlas<T>("trsm", Memory::host, "RUCN", {511, 600});
}

TYPED_TEST(BlasTest, TrsmDividesByWhatIsTooSmallForAReciprocal) {
  using T = TypeParam;
  for (const std::string& options : optionsOf<T>("trsm", true)) {
    for (const Memory where : bothInterfaces)
      for (const auto& [m, n] : {std::pair{1, 1}, {1, 7}, {7, 1}, {40, 23}})
        checkSmallDiagonal<T>(where, options, m, n);
    checkSmallDiagonal<T>(Memory::device, options, 170, 230);
  }
  for (const char* options : {"LLNN", "LUCN", "RLTN", "RUNN"})
    checkSmallDiagonal<T>(Memory::device, options, 530, 520);
}

// By blocks where either dimension reaches 1024.
TYPED_TEST(BlasTest, Trmm) {
  using T = TypeParam;
  checkFamily<T>(
      "trmm", {{31, 18}},
      {{170, 230}, {260, 40}, {40, 260}, {1023, 5}, {1024, 5}, {1025, 5}, {5, 1023}, {5, 1024}, {5, 1025}});
  checkBlas<T>("trmm", Memory::host, "LUNN", {1100, 3});
}

// With alpha = 0 the result is zero and A is not read, also where the work would be cut into blocks.
TYPED_TEST(BlasTest, TriangularWithoutFactor) {
  using T = TypeParam;
  const int n = 1024;
  HostMatrix<T> a(n, n), b = HostMatrix<T>::random(n, n, 0, 1);
  a.fill(quietNaN<T>());
  const HostMatrix<T> b0 = b;
  for (const auto routine : {Exports<T>::trsm[0], Exports<T>::trmm[0]}) {
    b = b0;
    ASSERT_EQ(routine('L', 'L', 'N', 'N', n, n, exported(T(0)), exported(a.data()), n, exported(b.data()), n),
              toviNoError);
    EXPECT_EQ(norm1(b), 0);
  }
}

// By blocks where either dimension reaches 1024.
TYPED_TEST(BlasTest, Symm) {
  using T = TypeParam;
  checkFamily<T>(
      "symm", {{31, 18}},
      {{201, 170}, {1030, 99}, {50, 1030}, {1023, 5}, {1024, 5}, {1025, 5}, {5, 1023}, {5, 1024}, {5, 1025}});
  checkBlas<T>("symm", Memory::host, "LU", {1100, 3}, 1, 0);
}

// By blocks where both do, as are the updates.
TYPED_TEST(HermitianBlasTest, Hemm) {
  using T = TypeParam;
  checkFamily<T>("hemm", {{31, 18}}, {{201, 170}, {1030, 99}, {50, 1030}, {1024, 1025}});
  checkBlas<T>("hemm", Memory::host, "LL", {1100, 3}, 1, 0);
}

template <class T>
void checkUpdates(const std::string& family) {
  checkFamily<T>(family, {{1, 1}, {33, 18}, {12, 0}}, {{230, 90}, {611, 20}, {1025, 1024}});
  checkBlas<T>(family, Memory::device, "LN", {1024, 1024}, nonTrivial, 0);
  checkBlas<T>(family, Memory::host, "LN", {1300, 3}, nonTrivial, 0);
}

TYPED_TEST(BlasTest, Syrk) { checkUpdates<TypeParam>("syrk"); }
TYPED_TEST(BlasTest, Syr2k) { checkUpdates<TypeParam>("syr2k"); }
TYPED_TEST(HermitianBlasTest, Herk) { checkUpdates<TypeParam>("herk"); }
TYPED_TEST(HermitianBlasTest, Her2k) { checkUpdates<TypeParam>("her2k"); }

}  // namespace
}  // namespace testing_support
