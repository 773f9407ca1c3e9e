// What every eigendecomposition must satisfy, whatever the device. Vectors are never compared: they are held
// against the matrix, in double precision.

#ifndef TOVI_TESTS_EIGEN_EIGEN_CHECKS_H
#define TOVI_TESTS_EIGEN_EIGEN_CHECKS_H

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

constexpr double eigenBound = 30;

// The operands of syevd and heevd.
template <class T>
struct Eigen {
  char job, uplo;
  HostMatrix<T> a;
  HostMatrix<Real<T>> w;

  toviStatus run(Memory where) {
    const Placed<T> dA(where, a);
    const Placed<Real<T>> dW(where, w);
    const toviStatus status = heevd(where, job, uplo, a.rows(), dA.data(), a.ld(), dW.data());
    dA.fetch(), dW.fetch();
    return status;
  }
};

// One triangle of a Hermitian matrix; what is not to be used is NaN: the other one, and the imaginary parts
// of the diagonal.
template <class T>
Eigen<T> eigenProblem(char job, char uplo, HostMatrix<T> a) {
  a.set([&](int i, int j) {
    if (i == j) return makeElement<T>(static_cast<double>(tovi::real(a(i, i))), static_cast<double>(NAN));
    return (i > j) == (uplo == 'L') ? a(i, j) : quietNaN<T>();
  });
  HostMatrix<Real<T>> w(a.rows(), 1, 1);
  w.fill(quietNaN<Real<T>>());
  return {job, uplo, a, w};
}

template <class T>
HostMatrix<T> randomHermitian(int n) {
  const HostMatrix<T> a = HostMatrix<T>::random(n, n, 3, static_cast<std::uint64_t>(n));
  return HostMatrix<T>(n, n, 3).set([&](int i, int j) {
    if (i == j) return T(tovi::real(a(i, i)));
    return i > j ? a(i, j) : tovi::conj(a(j, i));
  });
}

template <class T>
std::vector<double> values(const Eigen<T>& solved) {
  return {solved.w.data(), solved.w.data() + solved.w.rows()};
}

// max |w - reference| / (max |reference| n eps)
template <class T>
double valuesRatio(const Eigen<T>& solved, const std::vector<double>& reference) {
  const std::vector<double> w = values(solved);
  double worst = 0, largest = 0;
  for (std::size_t i = 0; i < w.size(); ++i) {
    worsen(worst, std::abs(w[i] - reference[i]));
    worsen(largest, std::abs(reference[i]));
  }
  return scaled(worst, largest * static_cast<double>(w.size()) * epsilon<T>());
}

// Runs the routine on one triangle of A and checks all but the values: their order, || A - Z W Z^H || /
// (||A|| n eps) and the orthogonality of Z. Without vectors A stays as it was.
template <class T>
Eigen<T> checkEigen(Memory where, char job, char uplo, const HostMatrix<T>& a) {
  using W = Wide<T>;
  const int n = a.rows();
  SCOPED_TRACE(shape(where, n, n) + ", " + job + uplo);
  const Eigen<T> problem = eigenProblem(job, uplo, a);
  Eigen<T> solved = problem;
  EXPECT_EQ(solved.run(where), toviNoError) << toviGetErrorInfo();
  EXPECT_TRUE(solved.a.paddingIntact() && solved.w.paddingIntact());
  const std::vector<double> w = values(solved);
  EXPECT_TRUE(std::is_sorted(w.begin(), w.end()));
  if (job == 'N') {
    EXPECT_TRUE(solved.a.sameBits(problem.a));
    return solved;
  }
  const HostMatrix<W> z = widen(solved.a);
  HostMatrix<W> scaledZ = z;
  scaledZ.set([&](int i, int j) { return z(i, j) * W(w[static_cast<std::size_t>(j)]); });
  const HostMatrix<W> whole = product('N', scaledZ, 'C', z);
  CHECK_RATIO(scaled(norm1(minus(whole, widen(a))), norm1(a) * n * epsilon<T>()), eigenBound);
  CHECK_RATIO(orthogonalityRatio<T>(z), eigenBound);
  return solved;
}

// Both jobs on both triangles of one random matrix, and that they agree about its values.
template <class T>
void checkAllOptions(Memory where, int n) {
  const HostMatrix<T> a = randomHermitian<T>(n);
  const std::vector<double> reference = values(checkEigen(where, 'V', 'L', a));
  for (const auto& [job, uplo] : {std::pair{'V', 'U'}, {'N', 'L'}, {'N', 'U'}})
    CHECK_RATIO(valuesRatio(checkEigen(where, job, uplo, a), reference), eigenBound) << job << uplo << n;
}

}  // namespace testing_support

#endif
