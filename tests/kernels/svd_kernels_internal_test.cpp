// Rotation sequences, exact on integer data, and reflectors, to rounding.

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/lapack.h"
#include "src/basic/larfg.h"
#include "src/basic/lasr.h"
#include "src/brd/brd.h"
#include "tests/kernels/kernels.h"
#include "tests/support/matrix.h"
#include "tests/support/ratios.h"

namespace {

using namespace testing_support;

TOVI_TYPED_SUITE(SvdKernels, ::testing::Test, AllTypes);

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
  const OnDevice<T> dA(a);
  const DeviceArray<R> dC(rotations.c), dS(rotations.s);
  tovi::basic::lasr(side, pivot, direct, a.rows(), a.cols(), dC.data(), dS.data(), dA.view.data, a.ld());
  return dA.downloaded(a);
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
      a.set([&](int, int) { return makeElement<T>(random.below(19) - 9, random.below(19) - 9); });
      const auto rotations = Rotations<Real<T>>::whole(length - 1);
      HostMatrix<T> expected = a;
      applyRotations(side, direct, rotations, expected);
      const HostMatrix<T> result = rotated(letters[0], letters[1], letters[2], rotations, a);
      EXPECT_TRUE(result.paddingIntact());
      for (int j = 0; j < a.cols(); ++j)
        for (int i = 0; i < a.rows(); ++i) ASSERT_TRUE(result(i, j) == expected(i, j)) << i << ", " << j;
    }
}

TYPED_TEST(SvdKernels, RotationsThatDoNothingTouchNothing) {
  using T = TypeParam;
  auto a = HostMatrix<T>::random(20, 20, 2, 4);
  a(3, 4) = makeElement<T>(HUGE_VAL, 0);
  a(7, 7) = quietNaN<T>();
  const Rotations<Real<T>> none = {std::vector<Real<T>>(19, 1), std::vector<Real<T>>(19, 0)};
  const auto turns = Rotations<Real<T>>::whole(19);
  for (const char side : {'L', 'R'})
    for (const char direct : {'F', 'B'}) {
      EXPECT_TRUE(rotated(side, 'V', direct, none, a).sameBits(a));
      EXPECT_TRUE(rotated(side, 'T', direct, turns, a).sameBits(a));
      EXPECT_TRUE(rotated(side, 'b', direct, turns, a).sameBits(a));
      EXPECT_FALSE(rotated(side, 'V', direct, turns, a).sameBits(a));
    }
}

// --- Reflectors

// n elements: the first one, and a row of a matrix, whose padding lies between the others.
template <class T>
struct Vector {
  Vector(int n, int inc, double scale = 1)
      : alpha(Random(3).element<T>() * makeElement<T>(scale, 0)),
        x(HostMatrix<T>::random(1, n - 1, inc - 1, static_cast<std::uint64_t>(n * 7 + inc))) {
    for (int i = 0; i < n - 1; ++i) x(0, i) *= makeElement<T>(scale, 0);
  }
  T alpha;
  HostMatrix<T> x;
};

template <class T>
struct Reflector {
  T beta, tau;
  HostMatrix<T> v;
};

template <class T>
Reflector<T> reflectorOf(const Vector<T>& y) {
  const T untouched = makeElement<T>(77, 77);
  const DeviceArray<T> dAlpha(&y.alpha, 1), dX(y.x), dTau(&untouched, 1);
  tovi::basic::larfg(y.x.cols() + 1, dAlpha.data(), dX.data(), y.x.ld(), dTau.data());
  Reflector<T> r = {untouched, untouched, y.x};
  dX.download(r.v);
  dAlpha.download(&r.beta);
  dTau.download(&r.tau);
  EXPECT_TRUE(r.v.paddingIntact());
  return r;
}

// Scaling by a power of two changes nothing but beta, also where squares, or the reciprocal of beta, leave
// the range of the type. Whether the reflector annihilates, SvdTest says.
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
      const auto expected = reflectorOf(Vector<T>(n, 1)), r = reflectorOf(Vector<T>(n, 1, scale));
      const auto close = [](T x, T y) {
        CHECK_RATIO(magnitude(widen(x) - widen(y)) / (magnitude(y) * epsilon<T>()), 16);
      };
      close(makeElement<T>(static_cast<double>(tovi::real(r.beta)) / scale, 0), expected.beta);
      close(r.tau, expected.tau);
      EXPECT_NE(std::signbit(tovi::real(r.beta)), std::signbit(tovi::real(Vector<T>(n, 1).alpha)));
      for (int i = 0; i < n - 1; ++i) close(r.v(0, i), expected.v(0, i));
    }
}

// A NaN anywhere wins over all other numbers; an infinity shows. Nothing to annihilate makes tau zero.
TYPED_TEST(SvdKernels, ReflectorsOfVectorsWithNaN) {
  using T = TypeParam;
  for (const int at : {-1, 0, 44}) {
    Vector<T> y(50, 1);
    (at < 0 ? y.alpha : y.x(0, at)) = tovi::isComplex<T> ? makeElement<T>(1, std::nan("")) : quietNaN<T>();
    const Reflector<T> r = reflectorOf(y);
    EXPECT_TRUE(std::isnan(tovi::real(r.beta)) && std::isnan(tovi::real(r.tau))) << at;
  }
  Vector<T> y(50, 2);
  y.x(0, 7) = makeElement<T>(HUGE_VAL, 0);
  EXPECT_TRUE(std::isinf(tovi::real(reflectorOf(y).beta)));
  y.x.fill(T(0));
  y.alpha = makeElement<T>(-3, 0);
  EXPECT_TRUE(reflectorOf(y).tau == T(0));
}

// --- The two products of a step of the bidiagonal form

// y = tau (A^H v + y) and x - y, and with the reflector u of that, tau (A u + x), against their definitions:
// x as large as A, so small that products with it lose their digits, and of none but zeros.
TYPED_TEST(SvdKernels, ProductsFromBothSides) {
  using T = TypeParam;
  using W = Wide<T>;
  const double tiny = std::ldexp(1.0, std::numeric_limits<Real<T>>::min_exponent - 8);
  for (const auto& [m, n] : {std::pair{1, 1}, {2, 9}, {40, 17}, {301, 130}, {600, 460}})
    for (const double size : {1.0, tiny, 0.0}) {
      SCOPED_TRACE(testing::Message() << m << " x " << n << ", x of size " << size);
      const auto a = HostMatrix<T>::random(m, n, 3, 1);
      auto v = HostMatrix<T>::random(m, 1, 0, 2), y = HostMatrix<T>::random(n, 1, 0, 3),
           x = HostMatrix<T>::random(n, 1, 0, 4), before = HostMatrix<T>::random(m, 1, 0, 5);
      if (size != 1) v.fill(T(0)), y.fill(T(0));
      for (int j = 0; j < n; ++j) x(j, 0) *= makeElement<T>(size, 0);
      const T tau = makeElement<T>(1.5, 0.25);
      const HostMatrix<W> product = testing_support::product('C', widen(a), 'N', widen(v));
      withEachBody(a.size(), [&] {
        const OnDevice<T> dA(a), dX(x), dY(y), dV(v), dResult(before);
        const DeviceArray<T> dTau(&tau, 1);
        const DeviceArray<Real<T>> dBeta(1);
        const int parts = tovi::brd::partsOfBothWays(m, n);
        const OnDevice<T> dParts(HostMatrix<T>(m, parts, 1));
        T *const du = dX.view.data, *const dPart = dParts.view.data;
        tovi::brd::multiplyBothWays<T>(dA.view, dV.view.data, dTau.data(), dY.view.data, du, dParts.view);
        const HostMatrix<T> newY = dY.downloaded(y), newX = dX.downloaded(x);
        const double bound = 8 * m * epsilon<T>();
        for (int j = 0; j < n; ++j) {
          const W expected = widen(tau) * (product(j, 0) + widen(y(j, 0)));
          CHECK_RATIO(magnitude(widen(newY(j, 0)) - expected) / bound, 1);
          CHECK_RATIO(magnitude(widen(newX(j, 0)) - (widen(x(j, 0)) - expected)) / bound, 1);
        }
        tovi::basic::larfg(n, du, dTau.data(), dBeta.data());
        tovi::brd::addReflected<T>(dA.view, du, dBeta.data(), dTau.data(), {dPart, m, parts, dParts.view.ld},
                                   dResult.view.data);
        T newTau;
        dTau.download(&newTau);
        const HostMatrix<W> u = widen(dX.downloaded(x));
        const HostMatrix<W> Au = testing_support::product('N', widen(a), 'N', u);
        const HostMatrix<T> result = dResult.downloaded(before);
        for (int i = 0; i < m; ++i) {
          const W expected = widen(newTau) * (Au(i, 0) + widen(before(i, 0)));
          CHECK_RATIO(magnitude(widen(result(i, 0)) - expected) / (8 * n * epsilon<T>()), 1);
        }
      });
    }
}

// The first rows and columns of a matrix, as the host's gebd2 reduces them: reflectors and scalars.
TYPED_TEST(SvdKernels, APanelIsReducedAsByTheHost) {
  using T = TypeParam;
  using R = Real<T>;
  for (const auto& [m, n, steps] : {std::tuple{9, 6, 5}, {33, 33, 32}, {97, 40, 32}, {150, 149, 32}}) {
    SCOPED_TRACE(testing::Message() << m << " x " << n << ", " << steps << " steps");
    const auto a = HostMatrix<T>::random(m, n, 3, 1);
    auto left = HostMatrix<T>::random(m, 2 * steps, 2, 2), right = HostMatrix<T>::random(n, 2 * steps, 1, 3);
    for (int k = 0; k < steps; ++k) {
      for (int i = 0; i < m; ++i) left(i, 2 * k) = a(i, k);
      for (int j = 0; j < n; ++j) right(j, 2 * k + 1) = tovi::conj(a(k, j));
    }
    std::vector<R> d(n), e(n);
    std::vector<T> tauq(n), taup(n), work(m);
    std::vector<T> h(a.data(), a.data() + a.size());
    h.resize(a.size() + static_cast<std::size_t>(a.ld()));  // which some host libraries read
    ASSERT_EQ(host::gebd2(m, n, h.data(), a.ld(), d.data(), e.data(), tauq.data(), taup.data(), work.data()),
              0);
    HostMatrix<T> expected = a;
    std::copy_n(h.begin(), a.size(), expected.data());
    withEachBody(a.size(), [&] {
      const OnDevice<T> dA(a), dL(left), dR(right);
      const DeviceArray<R> dD(steps), dE(steps);
      const DeviceArray<T> dTauq(steps), dTaup(steps);
      tovi::brd::reducePanel<T>(dA.view, dL.view, dR.view, dD.data(), dE.data(), dTauq.data(), dTaup.data());
      const HostMatrix<T> newL = dL.downloaded(left), newR = dR.downloaded(right);
      std::vector<R> newD(steps), newE(steps);
      std::vector<T> newTauq(steps), newTaup(steps);
      dD.download(newD.data()), dE.download(newE.data());
      dTauq.download(newTauq.data()), dTaup.download(newTaup.data());
      const double bound = 100.0 * m * epsilon<T>();
      for (int k = 0; k < steps; ++k) {
        const std::size_t at = static_cast<std::size_t>(k);
        EXPECT_NEAR(newD[at], d[at], bound) << k;
        EXPECT_NEAR(newE[at], e[at], bound) << k;
        EXPECT_LE(magnitude(widen(newTauq[at]) - widen(tauq[at])), bound) << k;
        EXPECT_LE(magnitude(widen(newTaup[at]) - widen(taup[at])), bound) << k;
        for (int i = k + 1; i < m; ++i)
          EXPECT_LE(magnitude(widen(newL(i, 2 * k)) - widen(expected(i, k))), bound) << i << ' ' << k;
        for (int j = k + 2; j < n; ++j)
          EXPECT_LE(magnitude(widen(newR(j, 2 * k + 1)) - widen(tovi::conj(expected(k, j)))), bound)
              << j << ' ' << k;
      }
    });
  }
}

}  // namespace
