// The kernels of vectors, of one element and of row interchanges: sizes around the block of 256 threads,
// increments of both signs, and every element between two of the vector's untouched.

#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

#include "tests/kernels/kernels.h"

namespace testing_support {
namespace {

const int sizes[] = {1, 2, 255, 256, 257, 1000};
const int increments[] = {1, 3, -1, -2};

// n elements, |inc| apart: a row of a matrix.
template <class T>
HostMatrix<T> vectorOf(int n, int inc, int start) {
  return numbered<T>(1, n, start, std::abs(inc) - 1);
}
// The column of element i, as the BLAS number them, and the element of column i.
int at(int i, int n, int inc) { return inc > 0 ? i : n - 1 - i; }

TOVI_TYPED_SUITE(BasicVector, ::testing::Test, AllTypes);

TYPED_TEST(BasicVector, SetsConjugatesAndScales) {
  using T = TypeParam;
  const T alpha = makeElement<T>(3, -2);
  const DeviceArray<T> dAlpha(&alpha, 1);
  for (const int n : sizes)
    for (const int inc : increments) {
      const HostMatrix<T> x = vectorOf<T>(n, inc, 5);
      for (const basic::Fill fill : {basic::Fill::zero, basic::Fill::one})
        expectMade(
            x, [=](MatrixView<T> dX) { basic::setVector(fill, n, dX.data, inc); },
            [=](int, int) { return fill == basic::Fill::one ? T(1) : T(0); });
      expectMade(
          x, [=](MatrixView<T> dX) { basic::conjugateVector(n, dX.data, inc); },
          [&](int, int j) { return tovi::conj(x(0, j)); });
      expectMade(
          x, [&](MatrixView<T> dX) { basic::scaleVector(n, dX.data, dAlpha.data(), inc); },
          [&](int, int j) { return alpha * x(0, j); });
    }
}

// Reciprocals of powers of two are exact, also where the squares of the parts overflow or vanish.
TYPED_TEST(BasicVector, ScalesByTheReciprocal) {
  using T = TypeParam;
  using R = Real<T>;
  const int limit = std::is_same_v<R, float> ? 100 : 1000;
  const HostMatrix<T> x = vectorOf<T>(257, 2, 3);
  const auto expectScaled = [&](T alpha, T factor) {
    const DeviceArray<T> dAlpha(&alpha, 1);
    expectMade(
        x, [&](MatrixView<T> dX) { basic::scaleVector(257, dX.data, dAlpha.data(), 2, true); },
        [&](int, int j) { return x(0, j) * factor; });
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
      EXPECT_LT(magnitude(one - T(1)), 1e-6);
    }
}

TYPED_TEST(BasicVector, Copies) {
  using T = TypeParam;
  for (const int n : sizes)
    for (const int incx : increments)
      for (const int incy : increments) {
        const auto x = vectorOf<T>(n, incx, 1), y = vectorOf<T>(n, incy, -3000);
        const auto real = vectorOf<Real<T>>(n, incx, 1);
        const OnDevice<T> dX(x);
        const OnDevice<Real<T>> dReal(real);
        const auto from = [=](int j) { return at(at(j, n, incy), n, incx); };
        expectMade(
            y, [&](MatrixView<T> dY) { basic::copyVector(n, dX.view.data, incx, dY.data, incy); },
            [&](int, int j) { return x(0, from(j)); });
        expectMade(
            y,
            [&](MatrixView<T> dY) {
              basic::copyVectorRealToComplex(n, dReal.view.data, incx, dY.data, incy);
            },
            [&](int, int j) { return T(real(0, from(j))); });
      }
}

// The middle one of three is written.
TYPED_TEST(BasicVector, OneElement) {
  using T = TypeParam;
  using R = Real<T>;
  const T source = makeElement<T>(3, 4);
  const DeviceArray<T> dSource(&source, 1);
  const auto expectWritten = [](auto wanted, const auto& work) {
    const auto three = vectorOf<decltype(wanted)>(3, 1, 8);
    expectMade(
        three, [&](auto x) { work(x.data + 1); }, [&](int, int j) { return j == 1 ? wanted : three(0, j); });
  };
  expectWritten(T(0), [](T* p) { basic::setSingle(basic::Fill::zero, p); });
  expectWritten(T(1), [](T* p) { basic::setSingle(basic::Fill::one, p); });
  expectWritten(source, [&](T* p) { basic::copySingle(dSource.data(), p); });
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
  SCOPED_TRACE(testing::Message() << lines << " lines, " << k1 << ".." << k2);
  std::vector<int> origin(static_cast<std::size_t>(lines));
  std::iota(origin.begin(), origin.end(), 0);
  for (int i = k1; k1 < k2 && i <= k2; ++i)
    std::swap(origin[static_cast<std::size_t>(i - 1)],
              origin[static_cast<std::size_t>(ipiv[static_cast<std::size_t>(i - 1)] - 1)]);
  const auto from = [&](int i) { return origin[static_cast<std::size_t>(i)]; };
  const auto rows = HostMatrix<T>::random(lines, length, 3, 1),
             cols = HostMatrix<T>::random(length, lines, 3, 2);
  const auto interchange = [&](const auto& routine, MatrixView<T> a) {
    std::vector<int> passed = ipiv;
    routine(length, a.data, a.ld, k1, k2, passed.data(), 1);
    passed.assign(passed.size(), 1);  // the pivots were taken along when the call returned
  };
  expectMade(
      rows, [&](MatrixView<T> a) { interchange(basic::laswp<T>, a); },
      [&](int i, int j) { return rows(from(i), j); });
  expectMade(
      cols, [&](MatrixView<T> a) { interchange(basic::laswpCol<T>, a); },
      [&](int i, int j) { return cols(i, from(j)); });
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
}  // namespace testing_support
