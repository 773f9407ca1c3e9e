// What no exported routine shows by itself: the library's own kernels on device memory, beside memcpy of the
// same bytes on as many threads or, the transposed matrix-vector product, beside the host BLAS's, LQ beside
// QR of the transpose, the reduction to bidiagonal form beside the host LAPACK's, what the smallest pieces of
// work cost, and what a panel on the host gains from threads.

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/harness.h"
#include "bench/rival.h"
#include "cudalib/allocators.h"
#include "cudalib/check.h"
#include "cudalib/managed_memory.h"
#include "include/tovi.h"
#include "lapack/bidiagonal.h"
#include "lapack/host_panel.h"
#include "lapack/qr.h"
#include "src/basic/Copy.h"
#include "src/basic/Set.h"
#include "src/basic/Transpose.h"
#include "src/blas/blas.h"

namespace {

// memcpy cut into one piece a thread.
void copyOnAllThreads(char* to, const char* from, std::size_t bytes) {
  const std::size_t threads = std::max(1u, std::thread::hardware_concurrency());
  std::vector<std::thread> others;
  const auto piece = [&](std::size_t t) {
    const std::size_t first = bytes * t / threads, last = bytes * (t + 1) / threads;
    std::memcpy(to + first, from + first, last - first);
  };
  for (std::size_t t = 1; t < threads; ++t) others.emplace_back(piece, t);
  piece(0);
  for (std::thread& thread : others) thread.join();
}

template <class T>
using Gemv = void(const char* trans, const int* m, const int* n, const T* alpha, const T* a, const int* lda,
                  const T* x, const int* incx, const T* beta, T* y, const int* incy, std::size_t);

template <class T>
void transposedProduct(bench::Report& report, const char* type, const char* routine) {
  auto* const gemv = bench::rivalRoutine<Gemv<T>>(routine);
  const int n = 4096, one = 1;
  const T alpha(1), beta(0);
  std::vector<T> a(static_cast<std::size_t>(n) * n, T(0.5)), x(n, T(1)), y(n);
  using Memory = cudalib::ManagedMemory<T, cudalib::CudaAllocator<T>>;
  const Memory dA(n, n), dX(n, 1), dY(n, 1);
  cudalib::check(cudaMemcpy(dA.get(), a.data(), a.size() * sizeof(T), cudaMemcpyHostToDevice));
  cudalib::check(cudaMemcpy(dX.get(), x.data(), x.size() * sizeof(T), cudaMemcpyHostToDevice));
  const auto nothing = [] {};
  report.pair(
      std::string("gemv 'T' 4096 ") + type + ", host " + routine, 1e-9 * sizeof(T) * n * n, "GB", 0.8,
      {nothing,
       [&] {
         tovi::blas::gemv<T>('T', alpha, {dA.get(), n, n, n}, dX.get(), 1, beta, dY.get(), 1);
         cudalib::completionCheck();
       },
       3},
      {nothing, [&] { gemv("T", &n, &n, &alpha, a.data(), &n, x.data(), &one, &beta, y.data(), &one, 1); },
       3});
}

using Sgebrd = void(const int* m, const int* n, float* a, const int* lda, float* d, float* e, float* tauq,
                    float* taup, float* work, const int* lwork, int* info);

void reduction(bench::Report& report) {
  auto* const sgebrd = bench::rivalRoutine<Sgebrd>("sgebrd");
  const int n = 2048, lwork = 64 * n;
  std::vector<float> a(static_cast<std::size_t>(n) * n), h, d(n), e(n), tauq(n), taup(n), work(lwork);
  std::mt19937 engine(2);
  std::uniform_real_distribution<float> uniform(-1, 1);
  for (float& v : a) v = uniform(engine);
  using Memory = cudalib::ManagedMemory<float, cudalib::CudaAllocator<float>>;
  const Memory dA(n, n), dD(n, 1), dE(n, 1), dTauq(n, 1), dTaup(n, 1);
  const auto restore = [&] {
    cudalib::check(cudaMemcpy(dA.get(), a.data(), a.size() * sizeof(float), cudaMemcpyHostToDevice));
  };
  report.pair(
      "bidiagonal reduction 2048 float, host gebrd", 8e-9 / 3 * n * n * n, "GF", 0.9,
      {restore,
       [&] {
         tovi::lapack::gebrd<float>({dA.get(), n, n, n}, dD.get(), dE.get(), dTauq.get(), dTaup.get());
         cudalib::completionCheck();
       }},
      {[&] { h = a; },
       [&] {
         int info = 0;
         sgebrd(&n, &n, h.data(), &n, d.data(), e.data(), tauq.data(), taup.data(), work.data(), &lwork,
                &info);
       }});
}

// Microseconds of one, of a thousand that are issued one behind the other and then waited for.
template <class Issue>
double microsecondsOf(const Issue& issue) {
  constexpr int count = 1000;
  std::vector<double> times;
  for (int i = 0; i < 51; ++i) {
    const double start = bench::seconds();
    for (int j = 0; j < count; ++j) issue();
    cudalib::completionCheck();
    times.push_back((bench::seconds() - start) / count * 1e6);
  }
  return bench::median(times);
}

void smallestWork(bench::Report& report) {
  using Memory = cudalib::ManagedMemory<float, cudalib::CudaAllocator<float>>;
  const Memory dX(64, 1), dY(64, 1);
  std::vector<float> host(64);
  const auto copy = [&](cudaMemcpyKind kind, void* to, const void* from) {
    cudalib::check(cudaMemcpy(to, from, host.size() * sizeof(float), kind));
  };
  const auto kernel = [&] { tovi::basic::setSingle(tovi::basic::Fill::one, dX.get()); };
  report.figure("a kernel of one thread", microsecondsOf(kernel), "us", 0.5);
  report.figure("gemv 8 x 8 of the device BLAS", microsecondsOf([&] {
                  tovi::blas::gemv<float>('N', 1, {dX.get(), 8, 8, 8}, dY.get(), 1, 0, dY.get() + 8, 1);
                }),
                "us", 0.7);
  report.figure("a kernel of one thread and a wait", microsecondsOf([&] {
                  kernel();
                  cudalib::completionCheck();
                }),
                "us", 1);
  report.figure("a copy of 256 bytes to the device",
                microsecondsOf([&] { copy(cudaMemcpyHostToDevice, dX.get(), host.data()); }), "us", 0.5);
  report.figure("a copy of 256 bytes from the device",
                microsecondsOf([&] { copy(cudaMemcpyDeviceToHost, host.data(), dX.get()); }), "us", 0.5);
}

int processors() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

// visit(1), visit(2), visit(4) ... as many as there are processors; only visit(1) without setThreads.
template <class Visit>
void forEachNumberOfThreads(void (*setThreads)(int), const Visit& visit) {
  for (int threads = 1; threads == 1 || (setThreads != nullptr && threads <= processors()); threads *= 2)
    visit(threads);
  if (setThreads != nullptr) setThreads(processors());
}

// A panel of reflectors on the host's threads, where its library lets their number be set, beside the rival's
// geqrf on one; a panel of LU on the rival's threads beside one of them.
template <class T>
void hostPanels(bench::Report& report, const std::string& type, int width) {
  const int rows = 16384, widthOfLu = 2 * width;
  const std::vector<T> a = bench::randomElements<T>(rows, widthOfLu);
  std::vector<T> panel, tau(static_cast<std::size_t>(width)), triangle(tau.size() * tau.size()), work;
  std::vector<int> ipiv(static_cast<std::size_t>(widthOfLu));
  const double flops = 2e-9 * bench::weight<T> * rows * width * width;
  const auto restore = [&] { panel = a; };
  const auto shape = [=](int n) { return " 16384 x " + std::to_string(n) + ' ' + type + ", "; };

  const auto setRivals = bench::setThreadsOf(bench::rivalLibrary()),
             setOurs = bench::setThreadsOf(RTLD_DEFAULT);
  const auto setTo = [](void (*set)(int), int threads) {
    if (set != nullptr) set(threads);
  };
  const auto geqrf = bench::withWorkspace<T>([&](T* space, int lwork) {
    int info;
    bench::Rival<T>::geqrf(&rows, &width, panel.data(), &rows, tau.data(), space, &lwork, &info);
  });
  forEachNumberOfThreads(setOurs, [&](int threads) {
    report.pair("factorPanel" + shape(width) + std::to_string(threads) + " threads", flops, "GF", 1,
                {[&] { restore(), setTo(setOurs, threads); },
                 [&] {
                   tovi::lapack::factorPanel<tovi::lapack::QrBlock, T>(
                       {panel.data(), rows, width, rows}, tau.data(), {triangle.data(), width, width, width},
                       work);
                 }},
                {[&] { restore(), setTo(setRivals, 1); }, geqrf});
  });
  const auto getrf = [&] {
    int info;
    bench::Rival<T>::getrf(&rows, &widthOfLu, panel.data(), &rows, ipiv.data(), &info);
  };
  forEachNumberOfThreads(setRivals, [&](int threads) {
    report.pair("host getrf" + shape(widthOfLu) + std::to_string(threads) + " threads", 4 * flops, "GF", 1,
                {[&] { restore(), setTo(setRivals, threads); }, getrf},
                {[&] { restore(), setTo(setRivals, 1); }, getrf});
  });
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json, only] = bench::arguments(argc, argv);
  if (toviInitialize() != toviNoError) return 1;
  {
    const int n = 4096;
    const std::size_t elements = static_cast<std::size_t>(n) * n;
    using Memory = cudalib::ManagedMemory<float, cudalib::CudaAllocator<float>>;
    const Memory dA(n, n), dB(n, n);
    std::vector<char> from(elements * sizeof(float), 1), to(from.size());
    const tovi::MatrixView<float> a(dA.get(), n, n, n), b(dB.get(), n, n, n);
    cudalib::check(cudaMemcpy(dA.get(), from.data(), from.size(), cudaMemcpyHostToDevice));
    const auto nothing = [] {};
    const double gigabytes = 2e-9 * static_cast<double>(from.size());
    const bench::Contender rival{nothing, [&] { copyOnAllThreads(to.data(), from.data(), from.size()); }};
    const auto kernel = [&](auto run) {
      return bench::Contender{nothing, [run] {
                                run();
                                cudalib::completionCheck();
                              }};
    };
    bench::Report report(only, quick ? 3 : 15);
    report.pair("CopyMatrix_k 4096 x 4096 float", gigabytes, "GB", 0.5,
                kernel([&] { tovi::basic::copyMatrix<float>(a, b); }), rival);
    report.pair("Transpose_k 4096 x 4096 float", gigabytes, "GB", 0.25,
                kernel([&] { tovi::basic::transpose<float>(a, b); }), rival);
    report.pair("TransposeInplace_k 4096 x 4096 float", gigabytes, "GB", 0.25,
                kernel([&] { tovi::basic::transposeInplace(a); }), rival);

    const int rows = 512, cols = 8192;
    const Memory dTall(cols, rows), dWide(rows, cols), dTau(rows, 1);
    const tovi::MatrixView<float> tall(dTall.get(), cols, rows, cols), wide(dWide.get(), rows, cols, rows);
    std::vector<float> values(static_cast<std::size_t>(rows) * cols);
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> uniform(-1, 1);
    for (float& v : values) v = uniform(engine);
    const auto restore = [&] {
      cudalib::check(
          cudaMemcpy(tall.data, values.data(), values.size() * sizeof(float), cudaMemcpyHostToDevice));
      tovi::basic::transpose<float>(tall, wide);
      cudalib::completionCheck();
    };
    report.pair("LQ of 512 x 8192 float, QR of 8192 x 512", 2e-9 * rows * rows * (cols - rows / 3.0), "GF",
                0.8,
                {restore,
                 [&] {
                   tovi::lapack::gelqf(wide, dTau.get());
                   cudalib::completionCheck();
                 }},
                {restore, [&] {
                   tovi::lapack::geqrf(tall, dTau.get());
                   cudalib::completionCheck();
                 }});
    transposedProduct<float>(report, "float", "sgemv");
    transposedProduct<double>(report, "double", "dgemv");
    transposedProduct<tovi::Complex<float>>(report, "complex float", "cgemv");
    transposedProduct<tovi::Complex<double>>(report, "complex double", "zgemv");
    reduction(report);
    smallestWork(report);
    hostPanels<float>(report, "float", 96);
    hostPanels<double>(report, "double", 96);
    if (!json.empty()) report.writeJson(json);
  }
  toviShutdown();
  return 0;
}
