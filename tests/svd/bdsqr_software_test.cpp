// The bidiagonal iteration on pretended machines: how its rotations travel, and failures.

#include "device/software/testing/software_device.h"
#include "tests/support/machines.h"
#include "tests/svd/bdsqr_checks.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class BdsqrSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(BdsqrSoftwareTest, Elements);

// One copy, on the private stream, and one launch for each matrix: that is a sweep. The host waits for the
// copy of the sweep before, never for its rotations.
TYPED_TEST(BdsqrSoftwareTest, ASweepIsOneCopyAndOneLaunchForEachMatrix) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int n = 100;
  const Bidiagonal b = randomBidiagonal('U', n);
  const HostMatrix<TypeParam> none(n, 0), square = identity<TypeParam>(n);
  for (const bool both : {true, false}) {
    const DeviceArray<float> dD(b.d.data(), b.d.size()), dE(b.e.data(), b.e.size());
    const DeviceArray<TypeParam> dVt(square), dU(square);
    tovi::MatrixView<TypeParam> vt(dVt.data(), n, n, n), u;
    if (both) u = {dU.data(), n, n, n};
    software_device::startRecording();
    tovi::lapack::bdsqr<TypeParam>('U', n, dD.data(), dE.data(), vt, u);
    const std::vector<software_device::Call> calls = software_device::stopRecording();
    int sweeps = 0, launches = 0, rotationLaunches = 0, waits = 0, mallocs = 0;
    for (const software_device::Call& call : calls) {
      if (call.entry == Entry::memcpyAsync) {
        EXPECT_NE(call.stream, 0u);
        if (sweeps > 0) {
          EXPECT_EQ(launches, both ? 2 : 1);
        }
        EXPECT_EQ(waits, 1);
        ++sweeps;
        launches = waits = 0;
      }
      if (call.entry == Entry::launch) {
        ++launches;
        if (sweeps > 0) ++rotationLaunches;
      }
      if (call.entry == Entry::streamSynchronize) ++waits;
      if (call.entry == Entry::threadSynchronize) ADD_FAILURE() << "the host waits for the device";
      if (call.entry == Entry::malloc || call.entry == Entry::mallocHost) ++mallocs;
    }
    EXPECT_GT(sweeps, n);
    EXPECT_LT(sweeps, 3 * n);
    EXPECT_LE(mallocs, 3);  // rotations on the host and on the device, and one scalar
    // Signs and order add O(n) launches, not O(n^2).
    EXPECT_LT(rotationLaunches, (both ? 2 : 1) * sweeps + 2 * n);
  }
}

}  // namespace
}  // namespace testing_support
