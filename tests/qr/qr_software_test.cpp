// Orthogonal factorizations on pretended machines: the small blocks of the first device generation, and how
// panels travel.

#include <string>

#include "device/software/testing/software_device.h"
#include "tests/qr/qr_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

TOVI_TYPED_SUITE(QrSoftwareTest, ::testing::Test, AllTypes);

// Panels are 32 wide on capabilities 1.0 to 1.3.
TYPED_TEST(QrSoftwareTest, SmallBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const Orthogonal form : everyForm) {
    for (const int n : {31, 32, 33, 64, 65, 96, 97, 150}) checkForm<TypeParam>(form, n, n);
    for (const int n : {32, 33, 64, 70}) {
      checkForm<TypeParam>(form, 200, n);
      checkForm<TypeParam>(form, n, 200);
      checkForm<TypeParam>(form, n, n + 1);  // no more than one line beyond the last panel
      checkForm<TypeParam>(form, n + 1, n);
    }
  }
  checkQr<TypeParam>(Memory::host, 130, 70);
}

// Panels go down on the private stream, one ahead of the factorization: the second update of a block is
// queued after the download of the next panel. Whatever fits into one panel needs no stream, and no product.
TYPED_TEST(QrSoftwareTest, TheNextPanelTravelsWhileTheRestIsUpdated) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int nb = tovi::isComplex<TypeParam> ? 64 : 96;
  for (const int blocks : {1, 4}) {
    const int n = blocks * nb;
    HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(n, n, 0, 1);
    std::vector<TypeParam> tau(static_cast<std::size_t>(n));
    const DeviceArray<TypeParam> dA(a), dTau(tau.data(), tau.size());
    for (const Orthogonal form : everyForm) {
      software_device::startRecording();
      ASSERT_EQ(factorDevice(form, n, n, dA.data(), n, dTau.data()), toviNoError);
      std::string order;
      forEachRecorded([&](const software_device::Call& call, bool travels) {
        EXPECT_TRUE(!travels || call.stream != 0);
        if (travels || call.entry == Entry::gemm) order += travels ? 'd' : 'g';
      });
      // A download; then for each of the panels but the last two products for the next panel, its
      // download, and two for the rest, which the last but one has none of.
      EXPECT_EQ(order, blocks == 1 ? ""
                                   : "d"
                                     "ggdgg"
                                     "ggdgg"
                                     "ggd")
          << static_cast<int>(form);
    }
  }
}

// --- Products with Q

TOVI_TYPED_SUITE(ReflectorsSoftwareTest, ::testing::Test, AllTypes);

// While a block is applied, the next panel is on its way: no panel waits for the products before it, and
// nothing is allocated between blocks, which would wait as well.
TYPED_TEST(ReflectorsSoftwareTest, PanelsTravelAheadOnAPrivateStream) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int nb = tovi::isComplex<TypeParam> ? 64 : 96;
  for (const Orthogonal form : everyForm) {
    SCOPED_TRACE(static_cast<int>(form));
    const Factored<TypeParam> q(form, 4 * nb, 3 * nb);
    const OnDevice<TypeParam> dA(q.a), dC(operand(q, 'L', 20));
    const DeviceArray<TypeParam> dTau(q.tau.data(), q.tau.size());
    software_device::startRecording();
    tovi::lapack::applyReflectors(form, 'L', 'N', q.k, dA.view, dTau.data(), dC.view);
    int down = 0, blocksApplied = 0, otherwise = 0;
    bool multiplying = false;
    forEachRecorded([&](const software_device::Call& call, bool travels) {
      EXPECT_TRUE(!travels || call.stream != 0);
      const int direction = call.entry == Entry::memcpyAsync ? 1 : 4;
      if (travels && call.arguments[direction] == cudaMemcpyDeviceToHost) {
        ++down;
        EXPECT_EQ(blocksApplied, std::max(0, down - 2)) << "panel " << down << " was sent for too late";
      }
      const bool multiplies = call.entry == Entry::trmm;
      if (multiplies && !multiplying) ++blocksApplied;
      multiplying = !travels && (multiplying || multiplies);
      if (blocksApplied > 0 && blocksApplied < 3 && call.entry == Entry::malloc) ++otherwise;
    });
    EXPECT_EQ(down, 3);
    EXPECT_EQ(blocksApplied, 3);
    EXPECT_EQ(otherwise, 0);
  }
}

}  // namespace
}  // namespace testing_support
