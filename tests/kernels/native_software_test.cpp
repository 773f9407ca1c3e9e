// Native bodies against the kernels that they stand in for: the same bits in every element, and none beside
// them, where numbers are rounded; the others are in the tests of the kernels. Transposed products, which
// agree to rounding only: GemvTest.

#include <cmath>
#include <deque>
#include <functional>
#include <limits>
#include <vector>

#include "tests/kernels/kernels.h"

namespace testing_support {
namespace {

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

TOVI_TYPED_SUITE(NativeBodies, ::testing::Test, AllTypes);

TYPED_TEST(NativeBodies, AreNamedByTheWrappers) {
  using T = TypeParam;
  const OnDevice<T> a(HostMatrix<T>(40, 40)), b(HostMatrix<T>(40, 40));
  const int pivots[] = {2, 2};
  const std::function<void()> calls[] = {[&] { basic::copyMatrix<T>(a.view, b.view); },
                                         [&] { basic::transpose<T>(a.view, b.view, false); },
                                         [&] { basic::transposeInplace<T>(a.view, true); },
                                         [&] { basic::laswp(40, a.view.data, 40, 1, 2, pivots, 1); },
                                         [&] { basic::laswpCol(40, a.view.data, 40, 1, 2, pivots, 1); }};
  for (const auto& call : calls) {
    const std::uint64_t before = software_device::nativeLaunches();
    call();
    EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
    EXPECT_GT(software_device::nativeLaunches(), before) << &call - calls;
  }
}

TYPED_TEST(NativeBodies, Conversions) {
  using T = TypeParam;
  using Other = basic::OtherPrecision<T>;
  for (const auto& [m, n] : {std::pair{1, 1}, {300, 7}, {17, 40}, {40000, 2}}) {
    HostMatrix<T> a = HostMatrix<T>::random(m, n, 3, 1);
    a(0, 0) = T(std::numeric_limits<Real<T>>::max());
    const OnDevice<T> dA(a);
    expectSameBits(HostMatrix<Other>(m, n, 2), [&, rows = m, cols = n](Other* dB) {
      basic::convertPrecision<Other>(dA.view, {dB, rows, cols, rows + 2});
    });
  }
}

// Of rows, for the norm that is the greatest of them.
TYPED_TEST(NativeBodies, Sums) {
  using T = TypeParam;
  for (const auto& [m, n] : {std::pair{1, 1}, {255, 40}, {256, 3}, {700, 300}}) {
    HostMatrix<T> a = HostMatrix<T>::random(m, n, 3, 1);
    for (int j = 0; j < n; ++j) a(m / 2, j) *= T(4);
    const OnDevice<T> dA(a);
    expectSameBits(HostMatrix<Real<T>>(1, 1), [&](Real<T>* d) {
      const Real<T> norm = basic::lange<T>('I', dA.view);
      EXPECT_EQ(cudaMemcpy(d, &norm, sizeof norm, cudaMemcpyHostToDevice), cudaSuccess);
    });
  }
}

// Sixteen interchanges a launch.
TEST(Interchanges, TravelInBatches) {
  const DeviceArray<float> memory(64 * 600);
  const std::vector<int> pivots(64, 64);
  for (const auto& [last, expected] : {std::pair{16, 1u}, {17, 2u}, {32, 2u}, {33, 3u}}) {
    const auto before = software_device::calls(software_device::Entry::launch);
    basic::laswp(600, memory.data(), 64, 1, last, pivots.data(), 1);
    EXPECT_EQ(software_device::calls(software_device::Entry::launch) - before, expected) << last;
  }
}

// With some that turn nothing
template <class R>
struct Turns {
  explicit Turns(int count, std::uint64_t seed, int still = 7) {
    Random random(seed);
    for (int k = 0; k < count; ++k) {
      const double angle = random.uniform();
      c.push_back(k % still == 3 ? R(1) : static_cast<R>(std::cos(angle)));
      s.push_back(k % still == 3 ? R(0) : static_cast<R>(std::sin(angle)));
    }
  }
  std::vector<R> c, s;
};

TYPED_TEST(NativeBodies, Rotations) {
  using T = TypeParam;
  using R = tovi::Real<T>;
  for (const int m : {1, 15, 16, 17, 127, 128, 300})
    for (const int n : {2, 3, 5, 6, 9, 64, 131})
      for (const char direct : {'F', 'B'}) {
        SCOPED_TRACE(testing::Message() << m << " x " << n << ' ' << direct);
        const Turns<R> turns(n - 1, static_cast<std::uint64_t>(n));
        const DeviceArray<R> dC(turns.c.data(), turns.c.size()), dS(turns.s.data(), turns.s.size());
        HostMatrix<T> a = HostMatrix<T>::random(m, n, 3, static_cast<std::uint64_t>(m));
        a(m - 1, n - 1) = quietNaN<T>();
        expectSameBits(a,
                       [&](T* dA) { basic::lasr('R', 'V', direct, m, n, dC.data(), dS.data(), dA, a.ld()); });
      }
}

// Sequences that stand behind each other in the queue are made together: on some of the columns, on few, on
// other ones altogether, from other places; with rotations that turn nothing, or none, over elements that are
// no numbers. Those of the other direction, on other rows or on another matrix are not.
TYPED_TEST(NativeBodies, SequencesOfRotationsThatAreMadeTogether) {
  using T = TypeParam;
  using R = tovi::Real<T>;
  const int m = 150, n = 90;
  struct Sequence {
    int first, count, row;
    char direct;
  };
  std::vector<Sequence> sequences;
  for (int q = 0; q < 40; ++q) sequences.push_back({0, n - 1 - q / 3, 0, 'F'});
  for (int q = 0; q < 20; ++q) sequences.push_back({q, n - 1 - 2 * q, 0, 'B'});
  for (const int count : {1, 2, 3, 4, 5, 6, 7, 8, 1, 1}) sequences.push_back({30 - count, count, 0, 'B'});
  for (const auto& [first, count] : {std::pair{40, 3}, {43, 10}, {20, 20}, {54, 1}, {80, 9}, {0, 89}})
    sequences.push_back({first, count, 0, 'F'});
  for (const int row : {1, 0, 5, 5}) sequences.push_back({10, 60, row, 'F'});
  for (const char direct : {'B', 'F', 'B', 'B'}) sequences.push_back({10, 60, 0, direct});

  HostMatrix<T> a = HostMatrix<T>::random(m + 5, n, 3, 1);
  for (const int still : {7, n}) {
    std::deque<DeviceArray<R>> dC, dS;
    for (std::size_t q = 0; q < sequences.size(); ++q) {
      const Turns<R> turns(n, q, still);
      dC.emplace_back(turns.c.data(), turns.c.size());
      dS.emplace_back(turns.s.data(), turns.s.size());
    }
    std::uint64_t runs = 0;
    expectSameBits(a, [&](T* dA) {
      software_device::setSchedule(software_device::Schedule::lazy);  // all are there when the first one runs
      const std::uint64_t before = software_device::nativeLaunches();
      for (std::size_t q = 0; q < sequences.size(); ++q) {
        const Sequence& sequence = sequences[q];
        basic::lasr('R', 'V', sequence.direct, m, sequence.count + 1, dC[q].data(), dS[q].data(),
                    dA + sequence.row + static_cast<std::ptrdiff_t>(sequence.first) * a.ld(), a.ld());
      }
      EXPECT_EQ(software_device::pending(), sequences.size());
      EXPECT_EQ(cudaThreadSynchronize(), cudaSuccess);
      runs = software_device::nativeLaunches() - before;
      software_device::setSchedule(software_device::Schedule::eager);
    });
    EXPECT_EQ(runs, 3 + 2 + 2 + 3 + 3U);  // sixteen at a time

    a(m / 2, n / 2) = quietNaN<T>();
    a(0, 3) = makeElement<T>(HUGE_VAL, 0);
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
        for (int i = 0; i <= length; ++i) a(i, 0) *= makeElement<T>(std::ldexp(1.0, exponent), 0);
        expectSameBits(a, [&](T* d) { basic::larfg(n, d, d + 1, inc, d + length + 1); });
      }
}

// In one array: v with the 1 in its first place, tau, and beta.
TYPED_TEST(NativeBodies, ReflectorsWithBetaApart) {
  using T = TypeParam;
  for (const int n : {1, 2, 100}) {
    const auto a = HostMatrix<T>::random(n + 2, 1, 1, static_cast<std::uint64_t>(n));
    expectSameBits(a, [&](T* d) { basic::larfg(n, d, d + n, reinterpret_cast<tovi::Real<T>*>(d + n + 1)); });
  }
}

// In one array: v, tau, w and its copy.
TYPED_TEST(NativeBodies, WeightsOfReflectors) {
  using T = TypeParam;
  for (const int n : {1, 2, 63, 64, 65, 1000}) {
    SCOPED_TRACE(n);
    const auto a = HostMatrix<T>::random(3 * n + 1, 1, 1, static_cast<std::uint64_t>(n));
    expectSameBits(a, [&](T* d) { basic::completeWeight(n, d, d + n, d + n + 1, d + 2 * n + 1); });
  }
}

}  // namespace
}  // namespace testing_support
