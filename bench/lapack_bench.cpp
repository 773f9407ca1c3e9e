// The exported routines, host interface with its transfers, beside the host LAPACK and BLAS called directly,
// both on all processors of this machine (on the software device).

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/elements.h"
#include "bench/harness.h"
#include "bench/must.h"
#include "bench/rival.h"
#include "include/tovi.h"

namespace {

using bench::elements;
using bench::must;
using bench::number;
using bench::Ours;
using bench::randomElements;
using bench::Rival;
using bench::weight;

constexpr char no = 'N';

template <class T>
void ourGemm(int n, const T* a, const T* b, T* c) {
  must(Ours<T>::gemm(no, no, n, n, n, number<T>(1), a, n, b, n, number<T>(0), c, n), "gemm");
}
template <class T>
void hostGemm(int n, const T* a, const T* b, T* c) {
  const T one = number<T>(1), zero = number<T>(0);
  Rival<T>::gemm(&no, &no, &n, &n, &n, &one, a, &n, b, &n, &zero, c, &n, 1, 1);
}

void smallProduct(bench::Report& report) {
  const std::string title = bench::title<float>("gemm", 16) + ", one call";
  const std::vector<float> a = randomElements<float>(16, 16), b = a;
  std::vector<float> c = a;
  const auto nothing = [] {};
  report.overhead(title, 15, {nothing, [&] { ourGemm(16, a.data(), b.data(), c.data()); }, 2000},
                  {nothing, [&] { hostGemm(16, a.data(), b.data(), c.data()); }, 2000});
}

template <class T>
void multiply(bench::Report& report, int n, double aim) {
  const std::string title = bench::title<T>("gemm", n);
  const std::vector<T> a = randomElements<T>(n, n), b = a;
  std::vector<T> c(elements(n, n));
  const auto nothing = [] {};
  report.pair(title, 2 * weight<T> * n * n * n * 1e-9, "GF", aim,
              {nothing, [&] { ourGemm(n, a.data(), b.data(), c.data()); }},
              {nothing, [&] { hostGemm(n, a.data(), b.data(), c.data()); }});
}

template <class T>
void factor(bench::Report& report, int n, double aim) {
  const std::string title = bench::title<T>("getrf", n);
  const std::vector<T> a = randomElements<T>(n, n);
  std::vector<T> lu;
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  const auto restore = [&] { lu = a; };
  report.pair(title, 2.0 / 3 * weight<T> * n * n * n * 1e-9, "GF", aim,
              {restore, [&] { must(Ours<T>::getrf(n, n, lu.data(), n, ipiv.data()), "getrf"); }},
              {restore, [&] {
                 int info;
                 Rival<T>::getrf(&n, &n, lu.data(), &n, ipiv.data(), &info);
               }});
}

template <class T>
void reflect(bench::Report& report, int m, int n, double aim) {
  const std::string title = bench::title<T>("geqrf", m, n);
  const std::vector<T> a = randomElements<T>(m, n);
  std::vector<T> qr, tau(elements(n, 1));
  const auto restore = [&] { qr = a; };
  const double terms = static_cast<double>(n) * n * (m - n / 3.0);
  report.pair(title, 2 * weight<T> * terms * 1e-9, "GF", aim,
              {restore, [&] { must(Ours<T>::geqrf(m, n, qr.data(), m, tau.data()), "geqrf"); }},
              {restore, bench::withWorkspace<T>([&](T* space, int lwork) {
                 int info;
                 Rival<T>::geqrf(&m, &n, qr.data(), &m, tau.data(), space, &lwork, &info);
               })});
}

template <class T>
void solve(bench::Report& report, int n, int nrhs, double aim) {
  const std::string title = bench::title<T>("gesv", n) + ", nrhs = " + std::to_string(nrhs);
  const std::vector<T> a = randomElements<T>(n, n), b = randomElements<T>(n, nrhs);
  std::vector<T> lu, x;
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  const auto restore = [&] {
    lu = a;
    x = b;
  };
  report.pair(
      title, weight<T> * (2.0 / 3 * n + 2.0 * nrhs) * n * n * 1e-9, "GF", aim,
      {restore, [&] { must(Ours<T>::gesv(n, nrhs, lu.data(), n, ipiv.data(), x.data(), n), "gesv"); }},
      {restore, [&] {
         int info;
         Rival<T>::gesv(&n, &nrhs, lu.data(), &n, ipiv.data(), x.data(), &n, &info);
       }});
}

// What buffers kept from call to call are worth: beside calls that find none. Both times include a copy of A.
void warmCalls(bench::Report& report, int n, int repeat) {
  const std::string title = bench::title<float>("gesv", n) + ", warm, beside cold";
  const std::vector<float> a = randomElements<float>(n, n), b = randomElements<float>(n, 1);
  std::vector<float> lu, x;
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  const auto call = [&] {
    lu = a;
    x = b;
    must(toviSgesv(n, 1, lu.data(), n, ipiv.data(), x.data(), n), "toviSgesv");
  };
  const auto cold = [&] {
    toviFreeBuffers();
    call();
  };
  report.pair(title, 2.0 / 3 * n * n * n * 1e-9, "GF", 1, {[] {}, call, repeat}, {[] {}, cold, repeat});
}

// Bytes of this process: what is resident now, and the most since resetPeak().
double memory(const char* field) {
  std::FILE* status = std::fopen("/proc/self/status", "r");
  if (status == nullptr) return 0;
  char line[256];
  double kilobytes = 0;
  while (std::fgets(line, sizeof line, status) != nullptr)
    if (std::strncmp(line, field, std::strlen(field)) == 0)
      kilobytes = std::strtod(line + std::strlen(field) + 1, nullptr);
  std::fclose(status);
  return 1024 * kilobytes;
}
void resetPeak() {
  if (std::FILE* refs = std::fopen("/proc/self/clear_refs", "w")) {
    std::fputs("5", refs);
    std::fclose(refs);
  }
}

void peakMemory(bench::Report& report, int n) {
  const std::string title = bench::title<float>("getrf", n) + ", peak memory";
  std::vector<float> a = randomElements<float>(n, n);
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  resetPeak();
  const double before = memory("VmRSS:");
  must(toviSgetrf(n, n, a.data(), n, ipiv.data()), "toviSgetrf");
  const double matrix = 4.0 * n * n;
  report.figure(title, (memory("VmHWM:") - before) / matrix, "matrices", 2.2);
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json, only] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  int device = 0;
  char text[200] = "";
  toviGetExecutingDevice(&device);
  toviGetDeviceInfo(device, text, sizeof text);
  std::printf("%s\n\n", text);

  bench::Report report(only, quick ? 3 : 9);
  const int n = quick ? 512 : 2048;

  peakMemory(report, 2 * n);
  smallProduct(report);
  multiply<float>(report, n, 0.85);
  multiply<double>(report, n, 0.85);
  multiply<toviFloatComplex>(report, n, 0.85);
  multiply<toviDoubleComplex>(report, n, 0.85);
  for (const int k : {n, 2 * n}) {
    factor<float>(report, k, 0.8);
    factor<double>(report, k, 0.85);
    factor<toviFloatComplex>(report, k, 0.8);
    factor<toviDoubleComplex>(report, k, 0.85);
  }
  struct Shape {
    int rows, cols;
  };
  for (const auto& [rows, cols] :
       {Shape{n / 2, n / 2}, Shape{n, n}, Shape{2 * n, 2 * n}, Shape{4 * n, n / 4}}) {
    reflect<float>(report, rows, cols, 1.2);
    reflect<double>(report, rows, cols, 1.2);
    reflect<toviFloatComplex>(report, rows, cols, 1.2);
    reflect<toviDoubleComplex>(report, rows, cols, 1.0);
  }
  for (const int nrhs : {1, 256}) {
    solve<float>(report, n, nrhs, 0.8);
    solve<double>(report, n, nrhs, 0.8);
  }
  warmCalls(report, 64, 500);
  warmCalls(report, 512, 20);

  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
