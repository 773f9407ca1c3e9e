// The transposed matrix-vector product on the software device: how it is launched, and its kernel, which
// otherwise gives way to the native body.

#include <string>
#include <vector>

#include "device/software/testing/software_device.h"
#include "src/blas/gemv.h"
#include "tests/blas/blas_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class GemvTest : public LibraryTest {};
using Elements = ::testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(GemvTest, Elements);

// An m x n matrix in device memory and vectors that are long enough for both products; which calls one makes.
template <class T>
class Operands {
 public:
  Operands(int m, int n)
      : m_(m), n_(n), a_(size(m) * size(n)), x_(size(m) + size(n)), y_(size(m) + size(n)) {}
  std::vector<software_device::Call> calls(char trans, T alpha, T beta) const {
    software_device::startRecording();
    EXPECT_EQ(gemv(Memory::device, trans, m_, n_, alpha, a_.data(), std::max(1, m_), x_.data(), 1, beta,
                   y_.data(), 1),
              toviNoError);
    std::vector<software_device::Call> result;
    for (const software_device::Call& call : software_device::stopRecording())
      if (call.entry == Entry::launch || call.entry == Entry::gemv) result.push_back(call);
    return result;
  }

 private:
  static std::size_t size(int k) { return static_cast<std::size_t>(k); }
  int m_, n_;
  DeviceArray<T> a_, x_, y_;
};

TYPED_TEST(GemvTest, Launches) {
  using T = TypeParam;
  const bool single = std::is_same_v<T, float>;
  const long long bx = single ? 32 : 16, by = single ? 16 : 8;
  for (const int n : {1, 16, 32, 33}) {
    const Operands<T> operands(511, n);
    for (const char trans : {'T', 'c'}) {
      const auto native = software_device::nativeLaunches();
      const auto calls = operands.calls(trans, T(1), T(0));
      EXPECT_EQ(software_device::nativeLaunches() - native, 1u);
      ASSERT_EQ(calls.size(), 1u);
      EXPECT_EQ(calls[0].entry, Entry::launch);
      EXPECT_EQ(calls[0].stream, 0u);
      const std::vector<long long> shape(calls[0].arguments.begin(), calls[0].arguments.begin() + 6);
      EXPECT_EQ(shape, (std::vector<long long>{(n + bx - 1) / bx, 1, 1, bx, by, 1}));
    }
    const auto plain = operands.calls('N', T(1), T(0));
    ASSERT_EQ(plain.size(), 1u);
    EXPECT_EQ(plain[0].entry, Entry::gemv);
    for (const char trans : {'N', 'T', 'C'}) EXPECT_EQ(operands.calls(trans, T(0), T(1)).size(), 0u) << trans;
  }
  for (const char trans : {'N', 'T', 'C'}) {
    EXPECT_EQ(Operands<T>(0, 3).calls(trans, T(1), T(0)).size(), 0u);
    EXPECT_EQ(Operands<T>(3, 0).calls(trans, T(1), T(0)).size(), 0u);
  }
}

// The tests of the exported routine, which show the native body, with the kernel.
TYPED_TEST(GemvTest, TheKernelItself) {
  using T = TypeParam;
  software_device::useNativeBodies(false);
  checkGemvBlocks<T>();
  checkGemvNaN<T>(Memory::host);
  checkGemvWithoutFactor<T>(Memory::device);
}

// More columns than the blocks of one grid produce: two launches, one for each half.
TEST(GemvColumns, BeyondOneGrid) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const int most = 65535 * 16;
  for (const int n : {most, most + 3})
    for (const int incy : {1, -1}) {
      SCOPED_TRACE(testing::Message() << n << ' ' << incy);
      HostMatrix<double> a(1, n), y(n, 1);
      for (int j = 0; j < n; ++j) a(0, j) = j;
      const double two = 2;
      const DeviceArray<double> dA(a), dX(&two, 1), dY(y);
      const auto launches = software_device::calls(Entry::launch);
      ASSERT_EQ(gemv(Memory::device, 'T', 1, n, 1.0, dA.data(), 1, dX.data(), 1, 0.0, dY.data(), incy),
                toviNoError);
      EXPECT_EQ(software_device::calls(Entry::launch) - launches, n == most ? 1u : 2u);
      dY.download(y);
      int wrong = 0;
      for (int j = 0; j < n; ++j) wrong += y(incy < 0 ? n - 1 - j : j, 0) != 2.0 * j;
      EXPECT_EQ(wrong, 0);
    }
}

}  // namespace
}  // namespace testing_support
