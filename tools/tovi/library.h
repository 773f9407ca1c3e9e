// The library as the program calls it: failures become exceptions, precisions become overloads.

#ifndef TOVI_TOOLS_LIBRARY_H
#define TOVI_TOOLS_LIBRARY_H

#include <tovi.h>

#include <complex>
#include <string>

namespace tool {

// Throws a Failure with the status text and the error-info text unless the status is success.
void check(toviStatus status, const std::string& what);

int deviceCount();
// Name and memory, as the library reports them.
std::string deviceText(int device);

// The initialized library. A negative device leaves the choice to the library.
class Session {
 public:
  explicit Session(int device);
  ~Session() { toviShutdown(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  int device() const { return device_; }

 private:
  int device_ = 0;
};

static_assert(sizeof(toviFloatComplex) == sizeof(std::complex<float>));
inline toviFloatComplex* edge(std::complex<float>* p) { return reinterpret_cast<toviFloatComplex*>(p); }

inline toviStatus gesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return toviSgesv(n, nrhs, a, lda, ipiv, b, ldb);
}
inline toviStatus gesv(int n, int nrhs, std::complex<float>* a, int lda, int* ipiv, std::complex<float>* b,
                       int ldb) {
  return toviCgesv(n, nrhs, edge(a), lda, ipiv, edge(b), ldb);
}
inline toviStatus deviceGesv(int n, int nrhs, float* dA, int lda, int* dIpiv, float* dB, int ldb) {
  return toviDeviceSgesv(n, nrhs, dA, lda, dIpiv, dB, ldb);
}
inline toviStatus deviceGesv(int n, int nrhs, std::complex<float>* dA, int lda, int* dIpiv,
                             std::complex<float>* dB, int ldb) {
  return toviDeviceCgesv(n, nrhs, edge(dA), lda, dIpiv, edge(dB), ldb);
}

inline toviStatus gels(int m, int n, int nrhs, float* a, int lda, float* b, int ldb) {
  return toviSgels('N', m, n, nrhs, a, lda, b, ldb);
}
inline toviStatus gels(int m, int n, int nrhs, std::complex<float>* a, int lda, std::complex<float>* b,
                       int ldb) {
  return toviCgels('N', m, n, nrhs, edge(a), lda, edge(b), ldb);
}
inline toviStatus deviceGels(int m, int n, int nrhs, float* dA, int lda, float* dB, int ldb) {
  return toviDeviceSgels('N', m, n, nrhs, dA, lda, dB, ldb);
}
inline toviStatus deviceGels(int m, int n, int nrhs, std::complex<float>* dA, int lda,
                             std::complex<float>* dB, int ldb) {
  return toviDeviceCgels('N', m, n, nrhs, edge(dA), lda, edge(dB), ldb);
}

inline toviStatus gglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c, float* d,
                        float* x) {
  return toviSgglse(m, n, p, a, lda, b, ldb, c, d, x);
}
inline toviStatus gglse(int m, int n, int p, std::complex<float>* a, int lda, std::complex<float>* b, int ldb,
                        std::complex<float>* c, std::complex<float>* d, std::complex<float>* x) {
  return toviCgglse(m, n, p, edge(a), lda, edge(b), ldb, edge(c), edge(d), edge(x));
}
inline toviStatus deviceGglse(int m, int n, int p, float* dA, int lda, float* dB, int ldb, float* dC,
                              float* dD, float* dX) {
  return toviDeviceSgglse(m, n, p, dA, lda, dB, ldb, dC, dD, dX);
}
inline toviStatus deviceGglse(int m, int n, int p, std::complex<float>* dA, int lda, std::complex<float>* dB,
                              int ldb, std::complex<float>* dC, std::complex<float>* dD,
                              std::complex<float>* dX) {
  return toviDeviceCgglse(m, n, p, edge(dA), lda, edge(dB), ldb, edge(dC), edge(dD), edge(dX));
}

// Economy size: jobu and jobvt "S".
inline toviStatus gesvd(int m, int n, float* a, int lda, float* s, float* u, int ldu, float* vt, int ldvt) {
  return toviSgesvd('S', 'S', m, n, a, lda, s, u, ldu, vt, ldvt);
}
inline toviStatus gesvd(int m, int n, std::complex<float>* a, int lda, float* s, std::complex<float>* u,
                        int ldu, std::complex<float>* vt, int ldvt) {
  return toviCgesvd('S', 'S', m, n, edge(a), lda, s, edge(u), ldu, edge(vt), ldvt);
}

}  // namespace tool

#endif
