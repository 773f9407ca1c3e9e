// Products with Q against the host LAPACK in double precision. The reflectors are the host's
// own, of a random matrix.

#ifndef TOVI_TESTS_QR_REFLECTOR_CHECKS_H
#define TOVI_TESTS_QR_REFLECTOR_CHECKS_H

#include <algorithm>
#include <string>
#include <vector>

#include "lapack/reflectors.h"
#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {

using Kind = tovi::lapack::Reflectors;

inline std::string name(Kind kind) { return kind == Kind::qr ? "QR" : kind == Kind::lq ? "LQ" : "RQ"; }

// k reflectors of order nq: the columns (QR) or rows of a, whose remaining triangle is what the factorization
// left there.
template <class T>
struct Factored {
  Factored(Kind kind_, int nq_, int k_)
      : kind(kind_),
        nq(nq_),
        k(k_),
        a(HostMatrix<T>::random(kind_ == Kind::qr ? nq_ : k_, kind_ == Kind::qr ? k_ : nq_, 3,
                                static_cast<std::uint64_t>(nq_ * 10007 + k_))),
        tau(static_cast<std::size_t>(k_)) {
    std::vector<T> work(static_cast<std::size_t>(64 * std::max(1, nq)));
    const auto factor = kind == Kind::qr   ? &host::geqrf<T>
                        : kind == Kind::lq ? &host::gelqf<T>
                                           : &host::gerqf<T>;
    // With a spare column behind the last one, which some host libraries read.
    std::vector<T> h(a.data(), a.data() + a.size());
    h.resize(a.size() + static_cast<std::size_t>(a.ld()));
    EXPECT_EQ(
        factor(a.rows(), a.cols(), h.data(), a.ld(), tau.data(), work.data(), static_cast<int>(work.size())),
        0);
    std::copy_n(h.begin(), a.size(), a.data());
  }

  Kind kind;
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
  const auto multiply = q.kind == Kind::qr   ? &host::ormqr<W>
                        : q.kind == Kind::lq ? &host::ormlq<W>
                                             : &host::ormrq<W>;
  EXPECT_EQ(
      multiply(side, trans == 'N' || tovi::isComplex<T> ? trans : 'T', c.rows(), c.cols(), q.k, a.data(),
               a.ld(), tau.data(), result.data(), result.ld(), work.data(), static_cast<int>(work.size())),
      0);
  return result;
}

// || C - R || / (n ||R|| eps), n being the order of Q.
template <class T>
double differenceRatio(const HostMatrix<T>& c, const HostMatrix<Wide<T>>& reference, int n) {
  return scaled(norm1(minus(widen(c), reference)), n * norm1(reference) * epsilon<T>());
}

template <class T>
HostMatrix<T> operand(const Factored<T>& q, char side, int other) {
  return HostMatrix<T>::random(side == 'L' ? q.nq : other, side == 'L' ? other : q.nq, 5, 77);
}

template <class T>
void checkProduct(const Factored<T>& q, char side, char trans, int other) {
  SCOPED_TRACE(name(q.kind) + " " + side + trans + " order " + std::to_string(q.nq) + ", k " +
               std::to_string(q.k) + ", " + std::to_string(other));
  const HostMatrix<T> c = operand(q, side, other);
  const OnDevice<T> dA(q.a), dC(c);
  const DeviceArray<T> dTau(q.tau.data(), q.tau.size());
  tovi::lapack::applyReflectors(q.kind, side, trans, q.k, dA.view, dTau.data(), dC.view);
  const HostMatrix<T> result = dC.downloaded(c);
  EXPECT_TRUE(result.paddingIntact());
  EXPECT_TRUE(dA.downloaded(q.a).sameBits(q.a)) << "the reflectors have changed";
  CHECK_RATIO(differenceRatio(result, expectedProduct(q, side, trans, c), q.nq), qrBound);
}

template <class T>
void checkProducts(int nq, int k, int other) {
  for (const Kind kind : {Kind::qr, Kind::lq, Kind::rq}) {
    const Factored<T> q(kind, nq, k);
    for (const char side : {'L', 'R'})
      for (const char trans : {'N', 'C'}) checkProduct(q, side, trans, other);
  }
}

}  // namespace testing_support

#endif
