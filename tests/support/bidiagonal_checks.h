// Reduction to bidiagonal form, and the factors Q and P^H made from it, against the reflectors written out on
// the host in double precision.

#ifndef TOVI_TESTS_SUPPORT_BIDIAGONAL_CHECKS_H
#define TOVI_TESTS_SUPPORT_BIDIAGONAL_CHECKS_H

#include <algorithm>
#include <string>
#include <vector>

#include "lapack/orgbr.h"
#include "src/brd/gebrd.h"
#include "tests/support/interface.h"
#include "tests/support/reflector_checks.h"

namespace testing_support {

// What gebrd leaves of a matrix: B and the reflectors in `factored`.
template <class T>
struct Reduced {
  explicit Reduced(const HostMatrix<T>& a)
      : m(a.rows()),
        n(a.cols()),
        k(std::min(m, n)),
        factored(a),
        d(size(k) + 1, Real<T>(-7)),
        e(size(k), Real<T>(-7)),  // with d, e and the factors goes one element more than may be written
        tauq(size(k) + 1, T(-7)),
        taup(size(k) + 1, T(-7)) {
    const DeviceArray<T> dA(a), dTauq(tauq.data(), tauq.size()), dTaup(taup.data(), taup.size());
    const DeviceArray<Real<T>> dD(d.data(), d.size()), dE(e.data(), e.size());
    tovi::brd::gebrd({dA.data(), m, n, a.ld()}, dD.data(), dE.data(), dTauq.data(), dTaup.data());
    dA.download(factored);
    dD.download(d.data());
    dE.download(e.data());
    dTauq.download(tauq.data());
    dTaup.download(taup.data());
  }
  static std::size_t size(int count) { return static_cast<std::size_t>(count); }

  bool upper() const { return m >= n; }
  // Q C: the reflectors of Q begin on the diagonal of an upper bidiagonal B, below it for a lower one.
  HostMatrix<Wide<T>> timesQ(HostMatrix<Wide<T>> c) const {
    const int skip = upper() ? 0 : 1;
    multiply(host::ormqr<Wide<T>>, 'L', skip, 0, upper() ? n : m - 1, tauq, c, m - skip, c.cols());
    return c;
  }
  // C P^H
  HostMatrix<Wide<T>> timesPH(HostMatrix<Wide<T>> c) const {
    const int skip = upper() ? 1 : 0;
    multiply(host::ormlq<Wide<T>>, 'R', 0, skip, upper() ? n - 1 : m, taup, c, c.rows(), n - skip);
    return c;
  }

  int m, n, k;
  HostMatrix<T> factored;
  std::vector<Real<T>> d, e;
  std::vector<T> tauq, taup;

 private:
  template <class Routine>
  void multiply(const Routine& routine, char side, int row, int col, int reflectors,
                const std::vector<T>& tau, HostMatrix<Wide<T>>& c, int rows, int cols) const {
    if (reflectors == 0) return;
    // With a spare column behind the last one, which some host libraries read.
    HostMatrix<Wide<T>> v(m, n + 1);
    std::vector<Wide<T>> wideTau, work(static_cast<std::size_t>(64 * std::max(c.rows(), c.cols()) + 65 * 64));
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) v(i, j) = widen(factored(i, j));
    for (const T& t : tau) wideTau.push_back(widen(t));
    EXPECT_EQ(routine(side, 'N', rows, cols, reflectors, &v(row, col), v.ld(), wideTau.data(), &c(row, col),
                      c.ld(), work.data(), static_cast<int>(work.size())),
              0);
  }
};

template <class W>
HostMatrix<W> identity(int n) {
  HostMatrix<W> result(n, n);
  for (int i = 0; i < n; ++i) result(i, i) = W(1);
  return result;
}

template <class T>
HostMatrix<T> matrixToReduce(int m, int n) {
  return HostMatrix<T>::random(m, n, 3, static_cast<std::uint64_t>(m * 10007 + n));
}

// || A - Q B P^H || / (max(m, n) ||A|| eps), both orthogonalities, and B in its two places.
template <class T>
void checkReduction(const HostMatrix<T>& a) {
  using W = Wide<T>;
  SCOPED_TRACE(std::to_string(a.rows()) + " x " + std::to_string(a.cols()));
  const Reduced<T> r(a);
  EXPECT_TRUE(r.factored.paddingIntact());
  EXPECT_TRUE(r.d.back() == -7 && r.e.back() == -7 && r.tauq.back() == T(-7) && r.taup.back() == T(-7));

  HostMatrix<W> residual(r.m, r.n);
  bool same = true;
  for (int i = 0; i < r.k; ++i) {
    const Real<T> d = r.d[static_cast<std::size_t>(i)];
    residual(i, i) = W(d);
    same = same && r.factored(i, i) == T(d);
    if (i + 1 == r.k) break;
    const Real<T> e = r.e[static_cast<std::size_t>(i)];
    const int row = r.upper() ? i : i + 1, col = r.upper() ? i + 1 : i;
    residual(row, col) = W(e);
    same = same && r.factored(row, col) == T(e);
  }
  EXPECT_TRUE(same) << "d and e are not what stands in A";
  residual = r.timesQ(r.timesPH(residual));
  for (int j = 0; j < r.n; ++j)
    for (int i = 0; i < r.m; ++i) residual(i, j) -= widen(a(i, j));
  CHECK_RATIO(scaled(norm1(residual), std::max(r.m, r.n) * norm1(a) * epsilon<T>()), qrBound);
  CHECK_RATIO(orthogonalityRatio<T>(r.timesQ(identity<W>(r.m))), qrBound);
  CHECK_RATIO(orthogonalityRatio<T>(r.timesPH(identity<W>(r.n))), qrBound);
}
template <class T>
void checkReduction(int m, int n) {
  checkReduction(matrixToReduce<T>(m, n));
}

// `vectors` columns of Q or rows of P^H, from the reflectors alone: all else in the matrix is NaN.
template <class T>
void checkFactor(const Reduced<T>& r, char vect, int vectors) {
  const bool left = vect == 'Q';
  SCOPED_TRACE(std::string(1, vect) + " of " + std::to_string(r.m) + " x " + std::to_string(r.n) + ", " +
               std::to_string(vectors));
  const int order = left ? r.m : r.n, skip = left == r.upper() ? 0 : 1;
  HostMatrix<T> a(left ? order : vectors, left ? vectors : order, 2);
  a.fill(quietNaN<T>());
  for (int j = 0; j < std::min(a.cols(), r.n); ++j)
    for (int i = 0; i < std::min(a.rows(), r.m); ++i)
      if ((left ? i - j : j - i) > skip) a(i, j) = r.factored(i, j);

  const OnDevice<T> dA(a);
  const std::vector<T>& tau = left ? r.tauq : r.taup;
  const DeviceArray<T> dTau(tau.data(), tau.size());
  tovi::lapack::orgbr(vect, dA.view, left ? r.n : r.m, dTau.data());
  const HostMatrix<T> result = dA.downloaded(a);
  EXPECT_TRUE(result.paddingIntact());
  CHECK_RATIO(orthogonalityRatio<T>(widen(result)), qrBound);
  HostMatrix<Wide<T>> expected(a.rows(), a.cols());
  for (int i = 0; i < vectors; ++i) expected(i, i) = Wide<T>(1);
  CHECK_RATIO(differenceRatio(result, left ? r.timesQ(expected) : r.timesPH(expected), order), qrBound);
}

// Everything that can be asked for of an m x n matrix: the min(m, n) first vectors, all of them, and between.
template <class T>
void checkFactors(int m, int n) {
  const Reduced<T> r(matrixToReduce<T>(m, n));
  for (const char vect : {'Q', 'P'}) {
    const int order = vect == 'Q' ? m : n;
    checkFactor(r, vect, r.k);
    if (order > r.k) checkFactor(r, vect, order);
    if (order > r.k + 1) checkFactor(r, vect, (order + r.k) / 2);
  }
}

}  // namespace testing_support

#endif
