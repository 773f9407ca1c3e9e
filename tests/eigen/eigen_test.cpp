// Eigenvalues and eigenvectors through the exported functions, on whatever device is there.

#include "tests/eigen/eigen_checks.h"
#include "tests/svd/svd_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(EigenTest, LibraryTest, AllTypes);

// Up to 128 rows and columns are reduced on the host, of larger matrices 48 at a time on the device.
TYPED_TEST(EigenTest, BothJobsOnBothTriangles) {
  for (const Memory where : bothInterfaces)
    for (const int n : {1, 2, 3, 25, 26, 70, 128, 129}) checkAllOptions<TypeParam>(where, n);
  for (const int n : {176, 177, 225, 300, 400}) checkAllOptions<TypeParam>(Memory::host, n);
}

// Even of both signs, geometric, clustered around 1, one large one, one small one, all equal, random
// magnitudes, and none but zeros.
TYPED_TEST(EigenTest, ValuesAreThoseThatTheMatrixWasMadeOf) {
  using Spectrum = double (*)(double part);  // part: 0 for the first value, 1 behind the last
  const double eps = epsilon<TypeParam>();
  static double least;
  least = eps;
  const Spectrum spectra[] = {
      [](double part) { return 2 * part - 1; },
      [](double part) { return std::pow(least, part); },
      [](double part) { return 1 + 20 * least * part; },
      [](double part) { return part == 0 ? 1.0 : least; },
      [](double part) { return part == 0 ? least : 1.0; },
      [](double) { return -5.0; },
      [](double part) { return std::exp(std::sin(1e4 * part) * 8) * (std::sin(3e5 * part) > 0 ? 1 : -1); },
      [](double) { return 0.0; },
  };
  for (const Spectrum& spectrum : spectra)
    for (const int n : {50, 200}) {
      SCOPED_TRACE(&spectrum - spectra);
      using W = Wide<TypeParam>;
      std::vector<double> w;
      for (int i = 0; i < n; ++i) w.push_back(spectrum(static_cast<double>(i) / n));
      const HostMatrix<W> q = orthonormal<W>(n, n, 1);
      const HostMatrix<W> scaledQ =
          withScaledColumns(q, [&](int j) { return w[static_cast<std::size_t>(j)]; });
      const HostMatrix<TypeParam> a = narrow<TypeParam>(product('N', scaledQ, 'C', q), 1);
      std::sort(w.begin(), w.end());
      for (const char job : {'V', 'N'})
        CHECK_RATIO(valuesRatio(checkEigen(Memory::host, job, 'L', a), w), eigenBound);
    }
}

// What is tridiagonal already, with pairs of values that agree in all digits (|i| on the diagonal, 1 beside
// it), repeated along the diagonal, glued by tiny elements; and diagonal matrices, which are sorted.
TYPED_TEST(EigenTest, TridiagonalAndDiagonalMatrices) {
  const int blocks = 9, order = 21, n = blocks * order;
  HostMatrix<TypeParam> glued(n, n, 1), diagonal(n, n);
  std::vector<double> expected;
  for (int i = 0; i < n; ++i) {
    glued(i, i) = TypeParam(static_cast<float>(std::abs(i % order - order / 2)));
    if (i > 0)
      glued(i, i - 1) = glued(i - 1, i) =
          i % order == 0 ? TypeParam(static_cast<Real<TypeParam>>(epsilon<TypeParam>())) : TypeParam(1);
    const int value = i % 3 == 0 ? 7 : i % 2 == 0 ? i : -i;
    diagonal(i, i) = TypeParam(static_cast<float>(value));
    expected.push_back(value);
  }
  std::sort(expected.begin(), expected.end());
  for (const char uplo : {'L', 'U'}) {
    const std::vector<double> pairs = values(checkEigen(Memory::host, 'V', uplo, glued));
    EXPECT_NEAR(pairs.back(), 10.746194182903393, 10 * n * epsilon<TypeParam>());
    for (const char job : {'V', 'N'})
      CHECK_RATIO(valuesRatio(checkEigen(Memory::device, job, uplo, diagonal), expected), 1);
  }
}

template <class R>
R eighths(R x) {
  return std::round(8 * x) / 8;
}
template <class R>
Complex<R> eighths(Complex<R> z) {
  return {eighths(z.re), eighths(z.im)};
}

TYPED_TEST(EigenTest, TheWholeRangeOfTheTypeIsSafe) {
  using R = Real<TypeParam>;
  const double least = std::numeric_limits<R>::denorm_min(), most = std::numeric_limits<R>::max();
  for (const double factor : {least * 0x1p20, std::sqrt(least), std::sqrt(most), most * 0x1p-6})
    for (const int n : {1, 2, 30, 150})
      for (const char job : {'V', 'N'}) {
        // Multiples of 1/8 stay what they are next to the least number, too.
        HostMatrix<TypeParam> a = randomHermitian<TypeParam>(n);
        a.set([&](int i, int j) { return eighths(a(i, j)); });
        const std::vector<double> plain = values(checkEigen(Memory::host, 'N', 'L', a));
        a.set([&](int i, int j) { return a(i, j) * TypeParam(static_cast<R>(factor)); });
        Eigen<TypeParam> solved = eigenProblem(job, 'L', a);
        ASSERT_EQ(solved.run(Memory::host), toviNoError);
        std::vector<double> w = values(solved);
        for (double& value : w) value /= factor;
        double worst = 0;
        for (std::size_t i = 0; i < w.size(); ++i) worsen(worst, std::abs(w[i] - plain[i]));
        // At 2^20 times the least number the values have been rounded, once.
        EXPECT_LE(worst, 30 * n * epsilon<TypeParam>() + (factor < 0x1p30 * least ? 0x1p-21 : 0))
            << factor << ", " << n << job;
        if (job == 'V') {
          CHECK_RATIO(orthogonalityRatio<TypeParam>(widen(solved.a)), eigenBound);
        }
      }
}

TYPED_TEST(EigenTest, NaNAndInfinityMakeAllResultsNaN) {
  const auto isNaN = [](const auto& x) { return magnitude(x) != magnitude(x); };
  for (const Memory where : bothInterfaces)
    for (const int n : {1, 4, 150})
      for (const char job : {'V', 'N'})
        for (const float bad :
             {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
          Eigen<TypeParam> problem = eigenProblem(job, 'L', randomHermitian<TypeParam>(n));
          problem.a(n - 1, n / 2) = TypeParam(bad);
          EXPECT_EQ(problem.run(where), toviNoError);
          for (int i = 0; i < n; ++i) {
            EXPECT_TRUE(std::isnan(problem.w(i, 0)));
            if (job == 'V') {
              EXPECT_TRUE(isNaN(problem.a(i, n - 1 - i)));
            }
          }
        }
}

}  // namespace
}  // namespace testing_support
