// Which calls of the device BLAS a routine makes: where families begin to work by blocks, how the blocks are
// cut on either generation of devices, and where products are split.

#include <sstream>
#include <string>
#include <vector>

#include "tests/blas/blas_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

const char* nameOf(Entry entry) {  // in the order of the entries
  constexpr const char* names[] = {"gemm", "gemv", "trsm", "trmm",  "symm",
                                   "hemm", "syrk", "herk", "syr2k", "her2k"};
  const int i = static_cast<int>(entry) - static_cast<int>(Entry::gemm);
  return 0 <= i && i < 10 ? names[i] : nullptr;
}

// The calls of the device BLAS that work makes, options and dimensions only: "symm LL 192 5; gemm NN 100 5
// 192; ..."
template <class Work>
std::string callsOf(Work work) {
  software_device::startRecording();
  EXPECT_EQ(work(), toviNoError);
  std::ostringstream text;
  for (const software_device::Call& call : software_device::stopRecording()) {
    const char* name = nameOf(call.entry);
    if (name == nullptr) continue;
    const bool triangular = call.entry == Entry::trsm || call.entry == Entry::trmm;
    const std::size_t options = triangular ? 4 : 2, count = options + (call.entry == Entry::gemm ? 3 : 2);
    text << name << ' ';
    for (std::size_t i = 0; i < options; ++i) text << static_cast<char>(call.arguments[i]);
    for (std::size_t i = options; i < count; ++i) text << ' ' << call.arguments[i];
    text << "; ";
  }
  return text.str();
}

// Operands of zeros in device memory: only the calls matter.
template <class T>
class Zeros {
 public:
  Zeros(int rows, int cols) : array_(std::vector<T>(count(rows, cols), T(0)).data(), count(rows, cols)) {}
  T* data() const { return array_.data(); }

 private:
  static std::size_t count(int rows, int cols) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
  }
  DeviceArray<T> array_;
};

constexpr Memory device = Memory::device;

template <class T>
std::string symmCalls(char side, char uplo, int m, int n) {
  const int order = side == 'L' ? m : n;
  const Zeros<T> a(order, order), b(m, n), c(m, n);
  return callsOf(
      [&] { return symm(device, side, uplo, m, n, T(1), a.data(), order, b.data(), m, T(2), c.data(), m); });
}

TEST(BlasDispatch, SymmByBlocks) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  // NB = 192: 1024 = 576 + 448; 576 = 384 + 192, 384 = 192 + 192, 448 = 192 + 256, 256 = 192 + 64
  const std::string lower = symmCalls<float>('L', 'L', 1024, 5);
  EXPECT_EQ(lower,
            "symm LL 192 5; gemm NN 192 5 192; gemm TN 192 5 192; symm LL 192 5; "
            "gemm NN 192 5 384; gemm TN 384 5 192; symm LL 192 5; "
            "gemm NN 448 5 576; gemm TN 576 5 448; "
            "symm LL 192 5; gemm NN 256 5 192; gemm TN 192 5 256; "
            "symm LL 192 5; gemm NN 64 5 192; gemm TN 192 5 64; symm LL 64 5; ");
  EXPECT_EQ(symmCalls<float>('L', 'U', 1024, 5).substr(0, 52),
            "symm LU 192 5; gemm NN 192 5 192; gemm TN 192 5 192;");
  const std::string right = symmCalls<Complex<float>>('R', 'L', 5, 1024);
  EXPECT_EQ(right.substr(0, 52), "hemm RL 5 192; gemm NN 5 192 192; gemm NC 5 192 192;");
  EXPECT_EQ(symmCalls<float>('L', 'L', 1023, 1023), "symm LL 1023 1023; ");
  EXPECT_EQ(symmCalls<double>('R', 'U', 1024, 5), "symm RU 1024 5; ");  // order 5: nothing to cut
  EXPECT_NE(symmCalls<Complex<double>>('R', 'U', 3, 1024), "hemm RU 3 1024; ");
}

TEST(BlasDispatch, BlockUnitsOfTheFirstGeneration) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  EXPECT_EQ(symmCalls<float>('L', 'L', 1024, 1).substr(0, 33), "symm LL 128 1; gemm NN 128 1 128;");
  EXPECT_EQ(symmCalls<double>('L', 'L', 1024, 1).substr(0, 33), "symm LL 192 1; gemm NN 192 1 192;");
  EXPECT_EQ(symmCalls<Complex<float>>('L', 'L', 1024, 1).substr(0, 33), "hemm LL 128 1; gemm NN 128 1 128;");
  EXPECT_EQ(symmCalls<Complex<double>>('L', 'L', 1024, 1).substr(0, 33), "hemm LL 192 1; gemm NN 192 1 192;");
}

TEST(BlasDispatch, WhereBlocksBegin) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  using C = Complex<float>;
  const int most = 1024;
  const Zeros<C> a(most, most), b(most, most), c(most, most);
  const auto isOneCall = [&](auto work) {
    const std::string calls = callsOf(work);
    EXPECT_NE(calls, "");
    return calls.find(';') == calls.size() - 2;
  };
  const auto trsmIsOneCall = [&](int m, int n) {
    return isOneCall(
        [&] { return trsm(device, 'L', 'L', 'N', 'U', m, n, C(1), a.data(), most, b.data(), most); });
  };
  EXPECT_TRUE(trsmIsOneCall(511, 512));
  EXPECT_TRUE(trsmIsOneCall(512, 511));
  EXPECT_FALSE(trsmIsOneCall(512, 512));
  const auto trmmIsOneCall = [&](char side, int m, int n) {
    return isOneCall(
        [&] { return trmm(device, side, 'L', 'N', 'U', m, n, C(1), a.data(), most, b.data(), most); });
  };
  EXPECT_TRUE(trmmIsOneCall('L', 1023, 1));
  EXPECT_FALSE(trmmIsOneCall('L', 1024, 1));
  EXPECT_FALSE(trmmIsOneCall('R', 1, 1024));
  EXPECT_FALSE(trmmIsOneCall('L', 300, 1024));  // either dimension
  const auto hemmIsOneCall = [&](int m, int n) {
    return isOneCall([&] {
      return hemm(device, 'L', 'L', m, n, C(1), a.data(), most, b.data(), most, C(0), c.data(), most);
    });
  };
  EXPECT_TRUE(hemmIsOneCall(1024, 1));
  EXPECT_TRUE(hemmIsOneCall(1023, 1024));
  EXPECT_FALSE(hemmIsOneCall(1024, 1024));
  const auto updatesAreOneCall = [&](char trans, int n, int k) {
    const bool syrkIs = isOneCall([&] {
      return syrk(device, 'L', trans == 'C' ? 'T' : trans, n, k, C(1), a.data(), most, C(0), c.data(), most);
    });
    const bool herkIs =
        isOneCall([&] { return herk(device, 'L', trans, n, k, 1.0f, a.data(), most, 0.0f, c.data(), most); });
    const bool her2kIs = isOneCall([&] {
      return her2k(device, 'L', trans, n, k, C(1), a.data(), most, b.data(), most, 0.0f, c.data(), most);
    });
    EXPECT_TRUE(syrkIs == herkIs && herkIs == her2kIs);
    return herkIs;
  };
  EXPECT_TRUE(updatesAreOneCall('N', 1024, 1));
  EXPECT_TRUE(updatesAreOneCall('C', 3, 1024));
  EXPECT_TRUE(updatesAreOneCall('N', 1023, 1024));
  EXPECT_TRUE(updatesAreOneCall('C', 1024, 1023));
  EXPECT_FALSE(updatesAreOneCall('C', 1024, 1024));
}

// The Hermitian update has no transposed form: CUBLAS says so, at every size, and nothing is written.
TEST(BlasDispatch, ComplexSyr2kTransposedIsLeftToCublas) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  using C = Complex<float>;
  for (const int n : {3, 1024}) {
    const HostMatrix<C> a = HostMatrix<C>::random(n, n, 0, 1);
    HostMatrix<C> c = a;
    EXPECT_EQ(syr2k(Memory::host, 'L', 'T', n, n, C(1), a.data(), n, a.data(), n, C(1), c.data(), n),
              toviBlasError);
    EXPECT_EQ(toviGetErrorInfo(), 7);
    EXPECT_TRUE(c.sameBits(a));
  }
}

constexpr const char* tooLong = "needs half a gibibyte in one piece";

// lda k = 134,217,216: the shortest A of this height that is split. Only its first row takes part.
std::string longProduct(int k) {
  const int lda = 37376;
  const DeviceArray<float> a(std::size_t{lda} * 3591), b(3591), c(1);
  return callsOf(
      [&] { return gemm(device, 'N', 'N', 1, 1, k, 1.0f, a.data(), lda, b.data(), k, 0.0f, c.data(), 1); });
}

TEST(BlasDispatch, LongProductsAreSplitOnNewerDevices) {
  if (sizeof(void*) < 8) GTEST_SKIP() << tooLong;
  ASSERT_EQ(pretend(2, 0), toviNoError);
  EXPECT_EQ(longProduct(3591), "gemm NN 1 1 1795; gemm NN 1 1 1796; ");
  EXPECT_EQ(longProduct(3590), "gemm NN 1 1 3590; ");
}

TEST(BlasDispatch, LongProductsAreOneCallOnTheFirstGeneration) {
  if (sizeof(void*) < 8) GTEST_SKIP() << tooLong;
  ASSERT_EQ(pretend(1, 3), toviNoError);
  EXPECT_EQ(longProduct(3591), "gemm NN 1 1 3591; ");
}

// The blocks of the first generation, which are others in single precision.
template <class T>
class BlasFirstGenerationTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(BlasFirstGenerationTest, Elements);

TYPED_TEST(BlasFirstGenerationTest, GivesTheSameResults) {
  using T = TypeParam;
  ASSERT_EQ(pretend(1, 3), toviNoError);
  software_device::setSchedule(software_device::Schedule::lazy);
  for (const std::string uplo : {"L", "U"}) {
    for (const std::string trans : {"N", "T", "C"}) {
      checkBlas<T>("trsm", Memory::host, "L" + uplo + trans + "N", {520, 512});
      checkBlas<T>("trsm", Memory::host, "R" + uplo + trans + "U", {512, 513});
      checkBlas<T>("trmm", Memory::host, "L" + uplo + trans + "U", {1025, 4});
      checkBlas<T>("trmm", Memory::host, "R" + uplo + trans + "N", {4, 1024});
    }
    checkBlas<T>("symm", Memory::host, "L" + uplo, {1025, 4}, nonTrivial, 2);
    checkBlas<T>("symm", Memory::host, "R" + uplo, {4, 1024}, nonTrivial, 0);
  }
  checkBlas<T>("syrk", Memory::host, "LN", {1025, 1024}, nonTrivial, 0);
  checkBlas<T>("syr2k", Memory::host, "UN", {1025, 1024}, nonTrivial, 2);
}

}  // namespace
}  // namespace testing_support
