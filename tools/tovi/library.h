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

}  // namespace tool

#endif
