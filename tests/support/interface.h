// The exported routines by element type and by interface, so that one test body serves all of them, and the
// fixture that initializes the library.

#ifndef TOVI_TESTS_SUPPORT_INTERFACE_H
#define TOVI_TESTS_SUPPORT_INTERFACE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
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

// A host matrix in the memory that an interface works on; fetch() brings it home.
template <class T>
class Placed {
 public:
  Placed(Memory where, HostMatrix<T>& host) : host_(host) {
    if (where == Memory::device) device_.emplace(host);
  }
  T* data() const { return device_ ? device_->data() : host_.data(); }
  void fetch() const {
    if (device_) device_->download(host_);
  }

 private:
  HostMatrix<T>& host_;
  std::optional<DeviceArray<T>> device_;
};

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

inline toviStatus geqrf(Memory where, int m, int n, float* a, int lda, float* tau) {
  return where == Memory::host ? toviSgeqrf(m, n, a, lda, tau) : toviDeviceSgeqrf(m, n, a, lda, tau);
}
inline toviStatus geqrf(Memory where, int m, int n, Complex<float>* a, int lda, Complex<float>* tau) {
  return where == Memory::host ? toviCgeqrf(m, n, exported(a), lda, exported(tau))
                               : toviDeviceCgeqrf(m, n, exported(a), lda, exported(tau));
}

inline toviStatus gels(Memory where, char trans, int m, int n, int nrhs, float* a, int lda, float* b,
                       int ldb) {
  return where == Memory::host ? toviSgels(trans, m, n, nrhs, a, lda, b, ldb)
                               : toviDeviceSgels(trans, m, n, nrhs, a, lda, b, ldb);
}
inline toviStatus gels(Memory where, char trans, int m, int n, int nrhs, Complex<float>* a, int lda,
                       Complex<float>* b, int ldb) {
  return where == Memory::host ? toviCgels(trans, m, n, nrhs, exported(a), lda, exported(b), ldb)
                               : toviDeviceCgels(trans, m, n, nrhs, exported(a), lda, exported(b), ldb);
}
inline toviStatus gglse(Memory where, int m, int n, int p, float* a, int lda, float* b, int ldb, float* c,
                        float* d, float* x) {
  return where == Memory::host ? toviSgglse(m, n, p, a, lda, b, ldb, c, d, x)
                               : toviDeviceSgglse(m, n, p, a, lda, b, ldb, c, d, x);
}
inline toviStatus gglse(Memory where, int m, int n, int p, Complex<float>* a, int lda, Complex<float>* b,
                        int ldb, Complex<float>* c, Complex<float>* d, Complex<float>* x) {
  return where == Memory::host
             ? toviCgglse(m, n, p, exported(a), lda, exported(b), ldb, exported(c), exported(d), exported(x))
             : toviDeviceCgglse(m, n, p, exported(a), lda, exported(b), ldb, exported(c), exported(d),
                                exported(x));
}

inline toviStatus gesvd(Memory where, char jobu, char jobvt, int m, int n, float* a, int lda, float* s,
                        float* u, int ldu, float* vt, int ldvt) {
  return (where == Memory::host ? toviSgesvd : toviDeviceSgesvd)(jobu, jobvt, m, n, a, lda, s, u, ldu, vt,
                                                                 ldvt);
}
inline toviStatus gesvd(Memory where, char jobu, char jobvt, int m, int n, Complex<float>* a, int lda,
                        float* s, Complex<float>* u, int ldu, Complex<float>* vt, int ldvt) {
  return (where == Memory::host ? toviCgesvd : toviDeviceCgesvd)(jobu, jobvt, m, n, exported(a), lda, s,
                                                                 exported(u), ldu, exported(vt), ldvt);
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
toviStatus factorQr(Memory where, HostMatrix<T>& a, std::vector<T>& tau) {
  if (where == Memory::host) return geqrf(where, a.rows(), a.cols(), a.data(), a.ld(), tau.data());
  const DeviceArray<T> dA(a), dTau(tau.data(), tau.size());
  const toviStatus status = geqrf(where, a.rows(), a.cols(), dA.data(), a.ld(), dTau.data());
  dA.download(a);
  dTau.download(tau.data());
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
