// The host interface: what is copied and how, what a device without double precision answers, and leading
// dimensions beyond the reach of a two-dimensional copy.

#include <cstdlib>
#include <string>
#include <vector>

#include "device/software/src/sanitizer.h"
#include "device/software/testing/software_device.h"
#include "tests/support/calls.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

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
    const char precision = routine.name[std::string(where == Memory::host ? "tovi" : "toviDevice").size()];
    if (routine.where != where || (precision != 'D' && precision != 'Z')) continue;
    Random random(1);
    Call call = drawCall(routine, random, {sizesBetween(1, 3)});
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
