// The kernels of vectors, of one element and of row interchanges: sizes around the block of 256 threads,
// increments of both signs, and every element between two of the vector's untouched.

#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
#include "src/basic/LASWP.h"
#include "src/basic/Scale.h"
#include "src/basic/Set.h"
#include "tests/support/matrix.h"

namespace {

using namespace testing_support;
namespace basic = tovi::basic;

const int sizes[] = {1, 2, 255, 256, 257, 1000};
const int increments[] = {1, 3, -1, -2};

// n elements, |inc| apart, in host memory; element i of the vector as the BLAS number them.
template <class T>
struct Strided {
  Strided(int n_, int inc_, int start)
      : n(n_), inc(inc_), memory(static_cast<std::size_t>((n - 1) * std::abs(inc) + 1)) {
    for (std::size_t k = 0; k < memory.size(); ++k)
      memory[k] = makeElement<T>(start + static_cast<int>(k), 2 * start - static_cast<int>(k));
  }
  T& operator[](int i) { return memory[static_cast<std::size_t>(inc > 0 ? i * inc : (i + 1 - n) * inc)]; }
  const T& operator[](int i) const { return const_cast<Strided&>(*this)[i]; }

  int n, inc;
  std::vector<T> memory;
};

// What work(address) makes of a vector on the device: rule(i).
template <class T, class Work, class Rule>
void expectMade(const Strided<T>& before, const Work& work, const Rule& rule) {
  const DeviceArray<T> device(before.memory.data(), before.memory.size());
  Strided<T> expected = before;
  for (int i = 0; i < before.n; ++i) expected[i] = rule(i);
  work(device.data());
  std::vector<T> result(before.memory.size());
  device.download(result.data());
  EXPECT_TRUE(result == expected.memory) << "n = " << before.n << ", inc = " << before.inc;
}

template <class T>
class BasicVector : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(BasicVector, Elements);

TYPED_TEST(BasicVector, SetsConjugatesAndScales) {
  using T = TypeParam;
  const T alpha = makeElement<T>(3, -2);
  const DeviceArray<T> dAlpha(&alpha, 1);
  for (const int n : sizes)
    for (const int inc : increments) {
      const Strided<T> x(n, inc, 5);
      for (const int value : {0, 1})
        expectMade(
            x,
            [=](T* dX) { basic::setVector(value == 1 ? basic::Fill::one : basic::Fill::zero, n, dX, inc); },
            [=](int) { return T(static_cast<float>(value)); });
      expectMade(
          x, [=](T* dX) { basic::conjugateVector(n, dX, inc); }, [&](int i) { return tovi::conj(x[i]); });
      expectMade(
          x, [&](T* dX) { basic::scaleVector(n, dX, dAlpha.data(), inc); },
          [&](int i) { return alpha * x[i]; });
    }
}

// Reciprocals of powers of two are exact, also where the squares of the parts overflow or vanish.
TYPED_TEST(BasicVector, ScalesByTheReciprocal) {
  using T = TypeParam;
  using R = Real<T>;
  const int limit = std::is_same_v<R, float> ? 100 : 1000;
  const Strided<T> x(257, 2, 3);
  const auto expectScaled = [&](T alpha, T factor) {
    const DeviceArray<T> dAlpha(&alpha, 1);
    expectMade(
        x, [&](T* dX) { basic::scaleVector(x.n, dX, dAlpha.data(), x.inc, true); },
        [&](int i) { return x[i] * factor; });
  };
  for (const int exponent : {1, limit, -limit}) {
    const R power = std::ldexp(R(1), exponent);
    expectScaled(T(power), T(1 / power));
    if constexpr (tovi::isComplex<T>) expectScaled(T(0, power), T(0, -1 / power));
  }
  if constexpr (tovi::isComplex<T>)  // 1 / (1 + 2i) = (1 - 2i) / 5, 1 / (2 + i) = (2 - i) / 5
    for (const T alpha : {T(1, 2), T(2, 1), T(-2, 1), T(1, -2)}) {
      const DeviceArray<T> dAlpha(&alpha, 1), dX(&alpha, 1);
      basic::scaleVector(1, dX.data(), dAlpha.data(), 1, true);
      T one;
      dX.download(&one);
      EXPECT_NEAR(static_cast<double>(one.re), 1, 1e-6);
      EXPECT_NEAR(static_cast<double>(one.im), 0, 1e-6);
    }
}

TYPED_TEST(BasicVector, Copies) {
  using T = TypeParam;
  for (const int n : sizes)
    for (const int incx : increments)
      for (const int incy : increments) {
        const Strided<T> x(n, incx, 1), y(n, incy, -3000);
        const Strided<Real<T>> real(n, incx, 1);
        const DeviceArray<T> dX(x.memory);
        const DeviceArray<Real<T>> dReal(real.memory);
        expectMade(
            y, [&](T* dY) { basic::copyVector(n, dX.data(), incx, dY, incy); }, [&](int i) { return x[i]; });
        expectMade(
            y, [&](T* dY) { basic::copyVectorRealToComplex(n, dReal.data(), incx, dY, incy); },
            [&](int i) { return T(real[i]); });
      }
}

// The middle one of three is written.
TYPED_TEST(BasicVector, OneElement) {
  using T = TypeParam;
  using R = Real<T>;
  const T source = makeElement<T>(3, 4);
  const R realSource = -6;
  const DeviceArray<T> dSource(&source, 1);
  const DeviceArray<R> dReal(&realSource, 1);
  const auto expectWritten = [](auto wanted, const auto& work) {
    const Strided<decltype(wanted)> three(3, 1, 8);
    expectMade(
        three, [&](auto* p) { work(p + 1); }, [&](int i) { return i == 1 ? wanted : three[i]; });
  };
  expectWritten(T(0), [](T* p) { basic::setSingle(basic::Fill::zero, p); });
  expectWritten(T(1), [](T* p) { basic::setSingle(basic::Fill::one, p); });
  expectWritten(source, [&](T* p) { basic::copySingle(dSource.data(), p); });
  expectWritten(T(-6), [&](T* p) { basic::copyRealToComplex(dReal.data(), p); });
  expectWritten(R(3), [&](R* p) { basic::copyComplexToReal<T>(dSource.data(), p); });
}

// --- Interchanges, in both storages

// As an LU factorization makes them: row i changes places with itself or a later row.
std::vector<int> randomPivots(int count, int rows, std::uint64_t seed) {
  Random random(seed);
  std::vector<int> pivots;
  for (int i = 0; i < count; ++i) pivots.push_back(i + 1 + random.below(rows - i));
  return pivots;
}

// Interchanges the lines k1..k2 of `lines` lines of the given length and compares with the host.
template <class T>
void expectInterchanges(int lines, int length, int k1, int k2, const std::vector<int>& ipiv) {
  const auto rows = HostMatrix<T>::random(lines, length, 3, 1),
             cols = HostMatrix<T>::random(length, lines, 3, 2);
  auto expectedRows = rows, expectedCols = cols;
  for (int i = k1; k1 < k2 && i <= k2; ++i) {
    const int p = ipiv[static_cast<std::size_t>(i - 1)];
    for (int x = 0; x < length; ++x) {
      std::swap(expectedRows(i - 1, x), expectedRows(p - 1, x));
      std::swap(expectedCols(x, i - 1), expectedCols(x, p - 1));
    }
  }
  const OnDevice<T> dRows(rows), dCols(cols);
  std::vector<int> passed = ipiv;
  basic::laswp(length, dRows.view.data, rows.ld(), k1, k2, passed.data(), 1);
  basic::laswpCol(length, dCols.view.data, cols.ld(), k1, k2, passed.data(), 1);
  passed.assign(passed.size(), 1);  // the pivots were taken along when the calls returned
  EXPECT_TRUE(dRows.holds(expectedRows)) << lines << " rows, " << k1 << ".." << k2;
  EXPECT_TRUE(dCols.holds(expectedCols)) << lines << " columns, " << k1 << ".." << k2;
}

// Around batches of 16 and the block of 256. A range of one pivot interchanges nothing; neither does one that
// ends before it starts. Pivots that point backwards and at themselves, and one line that moves through all.
TYPED_TEST(BasicVector, InterchangesLines) {
  using T = TypeParam;
  for (const int k1 : {1, 2, 20})
    for (const int count : {2, 15, 16, 17, 32, 33, 60})
      expectInterchanges<T>(90, 19, k1, k1 + count - 1, randomPivots(79, 90, 7));
  for (const int length : {1, 255, 256, 257, 600})
    expectInterchanges<T>(40, length, 3, 30, randomPivots(30, 40, 11));
  for (const int k2 : {3, 2}) expectInterchanges<T>(8, 5, 3, k2, std::vector<int>(8, 8));
  expectInterchanges<T>(20, 6, 1, 20, {1, 1, 3, 2, 5, 20, 7, 7, 1, 10, 10, 12, 1, 2, 3, 16, 17, 20, 19, 1});
  std::vector<int> chain;
  for (int i = 1; i < 40; ++i) chain.push_back(i + 1);
  expectInterchanges<T>(40, 6, 1, 39, chain);
}

// Beyond the lines that 16 bits can name, as target, as first line, and both forms in one call.
TEST(BasicInterchangesWide, MoreThan32768Lines) {
  const int lines = 40000;
  std::vector<int> pivots(static_cast<std::size_t>(lines));
  for (int i = 0; i < lines; ++i) pivots[static_cast<std::size_t>(i)] = i + 1;
  const int targets[] = {32767, 32768, 32769, 32770, 40000};
  for (int i = 0; i < 5; ++i) pivots[static_cast<std::size_t>(3 + 10 * i)] = targets[i];
  expectInterchanges<float>(lines, 3, 1, 60, pivots);
  expectInterchanges<Complex<float>>(lines, 2, 1, 18, pivots);
  const auto random = randomPivots(lines, lines, 3);
  expectInterchanges<float>(lines, 3, 32750, 32800, random);
  expectInterchanges<double>(lines, 2, 39990, 40000, random);
}

}  // namespace
