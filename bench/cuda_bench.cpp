// On a GPU: the device-memory interface beside cuBLAS and cuSOLVER on the same operands, and the host-memory
// interface beside the same vendor calls with their transfers, in all four precisions. The transposed
// matrix-vector product beside the bandwidth of the memory. Sizes grow until the time is spent: about six
// minutes.

#include <cublas_v2.h>
#include <cusolverDn.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "bench/elements.h"
#include "bench/harness.h"
#include "include/tovi.h"

namespace {

using bench::elements;
using bench::isComplex;
using bench::number;
using bench::Real;
using bench::weight;

void must(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}
void must(toviStatus status, const char* what) { must(status == toviNoError, what); }
void must(cudaError_t status, const char* what) { must(status == cudaSuccess, what); }
void must(cublasStatus_t status, const char* what) { must(status == CUBLAS_STATUS_SUCCESS, what); }
void must(cusolverStatus_t status, const char* what) { must(status == CUSOLVER_STATUS_SUCCESS, what); }

void wait() { must(cudaDeviceSynchronize(), "cudaDeviceSynchronize"); }

template <class T>
std::vector<T> randomElements(int rows, int cols) {
  static unsigned seed = 0;
  return bench::randomElements<T>(rows, cols, ++seed);
}

template <class T>
class DeviceBuffer {
 public:
  explicit DeviceBuffer(std::size_t count) : bytes_(count * sizeof(T)) {
    must(cudaMalloc(reinterpret_cast<void**>(&data_), bytes_), "cudaMalloc");
  }
  explicit DeviceBuffer(const std::vector<T>& host) : DeviceBuffer(host.size()) { from(host); }
  DeviceBuffer(const DeviceBuffer&) = delete;
  DeviceBuffer& operator=(const DeviceBuffer&) = delete;
  ~DeviceBuffer() { cudaFree(data_); }
  T* get() const { return data_; }
  void from(const std::vector<T>& host) const {
    must(cudaMemcpy(data_, host.data(), bytes_, cudaMemcpyHostToDevice), "upload");
  }
  void to(std::vector<T>& host) const {
    must(cudaMemcpy(host.data(), data_, bytes_, cudaMemcpyDeviceToHost), "download");
  }
  // The whole of this one, which is not the longer of the two.
  void copy(const DeviceBuffer& other) const {
    must(cudaMemcpy(data_, other.data_, bytes_, cudaMemcpyDeviceToDevice), "copy");
  }
  std::vector<T> contents() const {
    std::vector<T> host(bytes_ / sizeof(T));
    to(host);
    return host;
  }

 private:
  T* data_ = nullptr;
  std::size_t bytes_;
};

// --- The routines by element type

template <class T>
struct Routines;

#define TOVI_BENCH_ROUTINES(Element, VendorElement, P, mqr, evd, gelsPrefix)          \
  template <>                                                                         \
  struct Routines<Element> {                                                          \
    using Vendor = VendorElement;                                                     \
    static constexpr const char* prefix = #P;                                         \
    static constexpr auto gemm = tovi##P##gemm, deviceGemm = toviDevice##P##gemm;     \
    static constexpr auto getrf = tovi##P##getrf, deviceGetrf = toviDevice##P##getrf; \
    static constexpr auto geqrf = tovi##P##geqrf, deviceGeqrf = toviDevice##P##geqrf; \
    static constexpr auto deviceGesv = toviDevice##P##gesv;                           \
    static constexpr auto deviceGetrs = toviDevice##P##getrs;                         \
    static constexpr auto devicePotrf = toviDevice##P##potrf;                         \
    static constexpr auto deviceGemv = toviDevice##P##gemv;                           \
    static constexpr auto deviceGels = toviDevice##P##gels;                           \
    static constexpr auto deviceGglse = toviDevice##P##gglse;                         \
    static constexpr auto deviceGesvd = toviDevice##P##gesvd;                         \
    static constexpr auto deviceGesdd = toviDevice##P##gesdd;                         \
    static constexpr auto deviceEvd = toviDevice##P##evd;                             \
    static constexpr auto vendorGemm = cublas##P##gemm;                               \
    static constexpr auto vendorGemv = cublas##P##gemv;                               \
    static constexpr auto vendorGeam = cublas##P##geam;                               \
    static constexpr auto vendorTrsm = cublas##P##trsm;                               \
    static constexpr auto vendorGetrfSize = cusolverDn##P##getrf_bufferSize;          \
    static constexpr auto vendorGetrf = cusolverDn##P##getrf;                         \
    static constexpr auto vendorGetrs = cusolverDn##P##getrs;                         \
    static constexpr auto vendorPotrfSize = cusolverDn##P##potrf_bufferSize;          \
    static constexpr auto vendorPotrf = cusolverDn##P##potrf;                         \
    static constexpr auto vendorGeqrfSize = cusolverDn##P##geqrf_bufferSize;          \
    static constexpr auto vendorGeqrf = cusolverDn##P##geqrf;                         \
    static constexpr auto vendorMqrSize = cusolverDn##P##mqr##_bufferSize;            \
    static constexpr auto vendorMqr = cusolverDn##P##mqr;                             \
    static constexpr auto vendorGelsSize = cusolverDn##gelsPrefix##gels_bufferSize;   \
    static constexpr auto vendorGels = cusolverDn##gelsPrefix##gels;                  \
    static constexpr auto vendorGesvdSize = cusolverDn##P##gesvd_bufferSize;          \
    static constexpr auto vendorGesvd = cusolverDn##P##gesvd;                         \
    static constexpr auto vendorEvdSize = cusolverDn##P##evd##_bufferSize;            \
    static constexpr auto vendorEvd = cusolverDn##P##evd;                             \
  };
TOVI_BENCH_ROUTINES(float, float, S, ormqr, syevd, SS)
TOVI_BENCH_ROUTINES(double, double, D, ormqr, syevd, DD)
TOVI_BENCH_ROUTINES(toviFloatComplex, cuComplex, C, unmqr, heevd, CC)
TOVI_BENCH_ROUTINES(toviDoubleComplex, cuDoubleComplex, Z, unmqr, heevd, ZZ)

// cuBLAS and cuSOLVER. Their workspace is kept from call to call, as this library's buffers are.
template <class T>
class Vendor {
 public:
  using R = Routines<T>;
  using V = typename R::Vendor;

  Vendor() : info_(1) {
    must(cublasCreate(&blas_), "cublasCreate");
    must(cusolverDnCreate(&solver_), "cusolverDnCreate");
  }
  Vendor(const Vendor&) = delete;
  Vendor& operator=(const Vendor&) = delete;
  ~Vendor() {
    cudaFree(work_);
    cusolverDnDestroy(solver_);
    cublasDestroy(blas_);
  }

  void gemm(int n, const T* a, const T* b, T* c) {
    const V one = number<V>(1), zero = number<V>(0);
    must(
        R::vendorGemm(blas_, CUBLAS_OP_N, CUBLAS_OP_N, n, n, n, &one, raw(a), n, raw(b), n, &zero, raw(c), n),
        "gemm");
  }
  void getrf(int n, T* a, int* ipiv) {
    int size = 0;
    must(R::vendorGetrfSize(solver_, n, n, raw(a), n, &size), "getrf_bufferSize");
    must(R::vendorGetrf(solver_, n, n, raw(a), n, work(size), ipiv, info_.get()), "getrf");
  }
  void getrs(int n, int nrhs, const T* lu, const int* ipiv, T* b) {
    must(R::vendorGetrs(solver_, CUBLAS_OP_N, n, nrhs, raw(lu), n, ipiv, raw(b), n, info_.get()), "getrs");
  }
  void potrf(int n, T* a) {
    int size = 0;
    must(R::vendorPotrfSize(solver_, CUBLAS_FILL_MODE_LOWER, n, raw(a), n, &size), "potrf_bufferSize");
    must(R::vendorPotrf(solver_, CUBLAS_FILL_MODE_LOWER, n, raw(a), n, work(size), size, info_.get()),
         "potrf");
  }
  void geqrf(int m, int n, T* a, int lda, T* tau) {
    int size = 0;
    must(R::vendorGeqrfSize(solver_, m, n, raw(a), lda, &size), "geqrf_bufferSize");
    must(R::vendorGeqrf(solver_, m, n, raw(a), lda, raw(tau), work(size), size, info_.get()), "geqrf");
  }
  // C := op(Q) C, or C op(Q), with the m x n matrix C and the k reflectors in a.
  void applyQ(cublasSideMode_t side, bool transposed, int m, int n, int k, const T* a, int lda, const T* tau,
              T* c, int ldc) {
    const cublasOperation_t op = transposed ? conjugateTranspose : CUBLAS_OP_N;
    int size = 0;
    must(R::vendorMqrSize(solver_, side, op, m, n, k, raw(a), lda, raw(tau), raw(c), ldc, &size),
         "ormqr_bufferSize");
    must(R::vendorMqr(solver_, side, op, m, n, k, raw(a), lda, raw(tau), raw(c), ldc, work(size), size,
                      info_.get()),
         "ormqr");
  }
  void gels(int m, int n, int nrhs, T* a, T* b, T* x) {
    std::size_t bytes = 0;
    must(R::vendorGelsSize(solver_, m, n, nrhs, raw(a), m, raw(b), m, raw(x), n, nullptr, &bytes),
         "gels_bufferSize");
    V* const space = work(bytes / sizeof(V) + 1);
    int iterations = 0;
    must(R::vendorGels(solver_, m, n, nrhs, raw(a), m, raw(b), m, raw(x), n, space, bytes, &iterations,
                       info_.get()),
         "gels");
  }
  // It has no gglse: B^H = Q (R; 0), x = Q (y1; y2), R^H y1 = d, and y2 minimizes || c - A Q (y1; y2) ||.
  // bH holds n x p elements, tau n, x n.
  void gglse(int m, int n, int p, T* a, const T* b, T* c, const T* d, T* bH, T* tau, T* x) {
    const V one = number<V>(1), zero = number<V>(0), minusOne = number<V>(-1);
    const int rest = n - p;
    T* const a2 = a + elements(m, p);
    T* const y2 = x + p;
    must(R::vendorGeam(blas_, conjugateTranspose, CUBLAS_OP_N, n, p, &one, raw(b), p, &zero, raw(bH), n,
                       raw(bH), n),
         "geam");
    geqrf(n, p, bH, n, tau);
    applyQ(CUBLAS_SIDE_RIGHT, false, m, n, p, bH, n, tau, a, m);
    copyVector(d, x, p);
    solveTriangle(conjugateTranspose, p, bH, n, x);
    must(R::vendorGemv(blas_, CUBLAS_OP_N, m, p, &minusOne, raw(a), m, raw(x), 1, &one, raw(c), 1), "gemv");
    geqrf(m, rest, a2, m, tau + p);
    applyQ(CUBLAS_SIDE_LEFT, true, m, 1, rest, a2, m, tau + p, c, m);
    copyVector(c, y2, rest);
    solveTriangle(CUBLAS_OP_N, rest, a2, m, y2);
    applyQ(CUBLAS_SIDE_LEFT, false, n, 1, p, bH, n, tau, x, n);
  }
  void gesvd(char job, int n, T* a, Real<T>* s, T* u, T* vt) {
    const auto vendorJob = static_cast<signed char>(job);
    int size = 0;
    must(R::vendorGesvdSize(solver_, n, n, &size), "gesvd_bufferSize");
    must(R::vendorGesvd(solver_, vendorJob, vendorJob, n, n, raw(a), n, s, raw(u), n, raw(vt), n, work(size),
                        size, nullptr, info_.get()),
         "gesvd");
  }
  // syevd, heevd
  void evd(bool vectors, int n, T* a, Real<T>* w) {
    const cusolverEigMode_t job = vectors ? CUSOLVER_EIG_MODE_VECTOR : CUSOLVER_EIG_MODE_NOVECTOR;
    constexpr cublasFillMode_t lower = CUBLAS_FILL_MODE_LOWER;
    int size = 0;
    must(R::vendorEvdSize(solver_, job, lower, n, raw(a), n, w, &size), "syevd_bufferSize");
    must(R::vendorEvd(solver_, job, lower, n, raw(a), n, w, work(size), size, info_.get()), "syevd");
  }

 private:
  static constexpr cublasOperation_t conjugateTranspose = isComplex<T> ? CUBLAS_OP_C : CUBLAS_OP_T;

  static V* raw(T* p) { return reinterpret_cast<V*>(p); }
  static const V* raw(const T* p) { return reinterpret_cast<const V*>(p); }
  template <class Count>
  V* work(Count count) {
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(V);
    if (bytes > workBytes_) {
      cudaFree(work_);
      must(cudaMalloc(reinterpret_cast<void**>(&work_), bytes), "cudaMalloc");
      workBytes_ = bytes;
    }
    return work_;
  }
  static void copyVector(const T* from, T* to, int n) {
    must(cudaMemcpyAsync(to, from, static_cast<std::size_t>(n) * sizeof(T), cudaMemcpyDeviceToDevice),
         "copy");
  }
  // x := op(R)^-1 x
  void solveTriangle(cublasOperation_t op, int n, const T* r, int ldr, T* x) {
    const V one = number<V>(1);
    must(R::vendorTrsm(blas_, CUBLAS_SIDE_LEFT, CUBLAS_FILL_MODE_UPPER, op, CUBLAS_DIAG_NON_UNIT, n, 1, &one,
                       raw(r), ldr, raw(x), n),
         "trsm");
  }

  cublasHandle_t blas_ = nullptr;
  cusolverDnHandle_t solver_ = nullptr;
  DeviceBuffer<int> info_;
  V* work_ = nullptr;
  std::size_t workBytes_ = 0;
};

// --- The rows

// Measures while there is time.
class Bench {
 public:
  Bench(std::regex only, double limit) : report_(std::move(only), 5, 0), end_(bench::seconds() + limit) {}

  // ours and rival leave the device's work under way: it is waited for.
  void pair(const std::string& name, double flops, bench::Contender ours, bench::Contender rival) {
    if (!timeLeft()) return;
    for (bench::Contender* one : {&ours, &rival})
      one->run = [run = one->run] {
        run();
        wait();
      };
    report_.pair(name, flops * 1e-9, "GF", 0.8, ours, rival);
  }
  void share(const std::string& name, double bytes, double limit, const bench::Contender& ours) {
    if (timeLeft()) report_.share(name, bytes * 1e-9, "GB", limit, 0.8, ours);
  }
  // Of what both have just computed.
  template <class T>
  void difference(const std::vector<T>& ours, const std::vector<T>& rivals) {
    if (!timeLeft()) return;
    const auto* a = reinterpret_cast<const Real<T>*>(ours.data());
    const auto* b = reinterpret_cast<const Real<T>*>(rivals.data());
    double worst = 0, largest = 0;
    for (std::size_t i = 0; i < ours.size() * sizeof(T) / sizeof(Real<T>); ++i) {
      const double difference = std::abs(a[i] - b[i]);
      if (!(difference <= worst)) worst = difference;  // NaN, too
      largest = std::max(largest, static_cast<double>(std::abs(b[i])));
    }
    constexpr bool whole = bench::isDouble<T>;
    report_.figure("  greatest difference, of the greatest element", (whole ? 1e15 : 1e6) * worst / largest,
                   whole ? "e-15" : "e-6", 1e3);
  }
  bool timeLeft() {
    if (bench::seconds() < end_) return true;
    if (!told_) std::printf("the time is spent: the rest is left out\n");
    told_ = true;
    return false;
  }
  void writeJson(const std::string& path) const { report_.writeJson(path); }

 private:
  bench::Report report_;
  double end_;
  bool told_ = false;
};

// Of the device's memory, in GB/s: two transfers a clock on every line of the bus.
double memoryBandwidth() {
  int device = 0, kilohertz = 0, bits = 0;
  must(cudaGetDevice(&device), "cudaGetDevice");
  must(cudaDeviceGetAttribute(&kilohertz, cudaDevAttrMemoryClockRate, device), "cudaDeviceGetAttribute");
  must(cudaDeviceGetAttribute(&bits, cudaDevAttrGlobalMemoryBusWidth, device), "cudaDeviceGetAttribute");
  return 2e-6 * kilohertz * bits / 8;
}

template <class T>
std::string name(const char* memory, const char* routine, const char* rival, int n) {
  return std::string(memory) + Routines<T>::prefix + routine + " / " + rival + " n = " + std::to_string(n);
}

constexpr const char *onDevice = "toviDevice", *onHost = "tovi", *cuBlas = "cuBLAS", *cuSolver = "cuSOLVER",
                     *blasTransfers = "cuBLAS with transfers", *solverTransfers = "cuSOLVER with transfers";

// Products, LU and QR of order n, and systems of 256 right-hand sides.
template <class T>
void square(Bench& bench, int n) {
  using R = Routines<T>;
  if (!bench.timeLeft()) return;
  const int nrhs = 256;
  const double cube = weight<T> * n * n * static_cast<double>(n);
  const T one = number<T>(1), zero = number<T>(0);
  const std::vector<T> hA = randomElements<T>(n, n);
  std::vector<T> hC = hA, hTau(elements(n, 1));
  std::vector<int> hIpiv(elements(n, 1));
  const DeviceBuffer<T> dA(hA), dB(hA), dC(hA), dTau(elements(n, 1));
  const DeviceBuffer<int> dIpiv(elements(n, 1));
  Vendor<T> vendor;
  const auto nothing = [] {};
  const auto restoreDevice = [&] {
    dB.copy(dA);
    dC.copy(dA);
    wait();
  };
  const auto restoreHost = [&] { hC = hA; };

  bench.pair(name<T>(onDevice, "gemm", cuBlas, n), 2 * cube,
             {nothing,
              [&] {
                must(R::deviceGemm('N', 'N', n, n, n, one, dA.get(), n, dB.get(), n, zero, dC.get(), n),
                     "gemm");
              }},
             {nothing, [&] { vendor.gemm(n, dA.get(), dB.get(), dC.get()); }});
  bench.pair(name<T>(onHost, "gemm", blasTransfers, n), 2 * cube,
             {nothing,
              [&] {
                must(R::gemm('N', 'N', n, n, n, one, hA.data(), n, hA.data(), n, zero, hC.data(), n), "gemm");
              }},
             {nothing, [&] {
                dA.from(hA);
                dB.from(hA);
                vendor.gemm(n, dA.get(), dB.get(), dC.get());
                dC.to(hC);
              }});

  bench.pair(name<T>(onDevice, "getrf", cuSolver, n), 2.0 / 3 * cube,
             {restoreDevice, [&] { must(R::deviceGetrf(n, n, dC.get(), n, dIpiv.get()), "getrf"); }},
             {restoreDevice, [&] { vendor.getrf(n, dC.get(), dIpiv.get()); }});
  bench.pair(name<T>(onHost, "getrf", solverTransfers, n), 2.0 / 3 * cube,
             {restoreHost, [&] { must(R::getrf(n, n, hC.data(), n, hIpiv.data()), "getrf"); }},
             {restoreHost, [&] {
                dC.from(hC);
                vendor.getrf(n, dC.get(), dIpiv.get());
                dC.to(hC);
                dIpiv.to(hIpiv);
              }});
  bench.pair(
      name<T>(onDevice, "gesv", cuSolver, n) + ", nrhs = " + std::to_string(nrhs),
      (2.0 / 3 + 2.0 * nrhs / n) * cube,
      {restoreDevice, [&] { must(R::deviceGesv(n, nrhs, dC.get(), n, dIpiv.get(), dB.get(), n), "gesv"); }},
      {restoreDevice, [&] {
         vendor.getrf(n, dC.get(), dIpiv.get());
         vendor.getrs(n, nrhs, dC.get(), dIpiv.get(), dB.get());
       }});

  bench.pair(name<T>(onDevice, "geqrf", cuSolver, n), 4.0 / 3 * cube,
             {restoreDevice, [&] { must(R::deviceGeqrf(n, n, dC.get(), n, dTau.get()), "geqrf"); }},
             {restoreDevice, [&] { vendor.geqrf(n, n, dC.get(), n, dTau.get()); }});
  bench.pair(name<T>(onHost, "geqrf", solverTransfers, n), 4.0 / 3 * cube,
             {restoreHost, [&] { must(R::geqrf(n, n, hC.data(), n, hTau.data()), "geqrf"); }},
             {restoreHost, [&] {
                dC.from(hC);
                vendor.geqrf(n, n, dC.get(), n, dTau.get());
                dC.to(hC);
                dTau.to(hTau);
              }});

  if (n >= 8192)  // what does not fit a cache
    bench.share(
        name<T>(onDevice, "gemv", "bandwidth", n), static_cast<double>(sizeof(T)) * n * n, memoryBandwidth(),
        {nothing,
         [&] { must(R::deviceGemv('T', n, n, one, dA.get(), n, dB.get(), 1, zero, dC.get(), 1), "gemv"); }});
}

// A positive definite matrix, and one right-hand side with the factors of LU.
template <class T>
void factorsAndSolves(Bench& bench, int n) {
  if (!bench.timeLeft()) return;
  using R = Routines<T>;
  std::vector<T> hA = randomElements<T>(n, n);
  for (int i = 0; i < n; ++i)
    *reinterpret_cast<Real<T>*>(&hA[elements(i, n) + static_cast<std::size_t>(i)]) += static_cast<Real<T>>(n);
  const DeviceBuffer<T> dA0(hA), dA(elements(n, n)), dB0(randomElements<T>(n, 1)), dB(elements(n, 1));
  const DeviceBuffer<int> dIpiv(elements(n, 1));
  Vendor<T> vendor;
  const auto restore = [&] {
    dA.copy(dA0);
    wait();
  };
  bench.pair(name<T>(onDevice, "potrf", cuSolver, n), weight<T> / 3 * n * n * static_cast<double>(n),
             {restore, [&] { must(R::devicePotrf('L', n, dA.get(), n), "potrf"); }},
             {restore, [&] { vendor.potrf(n, dA.get()); }});
  restore();
  vendor.getrf(n, dA.get(), dIpiv.get());
  const auto restoreB = [&] {
    dB.copy(dB0);
    wait();
  };
  bench.pair(
      name<T>(onDevice, "getrs", cuSolver, n) + ", nrhs = 1", weight<T> * 2.0 * n * n,
      {restoreB, [&] { must(R::deviceGetrs('N', n, 1, dA.get(), n, dIpiv.get(), dB.get(), n), "getrs"); }},
      {restoreB, [&] { vendor.getrs(n, 1, dA.get(), dIpiv.get(), dB.get()); }});
}

// 4 n x n, one right-hand side. The rival's solution is in an array of its own.
template <class T>
void leastSquares(Bench& bench, int n) {
  if (!bench.timeLeft()) return;
  const int m = 4 * n;
  const DeviceBuffer<T> dA0(randomElements<T>(m, n)), dB0(randomElements<T>(m, 1));
  const DeviceBuffer<T> dA(elements(m, n)), dB(elements(m, 1)), ours(elements(n, 1)), rivals(elements(n, 1));
  Vendor<T> vendor;
  const auto restore = [&] {
    dA.copy(dA0);
    dB.copy(dB0);
    wait();
  };
  bench.pair(name<T>(onDevice, "gels", cuSolver, n) + ", m = 4 n",
             weight<T> * (2.0 * m * n * n - 2.0 / 3 * n * n * static_cast<double>(n) + 4.0 * m * n),
             {restore,
              [&] {
                must(Routines<T>::deviceGels('N', m, n, 1, dA.get(), m, dB.get(), m), "gels");
                ours.copy(dB);
              }},
             {restore, [&] { vendor.gels(m, n, 1, dA.get(), dB.get(), rivals.get()); }});
  bench.difference(ours.contents(), rivals.contents());
}

// 4 n x 3 n with n constraints.
template <class T>
void constrained(Bench& bench, int n) {
  if (!bench.timeLeft()) return;
  const int rows = 4 * n, cols = 3 * n, p = n;
  const DeviceBuffer<T> dA0(randomElements<T>(rows, cols)), dB0(randomElements<T>(p, cols)),
      dC0(randomElements<T>(rows, 1)), dD0(randomElements<T>(p, 1));
  const DeviceBuffer<T> dA(elements(rows, cols)), dB(elements(p, cols)), dC(elements(rows, 1)),
      dD(elements(p, 1)), bH(elements(cols, p)), tau(elements(cols, 1)), ours(elements(cols, 1)),
      rivals(elements(cols, 1));
  Vendor<T> vendor;
  const auto restore = [&] {
    dA.copy(dA0);
    dB.copy(dB0);
    dC.copy(dC0);
    dD.copy(dD0);
    wait();
  };
  const double m = rows, l = cols;
  bench.pair(name<T>(onDevice, "gglse", cuSolver, p) + ", 4 n x 3 n",
             weight<T> * (2.0 * l * p * p - 2.0 / 3 * p * p * p + (4.0 * l - 2.0 * p) * m * p +
                          2.0 * m * (l - p) * (l - p) - 2.0 / 3 * (l - p) * (l - p) * (l - p)),
             {restore,
              [&] {
                must(Routines<T>::deviceGglse(rows, cols, p, dA.get(), rows, dB.get(), p, dC.get(), dD.get(),
                                              ours.get()),
                     "gglse");
              }},
             {restore, [&] {
                vendor.gglse(rows, cols, p, dA.get(), dB.get(), dC.get(), dD.get(), bH.get(), tau.get(),
                             rivals.get());
              }});
  bench.difference(ours.contents(), rivals.contents());
}

// Job "A": all vectors; "N": values alone. Flops at two rotations' worth of sweeps a value: a nominal figure.
template <class T>
void singularValues(Bench& bench, int n, char job) {
  if (!bench.timeLeft()) return;
  const DeviceBuffer<T> dA0(randomElements<T>(n, n)), dA(elements(n, n)), dU(elements(n, n)),
      dVt(elements(n, n));
  const DeviceBuffer<Real<T>> ours(elements(n, 1)), rivals(elements(n, 1));
  Vendor<T> vendor;
  const auto restore = [&] {
    dA.copy(dA0);
    wait();
  };
  const double cube = n * n * static_cast<double>(n);
  bench.pair(
      name<T>(onDevice, "gesvd", cuSolver, n) + ", " + job,
      weight<T> * (job == 'N' ? 8.0 / 3 : 8.0 / 3 + 14) * cube,
      {restore,
       [&] {
         must(Routines<T>::deviceGesvd(job, job, n, n, dA.get(), n, ours.get(), dU.get(), n, dVt.get(), n),
              "gesvd");
       }},
      {restore, [&] { vendor.gesvd(job, n, dA.get(), rivals.get(), dU.get(), dVt.get()); }});
  bench.difference(ours.contents(), rivals.contents());
  if (job == 'N') return;
  bench.pair(name<T>(onDevice, "gesdd", "cuSOLVER's gesvd", n) + ", " + job, weight<T> * (8.0 / 3 + 8) * cube,
             {restore,
              [&] {
                must(Routines<T>::deviceGesdd(job, n, n, dA.get(), n, ours.get(), dU.get(), n, dVt.get(), n),
                     "gesdd");
              }},
             {restore, [&] { vendor.gesvd(job, n, dA.get(), rivals.get(), dU.get(), dVt.get()); }});
  bench.difference(ours.contents(), rivals.contents());
}

// The matrix is random; of it the lower triangle counts.
template <class T>
void eigenvalues(Bench& bench, int n, char job) {
  if (!bench.timeLeft()) return;
  const DeviceBuffer<T> dA0(randomElements<T>(n, n)), dA(elements(n, n));
  const DeviceBuffer<Real<T>> ours(elements(n, 1)), rivals(elements(n, 1));
  Vendor<T> vendor;
  const auto restore = [&] {
    dA.copy(dA0);
    wait();
  };
  const double cube = n * n * static_cast<double>(n);
  bench.pair(name<T>(onDevice, isComplex<T> ? "heevd" : "syevd", cuSolver, n) + ", " + job,
             weight<T> * (job == 'N' ? 4.0 / 3 : 14.0 / 3) * cube,
             {restore, [&] { must(Routines<T>::deviceEvd(job, 'L', n, dA.get(), n, ours.get()), "syevd"); }},
             {restore, [&] { vendor.evd(job == 'V', n, dA.get(), rivals.get()); }});
  bench.difference(ours.contents(), rivals.contents());
}

template <class T>
void all(Bench& bench, int n) {
  std::size_t free = 0, total = 0;
  must(cudaMemGetInfo(&free, &total), "cudaMemGetInfo");
  if (8 * elements(n, n) * sizeof(T) > free) return;
  if (n <= (isComplex<T> ? 8192 : 16384)) square<T>(bench, n);
  if (n <= 8192) factorsAndSolves<T>(bench, n);
  if (n <= 2048) leastSquares<T>(bench, n);
  if (n <= 2048) constrained<T>(bench, n);
  for (const char job : {'N', 'A'})
    if (n <= 2048) singularValues<T>(bench, n, job);
  for (const char job : {'N', 'V'})
    if (n <= 4096) eigenvalues<T>(bench, n, job);
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json, only] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  Bench bench(only, quick ? 60 : 280);
  for (int n = 512; n <= (quick ? 1024 : 16384); n *= 2) {
    all<float>(bench, n);
    all<toviFloatComplex>(bench, n);
    all<double>(bench, n);
    all<toviDoubleComplex>(bench, n);
  }
  if (!json.empty()) bench.writeJson(json);
  toviShutdown();
  return 0;
}
