// What every orthogonal factorization must satisfy, whatever the device, and products with Q against the host
// LAPACK in double precision, with reflectors that are the host's own, of a random matrix.

#ifndef TOVI_TESTS_QR_QR_CHECKS_H
#define TOVI_TESTS_QR_QR_CHECKS_H

#include <algorithm>
#include <string>
#include <vector>

#include "lapack/qr.h"
#include "lapack/reflectors.h"
#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

template <class T>
void expectFactored(Orthogonal form, const HostMatrix<T>& a, const HostMatrix<T>& factored,
                    const std::vector<T>& tau) {
  EXPECT_TRUE(factored.paddingIntact());
  CHECK_RATIO(qrRatio(form, a, factored, tau), qrBound);
  CHECK_RATIO(orthogonalityRatio<T>(explicitQ(form, factored, tau)), qrBound);
}

// A random m x n matrix through routine(m, n, a, lda, tau).
template <class T, class Routine>
void checkFactorization(Orthogonal form, Memory where, int m, int n, const Routine& routine) {
  SCOPED_TRACE(std::to_string(static_cast<int>(form)) + ": " + shape(where, m, n));
  const HostMatrix<T> a = HostMatrix<T>::random(m, n, 3, static_cast<std::uint64_t>(m * 10007 + n));
  HostMatrix<T> factored = a;
  // One element more than the routine may write.
  std::vector<T> tau(static_cast<std::size_t>(std::min(m, n)) + 1, T(-7));
  const Placed<T> dA(where, factored), dTau(where, tau);
  ASSERT_EQ(routine(m, n, dA.data(), a.ld(), dTau.data()), toviNoError) << toviGetErrorInfo();
  dA.fetch(), dTau.fetch();
  EXPECT_TRUE(tau.back() == T(-7));
  tau.pop_back();
  expectFactored(form, a, factored, tau);
}

template <class T>
void checkQr(Memory where, int m, int n) {
  checkFactorization<T>(Orthogonal::qr, where, m, n, [=](auto... rest) { return geqrf(where, rest...); });
}

constexpr Orthogonal everyForm[] = {Orthogonal::qr, Orthogonal::lq, Orthogonal::rq};

// The three factorizations on device operands, QR through its exported routine.
template <class T>
toviStatus factorDevice(Orthogonal form, int m, int n, T* dA, int ld, T* dTau) {
  if (form == Orthogonal::qr) return geqrf(Memory::device, m, n, dA, ld, dTau);
  (form == Orthogonal::lq ? tovi::lapack::gelqf<T> : tovi::lapack::gerqf<T>)({dA, m, n, ld}, dTau);
  return toviNoError;
}

template <class T>
void checkForm(Orthogonal form, int m, int n) {
  checkFactorization<T>(form, Memory::device, m, n,
                        [=](auto... rest) { return factorDevice(form, rest...); });
}

// --- Products with Q

// k reflectors of order nq: the columns (QR) or rows of a, whose remaining triangle is what the factorization
// left there.
template <class T>
struct Factored {
  Factored(Orthogonal form_, int nq_, int k_)
      : form(form_),
        nq(nq_),
        k(k_),
        a(HostMatrix<T>::random(form == Orthogonal::qr ? nq : k, form == Orthogonal::qr ? k : nq, 3,
                                static_cast<std::uint64_t>(nq * 10007 + k))),
        tau(static_cast<std::size_t>(k)) {
    std::vector<T> work(static_cast<std::size_t>(64 * std::max(1, nq)));
    const auto factor = form == Orthogonal::qr   ? &host::geqrf<T>
                        : form == Orthogonal::lq ? &host::gelqf<T>
                                                 : &host::gerqf<T>;
    // With a spare column behind the last one, which some host libraries read.
    std::vector<T> h(a.data(), a.data() + a.size());
    h.resize(a.size() + static_cast<std::size_t>(a.ld()));
    EXPECT_EQ(
        factor(a.rows(), a.cols(), h.data(), a.ld(), tau.data(), work.data(), static_cast<int>(work.size())),
        0);
    std::copy_n(h.begin(), a.size(), a.data());
  }

  Orthogonal form;
  int nq, k;
  HostMatrix<T> a;
  std::vector<T> tau;
};

// op(Q) C or C op(Q) in double precision; trans "N" or "C".
template <class T>
HostMatrix<Wide<T>> expectedProduct(const Factored<T>& q, char side, char trans, const HostMatrix<T>& c) {
  using W = Wide<T>;
  HostMatrix<W> a = widen(q.a), result = widen(c);
  std::vector<W> tau, work(static_cast<std::size_t>(64 * std::max({1, c.rows(), c.cols()}) + 65 * 64));
  for (const T& t : q.tau) tau.push_back(widen(t));
  EXPECT_EQ(hostProduct<W>(q.form)(side, trans == 'N' || tovi::isComplex<T> ? trans : 'T', c.rows(), c.cols(),
                                   q.k, a.data(), a.ld(), tau.data(), result.data(), result.ld(), work.data(),
                                   static_cast<int>(work.size())),
            0);
  return result;
}

template <class T>
HostMatrix<T> operand(const Factored<T>& q, char side, int other) {
  return HostMatrix<T>::random(side == 'L' ? q.nq : other, side == 'L' ? other : q.nq, 5, 77);
}

template <class T>
void checkProduct(const Factored<T>& q, char side, char trans, int other) {
  SCOPED_TRACE(testing::Message() << static_cast<int>(q.form) << side << trans << " order " << q.nq << ", k "
                                  << q.k << ", " << other);
  const HostMatrix<T> c = operand(q, side, other);
  const OnDevice<T> dA(q.a), dC(c);
  const DeviceArray<T> dTau(q.tau.data(), q.tau.size());
  tovi::lapack::applyReflectors(q.form, side, trans, q.k, dA.view, dTau.data(), dC.view);
  const HostMatrix<T> result = dC.downloaded(c);
  EXPECT_TRUE(result.paddingIntact());
  EXPECT_TRUE(dA.downloaded(q.a).sameBits(q.a)) << "the reflectors have changed";
  const HostMatrix<Wide<T>> expected = expectedProduct(q, side, trans, c);
  CHECK_RATIO(norm1(minus(widen(result), expected)) / (q.nq * norm1(expected) * epsilon<T>()), qrBound);
}

template <class T>
void checkProducts(int nq, int k, int other) {
  for (const Orthogonal form : everyForm) {
    const Factored<T> q(form, nq, k);
    for (const char side : {'L', 'R'})
      for (const char trans : {'N', 'C'}) checkProduct(q, side, trans, other);
  }
}

}  // namespace testing_support

#endif
