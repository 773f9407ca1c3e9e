// What every singular value decomposition must satisfy, whatever the device. Vectors are never compared: they
// are held against the matrix, in double precision.

#ifndef TOVI_TESTS_SVD_SVD_CHECKS_H
#define TOVI_TESTS_SVD_SVD_CHECKS_H

#include <cctype>
#include <cmath>
#include <string>
#include <vector>

#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

constexpr double svdBound = 50;

// What gesvd is asked for; of gesdd, where divided is true, with the letter that both have in common.
struct Jobs {
  char u, vt;
  bool divided = false;
};
// As it is where the matrix has this shape: 'O' is for the vectors of the longer side.
inline Jobs divided(char jobz, int m, int n) {
  if (jobz == 'O') return m >= n ? Jobs{'O', 'S', true} : Jobs{'S', 'O', true};
  return {jobz, jobz, true};
}
constexpr Jobs everyPairOfJobs[] = {{'A', 'A'}, {'A', 'S'}, {'A', 'O'}, {'A', 'N'}, {'S', 'A'},
                                    {'S', 'S'}, {'S', 'O'}, {'S', 'N'}, {'O', 'A'}, {'O', 'S'},
                                    {'O', 'N'}, {'N', 'A'}, {'N', 'S'}, {'N', 'O'}, {'N', 'N'}};

inline bool separate(char job) { return job == 'A' || job == 'S'; }

// The operands of gesvd. An output that is not asked for is there all the same, and must not be touched.
template <class T>
struct Svd {
  Jobs jobs;
  HostMatrix<T> a, u, vt;
  HostMatrix<Real<T>> s;

  toviStatus run(Memory where) {
    const Placed<T> dA(where, a), dU(where, u), dVt(where, vt);
    const Placed<Real<T>> dS(where, s);
    const auto letter = [&](char job) {  // both cases are the same
      return where == Memory::host ? job : static_cast<char>(std::tolower(static_cast<unsigned char>(job)));
    };
    const char jobz = jobs.vt == 'O' ? 'O' : jobs.u;
    const toviStatus status =
        jobs.divided ? gesdd(where, letter(jobz), a.rows(), a.cols(), dA.data(), a.ld(), dS.data(), dU.data(),
                             u.ld(), dVt.data(), vt.ld())
                     : gesvd(where, letter(jobs.u), letter(jobs.vt), a.rows(), a.cols(), dA.data(), a.ld(),
                             dS.data(), dU.data(), u.ld(), dVt.data(), vt.ld());
    for (const Placed<T>* operand : {&dA, &dU, &dVt}) operand->fetch();
    dS.fetch();
    return status;
  }
  bool paddingIntact() const {
    return a.paddingIntact() && u.paddingIntact() && vt.paddingIntact() && s.paddingIntact();
  }
  bool sameBits(const Svd& other) const {
    return a.sameBits(other.a) && u.sameBits(other.u) && vt.sameBits(other.vt) && s.sameBits(other.s);
  }
};

template <class T>
Svd<T> svdProblem(Jobs jobs, const HostMatrix<T>& a) {
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  if (jobs.divided) jobs = divided(jobs.u, m, n);
  Svd<T> problem{jobs, a,
                 separate(jobs.u) ? HostMatrix<T>(m, jobs.u == 'A' ? m : k, 2) : HostMatrix<T>(2, 2, 1),
                 separate(jobs.vt) ? HostMatrix<T>(jobs.vt == 'A' ? n : k, n, 1) : HostMatrix<T>(2, 2, 1),
                 HostMatrix<Real<T>>(k, 1, 1)};
  problem.u.fill(quietNaN<T>());
  problem.vt.fill(quietNaN<T>());
  problem.s.fill(quietNaN<Real<T>>());
  return problem;
}

template <class T>
Svd<T> randomSvdProblem(Jobs jobs, int m, int n) {
  return svdProblem(jobs, HostMatrix<T>::random(m, n, 3, static_cast<std::uint64_t>(m * 10007 + n)));
}

// A diag(s)
template <class W, class S>
HostMatrix<W> withScaledColumns(HostMatrix<W> a, const S& s) {
  return a.set([&](int i, int j) { return a(i, j) * W(s(j)); });
}

// || X - S^2 || / (s1^2 longest eps)
template <class T>
double squaresRatio(HostMatrix<Wide<T>> x, const HostMatrix<Real<T>>& s, int longest) {
  for (int i = 0; i < s.rows(); ++i) {
    const double value = static_cast<double>(s(i, 0));
    x(i, i) -= Wide<T>(value * value);
  }
  const double largest = static_cast<double>(s(0, 0));
  return scaled(norm1(x), largest * largest * longest * epsilon<T>());
}

// Order and sign of the values, orthogonality of all vectors that were asked for, and that they belong to the
// values:
//   both sides   || A - U S V^H || / (||A|| max(m, n) eps)
//   one side     || (U^H A) (U^H A)^H - S^2 || / (s1^2 max(m, n) eps), or the same with A V
// What was not asked for has not been touched.
template <class T>
void expectDecomposed(const Svd<T>& problem, const Svd<T>& solved) {
  using W = Wide<T>;
  const HostMatrix<T>& a = problem.a;
  const int m = a.rows(), n = a.cols(), k = std::min(m, n), longest = std::max(m, n);
  const Jobs jobs = problem.jobs;
  EXPECT_TRUE(solved.paddingIntact());
  for (int i = 0; i < k; ++i) {
    EXPECT_GE(solved.s(i, 0), i + 1 < k ? solved.s(i + 1, 0) : 0) << i;
    EXPECT_FALSE(std::signbit(solved.s(i, 0))) << i;
  }
  const auto expectSide = [&](char job, const HostMatrix<T>& before, const HostMatrix<T>& after) {
    if (separate(job)) {
      CHECK_RATIO(orthogonalityRatio<T>(widen(after)), svdBound);
    } else {
      EXPECT_TRUE(after.sameBits(before));
    }
  };
  expectSide(jobs.u, problem.u, solved.u);
  expectSide(jobs.vt, problem.vt, solved.vt);

  const HostMatrix<W> left = leading(jobs.u == 'O' ? solved.a : solved.u, jobs.u == 'N' ? 0 : m,
                                     jobs.u == 'N' ? 0 : k),
                      right = leading(jobs.vt == 'O' ? solved.a : solved.vt, jobs.vt == 'N' ? 0 : k,
                                      jobs.vt == 'N' ? 0 : n);
  if (jobs.u == 'O' || jobs.vt == 'O') {
    CHECK_RATIO(orthogonalityRatio<T>(jobs.u == 'O' ? left : right), svdBound);
  }
  if (jobs.u != 'N' && jobs.vt != 'N') {
    const HostMatrix<W> whole =
        product(withScaledColumns(left, [&](int j) { return static_cast<double>(solved.s(j, 0)); }), right);
    CHECK_RATIO(scaled(norm1(minus(whole, widen(a))), norm1(a) * longest * epsilon<T>()), svdBound);
  } else if (jobs.u != 'N') {
    const HostMatrix<W> rotated = product('C', left, 'N', widen(a));
    CHECK_RATIO(squaresRatio<T>(product('N', rotated, 'C', rotated), solved.s, longest), svdBound);
  } else if (jobs.vt != 'N') {
    const HostMatrix<W> rotated = product('N', widen(a), 'C', right);
    CHECK_RATIO(squaresRatio<T>(product('C', rotated, 'N', rotated), solved.s, longest), svdBound);
  }
}

template <class T>
std::vector<double> values(const Svd<T>& solved) {
  return {solved.s.data(), solved.s.data() + solved.s.rows()};
}

// max |s - reference| / (reference1 max(m, n) eps)
template <class T>
double valuesRatio(const Svd<T>& solved, const std::vector<double>& reference) {
  const std::vector<double> s = values(solved);
  double worst = 0;
  for (std::size_t i = 0; i < s.size(); ++i) worsen(worst, std::abs(s[i] - reference[i]));
  return scaled(worst, reference[0] * std::max(solved.a.rows(), solved.a.cols()) * epsilon<T>());
}

// Runs the routine and checks all but the values.
template <class T>
Svd<T> checkSvd(Memory where, const Svd<T>& problem) {
  SCOPED_TRACE(shape(where, problem.a.rows(), problem.a.cols()) + ", " + problem.jobs.u + problem.jobs.vt +
               (problem.jobs.divided ? " divided" : ""));
  Svd<T> solved = problem;
  EXPECT_EQ(solved.run(where), toviNoError) << toviGetErrorInfo();
  expectDecomposed(problem, solved);
  return solved;
}

// All pairs of jobs, and all jobs of gesdd, on one random matrix, and that they agree about its values.
template <class T>
void checkEveryPairOfJobs(Memory where, int m, int n) {
  const std::vector<double> reference = values(checkSvd(where, randomSvdProblem<T>({'N', 'N'}, m, n)));
  for (const Jobs jobs : everyPairOfJobs) {
    const Svd<T> solved = checkSvd(where, randomSvdProblem<T>(jobs, m, n));
    CHECK_RATIO(valuesRatio(solved, reference), svdBound) << jobs.u << jobs.vt << m << " x " << n;
  }
  for (const char jobz : {'A', 'S', 'O', 'N'}) {
    const Svd<T> solved = checkSvd(where, randomSvdProblem<T>({jobz, jobz, true}, m, n));
    CHECK_RATIO(valuesRatio(solved, reference), svdBound) << "divided " << jobz << m << " x " << n;
  }
}

// Random orthonormal columns.
template <class W>
HostMatrix<W> orthonormal(int rows, int cols, std::uint64_t seed) {
  HostMatrix<W> q = HostMatrix<W>::random(rows, cols, 0, seed);
  const int lwork = 64 * rows;
  std::vector<W> tau(static_cast<std::size_t>(cols)), work(static_cast<std::size_t>(lwork));
  EXPECT_EQ(host::geqrf(rows, cols, q.data(), q.ld(), tau.data(), work.data(), lwork), 0);
  EXPECT_EQ(host::orgqr(rows, cols, cols, q.data(), q.ld(), tau.data(), work.data(), lwork), 0);
  return q;
}

// A matrix with these min(m, n) singular values, up to its rounding to T.
template <class T>
HostMatrix<T> withValues(int m, int n, const std::vector<double>& s) {
  using W = Wide<T>;
  const int k = std::min(m, n);
  const HostMatrix<W> left =
      withScaledColumns(orthonormal<W>(m, k, 1), [&](int j) { return s[static_cast<std::size_t>(j)]; });
  return narrow<T>(product('N', left, 'C', orthonormal<W>(n, k, 2)), 1);
}

}  // namespace testing_support

#endif
