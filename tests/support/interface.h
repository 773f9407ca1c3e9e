// The exported routines by element type and by interface, so that one test body serves all of them, and the
// fixture that initializes the library. Arguments as in the header, with tovi::Complex in place of the
// exported complex types.

#ifndef TOVI_TESTS_SUPPORT_INTERFACE_H
#define TOVI_TESTS_SUPPORT_INTERFACE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <type_traits>
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
constexpr Memory bothInterfaces[] = {Memory::host, Memory::device};

// For messages: the interface and the sizes of a problem.
inline std::string shape(Memory where, int m, int n) {
  return std::string(where == Memory::host ? "host " : "device ") + std::to_string(m) + " x " +
         std::to_string(n);
}

// A host matrix or vector in the memory that an interface works on; fetch() brings it home.
template <class T>
class Placed {
 public:
  template <class Host>
  Placed(Memory where, Host& host) : host_(host.data()) {
    if (where == Memory::device) device_.emplace(host_, host.size());
  }
  T* data() const { return device_ ? device_->data() : host_; }
  void fetch() const {
    if (device_) device_->download(host_);
  }

 private:
  T* host_;
  std::optional<DeviceArray<T>> device_;
};

// An argument as the header has it.
template <class Argument>
Argument exported(Argument argument) {
  return argument;
}
inline toviFloatComplex exported(Complex<float> z) { return {z.re, z.im}; }
inline toviDoubleComplex exported(Complex<double> z) { return {z.re, z.im}; }
inline toviFloatComplex* exported(Complex<float>* p) { return reinterpret_cast<toviFloatComplex*>(p); }
inline toviDoubleComplex* exported(Complex<double>* p) { return reinterpret_cast<toviDoubleComplex*>(p); }
inline const toviFloatComplex* exported(const Complex<float>* p) {
  return reinterpret_cast<const toviFloatComplex*>(p);
}
inline const toviDoubleComplex* exported(const Complex<double>* p) {
  return reinterpret_cast<const toviDoubleComplex*>(p);
}

// The functions of an element type by the names of their families. Each entry: host interface, device
// interface.
template <class T>
struct Exports;

// clang-format off
#define TOVI_EXPORT_AS(P, family, name) \
  static constexpr decltype(&tovi##P##name) family[] = {tovi##P##name, toviDevice##P##name};
#define TOVI_EXPORT(P, family) TOVI_EXPORT_AS(P, family, family)
// The lists of families: X(P, family), P a precision.
#define TOVI_BLAS(X, P) X(P, gemm) X(P, gemv) X(P, trsm) X(P, trmm) X(P, symm) X(P, syrk) X(P, syr2k)
#define TOVI_HERMITIAN_BLAS(X, P) X(P, hemm) X(P, herk) X(P, her2k)
#define TOVI_LAPACK(X, P) X(P, getrf) X(P, gesv) X(P, geqrf) X(P, gels) X(P, gesvd) X(P, gesdd) \
  X(P, gglse) X(P, getrs) X(P, potrf) X(P, potrs) X(P, posv)
// Those whose names depend on the element type: X(P, family, name).
#define TOVI_REAL_LAPACK(X, P) X(P, ormqr, ormqr) X(P, orgqr, orgqr) X(P, heevd, syevd)
#define TOVI_COMPLEX_LAPACK(X, P) X(P, ormqr, unmqr) X(P, orgqr, ungqr) X(P, heevd, heevd)
#define TOVI_REFINED(X, P) X(P, gesvRefined, sgesv)
#define TOVI_COMPLEX_REFINED(X, P) X(P, gesvRefined, cgesv)

template <> struct Exports<float> {
  TOVI_BLAS(TOVI_EXPORT, S) TOVI_LAPACK(TOVI_EXPORT, S) TOVI_REAL_LAPACK(TOVI_EXPORT_AS, S) };
template <> struct Exports<double> {
  TOVI_BLAS(TOVI_EXPORT, D) TOVI_LAPACK(TOVI_EXPORT, D) TOVI_REAL_LAPACK(TOVI_EXPORT_AS, D)
  TOVI_REFINED(TOVI_EXPORT_AS, D) };
template <> struct Exports<Complex<float>> {
  TOVI_BLAS(TOVI_EXPORT, C) TOVI_HERMITIAN_BLAS(TOVI_EXPORT, C)
  TOVI_LAPACK(TOVI_EXPORT, C) TOVI_COMPLEX_LAPACK(TOVI_EXPORT_AS, C) };
template <> struct Exports<Complex<double>> {
  TOVI_BLAS(TOVI_EXPORT, Z) TOVI_HERMITIAN_BLAS(TOVI_EXPORT, Z)
  TOVI_LAPACK(TOVI_EXPORT, Z) TOVI_COMPLEX_LAPACK(TOVI_EXPORT_AS, Z)
  TOVI_COMPLEX_REFINED(TOVI_EXPORT_AS, Z) };
// clang-format on

// The element type of a call: that of its first array.
template <class First, class... Rest>
struct ElementOf : ElementOf<Rest...> {};
template <class T, class... Rest>
struct ElementOf<T*, Rest...> {
  using type = std::remove_const_t<T>;
};

// gemm(where, transa, ...), and so on.
#define TOVI_ROUTINE_AS(P, family, name)                                                     \
  template <class... Arguments>                                                              \
  toviStatus family(Memory where, Arguments... arguments) {                                  \
    return Exports<typename ElementOf<Arguments...>::type>::family[static_cast<int>(where)]( \
        exported(arguments)...);                                                             \
  }
#define TOVI_ROUTINE(P, family) TOVI_ROUTINE_AS(P, family, family)
// clang-format off
TOVI_BLAS(TOVI_ROUTINE, ) TOVI_HERMITIAN_BLAS(TOVI_ROUTINE, ) TOVI_LAPACK(TOVI_ROUTINE, )
TOVI_REAL_LAPACK(TOVI_ROUTINE_AS, ) TOVI_REFINED(TOVI_ROUTINE_AS, )
    // clang-format on

    // The same with operands that are placed and fetched.
    template <class T>
    toviStatus factor(Memory where, HostMatrix<T>& a, std::vector<int>& ipiv) {
  const Placed<T> dA(where, a);
  const Placed<int> dIpiv(where, ipiv);
  const toviStatus status = getrf(where, a.rows(), a.cols(), dA.data(), a.ld(), dIpiv.data());
  dA.fetch(), dIpiv.fetch();
  return status;
}

template <class T>
toviStatus factorQr(Memory where, HostMatrix<T>& a, std::vector<T>& tau) {
  const Placed<T> dA(where, a), dTau(where, tau);
  const toviStatus status = geqrf(where, a.rows(), a.cols(), dA.data(), a.ld(), dTau.data());
  dA.fetch(), dTau.fetch();
  return status;
}

template <class T>
toviStatus solve(Memory where, HostMatrix<T>& a, std::vector<int>& ipiv, HostMatrix<T>& b) {
  const Placed<T> dA(where, a), dB(where, b);
  const Placed<int> dIpiv(where, ipiv);
  const toviStatus status =
      gesv(where, a.rows(), b.cols(), dA.data(), a.ld(), dIpiv.data(), dB.data(), b.ld());
  dA.fetch(), dB.fetch(), dIpiv.fetch();
  return status;
}

}  // namespace testing_support

#endif
