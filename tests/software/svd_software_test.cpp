// Singular value decompositions on pretended machines: the small blocks of the first device generation,
// devices without copy overlap, a schedule that runs device work as late as it may, an iteration that does
// not converge, and failures of every call underneath.

#include "cudalib/hooks.h"
#include "lapack/bdsqr.h"
#include "platform/software/testing/software_device.h"
#include "tests/support/faults.h"
#include "tests/support/machines.h"
#include "tests/support/svd_checks.h"

namespace testing_support {
namespace {

constexpr Memory bothMemories[] = {Memory::host, Memory::device};

template <class T>
class SvdSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(SvdSoftwareTest, Elements);

// Blocks are 32 wide on capabilities 1.0 to 1.3.
TYPED_TEST(SvdSoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  const struct { int m, n; } shapes[] = {{1, 1}, {4, 3}, {32, 32}, {33, 33}, {65, 64}, {97, 70}, {110, 65}};
  for (const Memory where : bothMemories)
    for (const auto& shape : shapes) {
      checkEveryPairOfJobs<TypeParam>(where, shape.m, shape.n);
      checkEveryPairOfJobs<TypeParam>(where, shape.n, shape.m);
    }
}

// Work that nobody waits for has not run when it is needed.
template <class T>
void decomposeOnALazyDevice() {
  software_device::setSchedule(software_device::Schedule::lazy);
  for (const Memory where : bothMemories)
    for (const Jobs jobs : everyPairOfJobs) {
      checkSvd(where, randomSvdProblem<T>(jobs, 70, 40));
      checkSvd(where, randomSvdProblem<T>(jobs, 40, 70));
      checkSvd(where, randomSvdProblem<T>(jobs, 50, 40));
      checkSvd(where, randomSvdProblem<T>(jobs, 40, 50));
    }
  Svd<T> tiny = randomSvdProblem<T>({'S', 'S'}, 50, 40);
  for (int j = 0; j < 40; ++j)
    for (int i = 0; i < 50; ++i) tiny.a(i, j) *= T(1e-30f);
  checkSvd(Memory::device, tiny);
  EXPECT_EQ(software_device::live().streams, 0u);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

TYPED_TEST(SvdSoftwareTest, EveryWaitIsThere) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  decomposeOnALazyDevice<TypeParam>();
}

TYPED_TEST(SvdSoftwareTest, EveryWaitIsThereWithoutAPrivateStream) {
  ASSERT_EQ(pretend(1, 3, false), toviNoError);
  software_device::resetCounts();
  decomposeOnALazyDevice<TypeParam>();
  EXPECT_EQ(software_device::calls(software_device::Entry::streamCreate), 0u);
}

// No rotation allowed: all elements beside the diagonal are left, of which the first is not counted.
TYPED_TEST(SvdSoftwareTest, ReportsAnIterationThatDoesNotConverge) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  tovi::lapack::limitBdsqrRotations(0);
  for (const Memory where : bothMemories)
    for (const auto& [m, n] : {std::pair{10, 10}, {30, 10}, {10, 30}, {12, 10}, {10, 12}})
      for (const Jobs jobs : everyPairOfJobs) {
        if (jobs.u == 'N' && jobs.vt == 'N') continue;  // values alone are computed in another way
        const Svd<TypeParam> problem = randomSvdProblem<TypeParam>(jobs, m, n);
        Svd<TypeParam> failing = problem;
        EXPECT_EQ(failing.run(where), toviDataError);
        EXPECT_EQ(toviGetErrorInfo(), 8) << m << " x " << n;
        EXPECT_TRUE(where == Memory::host ? failing.sameBits(problem) : failing.paddingIntact());
        EXPECT_EQ(software_device::live().allocations, 0u);
      }
  tovi::lapack::limitBdsqrRotations(-1);
  checkSvd(Memory::host, randomSvdProblem<TypeParam>({'S', 'S'}, 10, 10));
}

// The steps of a decomposition follow each other as phases, one after the other; none lies within another.
TYPED_TEST(SvdSoftwareTest, PhasesDoNotNest) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  int depth = 0, phases = 0;
  tovi::callHooks().phaseBegin = [&] {
    EXPECT_EQ(depth++, 0);
    ++phases;
  };
  tovi::callHooks().phaseEnd = [&] { EXPECT_EQ(--depth, 0); };
  const auto expectPhases = [&](int m, int n, Jobs jobs, int expected, toviStatus status = toviNoError) {
    phases = 0;
    EXPECT_EQ(randomSvdProblem<TypeParam>(jobs, m, n).run(Memory::device), status);
    EXPECT_EQ(phases, expected) << jobs.u << jobs.vt << m << " x " << n;
    EXPECT_EQ(depth, 0);
  };
  expectPhases(40, 40, {'N', 'N'}, 2);  // bidiagonal form, iteration
  expectPhases(40, 40, {'S', 'S'}, 4);  // and each side's factor between them
  expectPhases(70, 40, {'N', 'N'}, 3);  // a triangle first
  expectPhases(70, 40, {'S', 'S'}, 7);  // its Q, and the product with that
  expectPhases(40, 70, {'N', 'A'}, 6);
  tovi::lapack::limitBdsqrRotations(0);
  expectPhases(40, 40, {'S', 'S'}, 4, toviDataError);
  tovi::lapack::limitBdsqrRotations(-1);
  toviShutdown();  // empties the hooks
}

TYPED_TEST(SvdSoftwareTest, EveryCallMayFail) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Memory where : bothMemories) {
    failEveryCall(where, randomSvdProblem<TypeParam>({'O', 'A'}, 9, 4), false);
    failEveryCall(where, randomSvdProblem<TypeParam>({'O', 'A'}, 4, 9), true);
    failEveryCall(where, randomSvdProblem<TypeParam>({'A', 'S'}, 5, 6), true);
  }
  failEveryCall(Memory::host, randomSvdProblem<TypeParam>({'N', 'N'}, 34, 33), false);
}

TEST(SvdSoftwareSizes, WhatCannotBeRepresentedIsRefused) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int huge = 2000000000;
  float a = 1, s = 2, u = 3, vt = 4;
  EXPECT_EQ(toviSgesvd('S', 'S', huge, huge, &a, huge, &s, &u, huge, &vt, huge), toviInsufficientMemory);
  EXPECT_TRUE(a == 1 && s == 2 && u == 3 && vt == 4);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

// The host interface reserves all of V^H where it is not asked for, present or not, but not all of U.
TYPED_TEST(SvdSoftwareTest, RoomForTheVectorsThatNobodyWants) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int length = 1000;
  const double square = static_cast<double>(sizeof(TypeParam)) * length * length;
  const auto peak = [](int m, int n) {
    Svd<TypeParam> problem = randomSvdProblem<TypeParam>({'N', 'N'}, m, n);
    TypeParam* const none = nullptr;
    software_device::resetPeaks();
    EXPECT_EQ(gesvd(Memory::host, 'N', 'N', m, n, problem.a.data(), problem.a.ld(), problem.s.data(), none, 1,
                    none, 1),
              toviNoError);
    return static_cast<double>(software_device::live().peakDeviceBytes);
  };
  EXPECT_GE(peak(3, length), square);
  EXPECT_LT(peak(length, 3), square / 4);
}

TYPED_TEST(SvdSoftwareTest, SameBitsWithAnyNumberOfWorkers) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const auto& [m, n] : {std::pair{400, 200}, {200, 400}, {230, 200}}) {
    const Svd<TypeParam> problem = randomSvdProblem<TypeParam>({'S', 'A'}, m, n);
    software_device::setWorkers(0);
    Svd<TypeParam> first = problem;
    ASSERT_EQ(first.run(Memory::host), toviNoError);
    for (const int workers : {1, 7}) {
      software_device::setWorkers(workers);
      Svd<TypeParam> again = problem;
      ASSERT_EQ(again.run(Memory::host), toviNoError);
      EXPECT_TRUE(again.sameBits(first));
    }
  }
}

}  // namespace
}  // namespace testing_support
