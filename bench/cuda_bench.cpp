// On a GPU: the device-memory interface beside cuBLAS and cuSOLVER on the same operands, and the host-memory
// interface beside the same vendor calls with their transfers. The transposed matrix-vector product beside
// the bandwidth of the memory.

#include <cublas_v2.h>
#include <cusolverDn.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "include/tovi.h"

namespace {

void must(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

template <class T>
class DeviceBuffer {
 public:
  explicit DeviceBuffer(std::size_t count) : bytes_(count * sizeof(T)) {
    must(cudaMalloc(reinterpret_cast<void**>(&data_), bytes_) == cudaSuccess, "cudaMalloc");
  }
  DeviceBuffer(const DeviceBuffer&) = delete;
  DeviceBuffer& operator=(const DeviceBuffer&) = delete;
  ~DeviceBuffer() { cudaFree(data_); }
  T* get() const { return data_; }
  void from(const T* host) const {
    must(cudaMemcpy(data_, host, bytes_, cudaMemcpyHostToDevice) == cudaSuccess, "upload");
  }
  void to(T* host) const {
    must(cudaMemcpy(host, data_, bytes_, cudaMemcpyDeviceToHost) == cudaSuccess, "download");
  }
  void copy(const DeviceBuffer& other) const {
    must(cudaMemcpy(data_, other.data_, bytes_, cudaMemcpyDeviceToDevice) == cudaSuccess, "copy");
  }

 private:
  T* data_ = nullptr;
  std::size_t bytes_;
};

// One square problem of order n with its operands on both sides.
class Problem {
 public:
  Problem(int n, int nrhs)
      : n_(n),
        nrhs_(nrhs),
        count_(static_cast<std::size_t>(n) * static_cast<std::size_t>(n)),
        hA_(count_),
        hC_(count_),
        dA_(count_),
        dB_(count_),
        dC_(count_),
        dIpiv_(static_cast<std::size_t>(n)),
        dInfo_(1),
        hIpiv_(static_cast<std::size_t>(n)) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> uniform(-1, 1);
    for (float& x : hA_) x = uniform(engine);
    dA_.from(hA_.data());
    dB_.from(hA_.data());
    must(cublasCreate(&blas_) == CUBLAS_STATUS_SUCCESS, "cublasCreate");
    must(cusolverDnCreate(&solver_) == CUSOLVER_STATUS_SUCCESS, "cusolverDnCreate");
    int elements = 0;
    must(cusolverDnSgetrf_bufferSize(solver_, n, n, dC_.get(), n, &elements) == CUSOLVER_STATUS_SUCCESS,
         "getrf");
    must(cudaMalloc(reinterpret_cast<void**>(&dWork_), static_cast<std::size_t>(elements) * sizeof(float)) ==
             cudaSuccess,
         "cudaMalloc");
  }
  Problem(const Problem&) = delete;
  Problem& operator=(const Problem&) = delete;
  ~Problem() {
    cudaFree(dWork_);
    cusolverDnDestroy(solver_);
    cublasDestroy(blas_);
  }

  void measure(bench::Report& report) {
    const double cube = 1e-9 * n_ * n_ * static_cast<double>(n_);
    const std::string order = " n = " + std::to_string(n_);
    const auto nothing = [] {};
    const auto restoreDevice = [this] {
      dC_.copy(dA_);
      wait();
    };
    const auto restoreHost = [this] { hC_ = hA_; };

    report.pair("toviDeviceSgemm / cuBLAS" + order, 2 * cube, "GF", 0.8,
                {nothing,
                 [this] {
                   must(toviDeviceSgemm('N', 'N', n_, n_, n_, 1, dA_.get(), n_, dB_.get(), n_, 0, dC_.get(),
                                        n_) == toviNoError,
                        "gemm");
                 }},
                {nothing, [this] { vendorGemm(); }});
    report.pair("toviSgemm / cuBLAS with transfers" + order, 2 * cube, "GF", 0.8,
                {nothing,
                 [this] {
                   must(toviSgemm('N', 'N', n_, n_, n_, 1, hA_.data(), n_, hA_.data(), n_, 0, hC_.data(),
                                  n_) == toviNoError,
                        "gemm");
                 }},
                {nothing, [this] {
                   dA_.from(hA_.data());
                   dB_.from(hA_.data());
                   vendorGemm();
                   dC_.to(hC_.data());
                 }});
    report.pair(
        "toviDeviceSgetrf / cuSOLVER" + order, 2.0 / 3 * cube, "GF", 0.8,
        {restoreDevice,
         [this] { must(toviDeviceSgetrf(n_, n_, dC_.get(), n_, dIpiv_.get()) == toviNoError, "getrf"); }},
        {restoreDevice, [this] { vendorFactor(); }});
    report.pair("toviSgetrf / cuSOLVER with transfers" + order, 2.0 / 3 * cube, "GF", 0.8,
                {restoreHost,
                 [this] { must(toviSgetrf(n_, n_, hC_.data(), n_, hIpiv_.data()) == toviNoError, "getrf"); }},
                {restoreHost, [this] {
                   dC_.from(hC_.data());
                   vendorFactor();
                   dC_.to(hC_.data());
                   dIpiv_.to(hIpiv_.data());
                 }});
    report.pair("toviDeviceSgesv / cuSOLVER" + order + ", nrhs = " + std::to_string(nrhs_),
                (2.0 / 3 + 2.0 * nrhs_ / n_) * cube, "GF", 0.8,
                {restoreDevice,
                 [this] {
                   must(toviDeviceSgesv(n_, nrhs_, dC_.get(), n_, dIpiv_.get(), dB_.get(), n_) == toviNoError,
                        "gesv");
                 }},
                {restoreDevice, [this] {
                   vendorFactor();
                   must(cusolverDnSgetrs(solver_, CUBLAS_OP_N, n_, nrhs_, dC_.get(), n_, dIpiv_.get(),
                                         dB_.get(), n_, dInfo_.get()) == CUSOLVER_STATUS_SUCCESS,
                        "getrs");
                   wait();
                 }});
    if (n_ >= 8192)  // what does not fit a cache
      report.share("toviDeviceSgemv 'T', bandwidth" + order,
                   1e-9 * sizeof(float) * static_cast<double>(count_), "GB", memoryBandwidth(), 0.8,
                   {nothing, [this] {
                      must(toviDeviceSgemv('T', n_, n_, 1, dA_.get(), n_, dB_.get(), 1, 0, dC_.get(), 1) ==
                               toviNoError,
                           "gemv");
                    }});
  }

 private:
  // Of the device's memory, in GB/s: two transfers a clock on every line of the bus.
  static double memoryBandwidth() {
    int device = 0, kilohertz = 0, bits = 0;
    must(cudaGetDevice(&device) == cudaSuccess &&
             cudaDeviceGetAttribute(&kilohertz, cudaDevAttrMemoryClockRate, device) == cudaSuccess &&
             cudaDeviceGetAttribute(&bits, cudaDevAttrGlobalMemoryBusWidth, device) == cudaSuccess,
         "cudaDeviceGetAttribute");
    return 2e-6 * kilohertz * bits / 8;
  }
  static void wait() { must(cudaDeviceSynchronize() == cudaSuccess, "cudaDeviceSynchronize"); }
  void vendorGemm() {
    const float one = 1, zero = 0;
    must(cublasSgemm(blas_, CUBLAS_OP_N, CUBLAS_OP_N, n_, n_, n_, &one, dA_.get(), n_, dB_.get(), n_, &zero,
                     dC_.get(), n_) == CUBLAS_STATUS_SUCCESS,
         "cublasSgemm");
    wait();
  }
  void vendorFactor() {
    must(cusolverDnSgetrf(solver_, n_, n_, dC_.get(), n_, dWork_, dIpiv_.get(), dInfo_.get()) ==
             CUSOLVER_STATUS_SUCCESS,
         "cusolverDnSgetrf");
    wait();
  }

  int n_, nrhs_;
  std::size_t count_;
  std::vector<float> hA_, hC_;
  DeviceBuffer<float> dA_, dB_, dC_;
  DeviceBuffer<int> dIpiv_, dInfo_;
  std::vector<int> hIpiv_;
  float* dWork_ = nullptr;
  cublasHandle_t blas_ = nullptr;
  cusolverDnHandle_t solver_ = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  const std::string json = argc == 3 && std::strcmp(argv[1], "--json") == 0 ? argv[2] : "";
  const toviStatus status = toviInitialize();
  if (status != toviNoError) {
    std::fprintf(stderr, "%s\n", toviGetStatusString(status));
    return 1;
  }
  bench::Report report(9, 0);
  for (const int n : {512, 1024, 2048, 4096, 8192, 16384}) Problem(n, 256).measure(report);
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
