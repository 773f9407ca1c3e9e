// Reflectors on pretended machines: the narrow blocks of the first device generation, devices without copy
// overlap, a schedule that runs device work as late as it may, and failures of every call underneath.

#include "platform/software/testing/software_device.h"

#include "tests/support/machines.h"
#include "tests/support/reflector_checks.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class ReflectorsSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(ReflectorsSoftwareTest, Elements);

constexpr Kind allKinds[] = {Kind::qr, Kind::lq, Kind::rq};

// Blocks are 32 reflectors wide on capabilities 1.0 to 1.3.
TYPED_TEST(ReflectorsSoftwareTest, NarrowBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const int k : {31, 32, 33, 64, 65, 83})
    for (const int more : {0, 45}) checkProducts<TypeParam>(k + more, k, 19);
  for (const Kind kind : {Kind::qr, Kind::lq})
    for (const int k : {31, 33, 83}) {
      checkGeneration<TypeParam>(kind, k + 20, k, k);
      checkGeneration<TypeParam>(kind, k + 20, k + 20, k);
    }
}

template <class T>
void checkUnderTheLazySchedule() {
  software_device::setSchedule(software_device::Schedule::lazy);
  checkProducts<T>(120, 101, 9);
  for (const Kind kind : {Kind::qr, Kind::lq}) checkGeneration<T>(kind, 120, 110, 101);
  EXPECT_EQ(software_device::live().streams, 0u);
}

TYPED_TEST(ReflectorsSoftwareTest, EveryWaitIsThere) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  checkUnderTheLazySchedule<TypeParam>();
}

// A process of its own: devices are described once.
TYPED_TEST(ReflectorsSoftwareTest, EveryWaitIsThereWithoutAPrivateStream) {
  ASSERT_EQ(pretend(1, 3, false), toviNoError);
  software_device::resetCounts();
  checkUnderTheLazySchedule<TypeParam>();
  EXPECT_EQ(software_device::calls(Entry::streamCreate), 0u);
}

// While a block is applied, the next panel is on its way: no panel waits for the products before it, and
// nothing is allocated between blocks, which would wait as well.
TYPED_TEST(ReflectorsSoftwareTest, PanelsTravelAheadOnAPrivateStream) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int nb = tovi::isComplex<TypeParam> ? 64 : 96;
  for (const Kind kind : allKinds) {
    SCOPED_TRACE(name(kind));
    const Factored<TypeParam> q(kind, 4 * nb, 3 * nb);
    const OnDevice<TypeParam> dA(q.a), dC(operand(q, 'L', 20));
    const DeviceArray<TypeParam> dTau(q.tau.data(), q.tau.size());
    software_device::startRecording();
    tovi::lapack::applyReflectors(kind, 'L', 'N', q.k, dA.view, dTau.data(), dC.view);
    int down = 0, blocksApplied = 0, otherwise = 0;
    bool multiplying = false, underWay = false;
    for (const software_device::Call& call : software_device::stopRecording()) {
      const bool flat = call.entry == Entry::memcpyAsync, deep = call.entry == Entry::memcpy2DAsync;
      if (flat || deep) {
        EXPECT_NE(call.stream, 0u);
        if (call.arguments[flat ? 1 : 4] == cudaMemcpyDeviceToHost) {
          ++down;
          EXPECT_EQ(blocksApplied, std::max(0, down - 2)) << "panel " << down << " was sent for too late";
        }
        multiplying = false;
        underWay = true;
      }
      if (call.entry == Entry::streamSynchronize) underWay = false;
      if (call.entry == Entry::streamDestroy) {
        EXPECT_FALSE(underWay) << "nobody waits for the last transfer";
      }
      if (call.entry == Entry::trmm && !multiplying) {
        multiplying = true;
        ++blocksApplied;
      }
      if (blocksApplied > 0 && blocksApplied < 3 && call.entry == Entry::malloc) ++otherwise;
    }
    EXPECT_EQ(down, 3);
    EXPECT_EQ(blocksApplied, 3);
    EXPECT_EQ(otherwise, 0);
  }
}

TYPED_TEST(ReflectorsSoftwareTest, SameBitsWithAnyNumberOfWorkers) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const Kind kind : allKinds) {
    const Factored<TypeParam> q(kind, 700, 300);
    const HostMatrix<TypeParam> c = operand(q, 'R', 400);
    const auto product = [&](int workers) {
      software_device::setWorkers(workers);
      const OnDevice<TypeParam> dA(q.a), dC(c);
      const DeviceArray<TypeParam> dTau(q.tau.data(), q.tau.size());
      tovi::lapack::applyReflectors(kind, 'R', 'C', q.k, dA.view, dTau.data(), dC.view);
      return dC.downloaded(c);
    };
    const HostMatrix<TypeParam> alone = product(0);
    for (const int workers : {1, 5}) EXPECT_TRUE(product(workers).sameBits(alone));
  }
}

// Fails call 1, 2, 3, ... of work(dA, dTau, dC) until it succeeds. Each time it throws, or leaves a status
// pending, or the failure has lost nothing (that of a free or of a synchronization); it owns nothing
// afterwards.
template <class T, class Work>
void failEveryCall(const Factored<T>& q, const Work& work) {
  const HostMatrix<T> c = operand(q, 'L', 6);
  HostMatrix<T> goodA = q.a, goodC = c;
  bool succeeded = false;
  for (std::uint64_t call = 0; !succeeded; ++call) {
    ASSERT_LT(call, 1000u);
    SCOPED_TRACE("call " + std::to_string(call));
    const OnDevice<T> dA(q.a), dC(c);
    const DeviceArray<T> dTau(q.tau.data(), q.tau.size());
    const software_device::Live before = software_device::live();
    bool noticed = false;
    if (call > 0) software_device::failAnyCall(call, cudaErrorUnknown, 14);
    try {
      work(dA.view, dTau.data(), dC.view);
    } catch (const std::exception&) {
      noticed = true;
    }
    succeeded = call > 0 && software_device::failuresInjected() == 0;
    software_device::clearFaults();
    cudaThreadSynchronize();
    noticed = (cublasGetError() != CUBLAS_STATUS_SUCCESS) || noticed;
    noticed = (cudaGetLastError() != cudaSuccess) || noticed;
    EXPECT_EQ(software_device::live().allocations, before.allocations);
    EXPECT_EQ(software_device::live().pageLockedBlocks, 0u);
    EXPECT_EQ(software_device::live().streams, 0u);
    if (call == 0) {
      goodA = dA.downloaded(q.a);
      goodC = dC.downloaded(c);
    } else if (!noticed) {
      EXPECT_TRUE(dA.downloaded(q.a).sameBits(goodA) && dC.downloaded(c).sameBits(goodC));
    }
  }
}

TYPED_TEST(ReflectorsSoftwareTest, EveryCallMayFail) {
  using View = tovi::MatrixView<TypeParam>;
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Kind kind : allKinds)
    for (const int k : {20, 70}) {
      SCOPED_TRACE(name(kind) + " " + std::to_string(k));
      const Factored<TypeParam> q(kind, 80, k);
      failEveryCall(q, [&](View dA, const TypeParam* dTau, View dC) {
        tovi::lapack::applyReflectors(kind, 'L', 'C', k, dA, dTau, dC);
      });
      if (kind != Kind::rq)
        failEveryCall(
            q, [&](View dA, const TypeParam* dTau, View) { tovi::lapack::generateQ(kind, k, dA, dTau); });
    }
}

}  // namespace
}  // namespace testing_support
