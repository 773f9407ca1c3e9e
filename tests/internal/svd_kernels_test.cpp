// Rotation sequences, reflectors and the shift of reflectors: exact on integer data, and to rounding.

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "src/basic/larfg.h"
#include "src/basic/lasr.h"
#include "src/brd/brd.h"
#include "tests/support/matrix.h"
#include "tests/support/ratios.h"

namespace {

using namespace testing_support;

template <class T>
class SvdKernels : public testing::Test {};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(SvdKernels, Elements);

// --- Rotations

template <class R>
struct Rotations {
  std::vector<R> c, s;

  // Quarter turns of either sense, half turns, some that do nothing, and six that stretch by whole numbers,
  // so that no rounding happens.
  static Rotations whole(int count) {
    Rotations r;
    Random random(static_cast<std::uint64_t>(count));
    for (int k = 0; k < count; ++k) {
      const int choice = random.below(9);
      r.c.push_back(R(choice == 0 ? -1 : choice < 3 ? 1 : 0));
      r.s.push_back(R(choice < 3 ? 0 : choice < 6 ? 1 : -1));
    }
    for (int k = 0; k < count; k += 1 + count / 6) {
      const auto at = static_cast<std::size_t>(k);
      r.c[at] = 2, r.s[at] = R(k % 2 == 0 ? 1 : -1);
    }
    return r;
  }
  static Rotations random(int count) {
    Rotations r;
    Random random(1);
    for (int k = 0; k < count; ++k) {
      const double angle = 3 * random.uniform();
      r.c.push_back(static_cast<R>(std::cos(angle)));
      r.s.push_back(static_cast<R>(std::sin(angle)));
    }
    return r;
  }
};

// The definition, on the matrix in host memory.
template <class T, class R>
void applyRotations(char side, char direct, const Rotations<R>& rotations, HostMatrix<T>& a) {
  const int last = (side == 'L' ? a.rows() : a.cols()) - 1, lines = side == 'L' ? a.cols() : a.rows();
  for (int done = 0; done < last; ++done) {
    const int k = direct == 'F' ? done : last - 1 - done;
    const T c = T(rotations.c[static_cast<std::size_t>(k)]), s = T(rotations.s[static_cast<std::size_t>(k)]);
    if (c == T(1) && s == T(0)) continue;
    for (int line = 0; line < lines; ++line) {
      T& x = side == 'L' ? a(k, line) : a(line, k);
      T& y = side == 'L' ? a(k + 1, line) : a(line, k + 1);
      const T before = x;
      x = c * before + s * y;
      y = c * y - s * before;
    }
  }
}

template <class T, class R>
HostMatrix<T> rotated(char side, char pivot, char direct, const Rotations<R>& rotations,
                      const HostMatrix<T>& a) {
  const DeviceArray<T> dA(a);
  const DeviceArray<R> dC(rotations.c.data(), rotations.c.size()), dS(rotations.s.data(), rotations.s.size());
  tovi::basic::lasr(side, pivot, direct, a.rows(), a.cols(), dC.data(), dS.data(), dA.data(), a.ld());
  HostMatrix<T> result = a;
  dA.download(result);
  return result;
}

// Lines that are rotated, and their length
const std::pair<int, int> lineShapes[] = {{1, 2},  {3, 1},  {5, 3},    {63, 4},   {64, 5},
                                          {65, 6}, {17, 9}, {128, 10}, {130, 66}, {300, 127}};

TYPED_TEST(SvdKernels, RotatesByWholeNumbersExactly) {
  using T = TypeParam;
  for (const auto& [lines, length] : lineShapes)
    for (const char* letters : {"LVF", "LVB", "RVF", "RVB", "lvf", "rvb"}) {
      SCOPED_TRACE(std::string(letters) + " " + std::to_string(lines) + " x " + std::to_string(length));
      const char side = letters[0] & ~0x20, direct = letters[2] & ~0x20;
      HostMatrix<T> a(side == 'L' ? length : lines, side == 'L' ? lines : length, 3);
      Random random(5);
      for (int j = 0; j < a.cols(); ++j)
        for (int i = 0; i < a.rows(); ++i)
          a(i, j) = makeElement<T>(random.below(19) - 9, random.below(19) - 9);
      const auto rotations = Rotations<Real<T>>::whole(length - 1);
      HostMatrix<T> expected = a;
      applyRotations(side, direct, rotations, expected);
      const HostMatrix<T> result = rotated(letters[0], letters[1], letters[2], rotations, a);
      EXPECT_TRUE(result.paddingIntact());
      for (int j = 0; j < a.cols(); ++j)
        for (int i = 0; i < a.rows(); ++i) ASSERT_TRUE(result(i, j) == expected(i, j)) << i << ", " << j;
    }
}

TYPED_TEST(SvdKernels, RotationsKeepTheLengthOfARow) {
  using T = TypeParam;
  const int n = 500;
  const auto a = HostMatrix<T>::random(40, n, 1, 9);
  for (const char direct : {'F', 'B'}) {
    const auto result = rotated('R', 'V', direct, Rotations<Real<T>>::random(n - 1), a);
    for (int i = 0; i < a.rows(); ++i) {
      double before = 0, after = 0;
      for (int j = 0; j < n; ++j) {
        before += magnitude(a(i, j)) * magnitude(a(i, j));
        after += magnitude(result(i, j)) * magnitude(result(i, j));
      }
      CHECK_RATIO(std::abs(after - before) / (before * n * epsilon<T>()), 30);
    }
  }
}

TYPED_TEST(SvdKernels, RotationsThatDoNothingTouchNothing) {
  using T = TypeParam;
  auto a = HostMatrix<T>::random(20, 20, 2, 4);
  a(3, 4) = makeElement<T>(HUGE_VAL, 0);
  a(7, 7) = quietNaN<T>();
  Rotations<Real<T>> none;
  none.c.assign(19, 1);
  none.s.assign(19, 0);
  const auto turns = Rotations<Real<T>>::random(19);
  for (const char side : {'L', 'R'})
    for (const char direct : {'F', 'B'}) {
      EXPECT_TRUE(rotated(side, 'V', direct, none, a).sameBits(a));
      EXPECT_TRUE(rotated(side, 'T', direct, turns, a).sameBits(a));
      EXPECT_TRUE(rotated(side, 'b', direct, turns, a).sameBits(a));
      EXPECT_FALSE(rotated(side, 'V', direct, turns, a).sameBits(a));
    }
}

// --- Reflectors

template <class T>
struct Vector {
  T alpha;
  std::vector<T> x;  // n - 1 elements, inc apart
  int inc;
  int n() const { return static_cast<int>(x.size()) / inc + 1; }
  T& operator[](int i) { return x[static_cast<std::size_t>(i * inc)]; }
  T operator[](int i) const { return x[static_cast<std::size_t>(i * inc)]; }

  static Vector random(int n, int inc, double scale = 1) {
    Random random(static_cast<std::uint64_t>(n * 7 + inc));
    Vector v = {random.element<T>() * makeElement<T>(scale, 0), {}, inc};
    for (int i = 0; i < (n - 1) * inc; ++i) v.x.push_back(random.element<T>() * makeElement<T>(scale, 0));
    return v;
  }
};

template <class T>
struct Reflector {
  T beta, tau;
  Vector<T> v;
};

template <class T>
Reflector<T> reflectorOf(const Vector<T>& y) {
  const T untouched = makeElement<T>(77, 77);
  const DeviceArray<T> dAlpha(&y.alpha, 1), dX(y.x.data(), y.x.size()), dTau(&untouched, 1);
  tovi::basic::larfg(y.n(), dAlpha.data(), dX.data(), y.inc, dTau.data());
  Reflector<T> r = {untouched, untouched, y};
  dX.download(r.v.x.data());
  dAlpha.download(&r.beta);
  dTau.download(&r.tau);
  for (int i = 0; i < static_cast<int>(y.x.size()); ++i)
    if (i % y.inc != 0) {
      const auto at = static_cast<std::size_t>(i);
      EXPECT_TRUE(r.v.x[at] == y.x[at]) << "between the elements";
    }
  return r;
}

template <class T>
double imaginary(T x) {
  if constexpr (tovi::isComplex<T>)
    return static_cast<double>(x.im);
  else
    return 0 * static_cast<double>(x);
}

TYPED_TEST(SvdKernels, ReflectorsAnnihilate) {
  using T = TypeParam;
  using W = Wide<T>;
  for (const int n : {1, 2, 3, 32, 33, 34, 1000})
    for (const int inc : {1, 3}) {
      if (n == 1 && !tovi::isComplex<T>) continue;  // nothing to annihilate
      SCOPED_TRACE(testing::Message() << n << " elements, " << inc << " apart");
      const auto y = Vector<T>::random(n, inc);
      const auto r = reflectorOf(y);
      EXPECT_EQ(imaginary(r.beta), 0);
      EXPECT_LT(tovi::real(r.beta) * tovi::real(y.alpha), 0);
      // w^H y with w = (1, v), |w|^2 and |y|^2
      W product = widen(y.alpha);
      double lengthW = 1, lengthY = std::pow(magnitude(y.alpha), 2);
      for (int i = 0; i < n - 1; ++i) {
        product += tovi::conj(widen(r.v[i])) * widen(y[i]);
        lengthW += std::pow(magnitude(r.v[i]), 2);
        lengthY += std::pow(magnitude(y[i]), 2);
      }
      const W factor = tovi::conj(widen(r.tau)) * product;
      double residual = std::pow(magnitude(widen(y.alpha) - factor - widen(r.beta)), 2);
      for (int i = 0; i < n - 1; ++i)
        residual += std::pow(magnitude(widen(y[i]) - factor * widen(r.v[i])), 2);
      CHECK_RATIO(std::sqrt(residual / lengthY) / (std::sqrt(n) * epsilon<T>()), qrBound);
      // H is unitary: |tau|^2 |w|^2 = 2 Re tau
      const double loss =
          std::pow(magnitude(r.tau), 2) * lengthW - 2 * static_cast<double>(tovi::real(r.tau));
      CHECK_RATIO(std::abs(loss) / (std::sqrt(n) * epsilon<T>()), qrBound);
    }
}

// Scaling by a power of two changes nothing but beta, also where squares, or the reciprocal of beta, leave
// the range of the type.
TYPED_TEST(SvdKernels, ReflectorsOfVerySmallAndVeryLargeVectors) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  const int safe = Limits::min_exponent + Limits::digits;
  for (const int exponent :
       {safe - 9, safe - 1, safe + 8, Limits::min_exponent / 2, Limits::max_exponent - 8})
    for (const int n : {2, 40}) {
      SCOPED_TRACE(testing::Message() << n << " elements, scaled by 2^" << exponent);
      const double scale = std::ldexp(1.0, exponent);
      const auto expected = reflectorOf(Vector<T>::random(n, 1));
      const auto r = reflectorOf(Vector<T>::random(n, 1, scale));
      const auto close = [](T x, T y) {
        CHECK_RATIO(magnitude(widen(x) - widen(y)) / (magnitude(y) * epsilon<T>()), 16);
      };
      close(makeElement<T>(static_cast<double>(tovi::real(r.beta)) / scale, 0), expected.beta);
      close(r.tau, expected.tau);
      for (int i = 0; i < n - 1; ++i) close(r.v[i], expected.v[i]);
    }
}

TYPED_TEST(SvdKernels, ReflectorsThatAreTheIdentity) {
  using T = TypeParam;
  Vector<T> y = Vector<T>::random(50, 2);
  for (int i = 0; i < 49; ++i) y[i] = T(0);
  y.alpha = makeElement<T>(-3, 0);
  auto r = reflectorOf(y);
  EXPECT_TRUE(r.tau == T(0) && r.beta == y.alpha && r.v.x == y.x);
  y.alpha = makeElement<T>(3, 4);
  r = reflectorOf(y);
  if (tovi::isComplex<T>) {  // beta is real, v still zero
    EXPECT_NEAR(static_cast<double>(tovi::real(r.beta)), -5, 1e-5);
    EXPECT_NEAR(static_cast<double>(tovi::real(r.tau)), 1.6, 1e-5);
    EXPECT_NEAR(imaginary(r.tau), 0.8, 1e-5);
  } else {
    EXPECT_TRUE(r.tau == T(0) && r.beta == y.alpha);
  }
  EXPECT_TRUE(r.v.x == y.x);

  const T before = makeElement<T>(5, 5);
  const DeviceArray<T> dTau(&before, 1);
  tovi::basic::larfg<T>(0, nullptr, nullptr, 1, dTau.data());
  T tau;
  dTau.download(&tau);
  EXPECT_TRUE(tau == T(0));
}

TYPED_TEST(SvdKernels, ReflectorsOfVectorsWithNaN) {
  using T = TypeParam;
  for (const int at : {-1, 0, 44}) {
    Vector<T> y = Vector<T>::random(50, 1);
    (at < 0 ? y.alpha : y[at]) = makeElement<T>(1, std::nan(""));
    if (!tovi::isComplex<T>) (at < 0 ? y.alpha : y[at]) = quietNaN<T>();
    const auto r = reflectorOf(y);
    EXPECT_TRUE(std::isnan(tovi::real(r.beta))) << at;
    EXPECT_TRUE(std::isnan(tovi::real(r.tau))) << at;
  }
  Vector<T> y = Vector<T>::random(50, 1);
  y[7] = makeElement<T>(HUGE_VAL, 0);
  EXPECT_TRUE(std::isinf(tovi::real(reflectorOf(y).beta)));
}

// --- The shift of reflectors

TYPED_TEST(SvdKernels, ShiftsReflectors) {
  using T = TypeParam;
  for (const int n : {1, 2, 3, 4, 256, 257, 300})
    for (const char uplo : {'L', 'u'}) {
      SCOPED_TRACE(testing::Message() << uplo << ' ' << n);
      const auto a = HostMatrix<T>::random(n, n, 2, 3);
      const bool lower = uplo == 'L';
      HostMatrix<T> expected = a;
      for (int j = 1; j < n; ++j)
        for (int i = 1; i < n; ++i)
          if (i != j && (i > j) == lower) expected(i, j) = lower ? a(i, j - 1) : a(i - 1, j);
      const DeviceArray<T> dA(a);
      tovi::brd::orgbrCopy(uplo, n, dA.data(), a.ld());
      HostMatrix<T> result = a;
      dA.download(result);
      EXPECT_TRUE(result.sameBits(expected));
    }
}

}  // namespace
