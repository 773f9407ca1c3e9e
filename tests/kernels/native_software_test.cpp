// Native bodies against the kernels that they stand in for: the same bits in every element, and none beside
// them. Transposed products, which agree to rounding only: tests/blas/gemv_software_test.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "device/software/testing/software_device.h"
#include "src/basic/Copy.h"
#include "src/basic/LASWP.h"
#include "src/basic/Transpose.h"
#include "src/basic/larfg.h"
#include "src/basic/lasr.h"
#include "tests/support/matrix.h"

namespace {

using testing_support::DeviceArray;
using testing_support::HostMatrix;
using testing_support::OnDevice;
using testing_support::quietNaN;
using testing_support::Random;
using tovi::Complex;

// Results of a kernel's body, with its threads in their order and in others, and of the native one, from the
// same start.
template <class T, class Run>
void expectSameBits(const HostMatrix<T>& before, const Run& run) {
  std::vector<HostMatrix<T>> results;
  const auto compute = [&](bool native, std::uint64_t seed) {
    software_device::useNativeBodies(native);
    software_device::setChecking(seed != 0, seed);
    const DeviceArray<T> device(before);
    run(device.data());
    results.push_back(before);
    device.download(results.back());
  };
  const std::uint64_t launches = software_device::nativeLaunches();
  compute(false, 0);
  for (const std::uint64_t seed : {1U, 2U}) compute(false, seed);
  EXPECT_EQ(software_device::nativeLaunches(), launches);
  compute(true, 0);
  EXPECT_GT(software_device::nativeLaunches(), launches) << "the wrapper names no native body";
  EXPECT_EQ(cudaGetLastError(), cudaSuccess);
  EXPECT_TRUE(results[0].paddingIntact());
  for (const HostMatrix<T>& result : results) EXPECT_TRUE(result.sameBits(results[0]));
  EXPECT_FALSE(results[0].sameBits(before)) << "the kernel has done nothing";
}

template <class T>
class NativeBodies : public testing::Test {
 protected:
  // Random, with a zero of either sign and a NaN
  static HostMatrix<T> random(int rows, int cols, int padding) {
    HostMatrix<T> a =
        HostMatrix<T>::random(rows, cols, padding, static_cast<std::uint64_t>(rows * 31 + cols));
    a(0, 0) = -T(0);
    a(rows - 1, 0) = quietNaN<T>();
    a(0, cols - 1) = T(0);
    return a;
  }
};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(NativeBodies, Elements);

// Around the tiles' edges (8 to 32 elements), and around the blocks' (64 to 256)
const int sizes[] = {2, 7, 8, 31, 33, 64, 129, 255, 257, 300};

TYPED_TEST(NativeBodies, CopiesAndTransposes) {
  using T = TypeParam;
  for (const int m : sizes) {
    for (const int n : {1, 40, 1100}) {
      SCOPED_TRACE(testing::Message() << m << " x " << n);
      const HostMatrix<T> a = this->random(m, n, 5 * (n % 3));
      const OnDevice<T> dA(a);
      expectSameBits(HostMatrix<T>(m, n, m % 2), [&](T* dB) {
        tovi::basic::copyMatrix<T>(dA.view, {dB, m, n, m + m % 2});
      });
    }
    for (const bool conjugate : {false, true}) {
      for (const int n : sizes) {
        SCOPED_TRACE(testing::Message() << m << " x " << n << (conjugate ? ", conjugate" : ""));
        const OnDevice<T> dA(this->random(m, n, n % 3));
        expectSameBits(HostMatrix<T>::random(n, m, m % 2, 7), [&](T* dB) {
          tovi::basic::transpose<T>(dA.view, {dB, n, m, n + m % 2}, conjugate);
        });
      }
      expectSameBits(this->random(m, m, m % 3), [&](T* dA) {
        tovi::basic::transposeInplace<T>({dA, m, m, m + m % 3}, conjugate);
      });
    }
  }
}

TYPED_TEST(NativeBodies, Interchanges) {
  using T = TypeParam;
  // Lines across, lines that move, first and last pivot. 33000 lines need the wide form.
  const struct {
    int across, moving, k1, k2;
  } cases[] = {{1, 30, 1, 17}, {70, 60, 3, 40}, {2100, 20, 1, 20}, {5, 33000, 32990, 33000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.across << " lines of " << c.moving);
    Random random(3);
    std::vector<int> pivots(static_cast<std::size_t>(c.moving));
    for (int i = 0; i < c.moving; ++i)
      pivots[static_cast<std::size_t>(i)] = i + 1 + random.below(c.moving - i);
    pivots[static_cast<std::size_t>(c.k1)] = c.k1 + 1;  // one that stays where it is
    const HostMatrix<T> rows = HostMatrix<T>::random(c.moving, c.across, 2, 5);
    expectSameBits(rows,
                   [&](T* dA) { tovi::basic::laswp(c.across, dA, rows.ld(), c.k1, c.k2, pivots.data(), 1); });
    const HostMatrix<T> columns = HostMatrix<T>::random(c.across, c.moving, 2, 5);
    expectSameBits(columns, [&](T* dA) {
      tovi::basic::laswpCol(c.across, dA, columns.ld(), c.k1, c.k2, pivots.data(), 1);
    });
  }
}

// Sixteen interchanges a launch.
TEST(Interchanges, TravelInBatches) {
  const DeviceArray<float> memory(64 * 600);
  const std::vector<int> pivots(64, 64);
  for (const auto& [last, expected] : {std::pair{16, 1u}, {17, 2u}, {32, 2u}, {33, 3u}}) {
    const auto before = software_device::calls(software_device::Entry::launch);
    tovi::basic::laswp(600, memory.data(), 64, 1, last, pivots.data(), 1);
    EXPECT_EQ(software_device::calls(software_device::Entry::launch) - before, expected) << last;
  }
}

TYPED_TEST(NativeBodies, Rotations) {
  using T = TypeParam;
  using R = tovi::Real<T>;
  for (const int m : {1, 15, 16, 17, 127, 128, 300})
    for (const int n : {2, 3, 5, 6, 9, 64, 131})
      for (const char direct : {'F', 'B'}) {
        SCOPED_TRACE(testing::Message() << m << " x " << n << ' ' << direct);
        // With some that turn nothing
        Random random(static_cast<std::uint64_t>(n));
        std::vector<R> c, s;
        for (int k = 0; k < n - 1; ++k) {
          const double angle = random.uniform();
          c.push_back(k % 7 == 3 ? R(1) : static_cast<R>(std::cos(angle)));
          s.push_back(k % 7 == 3 ? R(0) : static_cast<R>(std::sin(angle)));
        }
        const DeviceArray<R> dC(c.data(), c.size()), dS(s.data(), s.size());
        HostMatrix<T> a = HostMatrix<T>::random(m, n, 3, static_cast<std::uint64_t>(m));
        a(m - 1, n - 1) = quietNaN<T>();
        expectSameBits(
            a, [&](T* dA) { tovi::basic::lasr('R', 'V', direct, m, n, dC.data(), dS.data(), dA, a.ld()); });
      }
}

// In one array: alpha, the elements of x, and tau behind them. Scaled so that the squares stay in the range
// of the type, leave it at either end, and so that beta must be scaled.
TYPED_TEST(NativeBodies, Reflectors) {
  using T = TypeParam;
  using Limits = std::numeric_limits<tovi::Real<T>>;
  for (const int n : {1, 2, 31, 33, 65, 100, 1000})
    for (const int inc : {1, 3})
      for (const int exponent :
           {0, Limits::max_exponent - 9, Limits::min_exponent / 2 - 9, Limits::min_exponent + 20}) {
        SCOPED_TRACE(testing::Message() << n << " by " << inc << ", 2^" << exponent);
        const int length = (n - 1) * inc;
        auto a = HostMatrix<T>::random(length + 2, 1, 1, static_cast<std::uint64_t>(n));
        for (int i = 0; i <= length; ++i)
          a(i, 0) *= testing_support::makeElement<T>(std::ldexp(1.0, exponent), 0);
        expectSameBits(a, [&](T* d) { tovi::basic::larfg(n, d, d + 1, inc, d + length + 1); });
      }
}

}  // namespace
