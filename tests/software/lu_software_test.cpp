// LU on pretended machines: the small blocks of the first device generation, devices without copy overlap, a
// schedule that runs device work as late as it may, and failures of every call underneath.

#include <new>
#include <string>

#include "cudalib/hooks.h"
#include "platform/software/testing/software_device.h"
#include "tests/support/lu_checks.h"

namespace testing_support {
namespace {

using software_device::Entry;

void pretend(int major, int minor, bool overlap = true) {
  software_device::Machine machine = software_device::defaultMachine();
  machine.devices[0].major = major;
  machine.devices[0].minor = minor;
  machine.devices[0].overlapsCopies = overlap;
  software_device::configure(machine);
  ASSERT_EQ(toviInitialize(), toviNoError);
}

template <class T>
class LuSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(LuSoftwareTest, Elements);

// Panels are 64 wide on capabilities 1.0 to 1.3.
TYPED_TEST(LuSoftwareTest, SmallBlocks) {
  pretend(1, 3);
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
  pretend(1, 3);
  solveOnALazyDevice<TypeParam>();
}

TYPED_TEST(LuSoftwareTest, EveryWaitIsThereWithoutAPrivateStream) {
  pretend(1, 3, false);
  software_device::startRecording();
  solveOnALazyDevice<TypeParam>();
  for (const software_device::Call& call : software_device::stopRecording())
    EXPECT_NE(call.entry, Entry::streamCreate);
}

TYPED_TEST(LuSoftwareTest, PanelsTravelOnAPrivateStream) {
  pretend(2, 0);
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
  pretend(2, 0);
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

// Fails call 1, 2, 3, ... until the routine succeeds. Each time: the documented status, nothing left behind,
// and a next call that gives the same bits as an undisturbed one.
template <class T>
void failEveryCall(Memory where, int n, bool forever) {
  const HostMatrix<T> a = HostMatrix<T>::random(n, n, 1, 21);
  const HostMatrix<T> b = HostMatrix<T>::random(n, 2, 1, 22);
  HostMatrix<T> goodLu = a, goodX = b;
  std::vector<int> goodIpiv(static_cast<std::size_t>(n));
  ASSERT_EQ(solve(where, goodLu, goodIpiv, goodX), toviNoError);

  const struct {
    int cuda, cublas;
    toviStatus status;
    int cudaInfo, cublasInfo;
  } codes[] = {{cudaErrorMemoryAllocation, 3, toviInsufficientMemory, 0, 0},
               {cudaErrorUnknown, 14, toviRuntimeError, cudaErrorUnknown, 14}};
  for (const auto& code : codes) {
    bool succeeded = false;
    for (std::uint64_t call = 1; !succeeded; ++call) {
      ASSERT_LT(call, 2000u);
      SCOPED_TRACE("call " + std::to_string(call) + (forever ? " and all after it" : ""));
      HostMatrix<T> lu = a, x = b;
      std::vector<int> ipiv(static_cast<std::size_t>(n), -7);
      toviStatus status;
      int info;
      if (where == Memory::host) {
        software_device::failAnyCall(call, code.cuda, code.cublas, forever);
        status = solve(where, lu, ipiv, x);
        info = toviGetErrorInfo();
        succeeded = software_device::failuresInjected() == 0;
        software_device::clearFaults();
      } else {
        const DeviceArray<T> dA(a), dB(b);
        const DeviceArray<int> dIpiv(ipiv.data(), ipiv.size());
        software_device::failAnyCall(call, code.cuda, code.cublas, forever);
        status = gesv(where, n, 2, dA.data(), a.ld(), dIpiv.data(), dB.data(), b.ld());
        info = toviGetErrorInfo();
        succeeded = software_device::failuresInjected() == 0;
        software_device::clearFaults();
      }
      if (succeeded) {
        EXPECT_EQ(status, toviNoError);
        break;
      }
      if (status == toviBlasError) {
        EXPECT_EQ(info, code.cublasInfo);
      } else if (status == toviRuntimeError) {
        EXPECT_EQ(info, code.cudaInfo);
      } else if (status != toviNoError) {  // a failing synchronization alone loses nothing
        EXPECT_EQ(status, code.status);
      }
      EXPECT_EQ(software_device::live().allocations, 0u);
      EXPECT_EQ(software_device::live().pageLockedBlocks, 0u);
      EXPECT_EQ(software_device::live().streams, 0u);
      EXPECT_EQ(software_device::pending(), 0u);
      if (where == Memory::host) {
        EXPECT_TRUE(lu.paddingIntact() && x.paddingIntact());
        if (status == toviNoError) {
          EXPECT_TRUE(x.sameBits(goodX));
        }
      }

      HostMatrix<T> nextLu = a, nextX = b;
      std::vector<int> nextIpiv(static_cast<std::size_t>(n));
      ASSERT_EQ(solve(where, nextLu, nextIpiv, nextX), toviNoError) << toviGetErrorInfo();
      ASSERT_TRUE(nextLu.sameBits(goodLu) && nextX.sameBits(goodX) && nextIpiv == goodIpiv);
    }
  }
}

TYPED_TEST(LuSoftwareTest, EveryCallMayFailOnce) {
  pretend(1, 3);
  failEveryCall<TypeParam>(Memory::host, 20, false);
  failEveryCall<TypeParam>(Memory::host, 130, false);
  failEveryCall<TypeParam>(Memory::device, 130, false);
}

TYPED_TEST(LuSoftwareTest, EveryCallMayFailForEver) {
  pretend(1, 3);
  failEveryCall<TypeParam>(Memory::host, 130, true);
  failEveryCall<TypeParam>(Memory::device, 20, true);
}

TEST(LuSoftwareTransposed, EveryCallMayFail) {
  pretend(2, 0);
  failEveryCall<float>(Memory::host, 514, false);
}

// A data error says that the factors are complete, so whatever kept them from being so is told first.
TEST(LuSoftwareSingular, AFailureComesBeforeTheDataError) {
  pretend(2, 0);
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
  pretend(2, 0);
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
  pretend(2, 0);
  float a = 1, b = 2;
  int ipiv = 3;
  EXPECT_EQ(toviSgetrf(2000000000, 2000000000, &a, 2000000000, &ipiv), toviInsufficientMemory);
  EXPECT_EQ(toviSgesv(2000000000, 2000000000, &a, 2000000000, &ipiv, &b, 2000000000), toviInsufficientMemory);
  EXPECT_EQ(a, 1.0f);
  EXPECT_EQ(ipiv, 3);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

TYPED_TEST(LuSoftwareTest, SameBitsWithAnyNumberOfWorkers) {
  pretend(2, 0);
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
