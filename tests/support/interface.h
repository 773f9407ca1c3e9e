// The exported routines by element type and by interface, so that one test body serves all of them, and the
// fixture that initializes the library.

#ifndef TOVI_TESTS_SUPPORT_INTERFACE_H
#define TOVI_TESTS_SUPPORT_INTERFACE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "include/tovi.h"
#include "tests/support/matrix.h"

namespace testing_support {

class LibraryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(toviInitialize(), toviNoError) << toviGetErrorInfo(); }
  void TearDown() override { toviShutdown(); }
};

enum class Memory { host, device };

inline toviFloatComplex* exported(Complex<float>* p) { return reinterpret_cast<toviFloatComplex*>(p); }
inline float* exported(float* p) { return p; }

inline toviStatus getrf(Memory where, int m, int n, float* a, int lda, int* ipiv) {
  return where == Memory::host ? toviSgetrf(m, n, a, lda, ipiv) : toviDeviceSgetrf(m, n, a, lda, ipiv);
}
inline toviStatus getrf(Memory where, int m, int n, Complex<float>* a, int lda, int* ipiv) {
  return where == Memory::host ? toviCgetrf(m, n, exported(a), lda, ipiv)
                               : toviDeviceCgetrf(m, n, exported(a), lda, ipiv);
}
inline toviStatus gesv(Memory where, int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return where == Memory::host ? toviSgesv(n, nrhs, a, lda, ipiv, b, ldb)
                               : toviDeviceSgesv(n, nrhs, a, lda, ipiv, b, ldb);
}
inline toviStatus gesv(Memory where, int n, int nrhs, Complex<float>* a, int lda, int* ipiv,
                       Complex<float>* b, int ldb) {
  return where == Memory::host ? toviCgesv(n, nrhs, exported(a), lda, ipiv, exported(b), ldb)
                               : toviDeviceCgesv(n, nrhs, exported(a), lda, ipiv, exported(b), ldb);
}

// Factors in either interface: operands are moved to device memory and back for the device one.
template <class T>
toviStatus factor(Memory where, HostMatrix<T>& a, std::vector<int>& ipiv) {
  if (where == Memory::host) return getrf(where, a.rows(), a.cols(), a.data(), a.ld(), ipiv.data());
  const DeviceArray<T> dA(a);
  const DeviceArray<int> dIpiv(ipiv.data(), ipiv.size());
  const toviStatus status = getrf(where, a.rows(), a.cols(), dA.data(), a.ld(), dIpiv.data());
  dA.download(a);
  dIpiv.download(ipiv.data());
  return status;
}

template <class T>
toviStatus solve(Memory where, HostMatrix<T>& a, std::vector<int>& ipiv, HostMatrix<T>& b) {
  if (where == Memory::host)
    return gesv(where, a.rows(), b.cols(), a.data(), a.ld(), ipiv.data(), b.data(), b.ld());
  const DeviceArray<T> dA(a), dB(b);
  const DeviceArray<int> dIpiv(ipiv.data(), ipiv.size());
  const toviStatus status =
      gesv(where, a.rows(), b.cols(), dA.data(), a.ld(), dIpiv.data(), dB.data(), b.ld());
  dA.download(a);
  dB.download(b);
  dIpiv.download(ipiv.data());
  return status;
}

}  // namespace testing_support

#endif
