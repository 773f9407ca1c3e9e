// Reduction to bidiagonal form on pretended machines: the narrow blocks of the first device generation, a
// schedule that runs device work as late as it may, and failures of every call underneath.

#include "platform/software/testing/software_device.h"
#include "tests/support/bidiagonal_checks.h"
#include "tests/support/faults.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class GebrdSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(GebrdSoftwareTest, Elements);

// Blocks are 32 wide on capabilities 1.0 to 1.3.
TYPED_TEST(GebrdSoftwareTest, NarrowBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const int k : {1, 31, 32, 33, 64, 65})
    for (const int more : {0, 1, 40}) {
      checkReduction<TypeParam>(k + more, k);
      checkFactors<TypeParam>(k + more, k);
      checkReduction<TypeParam>(k, k + more);
      checkFactors<TypeParam>(k, k + more);
    }
}

TYPED_TEST(GebrdSoftwareTest, EveryWaitIsThere) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  software_device::setSchedule(software_device::Schedule::lazy);
  checkReduction<TypeParam>(80, 70);
  checkReduction<TypeParam>(70, 80);
  checkFactors<TypeParam>(80, 70);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

// While panels are reduced nothing travels between host and device, and nobody waits: one download, of the
// last block, stands between the last product and the uploads.
TYPED_TEST(GebrdSoftwareTest, PanelsStayOnTheDevice) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const auto& [m, n] : {std::pair(300, 288), std::pair(288, 300)}) {
    const HostMatrix<TypeParam> a = matrixToReduce<TypeParam>(m, n);
    const OnDevice<TypeParam> dA(a);
    const DeviceArray<TypeParam> dTauq(288), dTaup(288);
    const DeviceArray<tovi::Real<TypeParam>> dD(288), dE(287);
    software_device::startRecording();
    tovi::brd::gebrd(dA.view, dD.data(), dE.data(), dTauq.data(), dTaup.data());
    std::string order;
    for (const software_device::Call& call : software_device::stopRecording()) switch (call.entry) {
        case Entry::malloc:
          order += 'm';
          break;
        case Entry::free:
          order += 'f';
          break;
        case Entry::gemm:
          order += 'g';
          break;
        case Entry::memcpy:
        case Entry::memcpyAsync:
        case Entry::memcpy2D:
        case Entry::memcpy2DAsync:
          order += 'c';
          break;
        case Entry::streamSynchronize:
        case Entry::threadSynchronize:
          order += 'w';
          break;
        default:
          break;
      }
    // The last block is copied to the host and back, with d, e and the scalar factors.
    EXPECT_EQ(order, "mmmggggccccccfff");
  }
}

TYPED_TEST(GebrdSoftwareTest, SameBitsWithAnyNumberOfWorkers) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const auto& [m, n] : {std::pair(700, 600), std::pair(600, 700)}) {
    const HostMatrix<TypeParam> a = matrixToReduce<TypeParam>(m, n);
    software_device::setWorkers(0);
    const Reduced<TypeParam> alone(a);
    for (const int workers : {1, 5}) {
      software_device::setWorkers(workers);
      const Reduced<TypeParam> shared(a);
      EXPECT_TRUE(shared.factored.sameBits(alone.factored));
      EXPECT_EQ(shared.d, alone.d);
      EXPECT_EQ(shared.e, alone.e);
      EXPECT_TRUE(shared.tauq == alone.tauq && shared.taup == alone.taup);
    }
  }
}

TYPED_TEST(GebrdSoftwareTest, EveryCallMayFail) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  const DeviceArray<TypeParam> dTauq(40), dTaup(40);
  const DeviceArray<tovi::Real<TypeParam>> dD(40), dE(40);
  for (const auto& [m, n] : {std::pair(38, 36), std::pair(36, 38)}) {
    const HostMatrix<TypeParam> a = matrixToReduce<TypeParam>(m, n);
    const auto bits = [](const OnDevice<TypeParam>& dA) { return dA.array.bits(); };
    failEveryCallOf([&] { return OnDevice<TypeParam>(a); },
                    [&](const OnDevice<TypeParam>& dA) {
                      tovi::brd::gebrd(dA.view, dD.data(), dE.data(), dTauq.data(), dTaup.data());
                    },
                    bits);
    const Reduced<TypeParam> r(a);
    const DeviceArray<TypeParam> dTau(r.taup.data(), r.taup.size());
    HostMatrix<TypeParam> p(38, 38, 1);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) p(i, j) = r.factored(i, j);
    failEveryCallOf(
        [&] { return OnDevice<TypeParam>(p); },
        [&, m = m](const OnDevice<TypeParam>& dA) { tovi::lapack::orgbr('P', dA.view, m, dTau.data()); },
        bits);
  }
}

}  // namespace
}  // namespace testing_support
