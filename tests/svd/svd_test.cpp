// Singular value decompositions through the exported functions, on whatever device is there.

#include "tests/svd/svd_checks.h"

namespace testing_support {
namespace {

TOVI_TYPED_SUITE(SvdTest, LibraryTest, AllTypes);

constexpr Jobs somePairs[] = {{'N', 'N'}, {'S', 'S'},       {'A', 'O'},
                              {'O', 'A'}, {'A', 'A', true}, {'O', 'O', true}};

// Where the longer side has 1.6 times the shorter one's elements, rounded down, or more, A is reduced to a
// triangle first. Everything else begins with A itself, and with a lower bidiagonal form if it has more
// columns than rows.
TYPED_TEST(SvdTest, EveryPairOfJobsOnEveryPath) {
  const std::pair<int, int> shapes[] = {{1, 1},   {2, 1},   {7, 1},     {2, 2},    {3, 2},    {4, 3},
                                        {5, 4},   {6, 6},   {17, 5},    {33, 33},  {40, 31},  {100, 30},
                                        {97, 97}, {98, 97}, {130, 100}, {160, 97}, {161, 100}};
  for (const Memory where : bothInterfaces)
    for (const auto& [m, n] : shapes) {
      checkEveryPairOfJobs<TypeParam>(where, m, n);
      if (m != n) checkEveryPairOfJobs<TypeParam>(where, n, m);
    }
}

// Blocks of the bidiagonal form are 32 wide; the last 1 to 32 rows and columns are reduced on the host.
TYPED_TEST(SvdTest, LargerMatrices) {
  const std::pair<int, int> shapes[] = {{95, 95},   {96, 96},   {192, 192}, {193, 193}, {300, 300},
                                        {193, 194}, {450, 250}, {250, 450}, {320, 280}, {280, 320}};
  for (const auto& [m, n] : shapes)
    for (const bool divided : {false, true})
      checkSvd(Memory::host, randomSvdProblem<TypeParam>({'S', 'S', divided}, m, n));
}

// Even, graded, rank-deficient, clustered, all equal, one large one, and none but zeros.
TYPED_TEST(SvdTest, ValuesAreThoseThatTheMatrixWasMadeOf) {
  using Spectrum = double (*)(double part);  // part: 0 for the first value, 1 behind the last
  const Spectrum spectra[] = {
      [](double part) { return 1 - part; },
      [](double part) { return std::pow(epsilon<TypeParam>() / 64, part); },
      [](double part) { return 3 * part < 1 ? 2 - part : 0.0; },
      [](double part) { return 2 * part < 1 ? 1.0 : 1e-3; },
      [](double) { return 5.0; },
      [](double part) { return part == 0 ? 1.0 : 16 * epsilon<TypeParam>(); },
      [](double) { return 0.0; },
  };
  for (const Spectrum& spectrum : spectra)
    for (const auto& [m, n] : {std::pair{60, 60}, {90, 40}, {40, 90}, {120, 100}, {100, 120}}) {
      SCOPED_TRACE(&spectrum - spectra);
      const int k = std::min(m, n);
      std::vector<double> s;
      for (int i = 0; i < k; ++i) s.push_back(spectrum(static_cast<double>(i) / k));
      const HostMatrix<TypeParam> a = withValues<TypeParam>(m, n, s);
      for (const Jobs jobs : somePairs) {
        const Svd<TypeParam> solved = checkSvd(Memory::host, svdProblem(jobs, a));
        CHECK_RATIO(valuesRatio(solved, s), svdBound);
      }
    }
}

TYPED_TEST(SvdTest, DiagonalMatricesAreSorted) {
  for (const Memory where : bothInterfaces)
    for (const auto& [m, n] : {std::pair{40, 40}, {50, 40}, {40, 90}}) {
      HostMatrix<TypeParam> identity(m, n), mixed(m, n);
      std::vector<double> expected;
      for (int i = 0; i < 40; ++i) {
        identity(i, i) = TypeParam(1);
        mixed(i, i) = TypeParam(static_cast<float>(i % 2 == 0 ? i - 40 : i));
        expected.push_back(i % 2 == 0 ? 40 - i : i);
      }
      std::sort(expected.rbegin(), expected.rend());
      for (const Jobs jobs : somePairs) {
        EXPECT_EQ(values(checkSvd(where, svdProblem(jobs, identity))), std::vector<double>(40, 1.0));
        CHECK_RATIO(valuesRatio(checkSvd(where, svdProblem(jobs, mixed)), expected), 1);
      }
    }
}

// Beyond 2^40 and 2^-40, of double precision 2^459 and 2^-459, the matrix is scaled, by a power of 2.
TYPED_TEST(SvdTest, LargeAndSmallMatricesAreScaled) {
  const std::vector<int> beyond =
      sizeof(Real<TypeParam>) == sizeof(double) ? std::vector{460, 900, 1000} : std::vector{41, 100, 120};
  std::vector<double> factors;
  for (const int power : beyond)
    for (const int sign : {-1, 1}) factors.push_back(std::ldexp(1, sign * power));
  for (const double factor : factors)
    for (const auto& [m, n] : {std::pair{1, 1}, {30, 30}, {70, 40}, {40, 50}})
      for (const Jobs jobs : somePairs) {
        const Svd<TypeParam> plain = randomSvdProblem<TypeParam>(jobs, m, n);
        Svd<TypeParam> problem = plain;
        problem.a.set([&](int i, int j) { return plain.a(i, j) * makeElement<TypeParam>(factor, 0); });
        std::vector<double> reference = values(checkSvd(Memory::device, plain));
        for (double& value : reference) value *= factor;
        CHECK_RATIO(valuesRatio(checkSvd(Memory::device, problem), reference), svdBound);
      }
}

// At the ends of the type's range: the smallest numbers, and values of which only the largest does not
// overflow by much.
TYPED_TEST(SvdTest, TheWholeRangeOfTheTypeIsSafe) {
  using R = Real<TypeParam>;
  for (const R size : {7 * std::numeric_limits<R>::denorm_min(), std::numeric_limits<R>::max() / 11}) {
    HostMatrix<TypeParam> a(3, 2);
    a(0, 0) = TypeParam(size);
    a(2, 1) = TypeParam(size);
    for (const Jobs jobs : somePairs) {
      const double exact = static_cast<double>(size);
      const Svd<TypeParam> solved = checkSvd(Memory::host, svdProblem(jobs, a));
      CHECK_RATIO(valuesRatio(solved, {exact, exact}), 1);
    }
  }
}

TYPED_TEST(SvdTest, NaNAndInfinityEndTheCall) {
  for (const Memory where : bothInterfaces)
    for (const auto& [m, n] :
         {std::pair{1, 1}, {3, 3}, {5, 2}, {40, 40}, {120, 120}, {150, 60}, {60, 150}, {100, 120}})
      for (const Jobs jobs : somePairs)
        for (const Real<TypeParam> bad : {std::numeric_limits<Real<TypeParam>>::quiet_NaN(),
                                          std::numeric_limits<Real<TypeParam>>::infinity()}) {
          Svd<TypeParam> problem = randomSvdProblem<TypeParam>(jobs, m, n);
          problem.a(m / 2, n - 1) = TypeParam(bad);
          const toviStatus status = problem.run(where);
          EXPECT_TRUE(status == toviDataError || (status == toviNoError && std::isnan(problem.s(0, 0))))
              << status << ", " << problem.s(0, 0) << ", " << jobs.u << jobs.vt << ", " << m << " x " << n;
          EXPECT_TRUE(problem.paddingIntact());
        }
}

}  // namespace
}  // namespace testing_support
