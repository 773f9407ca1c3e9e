// Reflectors on a pretended machine: how panels travel.

#include "device/software/testing/software_device.h"

#include "tests/qr/reflector_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class ReflectorsSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(ReflectorsSoftwareTest, Elements);

constexpr Kind allKinds[] = {Kind::qr, Kind::lq, Kind::rq};

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

}  // namespace
}  // namespace testing_support
