// The vector and one-element kernels: sizes around the block of 256 threads, increments of both signs, and
// every element between two of the vector's untouched.

#include <cmath>
#include <cstdlib>
#include <vector>

#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
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

// Runs work(pointer to the device copy) and expects the device copy to hold `expected` then.
template <class T, class Work>
void expectResult(const Strided<T>& x, const Strided<T>& expected, const Work& work) {
  DeviceArray<T> dX(x.memory.data(), x.memory.size());
  work(dX.data());
  std::vector<T> result(x.memory.size());
  dX.download(result.data());
  EXPECT_TRUE(result == expected.memory) << "n = " << x.n << ", inc = " << x.inc;
}

template <class T>
class BasicVector : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(BasicVector, Elements);

TYPED_TEST(BasicVector, SetsConjugatesAndScales) {
  using T = TypeParam;
  const T alpha = makeElement<T>(3, -2);
  DeviceArray<T> dAlpha(&alpha, 1);
  for (int n : sizes)
    for (int inc : increments) {
      const Strided<T> x(n, inc, 5);
      Strided<T> zero = x, one = x, conjugated = x, scaled = x;
      for (int i = 0; i < n; ++i) {
        zero[i] = T(0);
        one[i] = T(1);
        conjugated[i] = tovi::conj(x[i]);
        scaled[i] = alpha * x[i];
      }
      expectResult(x, zero, [&](T* dX) { basic::setVector(basic::Fill::zero, n, dX, inc); });
      expectResult(x, one, [&](T* dX) { basic::setVector(basic::Fill::one, n, dX, inc); });
      expectResult(x, conjugated, [&](T* dX) { basic::conjugateVector(n, dX, inc); });
      expectResult(x, scaled, [&](T* dX) { basic::scaleVector(n, dX, dAlpha.data(), inc); });
    }
}

// Reciprocals of powers of two are exact, also where the squares of the parts overflow or vanish.
TYPED_TEST(BasicVector, ScalesByTheReciprocal) {
  using T = TypeParam;
  using R = Real<T>;
  const int limit = std::is_same_v<R, float> ? 100 : 1000;
  const Strided<T> x(257, 2, 3);
  for (int exponent : {1, limit, -limit})
    for (bool imaginary : {false, true}) {
      const R power = std::ldexp(R(1), exponent);
      const T alpha = imaginary && tovi::isComplex<T> ? makeElement<T>(0, power) : T(power);
      DeviceArray<T> dAlpha(&alpha, 1);
      Strided<T> expected = x;
      // 1 / (power i) = -i / power
      const T factor = imaginary && tovi::isComplex<T> ? makeElement<T>(0, -1 / power) : T(1 / power);
      for (int i = 0; i < x.n; ++i) expected[i] *= factor;
      expectResult(x, expected, [&](T* dX) { basic::scaleVector(x.n, dX, dAlpha.data(), x.inc, true); });
    }
  if constexpr (tovi::isComplex<T>) {  // 1 / (1 + 2i) = (1 - 2i) / 5, 1 / (2 + i) = (2 - i) / 5
    for (T alpha : {T(1, 2), T(2, 1), T(-2, 1), T(1, -2)}) {
      DeviceArray<T> dAlpha(&alpha, 1), dX(&alpha, 1);
      basic::scaleVector(1, dX.data(), dAlpha.data(), 1, true);
      T one;
      dX.download(&one);
      EXPECT_NEAR(static_cast<double>(one.re), 1, 1e-6);
      EXPECT_NEAR(static_cast<double>(one.im), 0, 1e-6);
    }
  }
}

TYPED_TEST(BasicVector, Copies) {
  using T = TypeParam;
  for (int n : sizes)
    for (int incx : increments)
      for (int incy : increments) {
        const Strided<T> x(n, incx, 1), y(n, incy, -3000);
        const Strided<Real<T>> realX(n, incx, 1);
        Strided<T> copied = y, widened = y;
        for (int i = 0; i < n; ++i) {
          copied[i] = x[i];
          widened[i] = T(realX[i]);
        }
        const DeviceArray<T> dX(x.memory.data(), x.memory.size());
        const DeviceArray<Real<T>> dRealX(realX.memory.data(), realX.memory.size());
        expectResult(y, copied, [&](T* dY) { basic::copyVector(n, dX.data(), incx, dY, incy); });
        expectResult(y, widened,
                     [&](T* dY) { basic::copyVectorRealToComplex(n, dRealX.data(), incx, dY, incy); });
      }
}

TYPED_TEST(BasicVector, OneElement) {
  using T = TypeParam;
  using R = Real<T>;
  const T source = makeElement<T>(3, 4);
  const R realSource = -6;
  DeviceArray<T> dSource(&source, 1);
  DeviceArray<R> dRealSource(&realSource, 1);
  // Three elements, of which the middle one is written.
  const auto written = [&](auto before, const auto& work) {
    const std::vector<decltype(before)> start(3, before);
    DeviceArray<decltype(before)> d(start.data(), 3);
    work(d.data() + 1);
    std::vector<decltype(before)> result(3);
    d.download(result.data());
    EXPECT_TRUE(result[0] == before && result[2] == before);
    return result[1];
  };
  const T other = makeElement<T>(8, 9);
  EXPECT_TRUE(written(other, [&](T* p) { basic::setSingle(basic::Fill::zero, p); }) == T(0));
  EXPECT_TRUE(written(other, [&](T* p) { basic::setSingle(basic::Fill::one, p); }) == T(1));
  EXPECT_TRUE(written(other, [&](T* p) { basic::copySingle(dSource.data(), p); }) == source);
  EXPECT_TRUE(written(other, [&](T* p) { basic::copyRealToComplex(dRealSource.data(), p); }) == T(-6));
  EXPECT_TRUE(written(R(8), [&](R* p) { basic::copyComplexToReal<T>(dSource.data(), p); }) == R(3));
}

}  // namespace
