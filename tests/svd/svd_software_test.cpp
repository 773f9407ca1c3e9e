// Singular value decompositions on pretended machines: the small blocks of the first device generation, what
// travels during the reduction to bidiagonal form and in the sweeps, an iteration that does not converge,
// phases, and memory.

#include <map>
#include <string>

#include "device/software/testing/software_device.h"
#include "ground/hooks.h"
#include "lapack/bidiagonal.h"
#include "tests/support/machines.h"
#include "tests/svd/bdsqr_checks.h"
#include "tests/svd/svd_checks.h"

namespace testing_support {
namespace {

using software_device::Entry;

TOVI_TYPED_SUITE(SvdSoftwareTest, ::testing::Test, AllTypes);

// Blocks are 32 wide on capabilities 1.0 to 1.3.
TYPED_TEST(SvdSoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Memory where : bothInterfaces)
    for (const auto& [m, n] : {std::pair{1, 1}, {4, 3}, {32, 32}, {33, 33}, {65, 64}, {97, 70}, {110, 65}}) {
      checkEveryPairOfJobs<TypeParam>(where, m, n);
      checkEveryPairOfJobs<TypeParam>(where, n, m);
    }
}

// While panels are reduced nothing travels between host and device, and nobody waits: one download, of the
// last block, stands between the last product and the uploads.
TYPED_TEST(SvdSoftwareTest, PanelsStayOnTheDevice) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const auto& [m, n] : {std::pair(300, 288), std::pair(288, 300)}) {
    const OnDevice<TypeParam> dA(HostMatrix<TypeParam>::random(m, n, 3, 1));
    const DeviceArray<TypeParam> dTauq(288), dTaup(288);
    const DeviceArray<Real<TypeParam>> dD(288), dE(287);
    toviFreeBuffers();
    software_device::startRecording();
    tovi::lapack::gebrd(dA.view, dD.data(), dE.data(), dTauq.data(), dTaup.data());
    std::string order;
    const std::map<Entry, char> letters = {
        {Entry::malloc, 'm'},   {Entry::free, 'f'},          {Entry::gemm, 'g'},
        {Entry::memcpy, 'c'},   {Entry::memcpyAsync, 'c'},   {Entry::streamSynchronize, 'w'},
        {Entry::memcpy2D, 'c'}, {Entry::memcpy2DAsync, 'c'}, {Entry::threadSynchronize, 'w'}};
    for (const software_device::Call& call : software_device::stopRecording())
      if (letters.count(call.entry) != 0) order += letters.at(call.entry);
    // A wide matrix is transposed to memory of its own. The last block is copied to the host and back, with
    // d, e and the scalar factors.
    EXPECT_EQ(order, std::string(m < n ? "m" : "") + "mmmmggggggcccccc");
  }
  tovi::lapack::gebrd<TypeParam>({nullptr, 5, 0, 5}, nullptr, nullptr, nullptr, nullptr);  // needs nothing
}

// No rotation allowed: all elements beside the diagonal are left, of which the first is not counted.
TYPED_TEST(SvdSoftwareTest, ReportsAnIterationThatDoesNotConverge) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  {
    const RotationLimit limit(0);
    for (const Memory where : bothInterfaces)
      for (const auto& [m, n] : {std::pair{10, 10}, {30, 10}, {10, 30}, {12, 10}, {10, 12}})
        for (const Jobs jobs : everyPairOfJobs) {
          if (jobs.u == 'N' && jobs.vt == 'N') continue;  // values alone are computed in another way
          const Svd<TypeParam> problem = randomSvdProblem<TypeParam>(jobs, m, n);
          Svd<TypeParam> failing = problem;
          EXPECT_EQ(failing.run(where), toviDataError);
          EXPECT_EQ(toviGetErrorInfo(), 8) << m << " x " << n;
          EXPECT_TRUE(where == Memory::host ? failing.sameBits(problem) : failing.paddingIntact());
          EXPECT_EQ(liveBesideBuffers().allocations, 0u);
        }
  }
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
  const RotationLimit limit(0);
  expectPhases(40, 40, {'S', 'S'}, 4, toviDataError);
  toviShutdown();  // empties the hooks
}

// The host interface reserves all of V^H where it is not asked for, present or not, but not all of U. It does
// not keep that room.
TYPED_TEST(SvdSoftwareTest, RoomForTheVectorsThatNobodyWants) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int length = 1000;
  const double square = static_cast<double>(sizeof(TypeParam)) * length * length;
  const auto peak = [square](int m, int n) {
    Svd<TypeParam> problem = randomSvdProblem<TypeParam>({'N', 'N'}, m, n);
    TypeParam* const none = nullptr;
    toviFreeBuffers();
    software_device::resetPeaks();
    EXPECT_EQ(gesvd(Memory::host, 'N', 'N', m, n, problem.a.data(), problem.a.ld(), problem.s.data(), none, 1,
                    none, 1),
              toviNoError);
    EXPECT_LT(static_cast<double>(software_device::live().deviceBytes), square / 4);
    return static_cast<double>(software_device::live().peakDeviceBytes);
  };
  EXPECT_GE(peak(3, length), square);
  EXPECT_LT(peak(length, 3), square / 4);
}

TOVI_TYPED_SUITE(BdsqrSoftwareTest, ::testing::Test, AllTypes);

// One copy, on the private stream, and one launch for each matrix: that is a sweep. The launches of sixteen
// sweeps are made together, those on one matrix side by side. Then the host waits for copies, never for these
// launches.
TYPED_TEST(BdsqrSoftwareTest, ASweepIsOneCopyAndOneLaunchForEachMatrix) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int n = 100;
  const Bidiagonal<Real<TypeParam>> b = randomBidiagonal<Real<TypeParam>>('U', n);
  const HostMatrix<TypeParam> none(n, 0), square = identity<TypeParam>(n);
  for (const bool both : {true, false}) {
    const DeviceArray<Real<TypeParam>> dD(b.d.data(), b.d.size()), dE(b.e.data(), b.e.size());
    const DeviceArray<TypeParam> dVt(square), dU(square);
    tovi::MatrixView<TypeParam> vt(dVt.data(), n, n, n), u;
    if (both) u = {dU.data(), n, n, n};
    software_device::startRecording();
    tovi::lapack::bdsqr<TypeParam>('U', n, dD.data(), dE.data(), vt, u);
    const std::vector<software_device::Call> calls = software_device::stopRecording();
    int sweeps = 0, waiting = 0, launches = 0, rotationLaunches = 0, mallocs = 0;
    for (const software_device::Call& call : calls) {
      if (call.entry == Entry::memcpyAsync) {
        EXPECT_NE(call.stream, 0u);
        if (sweeps == 0) launches = 0;  // of a transpose
        EXPECT_EQ(launches, 0) << "the host has not waited";
        ++sweeps;
        EXPECT_LE(++waiting, 16);
      }
      launches += call.entry == Entry::launch;
      if (call.entry == Entry::streamSynchronize && waiting > 0) {
        EXPECT_EQ(launches, (both ? 2 : 1) * waiting);
        rotationLaunches += launches;
        launches = waiting = 0;
      }
      EXPECT_NE(call.entry, Entry::threadSynchronize) << "the host waits for the device";
      mallocs += call.entry == Entry::malloc || call.entry == Entry::mallocHost;
    }
    EXPECT_TRUE(n < sweeps && sweeps < 3 * n) << sweeps;
    EXPECT_LE(mallocs, 3);  // rotations on the host and on the device, and one scalar
    EXPECT_EQ(rotationLaunches, (both ? 2 : 1) * sweeps);
    EXPECT_LT(launches, 2 * n);  // transposes, signs, order
  }
}

}  // namespace
}  // namespace testing_support
