// The host interface: what is copied and how, what a device without double precision answers, and leading
// dimensions beyond the reach of a two-dimensional copy.

#include <cstdlib>
#include <vector>

#include "src/blas/staged_matrix.h"
#include "tests/support/blas_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Call;
using software_device::Entry;
using tovi::blas::StagedMatrix;
using tovi::blas::StagedVector;
using tovi::blas::StageIn;
using tovi::blas::StageOut;

struct Copies {
  int linearUp = 0, linearDown = 0, rectangularUp = 0, rectangularDown = 0, allocations = 0;
};
bool operator==(const Copies& a, const Copies& b) {
  return a.linearUp == b.linearUp && a.linearDown == b.linearDown && a.rectangularUp == b.rectangularUp &&
         a.rectangularDown == b.rectangularDown && a.allocations == b.allocations;
}
std::ostream& operator<<(std::ostream& out, const Copies& c) {
  return out << "linear " << c.linearUp << " up " << c.linearDown << " down, rectangular " << c.rectangularUp
             << " up " << c.rectangularDown << " down, allocations " << c.allocations;
}

template <class Work>
Copies copiesOf(Work work) {
  software_device::startRecording();
  work();
  Copies copies;
  for (const Call& call : software_device::stopRecording()) {
    if (call.entry == Entry::memcpy)
      ++(call.arguments[1] == cudaMemcpyHostToDevice ? copies.linearUp : copies.linearDown);
    if (call.entry == Entry::memcpy2D)
      ++(call.arguments[4] == cudaMemcpyHostToDevice ? copies.rectangularUp : copies.rectangularDown);
    if (call.entry == Entry::malloc) ++copies.allocations;
  }
  EXPECT_EQ(liveBesideBuffers().allocations, 0u);
  return copies;
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
  EXPECT_EQ(product(96, 96, 96, 96, 1), (Copies{3, 1, 0, 0, 3}));
  EXPECT_EQ(product(96, 96, 96, 96, 0), (Copies{2, 1, 0, 0, 3}));  // C is not uploaded
  EXPECT_EQ(product(96, 96, 96, 100, 0), (Copies{0, 0, 2, 1, 3}));
  EXPECT_EQ(product(95, 5, 7, 95, 1), (Copies{0, 0, 3, 1, 3}));
  EXPECT_EQ(product(96, 96, 0, 96, 1), (Copies{1, 1, 0, 0, 1}));
  EXPECT_EQ(product(0, 96, 96, 96, 1), (Copies{}));
  EXPECT_EQ(product(96, 0, 96, 96, 0), (Copies{}));
  EXPECT_EQ(copiesOf([&] { trsm(Memory::host, 'R', 'L', 'N', 'N', 0, 9, 1.0f, a, 9, a, 9); }), (Copies{}));
  EXPECT_EQ(copiesOf([&] { symm(Memory::host, 'L', 'L', 9, 0, 1.0f, a, 9, a, 9, 0.0f, a, 9); }), (Copies{}));
  EXPECT_EQ(copiesOf([&] { gemv(Memory::host, 'N', 0, 9, 1.0f, a, 1, a, 1, 0.0f, a, 1); }), (Copies{}));
  EXPECT_EQ(copiesOf([&] { gemv(Memory::host, 'T', 0, 9, 1.0f, a, 1, a, 1, 0.0f, a, 1); }), (Copies{}));
  // The triangle that syrk does not write must come back as it was, so C travels even with beta = 0.
  EXPECT_EQ(copiesOf([&] { syrk(Memory::host, 'L', 'N', 96, 96, 1.0f, a, 96, 0.0f, a, 96); }),
            (Copies{2, 1, 0, 0, 2}));
}

TEST(BlasStaging, OfMatricesAndVectors) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  HostMatrix<double> a = HostMatrix<double>::random(3, 2, 4, 1);
  const HostMatrix<double> a0 = a;
  {
    StagedMatrix<double> dA(a.data(), 3, 2, a.ld(), StageIn | StageOut);
    EXPECT_EQ(dA.ld(), 64);
    StagedMatrix<const double> dNothing(a.data(), 3, 0, a.ld(), StageIn);
    EXPECT_EQ(dNothing.data(), nullptr);
    EXPECT_EQ(dNothing.ld(), 3);
    StagedMatrix<double> dAbsent(nullptr, 3, 2, 3, StageIn | StageOut);
    EXPECT_EQ(dAbsent.data(), nullptr);
    dAbsent.copyBack();
    a.fill(0);
    dA.copyBack();
    EXPECT_TRUE(a.sameBits(a0));
    StagedMatrix<double> dIn(a.data(), 3, 2, a.ld(), StageIn);
    a.fill(5);
    dIn.copyBack();  // not asked for
    EXPECT_EQ(a(0, 0), 5);
    EXPECT_EQ(software_device::live().allocations, 2u);
  }
  EXPECT_EQ(liveBesideBuffers().allocations, 0u);

  std::vector<float> x = {1, -1, -1, 2, -1, -1, 3};
  StagedVector<float> dX(x.data(), 3, -3, StageIn | StageOut);
  EXPECT_EQ(dX.increment(), -1);
  float packed[3];
  ASSERT_EQ(cudaMemcpy(packed, dX.data(), sizeof packed, cudaMemcpyDeviceToHost), cudaSuccess);
  EXPECT_EQ(std::vector<float>(packed, packed + 3), (std::vector<float>{1, 2, 3}));
  x = {0, 7, 7, 0, 7, 7, 0};
  dX.copyBack();
  EXPECT_EQ(x, (std::vector<float>{1, 7, 7, 2, 7, 7, 3}));
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

// All exported routines of an element type on 1 x 1 operands.
template <class T>
std::vector<toviStatus> callAll(Memory where, const T* a, const T* b, T* c) {
  std::vector<toviStatus> statuses = {gemm(where, 'N', 'N', 1, 1, 1, T(1), a, 1, b, 1, T(0), c, 1),
                                      gemv(where, 'N', 1, 1, T(1), a, 1, b, 1, T(0), c, 1),
                                      trsm(where, 'L', 'U', 'N', 'N', 1, 1, T(1), a, 1, c, 1),
                                      trmm(where, 'L', 'U', 'N', 'N', 1, 1, T(1), a, 1, c, 1),
                                      symm(where, 'L', 'U', 1, 1, T(1), a, 1, b, 1, T(0), c, 1),
                                      syrk(where, 'L', 'N', 1, 1, T(1), a, 1, T(0), c, 1),
                                      syr2k(where, 'L', 'N', 1, 1, T(1), a, 1, b, 1, T(0), c, 1)};
  if constexpr (tovi::isComplex<T>)
    for (const toviStatus status : {hemm(where, 'L', 'U', 1, 1, T(1), a, 1, b, 1, T(0), c, 1),
                                    herk(where, 'L', 'N', 1, 1, 1, a, 1, 0, c, 1),
                                    her2k(where, 'L', 'N', 1, 1, T(1), a, 1, b, 1, 0, c, 1)})
      statuses.push_back(status);
  return statuses;
}

template <class T>
class DoublePrecisionTest : public ::testing::Test {};
using DoubleElements = ::testing::Types<double, Complex<double>>;
TYPED_TEST_SUITE(DoublePrecisionTest, DoubleElements);

TYPED_TEST(DoublePrecisionTest, IsRefusedBelowCapability13) {
  using T = TypeParam;
  ASSERT_EQ(pretend(1, 2), toviNoError);
  const T a = T(2), b = T(3);
  T c = T(4);
  char text[8];
  ASSERT_EQ(toviGetErrorInfoString(static_cast<toviStatus>(11), 0, text, 8), toviArgumentError);
  software_device::resetCounts();
  // Device interface: before everything else, so host pointers do no harm and the error info stays.
  for (const toviStatus status : callAll<T>(Memory::device, &a, &b, &c))
    EXPECT_EQ(status, toviInsufficientComputeCapability);
  EXPECT_EQ(gemm<T>(Memory::device, 'X', 'X', -1, -1, -1, T(1), nullptr, 0, nullptr, 0, T(1), nullptr, 0),
            toviInsufficientComputeCapability);
  EXPECT_EQ(toviGetErrorInfo(), -1);
  EXPECT_EQ(toviGetLastStatus(), toviInsufficientComputeCapability);
  EXPECT_EQ(software_device::allCalls(), 0u);
  // Host interface: after the arguments and the staging.
  EXPECT_EQ(gemm<T>(Memory::host, 'X', 'X', -1, -1, -1, T(1), nullptr, 0, nullptr, 0, T(1), nullptr, 0),
            toviArgumentError);
  for (const toviStatus status : callAll<T>(Memory::host, &a, &b, &c))
    EXPECT_EQ(status, toviInsufficientComputeCapability);
  EXPECT_EQ(toviGetErrorInfo(), 0);
  EXPECT_GE(software_device::calls(Entry::memcpy) + software_device::calls(Entry::memcpy2D), 7u);
  EXPECT_EQ(liveBesideBuffers().allocations, 0u);
  EXPECT_TRUE(c == T(4));
  // Single precision is served.
  EXPECT_EQ(toviSgemm('N', 'N', 0, 0, 0, 1, nullptr, 0, nullptr, 0, 0, nullptr, 0), toviNoError);
}

TYPED_TEST(DoublePrecisionTest, IsServedFromCapability13On) {
  using T = TypeParam;
  ASSERT_EQ(pretend(1, 3), toviNoError);
  const T a = T(2), b = T(3);
  T c = T(4);
  for (const toviStatus status : callAll<T>(Memory::host, &a, &b, &c)) EXPECT_EQ(status, toviNoError);
}

}  // namespace
}  // namespace testing_support
