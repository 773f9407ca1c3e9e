// Reflectors on pretended machines: the narrow blocks of the first device generation, devices without copy
// overlap, a schedule that runs device work as late as it may, and failures of every call underneath.

#include "platform/software/testing/software_device.h"

#include "tests/support/faults.h"
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

TYPED_TEST(ReflectorsSoftwareTest, EveryCallMayFail) {
  struct Operands {
    explicit Operands(const Factored<TypeParam>& q)
        : dA(q.a), dC(operand(q, 'L', 6)), dTau(q.tau.data(), q.tau.size()) {}
    OnDevice<TypeParam> dA, dC;
    DeviceArray<TypeParam> dTau;
  };
  const auto bits = [](const Operands& on) { return on.dA.array.bits() + on.dC.array.bits(); };
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Kind kind : allKinds)
    for (const int k : {20, 70}) {
      SCOPED_TRACE(name(kind) + " " + std::to_string(k));
      const Factored<TypeParam> q(kind, 80, k);
      const auto make = [&] { return Operands(q); };
      const auto apply = [&](const Operands& on) {
        tovi::lapack::applyReflectors(kind, 'L', 'C', k, on.dA.view, on.dTau.data(), on.dC.view);
      };
      failEveryCallOf(make, apply, bits);
      if (kind == Kind::rq) continue;
      const auto generate = [&](const Operands& on) {
        tovi::lapack::generateQ(kind, k, on.dA.view, on.dTau.data());
      };
      failEveryCallOf(make, generate, bits);
    }
}

}  // namespace
}  // namespace testing_support
