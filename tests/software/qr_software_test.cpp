// Orthogonal factorizations on pretended machines: the small blocks of the first device generation, devices
// without copy overlap, a schedule that runs device work as late as it may, and failures of every call
// underneath.

#include <string>

#include "lapack/qr.h"
#include "platform/software/testing/software_device.h"
#include "tests/support/faults.h"
#include "tests/support/machines.h"
#include "tests/support/qr_checks.h"

namespace testing_support {
namespace {

using software_device::Entry;

// The three factorizations on device operands, QR through its exported routine.
template <class T>
toviStatus factorDevice(Orthogonal form, int m, int n, T* dA, int ld, T* dTau) {
  if (form == Orthogonal::qr) return geqrf(Memory::device, m, n, dA, ld, dTau);
  if (form == Orthogonal::lq)
    tovi::lapack::gelqf(tovi::MatrixView<T>(dA, m, n, ld), dTau);
  else
    tovi::lapack::gerqf(tovi::MatrixView<T>(dA, m, n, ld), dTau);
  return toviNoError;
}

template <class T>
void checkForm(Orthogonal form, int m, int n) {
  SCOPED_TRACE(std::to_string(static_cast<int>(form)) + ": " + std::to_string(m) + " x " + std::to_string(n));
  const HostMatrix<T> a = HostMatrix<T>::random(m, n, 1, static_cast<std::uint64_t>(m + n));
  HostMatrix<T> factored = a;
  std::vector<T> tau(static_cast<std::size_t>(std::min(m, n)));
  const DeviceArray<T> dA(a), dTau(tau.data(), tau.size());
  ASSERT_EQ(factorDevice(form, m, n, dA.data(), a.ld(), dTau.data()), toviNoError);
  dA.download(factored);
  dTau.download(tau.data());
  expectFactored(form, a, factored, tau);
}

constexpr Orthogonal everyForm[] = {Orthogonal::qr, Orthogonal::lq, Orthogonal::rq};

template <class T>
class QrSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(QrSoftwareTest, Elements);

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

// Work that nobody waits for has not run when it is needed.
template <class T>
void factorOnALazyDevice() {
  software_device::setSchedule(software_device::Schedule::lazy);
  for (const Orthogonal form : everyForm) {
    checkForm<T>(form, 150, 150);
    checkForm<T>(form, 200, 100);
    checkForm<T>(form, 100, 200);
  }
  checkQr<T>(Memory::host, 150, 100);
  EXPECT_EQ(software_device::live().streams, 0u);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

TYPED_TEST(QrSoftwareTest, EveryWaitIsThere) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  factorOnALazyDevice<TypeParam>();
}

TYPED_TEST(QrSoftwareTest, EveryWaitIsThereWithoutAPrivateStream) {
  ASSERT_EQ(pretend(1, 3, false), toviNoError);
  software_device::resetCounts();
  factorOnALazyDevice<TypeParam>();
  EXPECT_EQ(software_device::calls(Entry::streamCreate), 0u);
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
      bool underWay = false;
      for (const software_device::Call& call : software_device::stopRecording()) {
        if (call.entry == Entry::memcpyAsync || call.entry == Entry::memcpy2DAsync) {
          EXPECT_NE(call.stream, 0u);
          order += 'd';
          underWay = true;
        } else if (call.entry == Entry::streamSynchronize) {
          underWay = false;
        } else if (call.entry == Entry::streamDestroy) {
          EXPECT_FALSE(underWay) << "nobody waits for the last transfer";
        } else if (call.entry == Entry::gemm) {
          order += 'g';
        }
      }
      // A download; then for each of the panels but the last W, two products for the next panel, its
      // download, and two for the rest, which the last but one has none of.
      EXPECT_EQ(order, blocks == 1 ? ""
                                   : "d"
                                     "gggdgg"
                                     "gggdgg"
                                     "gggd")
          << static_cast<int>(form);
    }
  }
}

// The copy of the matrix, panel-wide buffers and little else.
TEST(QrSoftwareMemory, PeakStaysNearTheMatrix) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int n = 1500;
  HostMatrix<float> a = HostMatrix<float>::random(n, n, 0, 1);
  std::vector<float> tau(static_cast<std::size_t>(n));
  software_device::resetPeaks();
  ASSERT_EQ(factorQr(Memory::host, a, tau), toviNoError);
  const double matrix = 4.0 * n * n;
  EXPECT_LT(static_cast<double>(software_device::live().peakDeviceBytes), 1.25 * matrix);
  EXPECT_LT(static_cast<double>(software_device::live().peakPageLockedBytes), 0.1 * matrix);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

// The operands of geqrf.
template <class T>
struct Factorization {
  HostMatrix<T> a, tau;

  Factorization(int m, int n) : a(HostMatrix<T>::random(m, n, 1, 21)), tau(std::min(m, n), 1) {
    tau.fill(T(-7));
  }
  toviStatus run(Memory where, const Around& around = {}) {
    const Placed<T> dA(where, a), dTau(where, tau);
    around.before();
    const toviStatus status = geqrf(where, a.rows(), a.cols(), dA.data(), a.ld(), dTau.data());
    around.after();
    dA.fetch();
    dTau.fetch();
    return status;
  }
  bool paddingIntact() const { return a.paddingIntact(); }
  bool sameBits(const Factorization& other) const { return a.sameBits(other.a) && tau.sameBits(other.tau); }
};

TYPED_TEST(QrSoftwareTest, EveryCallMayFailOnce) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  failEveryCall(Memory::host, Factorization<TypeParam>(20, 20), false);
  failEveryCall(Memory::host, Factorization<TypeParam>(100, 97), false);
  failEveryCall(Memory::device, Factorization<TypeParam>(70, 100), false);
}

TYPED_TEST(QrSoftwareTest, EveryCallMayFailForEver) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  failEveryCall(Memory::host, Factorization<TypeParam>(97, 100), true);
  failEveryCall(Memory::device, Factorization<TypeParam>(20, 20), true);
}

TEST(QrSoftwareSizes, WhatCannotBeRepresentedIsRefused) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  float a = 1, tau = 3;
  EXPECT_EQ(toviSgeqrf(2000000000, 2000000000, &a, 2000000000, &tau), toviInsufficientMemory);
  EXPECT_EQ(a, 1.0f);
  EXPECT_EQ(tau, 3.0f);
  EXPECT_EQ(software_device::live().allocations, 0u);
}

TYPED_TEST(QrSoftwareTest, SameBitsWithAnyNumberOfWorkers) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int m = 500, n = 420;
  const HostMatrix<TypeParam> a = HostMatrix<TypeParam>::random(m, n, 0, 2);
  for (const Orthogonal form : everyForm) {
    HostMatrix<TypeParam> first(m, n);
    std::vector<TypeParam> firstTau(static_cast<std::size_t>(n));
    for (const int workers : {0, 1, 3, 7}) {
      software_device::setWorkers(workers);
      const DeviceArray<TypeParam> dA(a), dTau(firstTau.size());
      ASSERT_EQ(factorDevice(form, m, n, dA.data(), a.ld(), dTau.data()), toviNoError);
      HostMatrix<TypeParam> factored(m, n);
      std::vector<TypeParam> tau(firstTau.size());
      dA.download(factored);
      dTau.download(tau.data());
      if (workers == 0) {
        first = factored;
        firstTau = tau;
      }
      EXPECT_TRUE(factored.sameBits(first) && tau == firstTau) << workers;
    }
  }
}

}  // namespace
}  // namespace testing_support
