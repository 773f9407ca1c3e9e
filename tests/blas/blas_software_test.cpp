// Which calls of the device BLAS a routine makes: where families begin to work by blocks, how the blocks are
// cut on either generation of devices, and where products are split; and the kernel of gemv.

#include <functional>
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

// How symm begins, on a matrix of this order.
template <class T>
std::string symmCalls(char side, char uplo, int m, int n, std::size_t length = std::string::npos) {
  const int order = side == 'L' ? m : n;
  const Zeros<T> a(order, order), b(m, n), c(m, n);
  return callsOf([&] {
           return symm(device, side, uplo, m, n, T(1), a.data(), order, b.data(), m, T(2), c.data(), m);
         })
      .substr(0, length);
}

TEST(BlasDispatch, SymmByBlocks) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  // NB = 192: 1024 = 576 + 448; 576 = 384 + 192, 384 = 192 + 192, 448 = 192 + 256, 256 = 192 + 64
  EXPECT_EQ(symmCalls<float>('L', 'L', 1024, 5),
            "symm LL 192 5; gemm NN 192 5 192; gemm TN 192 5 192; symm LL 192 5; "
            "gemm NN 192 5 384; gemm TN 384 5 192; symm LL 192 5; "
            "gemm NN 448 5 576; gemm TN 576 5 448; "
            "symm LL 192 5; gemm NN 256 5 192; gemm TN 192 5 256; "
            "symm LL 192 5; gemm NN 64 5 192; gemm TN 192 5 64; symm LL 64 5; ");
  EXPECT_EQ(symmCalls<Complex<float>>('R', 'L', 5, 1024, 52),
            "hemm RL 5 192; gemm NN 5 192 192; gemm NC 5 192 192;");
  EXPECT_EQ(symmCalls<double>('R', 'U', 1024, 5), "symm RU 1024 5; ");  // order 5: nothing to cut
}

TEST(BlasDispatch, BlockUnitsOfTheFirstGeneration) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  EXPECT_EQ(symmCalls<float>('L', 'L', 1024, 1, 33), "symm LL 128 1; gemm NN 128 1 128;");
  EXPECT_EQ(symmCalls<double>('L', 'L', 1024, 1, 33), "symm LL 192 1; gemm NN 192 1 192;");
  EXPECT_EQ(symmCalls<Complex<float>>('L', 'L', 1024, 1, 33), "hemm LL 128 1; gemm NN 128 1 128;");
  EXPECT_EQ(symmCalls<Complex<double>>('L', 'L', 1024, 1, 33), "hemm LL 192 1; gemm NN 192 1 192;");
}

TEST(BlasDispatch, WhereBlocksBegin) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  using C = Complex<float>;
  const int ld = 1024;
  const Zeros<C> dA(ld, ld), dB(ld, ld), dC(ld, ld);
  C *const a = dA.data(), *const b = dB.data(), *const c = dC.data();
  const C one(1), none(0);
  using Routine = std::function<toviStatus(int, int)>;
  const Routine
      solve = [&](int m, int n) { return trsm(device, 'L', 'L', 'N', 'U', m, n, one, a, ld, b, ld); },
      left = [&](int m, int n) { return trmm(device, 'L', 'L', 'N', 'U', m, n, one, a, ld, b, ld); },
      right = [&](int m, int n) { return trmm(device, 'R', 'L', 'N', 'U', m, n, one, a, ld, b, ld); },
      hemms = [&](int m, int n) { return hemm(device, 'L', 'L', m, n, one, a, ld, b, ld, none, c, ld); },
      syrks = [&](int n, int k) { return syrk(device, 'L', 'N', n, k, one, a, ld, none, c, ld); },
      herks = [&](int n, int k) { return herk(device, 'L', 'C', n, k, 1.0f, a, ld, 0.0f, c, ld); },
      her2ks = [&](int n, int k) { return her2k(device, 'L', 'N', n, k, one, a, ld, b, ld, 0.0f, c, ld); };
  const struct {
    const Routine& routine;
    int m, n;
    bool byBlocks;
  } rows[] = {{solve, 511, 512, false},   {solve, 512, 511, false},  {solve, 512, 512, true},
              {left, 1023, 1, false},     {left, 1024, 1, true},     {left, 300, 1024, true},
              {right, 1, 1023, false},    {right, 1, 1024, true},    {hemms, 1024, 1, false},
              {hemms, 1023, 1024, false}, {hemms, 1024, 1024, true}, {syrks, 1023, 1024, false},
              {syrks, 1024, 1023, false}, {syrks, 1024, 1024, true}, {herks, 1023, 1024, false},
              {herks, 3, 1024, false},    {herks, 1024, 1024, true}, {her2ks, 1024, 1023, false},
              {her2ks, 1024, 1024, true}};
  for (const auto& row : rows) {
    const std::string calls = callsOf([&] { return row.routine(row.m, row.n); });
    EXPECT_NE(calls, "");
    EXPECT_EQ(calls.find(';') + 2 < calls.size(), row.byBlocks) << &row - rows << ": " << calls;
  }
}

// lda k = 134,217,216: the shortest A of this height that is split. Only its first row takes part.
std::string longProduct(int k) {
  const int lda = 37376;
  const DeviceArray<float> a(std::size_t{lda} * 3591), b(3591), c(1);
  return callsOf(
      [&] { return gemm(device, 'N', 'N', 1, 1, k, 1.0f, a.data(), lda, b.data(), k, 0.0f, c.data(), 1); });
}

TEST(BlasDispatch, LongProductsAreSplitOnNewerDevices) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "needs half a gibibyte in one piece";
  ASSERT_EQ(pretend(2, 0), toviNoError);
  EXPECT_EQ(longProduct(3591), "gemm NN 1 1 1795; gemm NN 1 1 1796; ");
  EXPECT_EQ(longProduct(3590), "gemm NN 1 1 3590; ");
}
TEST(BlasDispatch, LongProductsAreOneCallOnTheFirstGeneration) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "needs half a gibibyte in one piece";
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

// --- The transposed matrix-vector product: its kernel, which otherwise gives way to the native body

template <class T>
class GemvTest : public LibraryTest {};
using AllElements = ::testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(GemvTest, AllElements);

// The tests of the exported routine with the kernel.
TYPED_TEST(GemvTest, TheKernelItself) {
  using T = TypeParam;
  const auto native = software_device::nativeLaunches();
  checkGemvWithoutFactor<T>(Memory::device);
  checkGemvNaN<T>(Memory::device);
  EXPECT_GT(software_device::nativeLaunches(), native);
  software_device::useNativeBodies(false);
  checkGemvBlocks<T>();
  checkGemvNaN<T>(Memory::host);
  checkGemvWithoutFactor<T>(Memory::device);
}

// More columns than the blocks of one grid produce: two launches, one for each half.
TEST(GemvColumns, BeyondOneGrid) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int most = 65535 * 16;
  for (const int n : {most, most + 3})
    for (const int incy : {1, -1}) {
      HostMatrix<double> a(1, n), y(n, 1);
      for (int j = 0; j < n; ++j) a(0, j) = j;
      const double two = 2;
      const DeviceArray<double> dA(a), dX(&two, 1), dY(y);
      const auto launches = software_device::calls(Entry::launch);
      ASSERT_EQ(gemv(device, 'T', 1, n, 1.0, dA.data(), 1, dX.data(), 1, 0.0, dY.data(), incy), toviNoError);
      EXPECT_EQ(software_device::calls(Entry::launch) - launches, n == most ? 1u : 2u);
      dY.download(y);
      int wrong = 0;
      for (int j = 0; j < n; ++j) wrong += y(incy < 0 ? n - 1 - j : j, 0) != 2.0 * j;
      EXPECT_EQ(wrong, 0) << n << ' ' << incy;
    }
}

}  // namespace
}  // namespace testing_support
