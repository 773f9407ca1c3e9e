// The bidiagonal iteration on pretended machines: how its rotations travel, a schedule that runs device work
// as late as it may, devices without copy overlap, and failures of every call underneath.

#include "platform/software/testing/software_device.h"
#include "tests/support/bdsqr_checks.h"
#include "tests/support/faults.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class BdsqrSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(BdsqrSoftwareTest, Elements);

// Devices are described once in a process: every test has its machine.
template <class T>
void checkUnderTheLazySchedule() {
  software_device::resetCounts();
  software_device::setSchedule(software_device::Schedule::lazy);
  for (const char uplo : {'U', 'L'})
    for (const int n : {1, 2, 3, 50}) {
      checkDecomposition<T>(randomBidiagonal(uplo, n));
      checkWidths<T>(randomBidiagonal(uplo, n), n + 3, 2);
    }
  EXPECT_EQ(software_device::live().streams, 0u);
  EXPECT_EQ(software_device::live().allocations, 0u);
  EXPECT_EQ(software_device::live().pageLockedBlocks, 0u);
}

TYPED_TEST(BdsqrSoftwareTest, EveryWaitIsThere) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  checkUnderTheLazySchedule<TypeParam>();
  EXPECT_GT(software_device::calls(Entry::streamCreate), 0u);
}

TYPED_TEST(BdsqrSoftwareTest, EveryWaitIsThereWithoutAPrivateStream) {
  ASSERT_EQ(pretend(2, 0, false), toviNoError);
  checkUnderTheLazySchedule<TypeParam>();
  EXPECT_EQ(software_device::calls(Entry::streamCreate), 0u);
}

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

TYPED_TEST(BdsqrSoftwareTest, ValuesAloneNeedNoDeviceMemory) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const Bidiagonal b = randomBidiagonal('L', 200);
  const DeviceArray<float> dD(b.d.data(), b.d.size()), dE(b.e.data(), b.e.size());
  software_device::resetCounts();
  tovi::lapack::bdsqr<TypeParam>('L', 200, dD.data(), dE.data(), {}, {});
  for (const Entry entry : {Entry::malloc, Entry::mallocHost, Entry::launch, Entry::streamCreate})
    EXPECT_EQ(software_device::calls(entry), 0u);
  EXPECT_EQ(software_device::calls(Entry::memcpy), 4u);
}

TYPED_TEST(BdsqrSoftwareTest, SameBitsWithAnyNumberOfWorkers) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const Bidiagonal b = randomBidiagonal('L', 200);
  software_device::setWorkers(0);
  const Decomposition<TypeParam> alone = decompose<TypeParam>(b);
  for (const int workers : {1, 5}) {
    software_device::setWorkers(workers);
    EXPECT_TRUE(decompose<TypeParam>(b).sameBits(alone)) << workers;
  }
}

template <class T>
void failEveryCall(const Bidiagonal& b, int ncvt) {
  struct Operands {
    Operands(const Bidiagonal& b, int ncvt)
        : dD(b.d.data(), b.d.size()),
          dE(b.e.data(), b.e.size()),
          dVt(HostMatrix<T>::random(b.n(), ncvt, 1, 3)),
          dU(identity<T>(b.n(), 1)),
          dC(HostMatrix<T>::random(b.n(), 2, 0, 4)) {}
    DeviceArray<float> dD, dE;
    DeviceArray<T> dVt, dU, dC;
  };
  const int n = b.n();
  failEveryCallOf(
      [&] { return Operands(b, ncvt); },
      [&](const Operands& on) {
        tovi::lapack::bdsqr<T>(b.uplo, n, on.dD.data(), on.dE.data(), {on.dVt.data(), n, ncvt, n + 1},
                               {on.dU.data(), n, n, n + 1}, {on.dC.data(), n, 2, n});
      },
      [](const Operands& on) { return on.dD.bits() + on.dVt.bits() + on.dU.bits() + on.dC.bits(); });
}

TYPED_TEST(BdsqrSoftwareTest, EveryCallMayFail) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  failEveryCall<TypeParam>(randomBidiagonal('L', 12), 5);
  failEveryCall<TypeParam>(randomBidiagonal('U', 9), 9);
}

TYPED_TEST(BdsqrSoftwareTest, EveryCallMayFailWithoutAPrivateStream) {
  ASSERT_EQ(pretend(2, 0, false), toviNoError);
  failEveryCall<TypeParam>(randomBidiagonal('L', 12), 5);
}

// Not even a lack of convergence hides a device that failed.
TEST(BdsqrSoftwareLimit, ADeviceErrorComesFirst) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  tovi::lapack::limitBdsqrRotations(20);
  const Bidiagonal b = randomBidiagonal('U', 12);
  const HostMatrix<float> square = identity<float>(12);
  const DeviceArray<float> dD(b.d.data(), b.d.size()), dE(b.e.data(), b.e.size());
  const DeviceArray<float> dU(square);
  software_device::failCall(Entry::launch, 2, cudaErrorUnknown);
  EXPECT_THROW(tovi::lapack::bdsqr<float>('U', 12, dD.data(), dE.data(), {}, {dU.data(), 12, 12, 12}),
               cudalib::CudaRuntimeException);
  software_device::clearFaults();
  EXPECT_THROW(tovi::lapack::bdsqr<float>('U', 12, dD.data(), dE.data(), {}, {dU.data(), 12, 12, 12}),
               tovi::InfoException);
}

}  // namespace
}  // namespace testing_support
