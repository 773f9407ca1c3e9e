// Fingerprints of results: every exported routine, all precisions, operands in host and in device memory,
// over shapes on both sides of every block edge. Two builds of the library give the same bits when they print
// the same lines:
//   tovi_fingerprints > before ... tovi_fingerprints > after; diff before after

#include <cuda_runtime.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/elements.h"
#include "include/tovi.h"

namespace {

using bench::Real;

// FNV-1a
class Hash {
 public:
  void add(const void* data, std::size_t bytes) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < bytes; ++i) value_ = (value_ ^ p[i]) * 1099511628211U;
  }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 14695981039346656037U;
};

bool onDevice = false;

void must(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

// Random numbers between -1 and 1 where the routines look for them.
template <class T>
class Operand {
 public:
  // Times scale; diagonal is added to the elements on it.
  explicit Operand(int rows, int cols = 1, std::uint64_t seed = 1, int diagonal = 0, double scale = 1)
      : host_(static_cast<std::size_t>(std::max(rows, 1)) * static_cast<std::size_t>(std::max(cols, 1))) {
    if constexpr (!std::is_same_v<T, int>) {
      auto* const reals = reinterpret_cast<Real<T>*>(host_.data());
      for (std::size_t i = 0; i < host_.size() * sizeof(T) / sizeof(Real<T>); ++i) {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        reals[i] = static_cast<Real<T>>(scale * (static_cast<double>(seed >> 11) / 4503599627370496.0 - 1));
      }
    }
    if constexpr (!std::is_same_v<T, int>)
      for (std::size_t i = 0; diagonal != 0 && i < host_.size(); i += static_cast<std::size_t>(rows) + 1)
        *reinterpret_cast<Real<T>*>(&host_[i]) += static_cast<Real<T>>(diagonal);
    upload();
  }
  explicit Operand(const std::vector<T>& numbers) : host_(numbers) { upload(); }
  ~Operand() { cudaFree(device_); }
  Operand(const Operand&) = delete;
  Operand& operator=(const Operand&) = delete;

  T* get() { return device_ != nullptr ? device_ : host_.data(); }
  void addTo(Hash& hash) {
    if (device_ != nullptr)
      must(cudaMemcpy(host_.data(), device_, bytes(), cudaMemcpyDeviceToHost) == cudaSuccess, "cudaMemcpy");
    hash.add(host_.data(), bytes());
  }

 private:
  std::size_t bytes() const { return host_.size() * sizeof(T); }
  void upload() {
    if (!onDevice) return;
    must(cudaMalloc(&device_, bytes()) == cudaSuccess, "cudaMalloc");
    must(cudaMemcpy(device_, host_.data(), bytes(), cudaMemcpyHostToDevice) == cudaSuccess, "cudaMemcpy");
  }
  std::vector<T> host_;
  T* device_ = nullptr;
};

template <class... Results>
void print(const char* name, const std::string& what, toviStatus status, Results&... results) {
  Hash hash;
  const int info = toviGetErrorInfo();
  hash.add(&status, sizeof status);
  hash.add(&info, sizeof info);
  (results.addTo(hash), ...);
  std::printf("%s%s %s: %d %016llx\n", onDevice ? "device " : "", name, what.c_str(),
              static_cast<int>(status), static_cast<unsigned long long>(hash.value()));
}

std::string of(std::initializer_list<int> sizes, std::initializer_list<char> letters = {}) {
  std::string text;
  for (const char letter : letters) text += letter;
  for (const int size : sizes) text += ' ' + std::to_string(size);
  return text;
}

template <class T>
T scalar(double re, [[maybe_unused]] double im) {
  if constexpr (std::is_same_v<T, Real<T>>)
    return static_cast<T>(re);
  else
    return {static_cast<Real<T>>(re), static_cast<Real<T>>(im)};
}

struct Shape {
  int m, n;
};
const Shape shapes[] = {{1, 1},     {2, 1},     {1, 3},    {31, 33},   {64, 64},   {65, 97},
                        {97, 65},   {130, 30},  {40, 150}, {193, 97},  {200, 193}, {97, 385},
                        {300, 300}, {700, 130}, {90, 640}, {577, 420}, {385, 577}};
const int orders[] = {1, 2, 33, 64, 97, 129, 200, 513, 600};

// --- LAPACK, T by the functions that are given

template <class T>
void getrf(const char* name, toviStatus (*run)(int, int, T*, int, int*)) {
  for (const auto& [m, n] : shapes) {
    Operand<T> a(m + 3, n);
    Operand<int> ipiv(std::min(m, n));
    const toviStatus status = run(m, n, a.get(), m + 3, ipiv.get());
    print(name, of({m, n}), status, a, ipiv);
  }
}
template <class T>
void gesv(const char* name, toviStatus (*run)(int, int, T*, int, int*, T*, int)) {
  for (const int n : orders)
    for (const int nrhs : {1, 40}) {
      Operand<T> a(n, n), b(n + 1, nrhs, 2);
      Operand<int> ipiv(n);
      const toviStatus status = run(n, nrhs, a.get(), n, ipiv.get(), b.get(), n + 1);
      print(name, of({n, nrhs}), status, a, b, ipiv);
    }
}
template <class T>
void geqrf(const char* name, toviStatus (*run)(int, int, T*, int, T*)) {
  for (const auto& [m, n] : shapes) {
    Operand<T> a(m + 3, n), tau(std::min(m, n));
    const toviStatus status = run(m, n, a.get(), m + 3, tau.get());
    print(name, of({m, n}), status, a, tau);
  }
}
template <class T>
void gels(const char* name, toviStatus (*run)(char, int, int, int, T*, int, T*, int)) {
  for (const auto& [m, n] : shapes)
    for (const char trans : {'N', std::is_same_v<T, Real<T>> ? 'T' : 'C'}) {
      Operand<T> a(m, n), b(std::max(m, n), 5, 2);
      const toviStatus status = run(trans, m, n, 5, a.get(), m, b.get(), std::max(m, n));
      print(name, of({m, n}, {trans}), status, a, b);
    }
}
template <class T>
void gesvd(const char* name, toviStatus (*run)(char, char, int, int, T*, int, Real<T>*, T*, int, T*, int)) {
  for (const auto& [m, n] : shapes)
    for (const char jobu : {'N', 'O', 'S', 'A'})
      for (const char jobvt : {'N', 'O', 'S', 'A'}) {
        if (jobu == 'O' && jobvt == 'O') continue;
        Operand<T> a(m, n), u(m, m, 2), vt(n, n, 3);
        Operand<Real<T>> s(std::min(m, n));
        const toviStatus status = run(jobu, jobvt, m, n, a.get(), m, s.get(), u.get(), m, vt.get(), n);
        print(name, of({m, n}, {jobu, jobvt}), status, a, s, u, vt);
      }
}
template <class T>
void gesdd(const char* name, toviStatus (*run)(char, int, int, T*, int, Real<T>*, T*, int, T*, int)) {
  for (const auto& [m, n] : shapes)
    for (const char jobz : {'N', 'O', 'S', 'A'}) {
      Operand<T> a(m, n), u(m, m, 2), vt(n, n, 3);
      Operand<Real<T>> s(std::min(m, n));
      const toviStatus status = run(jobz, m, n, a.get(), m, s.get(), u.get(), m, vt.get(), n);
      print(name, of({m, n}, {jobz}), status, a, s, u, vt);
    }
}
// syevd and heevd
template <class T>
void heevd(const char* name, toviStatus (*run)(char, char, int, T*, int, Real<T>*)) {
  for (const int n : orders)
    for (const char jobz : {'N', 'V'})
      for (const char uplo : {'U', 'L'}) {
        Operand<T> a(n, n);
        Operand<Real<T>> w(n);
        const toviStatus status = run(jobz, uplo, n, a.get(), n, w.get());
        print(name, of({n}, {jobz, uplo}), status, a, w);
      }
}
template <class T>
void gglse(const char* name, toviStatus (*run)(int, int, int, T*, int, T*, int, T*, T*, T*)) {
  for (const auto& [m, n] : shapes)
    for (const int p : {n / 3, n}) {
      if (n > m + p) continue;
      Operand<T> a(m, n), b(std::max(p, 1), n, 2), c(m, 1, 3), d(p, 1, 4), x(n, 1, 5);
      const toviStatus status = run(m, n, p, a.get(), m, b.get(), std::max(p, 1), c.get(), d.get(), x.get());
      print(name, of({m, n, p}), status, a, b, c, d, x);
    }
}
template <class T>
void getrs(const char* name, toviStatus (*run)(char, int, int, const T*, int, const int*, T*, int)) {
  for (const int n : orders)
    for (const char trans : {'N', 'T', 'C'})
      for (const int nrhs : {1, 40}) {
        std::vector<int> pivots(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) pivots[static_cast<std::size_t>(i)] = i + 1 + (n - 1 - i) / 2;
        Operand<T> a(n, n, 1, n), b(n + 1, nrhs, 2);
        Operand<int> ipiv(pivots);
        const toviStatus status = run(trans, n, nrhs, a.get(), n, ipiv.get(), b.get(), n + 1);
        print(name, of({n, nrhs}, {trans}), status, b);
      }
}

// Of positive definite matrices: the diagonal is large.
template <class T>
void potrf(const char* name, toviStatus (*run)(char, int, T*, int)) {
  for (const int n : orders)
    for (const char uplo : {'L', 'U'}) {
      Operand<T> a(n, n, 1, n);
      const toviStatus status = run(uplo, n, a.get(), n);
      print(name, of({n}, {uplo}), status, a);
    }
}
// potrs and posv
template <class T, class Matrix>
void positive(const char* name, toviStatus (*run)(char, int, int, Matrix*, int, T*, int)) {
  for (const int n : orders)
    for (const char uplo : {'L', 'U'})
      for (const int nrhs : {1, 40}) {
        Operand<T> a(n, n, 1, n), b(n + 1, nrhs, 2);
        const toviStatus status = run(uplo, n, nrhs, a.get(), n, b.get(), n + 1);
        print(name, of({n, nrhs}, {uplo}), status, a, b);
      }
}
template <class T>
void ormqr(const char* name, toviStatus (*run)(char, char, int, int, int, const T*, int, const T*, T*, int)) {
  for (const auto& [m, n] : shapes)
    for (const char side : {'L', 'R'})
      for (const char trans : {'N', std::is_same_v<T, Real<T>> ? 'T' : 'C'}) {
        const int order = side == 'L' ? m : n, k = (order + 1) / 2;
        Operand<T> a(order, k), tau(k, 1, 2, 0, 1.0 / order), c(m, n, 3);
        const toviStatus status = run(side, trans, m, n, k, a.get(), order, tau.get(), c.get(), m);
        print(name, of({m, n, k}, {side, trans}), status, c);
      }
}
template <class T>
void orgqr(const char* name, toviStatus (*run)(int, int, int, T*, int, const T*)) {
  for (const auto& [m, n] : shapes) {
    const int k = (n + 1) / 2;
    if (m < n) continue;
    Operand<T> a(m, n), tau(k, 1, 2, 0, 1.0 / m);
    const toviStatus status = run(m, n, k, a.get(), m, tau.get());
    print(name, of({m, n, k}), status, a);
  }
}
template <class T>
void refined(const char* name, toviStatus (*run)(int, int, T*, int, int*, const T*, int, T*, int, int*)) {
  for (const int n : orders)
    for (const int nrhs : {1, 40}) {
      Operand<T> a(n, n), b(n, nrhs, 2), x(n, nrhs, 3);
      Operand<int> ipiv(n);
      int iterations = 0;
      const toviStatus status = run(n, nrhs, a.get(), n, ipiv.get(), b.get(), n, x.get(), n, &iterations);
      print(name, of({n, nrhs, iterations}), status, a, ipiv, x);
    }
}

// --- BLAS

template <class T>
void gemm(const char* name,
          toviStatus (*run)(char, char, int, int, int, T, const T*, int, const T*, int, T, T*, int)) {
  for (const int n : orders)
    for (const char transa : {'N', 'T', 'C'})
      for (const char transb : {'N', 'T', 'C'}) {
        const int m = n, k = n / 2 + 1;
        Operand<T> a(n, n), b(n, n, 2), c(m, n, 3);
        const toviStatus status = run(transa, transb, m, n, k, scalar<T>(0.5, -0.25), a.get(), n, b.get(), n,
                                      scalar<T>(n % 2, 0.5 * (n % 2)), c.get(), m);
        print(name, of({n}, {transa, transb}), status, c);
      }
}
template <class T>
void gemv(const char* name, toviStatus (*run)(char, int, int, T, const T*, int, const T*, int, T, T*, int)) {
  for (const auto& [m, n] : shapes)
    for (const char trans : {'N', 'T', 'C'})
      for (const int inc : {1, -2}) {
        Operand<T> a(m, n), x(2 * std::max(m, n), 1, 2), y(2 * std::max(m, n), 1, 3);
        const toviStatus status =
            run(trans, m, n, scalar<T>(0.5, -0.25), a.get(), m, x.get(), inc, scalar<T>(2, 1), y.get(), inc);
        print(name, of({m, n, inc}, {trans}), status, y);
      }
}
template <class T>
void triangular(const char* name,
                toviStatus (*run)(char, char, char, char, int, int, T, const T*, int, T*, int)) {
  for (const auto& [m, n] : shapes)
    for (const char side : {'L', 'R'})
      for (const char uplo : {'U', 'L'})
        for (const char trans : {'N', 'T', 'C'})
          for (const char diag : {'N', 'U'}) {
            const int order = side == 'L' ? m : n;
            Operand<T> a(order, order), b(m, n, 2);
            const toviStatus status =
                run(side, uplo, trans, diag, m, n, scalar<T>(0.5, -0.25), a.get(), order, b.get(), m);
            print(name, of({m, n}, {side, uplo, trans, diag}), status, b);
          }
}
template <class T>
void symmetric(const char* name,
               toviStatus (*run)(char, char, int, int, T, const T*, int, const T*, int, T, T*, int)) {
  for (const auto& [m, n] : shapes)
    for (const char side : {'L', 'R'})
      for (const char uplo : {'U', 'L'}) {
        const int order = side == 'L' ? m : n;
        Operand<T> a(order, order), b(m, n, 2), c(m, n, 3);
        const toviStatus status = run(side, uplo, m, n, scalar<T>(0.5, -0.25), a.get(), order, b.get(), m,
                                      scalar<T>(n % 2, 0), c.get(), m);
        print(name, of({m, n}, {side, uplo}), status, c);
      }
}
template <class T, class Factor>
void rankK(const char* name,
           toviStatus (*run)(char, char, int, int, Factor, const T*, int, Factor, T*, int)) {
  for (const int n : orders)
    for (const char uplo : {'U', 'L'})
      for (const char trans : {'N', 'T', 'C'}) {
        Operand<T> a(n, n), c(n, n, 2);
        const toviStatus status = run(uplo, trans, n, n / 2 + 1, scalar<Factor>(0.5, 0.25), a.get(), n,
                                      scalar<Factor>(n % 2, 0), c.get(), n);
        print(name, of({n}, {uplo, trans}), status, c);
      }
}
template <class T, class Factor>
void rank2K(const char* name,
            toviStatus (*run)(char, char, int, int, T, const T*, int, const T*, int, Factor, T*, int)) {
  for (const int n : orders)
    for (const char uplo : {'U', 'L'})
      for (const char trans : {'N', 'T', 'C'}) {
        Operand<T> a(n, n), b(n, n, 2), c(n, n, 3);
        const toviStatus status = run(uplo, trans, n, n / 2 + 1, scalar<T>(0.5, 0.25), a.get(), n, b.get(), n,
                                      scalar<Factor>(n % 2, 0), c.get(), n);
        print(name, of({n}, {uplo, trans}), status, c);
      }
}

#define TOVI_BOTH(check, letter, name) \
  check(#letter #name, onDevice ? toviDevice##letter##name : tovi##letter##name)
#define TOVI_ALL(check, name) \
  TOVI_BOTH(check, S, name), TOVI_BOTH(check, D, name), TOVI_BOTH(check, C, name), TOVI_BOTH(check, Z, name)

}  // namespace

int main() {
  must(toviInitialize() == toviNoError, "toviInitialize");
  for (const bool device : {false, true}) {
    onDevice = device;
    TOVI_ALL(getrf, getrf), TOVI_ALL(gesv, gesv), TOVI_ALL(geqrf, geqrf);
    TOVI_ALL(gels, gels), TOVI_ALL(gesvd, gesvd), TOVI_ALL(gglse, gglse);
    TOVI_ALL(getrs, getrs), TOVI_ALL(potrf, potrf), TOVI_ALL(positive, potrs), TOVI_ALL(positive, posv);
    TOVI_BOTH(ormqr, S, ormqr), TOVI_BOTH(ormqr, D, ormqr), TOVI_BOTH(ormqr, C, unmqr);
    TOVI_BOTH(ormqr, Z, unmqr), TOVI_BOTH(orgqr, S, orgqr), TOVI_BOTH(orgqr, D, orgqr);
    TOVI_BOTH(orgqr, C, ungqr), TOVI_BOTH(orgqr, Z, ungqr);
    TOVI_BOTH(refined, D, sgesv), TOVI_BOTH(refined, Z, cgesv);
    TOVI_ALL(gesdd, gesdd), TOVI_BOTH(heevd, S, syevd), TOVI_BOTH(heevd, D, syevd);
    TOVI_BOTH(heevd, C, heevd), TOVI_BOTH(heevd, Z, heevd);
    TOVI_ALL(gemm, gemm), TOVI_ALL(gemv, gemv);
    TOVI_ALL(triangular, trsm), TOVI_ALL(triangular, trmm);
    TOVI_ALL(symmetric, symm), TOVI_BOTH(symmetric, C, hemm), TOVI_BOTH(symmetric, Z, hemm);
    TOVI_ALL(rankK, syrk), TOVI_BOTH(rankK, C, herk), TOVI_BOTH(rankK, Z, herk);
    TOVI_ALL(rank2K, syr2k), TOVI_BOTH(rank2K, C, her2k), TOVI_BOTH(rank2K, Z, her2k);
  }
  toviShutdown();
  return 0;
}
