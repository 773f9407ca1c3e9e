// What every orthogonal factorization must satisfy, whatever the device.

#ifndef TOVI_TESTS_SUPPORT_QR_CHECKS_H
#define TOVI_TESTS_SUPPORT_QR_CHECKS_H

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

// A random m x n matrix through the exported routine.
template <class T>
void checkQr(Memory where, int m, int n, int padding = 3) {
  SCOPED_TRACE(std::string(where == Memory::host ? "host " : "device ") + std::to_string(m) + " x " +
               std::to_string(n));
  const HostMatrix<T> a = HostMatrix<T>::random(m, n, padding, static_cast<std::uint64_t>(m * 10007 + n));
  HostMatrix<T> qr = a;
  // One element more than the routine may write.
  std::vector<T> tau(static_cast<std::size_t>(std::min(m, n)) + 1, T(-7));
  ASSERT_EQ(factorQr(where, qr, tau), toviNoError) << toviGetErrorInfo();
  EXPECT_TRUE(tau.back() == T(-7));
  tau.pop_back();
  expectFactored(Orthogonal::qr, a, qr, tau);
}

constexpr Orthogonal everyForm[] = {Orthogonal::qr, Orthogonal::lq, Orthogonal::rq};

// The three factorizations on device operands, QR through its exported routine.
template <class T>
toviStatus factorDevice(Orthogonal form, int m, int n, T* dA, int ld, T* dTau) {
  if (form == Orthogonal::qr) return geqrf(Memory::device, m, n, dA, ld, dTau);
  if (form == Orthogonal::lq)
    tovi::lapack::gelqf(tovi::MatrixView<T>(dA, m, n, ld), dTau);
  else
    tovi::lapack::gerqf(tovi::MatrixView<T>(dA, m, n, ld), dTau);
  return toviNoError;
}

template <class T>
void checkForm(Orthogonal form, int m, int n) {
  SCOPED_TRACE(std::to_string(static_cast<int>(form)) + ": " + std::to_string(m) + " x " + std::to_string(n));
  const HostMatrix<T> a = HostMatrix<T>::random(m, n, 2, static_cast<std::uint64_t>(m * 10007 + n));
  HostMatrix<T> factored = a;
  std::vector<T> tau(static_cast<std::size_t>(std::min(m, n)) + 1, T(-7));
  const DeviceArray<T> dA(a), dTau(tau.data(), tau.size());
  ASSERT_EQ(factorDevice(form, m, n, dA.data(), a.ld(), dTau.data()), toviNoError);
  dA.download(factored);
  dTau.download(tau.data());
  EXPECT_TRUE(tau.back() == T(-7));
  tau.pop_back();
  expectFactored(form, a, factored, tau);
}

}  // namespace testing_support

#endif
