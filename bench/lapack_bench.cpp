// The exported routines, host interface with its transfers, beside the host LAPACK and BLAS called directly,
// both on all processors of this machine (on the software device).

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "bench/must.h"
#include "include/tovi.h"

// The rival: any BLAS and LAPACK with the standard Fortran interface.
extern "C" {
void sgemm_(const char*, const char*, const int*, const int*, const int*, const float*, const float*,
            const int*, const float*, const int*, const float*, float*, const int*, std::size_t, std::size_t);
void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*,
            const int*, const double*, const int*, const double*, double*, const int*, std::size_t,
            std::size_t);
void cgemm_(const char*, const char*, const int*, const int*, const int*, const toviFloatComplex*,
            const toviFloatComplex*, const int*, const toviFloatComplex*, const int*, const toviFloatComplex*,
            toviFloatComplex*, const int*, std::size_t, std::size_t);
void sgetrf_(const int*, const int*, float*, const int*, int*, int*);
void cgetrf_(const int*, const int*, toviFloatComplex*, const int*, int*, int*);
void sgeqrf_(const int*, const int*, float*, const int*, float*, float*, const int*, int*);
void cgeqrf_(const int*, const int*, toviFloatComplex*, const int*, toviFloatComplex*, toviFloatComplex*,
             const int*, int*);
void sgesv_(const int*, const int*, float*, const int*, int*, float*, const int*, int*);
}

namespace {

using bench::must;

std::size_t square(int n) { return static_cast<std::size_t>(n) * static_cast<std::size_t>(n); }

void fill(std::vector<float>& x) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<float> uniform(-1, 1);
  for (float& v : x) v = uniform(engine);
}
void fill(std::vector<double>& x) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<double> uniform(-1, 1);
  for (double& v : x) v = uniform(engine);
}
void fill(std::vector<toviFloatComplex>& x) {
  std::vector<float> parts(2 * x.size());
  fill(parts);
  std::memcpy(static_cast<void*>(x.data()), parts.data(), parts.size() * sizeof(float));
}

// A multiplication of n x n matrices; Ours and Rival take (n, a, b, c).
template <class T, class Ours, class Rival>
void multiply(bench::Report& report, const std::string& name, int n, double flopsPerTerm, double aim,
              Ours ours, Rival rival) {
  std::vector<T> a(square(n)), b(square(n)), c(square(n));
  fill(a);
  fill(b);
  const auto nothing = [] {};
  report.pair(name + " n = " + std::to_string(n), flopsPerTerm * n * n * n * 1e-9, "GF", aim,
              {nothing, [&] { ours(n, a.data(), b.data(), c.data()); }},
              {nothing, [&] { rival(n, a.data(), b.data(), c.data()); }});
}

template <class T, class Ours, class Rival>
void factor(bench::Report& report, const std::string& name, int n, double flops, double aim, Ours ours,
            Rival rival) {
  std::vector<T> a(square(n)), work(square(n));
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  fill(a);
  const auto restore = [&] { work = a; };
  report.pair(name + " n = " + std::to_string(n), flops * n * n * n * 1e-9, "GF", aim,
              {restore, [&] { ours(n, work.data(), ipiv.data()); }},
              {restore, [&] { rival(n, work.data(), ipiv.data()); }});
}

// A factorization of an m x n matrix by reflectors; Ours takes (a, tau), Rival (a, tau, work, lwork).
template <class T, class Ours, class Rival>
void reflect(bench::Report& report, const std::string& name, int m, int n, double flopsPerTerm, double aim,
             Ours ours, Rival rival) {
  std::vector<T> a(static_cast<std::size_t>(m) * static_cast<std::size_t>(n)), work;
  std::vector<T> tau(static_cast<std::size_t>(n)), space(static_cast<std::size_t>(64 * n));
  fill(a);
  const auto restore = [&] { work = a; };
  const double terms = static_cast<double>(n) * n * (m - n / 3.0);
  report.pair(name + " " + std::to_string(m) + " x " + std::to_string(n), flopsPerTerm * terms * 1e-9, "GF",
              aim, {restore, [&] { ours(work.data(), tau.data()); }},
              {restore, [&] { rival(work.data(), tau.data(), space.data(), 64 * n); }});
}

void solve(bench::Report& report, int n, int nrhs, double aim) {
  std::vector<float> a(square(n)), b(static_cast<std::size_t>(n) * static_cast<std::size_t>(nrhs)), lu, x;
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  fill(a);
  fill(b);
  const auto restore = [&] {
    lu = a;
    x = b;
  };
  const double work = (2.0 / 3 * n + 2.0 * nrhs) * n * n * 1e-9;
  report.pair(
      "toviSgesv n = " + std::to_string(n) + ", nrhs = " + std::to_string(nrhs), work, "GF", aim,
      {restore, [&] { must(toviSgesv(n, nrhs, lu.data(), n, ipiv.data(), x.data(), n), "toviSgesv"); }},
      {restore, [&] {
         int info;
         sgesv_(&n, &nrhs, lu.data(), &n, ipiv.data(), x.data(), &n, &info);
       }});
}

// What buffers kept from call to call are worth: beside calls that find none. Both times include a copy of A.
void warmCalls(bench::Report& report, int n, int repeat) {
  std::vector<float> a(square(n)), b(static_cast<std::size_t>(n)), lu, x;
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  fill(a);
  fill(b);
  const auto call = [&] {
    lu = a;
    x = b;
    must(toviSgesv(n, 1, lu.data(), n, ipiv.data(), x.data(), n), "toviSgesv");
  };
  const auto cold = [&] {
    toviFreeBuffers();
    call();
  };
  report.pair("toviSgesv n = " + std::to_string(n) + ", warm, beside cold", 2.0 / 3 * n * n * n * 1e-9, "GF",
              1, {[] {}, call, repeat}, {[] {}, cold, repeat});
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
  std::vector<float> a(square(n));
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  fill(a);
  resetPeak();
  const double before = memory("VmRSS:");
  must(toviSgetrf(n, n, a.data(), n, ipiv.data()), "toviSgetrf");
  const double matrix = 4.0 * n * n;
  report.figure("toviSgetrf n = " + std::to_string(n) + ", peak memory", (memory("VmHWM:") - before) / matrix,
                "matrices", 2.2);
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  int device = 0;
  char text[200] = "";
  toviGetExecutingDevice(&device);
  toviGetDeviceInfo(device, text, sizeof text);
  std::printf("%s\n\n", text);

  bench::Report report(quick ? 3 : 9);
  const char no = 'N';
  const float sOne = 1, sZero = 0;
  const double dOne = 1, dZero = 0;
  const toviFloatComplex cOne = {1, 0}, cZero = {0, 0};

  peakMemory(report, quick ? 1024 : 4096);

  const auto ourSgemm = [&](int n, const float* a, const float* b, float* c) {
    must(toviSgemm(no, no, n, n, n, 1, a, n, b, n, 0, c, n), "toviSgemm");
  };
  const auto hostSgemm = [&](int n, const float* a, const float* b, float* c) {
    sgemm_(&no, &no, &n, &n, &n, &sOne, a, &n, b, &n, &sZero, c, &n, 1, 1);
  };
  {
    std::vector<float> a(256), b(256), c(256);
    fill(a);
    fill(b);
    const auto nothing = [] {};
    report.overhead("toviSgemm n = 16, one call", 15,
                    {nothing, [&] { ourSgemm(16, a.data(), b.data(), c.data()); }, 2000},
                    {nothing, [&] { hostSgemm(16, a.data(), b.data(), c.data()); }, 2000});
  }
  const int n = quick ? 512 : 2048;
  multiply<float>(report, "toviSgemm", n, 2, 0.85, ourSgemm, hostSgemm);
  multiply<double>(
      report, "toviDgemm", n, 2, 0.85,
      [&](int k, const double* a, const double* b, double* c) {
        must(toviDgemm(no, no, k, k, k, 1, a, k, b, k, 0, c, k), "toviDgemm");
      },
      [&](int k, const double* a, const double* b, double* c) {
        dgemm_(&no, &no, &k, &k, &k, &dOne, a, &k, b, &k, &dZero, c, &k, 1, 1);
      });
  multiply<toviFloatComplex>(
      report, "toviCgemm", n, 8, 0.85,
      [&](int k, const toviFloatComplex* a, const toviFloatComplex* b, toviFloatComplex* c) {
        must(toviCgemm(no, no, k, k, k, cOne, a, k, b, k, cZero, c, k), "toviCgemm");
      },
      [&](int k, const toviFloatComplex* a, const toviFloatComplex* b, toviFloatComplex* c) {
        cgemm_(&no, &no, &k, &k, &k, &cOne, a, &k, b, &k, &cZero, c, &k, 1, 1);
      });

  for (const int order : {n, 2 * n}) {
    factor<float>(
        report, "toviSgetrf", order, 2.0 / 3, 0.8,
        [&](int k, float* a, int* ipiv) { must(toviSgetrf(k, k, a, k, ipiv), "toviSgetrf"); },
        [&](int k, float* a, int* ipiv) {
          int info;
          sgetrf_(&k, &k, a, &k, ipiv, &info);
        });
    factor<toviFloatComplex>(
        report, "toviCgetrf", order, 8.0 / 3, 0.8,
        [&](int k, toviFloatComplex* a, int* ipiv) { must(toviCgetrf(k, k, a, k, ipiv), "toviCgetrf"); },
        [&](int k, toviFloatComplex* a, int* ipiv) {
          int info;
          cgetrf_(&k, &k, a, &k, ipiv, &info);
        });
  }
  struct Shape {
    int rows, cols;
  };
  for (const Shape shape : {Shape{n / 2, n / 2}, Shape{n, n}, Shape{2 * n, 2 * n}, Shape{4 * n, n / 4}}) {
    const int rows = shape.rows, cols = shape.cols;
    reflect<float>(
        report, "toviSgeqrf", rows, cols, 2, 1.2,
        [&](float* a, float* tau) { must(toviSgeqrf(rows, cols, a, rows, tau), "toviSgeqrf"); },
        [&](float* a, float* tau, float* work, int lwork) {
          int info;
          sgeqrf_(&rows, &cols, a, &rows, tau, work, &lwork, &info);
        });
    reflect<toviFloatComplex>(
        report, "toviCgeqrf", rows, cols, 8, 1.2,
        [&](toviFloatComplex* a, toviFloatComplex* tau) {
          must(toviCgeqrf(rows, cols, a, rows, tau), "toviCgeqrf");
        },
        [&](toviFloatComplex* a, toviFloatComplex* tau, toviFloatComplex* work, int lwork) {
          int info;
          cgeqrf_(&rows, &cols, a, &rows, tau, work, &lwork, &info);
        });
  }
  for (const int nrhs : {1, 256}) solve(report, n, nrhs, 0.8);
  warmCalls(report, 64, 500);
  warmCalls(report, 512, 20);

  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
