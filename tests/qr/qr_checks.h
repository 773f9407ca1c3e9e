// What every orthogonal factorization must satisfy, whatever the device.

#ifndef TOVI_TESTS_QR_QR_CHECKS_H
#define TOVI_TESTS_QR_QR_CHECKS_H

#include <string>
#include <vector>

#include "lapack/qr.h"
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

}  // namespace testing_support

#endif
