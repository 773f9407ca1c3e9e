// Which calls of the device BLAS a routine makes: where families begin to work by blocks, how the blocks are
// cut on either generation of devices, and where products are split. The kernel of gemv. The host interface:
// what is copied and how, what a device without double precision answers, and leading dimensions beyond the
// reach of a two-dimensional copy.

#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "device/software/src/sanitizer.h"
#include "device/software/testing/software_device.h"
#include "tests/blas/blas_checks.h"
#include "tests/support/calls.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

const char* nameOf(Entry entry) {  // in the order of the entries
  constexpr const char* names[] = {"gemm", "gemv", "hemv", "trsm",  "trmm", "symm",
                                   "hemm", "syrk", "herk", "syr2k", "her2k"};
  const int i = static_cast<int>(entry) - static_cast<int>(Entry::gemm);
  return 0 <= i && i < 11 ? names[i] : nullptr;
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

// Those of a call on the device, or how they begin.
template <class T>
std::string callsOf(const char* family, const char* options, const std::vector<int>& sizes,
                    std::size_t length = std::string::npos) {
  return callsOf([&] { return callOf<T>(family, Memory::device, options, sizes).run(); }).substr(0, length);
}

TEST(BlasDispatch, SymmByBlocks) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  // NB = 192: 1024 = 576 + 448; 576 = 384 + 192, 384 = 192 + 192, 448 = 192 + 256, 256 = 192 + 64
  EXPECT_EQ(callsOf<float>("symm", "LL", {1024, 5}),
            "symm LL 192 5; gemm NN 192 5 192; gemm TN 192 5 192; symm LL 192 5; "
            "gemm NN 192 5 384; gemm TN 384 5 192; symm LL 192 5; "
            "gemm NN 448 5 576; gemm TN 576 5 448; "
            "symm LL 192 5; gemm NN 256 5 192; gemm TN 192 5 256; "
            "symm LL 192 5; gemm NN 64 5 192; gemm TN 192 5 64; symm LL 64 5; ");
  EXPECT_EQ(callsOf<Complex<float>>("symm", "RL", {5, 1024}, 52),
            "hemm RL 5 192; gemm NN 5 192 192; gemm NC 5 192 192;");
  EXPECT_EQ(callsOf<double>("symm", "RU", {1024, 5}), "symm RU 1024 5; ");  // order 5: nothing to cut
}

TEST(BlasDispatch, BlockUnitsOfTheFirstGeneration) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  EXPECT_EQ(callsOf<float>("symm", "LL", {1024, 1}, 33), "symm LL 128 1; gemm NN 128 1 128;");
  EXPECT_EQ(callsOf<double>("symm", "LL", {1024, 1}, 33), "symm LL 192 1; gemm NN 192 1 192;");
  EXPECT_EQ(callsOf<Complex<float>>("symm", "LL", {1024, 1}, 33), "hemm LL 128 1; gemm NN 128 1 128;");
  EXPECT_EQ(callsOf<Complex<double>>("symm", "LL", {1024, 1}, 33), "hemm LL 192 1; gemm NN 192 1 192;");
}

TEST(BlasDispatch, WhereBlocksBegin) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const struct {
    const char *family, *options;
    int m, n;
    bool byBlocks;
  } rows[] = {{"trsm", "LLNU", 511, 512, false}, {"trsm", "LLNU", 512, 511, false},
              {"trsm", "LLNU", 512, 512, true},  {"trmm", "LLNU", 1023, 1, false},
              {"trmm", "LLNU", 1024, 1, true},   {"trmm", "LLNU", 300, 1024, true},
              {"trmm", "RLNU", 1, 1023, false},  {"trmm", "RLNU", 1, 1024, true},
              {"hemm", "LL", 1024, 1, false},    {"hemm", "LL", 1023, 1024, false},
              {"hemm", "LL", 1024, 1024, true},  {"syrk", "LN", 1023, 1024, false},
              {"syrk", "LN", 1024, 1023, false}, {"syrk", "LN", 1024, 1024, true},
              {"herk", "LC", 1023, 1024, false}, {"herk", "LC", 3, 1024, false},
              {"herk", "LC", 1024, 1024, true},  {"her2k", "LN", 1024, 1023, false},
              {"her2k", "LN", 1024, 1024, true}};
  for (const auto& row : rows) {
    const std::string calls = callsOf<Complex<float>>(row.family, row.options, {row.m, row.n});
    EXPECT_NE(calls, "");
    EXPECT_EQ(calls.find(';') + 2 < calls.size(), row.byBlocks) << &row - rows << ": " << calls;
  }
}

// lda k = 134,217,216: the shortest A of this height that is split. Only its first row takes part.
std::string longProduct(int k) {
  const int lda = 37376;
  const DeviceArray<float> a(std::size_t{lda} * 3591), b(3591), c(1);
  return callsOf([&] {
    return gemm(Memory::device, 'N', 'N', 1, 1, k, 1.0f, a.data(), lda, b.data(), k, 0.0f, c.data(), 1);
  });
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
TOVI_TYPED_SUITE(BlasFirstGenerationTest, ::testing::Test, SingleTypes);

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

TOVI_TYPED_SUITE(GemvTest, LibraryTest, AllTypes);

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
      ASSERT_EQ(gemv(Memory::device, 'T', 1, n, 1.0, dA.data(), 1, dX.data(), 1, 0.0, dY.data(), incy),
                toviNoError);
      EXPECT_EQ(software_device::calls(Entry::launch) - launches, n == most ? 1u : 2u);
      dY.download(y);
      int wrong = 0;
      for (int j = 0; j < n; ++j) wrong += y(incy < 0 ? n - 1 - j : j, 0) != 2.0 * j;
      EXPECT_EQ(wrong, 0) << n << ' ' << incy;
    }
}

// What work copies up and down: "linear 3 1, rectangular 0 0, allocations 3".
template <class Work>
std::string copiesOf(Work work) {
  software_device::startRecording();
  work();
  int linear[2] = {}, rectangular[2] = {}, allocations = 0;
  for (const software_device::Call& call : software_device::stopRecording()) {
    if (call.entry == Entry::memcpy) ++linear[call.arguments[1] == cudaMemcpyDeviceToHost];
    if (call.entry == Entry::memcpy2D) ++rectangular[call.arguments[4] == cudaMemcpyDeviceToHost];
    if (call.entry == Entry::malloc) ++allocations;
  }
  EXPECT_EQ(liveBesideBuffers().allocations, 0u);
  return "linear " + std::to_string(linear[0]) + ' ' + std::to_string(linear[1]) + ", rectangular " +
         std::to_string(rectangular[0]) + ' ' + std::to_string(rectangular[1]) + ", allocations " +
         std::to_string(allocations);
}

TEST(BlasStaging, CopiesNoMoreThanIsNeeded) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  std::vector<float> storage(100 * 100, 1.0f);
  float* const a = storage.data();
  // 96 rows are stored without padding on the device.
  const auto product = [&](int m, int n, int k, int ld, float beta) {
    return copiesOf([=] {
      EXPECT_EQ(gemm(Memory::host, 'N', 'N', m, n, k, 1.0f, a, ld, a, ld, beta, a, ld), toviNoError);
    });
  };
  EXPECT_EQ(product(96, 96, 96, 96, 1), "linear 3 1, rectangular 0 0, allocations 3");
  EXPECT_EQ(product(96, 96, 96, 96, 0), "linear 2 1, rectangular 0 0, allocations 3");  // C is not uploaded
  EXPECT_EQ(product(96, 96, 96, 100, 0), "linear 0 0, rectangular 2 1, allocations 3");
  EXPECT_EQ(product(95, 5, 7, 95, 1), "linear 0 0, rectangular 3 1, allocations 3");
  EXPECT_EQ(product(96, 96, 0, 96, 1), "linear 1 1, rectangular 0 0, allocations 1");
  EXPECT_EQ(product(0, 96, 96, 96, 1), "linear 0 0, rectangular 0 0, allocations 0");
  EXPECT_EQ(copiesOf([&] { gemv(Memory::host, 'N', 0, 9, 1.0f, a, 1, a, 1, 0.0f, a, 1); }),
            "linear 0 0, rectangular 0 0, allocations 0");
  // The triangle that syrk does not write must come back as it was, so C travels even with beta = 0.
  EXPECT_EQ(copiesOf([&] { syrk(Memory::host, 'L', 'N', 96, 96, 1.0f, a, 96, 0.0f, a, 96); }),
            "linear 2 1, rectangular 0 0, allocations 2");
}

// A leading dimension may be anything above the number of rows.
TEST(BlasStaging, OfFarApartColumns) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  float one = 3, two = 4, result = 5;
  ASSERT_EQ(gemm(Memory::host, 'N', 'N', 1, 1, 1, 1.0f, &one, 2147483647, &two, 2147483647, 2.0f, &result,
                 2147483647),
            toviNoError);
  EXPECT_EQ(result, 22.0f);
  if (sizeof(void*) < 8) GTEST_SKIP() << "the rest needs more address space";
  const std::size_t far = (std::size_t{1} << 31) / sizeof(double);
  // Only the pages that are touched are there.
  double* const x = static_cast<double*>(std::calloc(far + 1, sizeof(double)));
  if (x == nullptr) GTEST_SKIP() << "the rest needs more memory";
  x[0] = 2, x[far] = 3;
  double y = 7;
  const double a[2] = {10, 100};
  EXPECT_EQ(gemv(Memory::host, 'N', 1, 2, 1.0, a, 1, x, static_cast<int>(far), 1.0, &y, 1), toviNoError);
  EXPECT_EQ(y, 327);
  EXPECT_EQ(trmm(Memory::host, 'L', 'U', 'N', 'N', 1, 2, 2.0, a, 1, x, static_cast<int>(far)), toviNoError);
  EXPECT_EQ(x[0], 40);
  EXPECT_EQ(x[far], 60);
  std::free(x);
}

// A column of two gibibytes has more bytes than a pitch may have, but is copied all the same.
TEST(BlasStaging, OfALongColumn) {
  if (software_device::sanitizerBuild || sizeof(void*) < 8) GTEST_SKIP() << "needs its time and memory";
  if (software_device::defaultMachine().devices[0].memory < std::size_t{3} << 30)
    GTEST_SKIP() << "needs more memory";
  const int k = 1 << 29;
  float* const a = static_cast<float*>(std::calloc(k, sizeof(float)));  // never touched, but for its ends
  ASSERT_NE(a, nullptr);
  ASSERT_EQ(toviInitialize(), toviNoError);
  a[0] = 3, a[k - 1] = 4;
  float c = 1;
  EXPECT_EQ(syrk(Memory::host, 'U', 'T', 1, k, 1.0f, a, k, 0.0f, &c, 1), toviNoError) << toviGetErrorInfo();
  EXPECT_EQ(c, 25);
  std::free(a);
  toviShutdown();
}

// One call of every export of double precision.
template <class Visit>
void forEveryDouble(Memory where, Visit visit) {
  for (const Export& routine : allExports()) {
    if (routine.where != where || (routine.precision() != 'D' && routine.precision() != 'Z')) continue;
    Random random(1);
    Call call = drawCall(routine, random, {sizesBetween(2, 4)});
    SCOPED_TRACE(call.text());
    visit(call);
  }
}

TEST(DoublePrecision, IsRefusedBelowCapability13) {
  ASSERT_EQ(pretend(1, 2), toviNoError);
  double* const none = nullptr;
  char text[8];
  // Device interface: before everything else, so host pointers do no harm and the error info stays.
  ASSERT_EQ(toviGetErrorInfoString(static_cast<toviStatus>(11), 0, text, 8), toviArgumentError);
  EXPECT_EQ(gemm(Memory::device, 'X', 'X', -1, -1, -1, 1.0, none, 0, none, 0, 1.0, none, 0),
            toviInsufficientComputeCapability);
  forEveryDouble(Memory::device, [](Call& call) {
    Around around;
    around.before = software_device::resetCounts;
    around.after = [] { EXPECT_EQ(software_device::allCalls(), 0u); };
    EXPECT_EQ(call.run(around), toviInsufficientComputeCapability);
    EXPECT_EQ(toviGetErrorInfo(), -1);
    EXPECT_EQ(toviGetLastStatus(), toviInsufficientComputeCapability);
  });
  // Host interface: after the arguments and the staging.
  EXPECT_EQ(gemm(Memory::host, 'X', 'X', -1, -1, -1, 1.0, none, 0, none, 0, 1.0, none, 0), toviArgumentError);
  forEveryDouble(Memory::host, [](Call& call) {
    software_device::resetCounts();
    EXPECT_EQ(call.run(), toviInsufficientComputeCapability);
    EXPECT_EQ(toviGetErrorInfo(), 0);
    EXPECT_TRUE(call.unchanged());
    EXPECT_GE(software_device::calls(Entry::memcpy) + software_device::calls(Entry::memcpy2D), 1u);
    EXPECT_EQ(liveBesideBuffers().allocations, 0u);
  });
  // Single precision is served.
  EXPECT_EQ(toviSgemm('N', 'N', 0, 0, 0, 1, nullptr, 0, nullptr, 0, 0, nullptr, 0), toviNoError);
}

}  // namespace
}  // namespace testing_support
