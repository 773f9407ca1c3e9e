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
static_assert(sizeof(toviDoubleComplex) == sizeof(std::complex<double>));
inline float* edge(float* p) { return p; }
inline double* edge(double* p) { return p; }
inline toviFloatComplex* edge(std::complex<float>* p) { return reinterpret_cast<toviFloatComplex*>(p); }
inline toviDoubleComplex* edge(std::complex<double>* p) { return reinterpret_cast<toviDoubleComplex*>(p); }

// gesvd in economy size: jobu and jobvt "S". posv and syevd, heevd for complex types, from the lower
// triangle.
// NOLINTBEGIN(bugprone-macro-parentheses): T and R are types
#define TOVI_TOOL_ROUTINES(P, T, R, H)                                                                      \
  inline toviStatus gesv(int n, int nrhs, T* a, int lda, int* ipiv, T* b, int ldb) {                        \
    return tovi##P##gesv(n, nrhs, edge(a), lda, ipiv, edge(b), ldb);                                        \
  }                                                                                                         \
  inline toviStatus deviceGesv(int n, int nrhs, T* dA, int lda, int* dIpiv, T* dB, int ldb) {               \
    return toviDevice##P##gesv(n, nrhs, edge(dA), lda, dIpiv, edge(dB), ldb);                               \
  }                                                                                                         \
  inline toviStatus posv(int n, int nrhs, T* a, int lda, T* b, int ldb) {                                   \
    return tovi##P##posv('L', n, nrhs, edge(a), lda, edge(b), ldb);                                         \
  }                                                                                                         \
  inline toviStatus devicePosv(int n, int nrhs, T* dA, int lda, T* dB, int ldb) {                           \
    return toviDevice##P##posv('L', n, nrhs, edge(dA), lda, edge(dB), ldb);                                 \
  }                                                                                                         \
  inline toviStatus syevd(char jobz, int n, T* a, int lda, R* w) {                                          \
    return tovi##P##H##evd(jobz, 'L', n, edge(a), lda, w);                                                  \
  }                                                                                                         \
  inline toviStatus gels(int m, int n, int nrhs, T* a, int lda, T* b, int ldb) {                            \
    return tovi##P##gels('N', m, n, nrhs, edge(a), lda, edge(b), ldb);                                      \
  }                                                                                                         \
  inline toviStatus deviceGels(int m, int n, int nrhs, T* dA, int lda, T* dB, int ldb) {                    \
    return toviDevice##P##gels('N', m, n, nrhs, edge(dA), lda, edge(dB), ldb);                              \
  }                                                                                                         \
  inline toviStatus gglse(int m, int n, int p, T* a, int lda, T* b, int ldb, T* c, T* d, T* x) {            \
    return tovi##P##gglse(m, n, p, edge(a), lda, edge(b), ldb, edge(c), edge(d), edge(x));                  \
  }                                                                                                         \
  inline toviStatus deviceGglse(int m, int n, int p, T* dA, int lda, T* dB, int ldb, T* dC, T* dD, T* dX) { \
    return toviDevice##P##gglse(m, n, p, edge(dA), lda, edge(dB), ldb, edge(dC), edge(dD), edge(dX));       \
  }                                                                                                         \
  inline toviStatus gesvd(int m, int n, T* a, int lda, R* s, T* u, int ldu, T* vt, int ldvt) {              \
    return tovi##P##gesvd('S', 'S', m, n, edge(a), lda, s, edge(u), ldu, edge(vt), ldvt);                   \
  }
TOVI_TOOL_ROUTINES(S, float, float, sy)
TOVI_TOOL_ROUTINES(D, double, double, sy)
TOVI_TOOL_ROUTINES(C, std::complex<float>, float, he)
TOVI_TOOL_ROUTINES(Z, std::complex<double>, double, he)
#undef TOVI_TOOL_ROUTINES
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace tool

#endif
