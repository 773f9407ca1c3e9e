// LU on pretended machines: the small blocks of the first device generation, devices without copy overlap, a
// schedule that runs device work as late as it may, and failures of every call underneath.

#include <new>
#include <string>

#include "cudalib/hooks.h"
#include "platform/software/testing/software_device.h"
#include "tests/support/faults.h"
#include "tests/support/lu_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class LuSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(LuSoftwareTest, Elements);

// Panels are 64 wide on capabilities 1.0 to 1.3.
TYPED_TEST(LuSoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const int n : {63, 64, 65, 129, 512, 513}) checkFactorization<TypeParam>(Memory::host, n, n);
  checkFactorization<TypeParam>(Memory::device, 300, 130);
  checkFactorization<TypeParam>(Memory::device, 130, 300);
  checkSingular<TypeParam>(Memory::host, 150, {65, 149});
  checkSolve<TypeParam>(Memory::host, 577, 3);
}

// Work that nobody waits for has not run when it is needed.
template <class T>
void solveOnALazyDevice() {
  software_device::setSchedule(software_device::Schedule::lazy);
  for (const int n : {200, 520}) checkSolve<T>(Memory::device, n, 2);
  checkFactorization<T>(Memory::host, 300, 150);
  EXPECT_EQ(software_device::live().streams, 0u);
}

TYPED_TEST(LuSoftwareTest, EveryWaitIsThere) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  solveOnALazyDevice<TypeParam>();
}

TYPED_TEST(LuSoftwareTest, EveryWaitIsThereWithoutAPrivateStream) {
  ASSERT_EQ(pretend(1, 3, false), toviNoError);
  software_device::startRecording();
  solveOnALazyDevice<TypeParam>();
  for (const software_device::Call& call : software_device::stopRecording())
    EXPECT_NE(call.entry, Entry::streamCreate);
}

TYPED_TEST(LuSoftwareTest, PanelsTravelOnAPrivateStream) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int nb = tovi::isComplex<TypeParam> ? 128 : 192, n = 3 * nb;
  for (const int cols : {n, n + 1}) {  // transposed and straight
    HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(n, cols, 0, 1);
    std::vector<int> ipiv(static_cast<std::size_t>(n));
    software_device::startRecording();
    ASSERT_EQ(factor(Memory::device, a, ipiv), toviNoError);
    int transfers = 0;
    for (const software_device::Call& call : software_device::stopRecording())
      if (call.entry == Entry::memcpyAsync || call.entry == Entry::memcpy2DAsync) {
        EXPECT_NE(call.stream, 0u);
        ++transfers;
      }
    EXPECT_EQ(transfers, 6);  // down and up for each of the three panels
  }
}

// The copy of the matrix, the panel and little else.
TEST(LuSoftwareMemory, PeakStaysNearTheMatrix) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int n = 1500;
  HostMatrix<float> a = HostMatrix<float>::random(n, n, 0, 1);
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  software_device::resetPeaks();
  ASSERT_EQ(factor(Memory::host, a, ipiv), toviNoError);
  const double matrix = 4.0 * n * n;
  EXPECT_LT(static_cast<double>(software_device::live().peakDeviceBytes), 1.3 * matrix);
  EXPECT_LT(static_cast<double>(software_device::live().peakPageLockedBytes), 0.3 * matrix);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

// The operands of gesv.
template <class T>
struct System {
  HostMatrix<T> a, b;
  HostMatrix<int> ipiv;

  explicit System(int n)
      : a(HostMatrix<T>::random(n, n, 1, 21)), b(HostMatrix<T>::random(n, 2, 1, 22)), ipiv(n, 1) {
    ipiv.fill(-7);
  }
  toviStatus run(Memory where, const Around& around = {}) {
    const Placed<T> dA(where, a), dB(where, b);
    const Placed<int> dIpiv(where, ipiv);
    around.before();
    const toviStatus status =
        gesv(where, a.rows(), b.cols(), dA.data(), a.ld(), dIpiv.data(), dB.data(), b.ld());
    around.after();
    dA.fetch();
    dB.fetch();
    dIpiv.fetch();
    return status;
  }
  bool paddingIntact() const { return a.paddingIntact() && b.paddingIntact(); }
  bool sameBits(const System& other) const {
    return a.sameBits(other.a) && b.sameBits(other.b) && ipiv.sameBits(other.ipiv);
  }
};

TYPED_TEST(LuSoftwareTest, EveryCallMayFailOnce) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  failEveryCall(Memory::host, System<TypeParam>(20), false);
  failEveryCall(Memory::host, System<TypeParam>(130), false);
  failEveryCall(Memory::device, System<TypeParam>(130), false);
}

TYPED_TEST(LuSoftwareTest, EveryCallMayFailForEver) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  failEveryCall(Memory::host, System<TypeParam>(130), true);
  failEveryCall(Memory::device, System<TypeParam>(20), true);
}

TEST(LuSoftwareTransposed, EveryCallMayFail) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  failEveryCall(Memory::host, System<float>(514), false);
}

// A data error says that the factors are complete, so whatever kept them from being so is told first.
TEST(LuSoftwareSingular, AFailureComesBeforeTheDataError) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const struct {
    Entry entry;
    int code;
    toviStatus status;
  } faults[] = {{Entry::gemm, 14, toviBlasError},
                {Entry::trsm, 3, toviInsufficientMemory},
                {Entry::launch, cudaErrorLaunchFailure, toviRuntimeError}};
  const int shapes[][2] = {{400, 400}, {600, 400}, {600, 600}};  // the last one in transposed storage
  for (const Memory where : {Memory::host, Memory::device})
    for (const auto& [m, n] : shapes)
      for (const auto& fault : faults) {
        SCOPED_TRACE(shape(where, m, n));
        HostMatrix<float> a = HostMatrix<float>::random(m, n, 0, 3);
        for (int i = 0; i < m; ++i) a(i, 9) = 0;
        std::vector<int> ipiv(static_cast<std::size_t>(n));
        software_device::failCall(fault.entry, 1, fault.code);
        EXPECT_EQ(factor(where, a, ipiv), fault.status);
        EXPECT_EQ(software_device::failuresInjected(), 1u);
        software_device::clearFaults();
      }
}

TEST(LuSoftwareHooks, AThrowingPhaseHookFailsTheCall) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  HostMatrix<float> a = HostMatrix<float>::random(30, 30, 0, 4);
  std::vector<int> ipiv(30);
  int begun = 0;
  tovi::callHooks().phaseBegin = [&] { ++begun; };
  tovi::callHooks().phaseEnd = [] { throw std::bad_alloc(); };
  EXPECT_EQ(factor(Memory::host, a, ipiv), toviInsufficientMemory);
  EXPECT_EQ(begun, 1);

  HostMatrix<float> zero(30, 30);
  EXPECT_EQ(factor(Memory::host, zero, ipiv), toviDataError) << "the first failure stands";
  EXPECT_EQ(toviGetErrorInfo(), 1);
  EXPECT_EQ(begun, 2);
  EXPECT_EQ(software_device::live().allocations, 0u);
  toviShutdown();  // empties the hooks
}

TEST(LuSoftwareSizes, WhatCannotBeRepresentedIsRefused) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  float a = 1, b = 2;
  int ipiv = 3;
  EXPECT_EQ(toviSgetrf(2000000000, 2000000000, &a, 2000000000, &ipiv), toviInsufficientMemory);
  EXPECT_EQ(toviSgesv(2000000000, 2000000000, &a, 2000000000, &ipiv, &b, 2000000000), toviInsufficientMemory);
  EXPECT_EQ(a, 1.0f);
  EXPECT_EQ(ipiv, 3);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

TYPED_TEST(LuSoftwareTest, SameBitsWithAnyNumberOfWorkers) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(700, 700, 0, 2);
  HostMatrix<TypeParam> first = a;
  std::vector<int> firstIpiv(700);
  software_device::setWorkers(0);
  ASSERT_EQ(factor(Memory::host, first, firstIpiv), toviNoError);
  for (const int workers : {1, 3, 7}) {
    software_device::setWorkers(workers);
    HostMatrix<TypeParam> lu = a;
    std::vector<int> ipiv(700);
    ASSERT_EQ(factor(Memory::host, lu, ipiv), toviNoError);
    EXPECT_TRUE(lu.sameBits(first));
    EXPECT_EQ(ipiv, firstIpiv);
  }
}

}  // namespace
}  // namespace testing_support
