// Least squares, minimum norm and least squares under constraints: the exported routines, host interface with
// its transfers, beside the host LAPACK called directly, both on all processors of this machine (on the
// software device).

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "bench/must.h"
#include "include/tovi.h"

// The rival: any LAPACK with the standard Fortran interface.
extern "C" {
void sgels_(const char*, const int*, const int*, const int*, float*, const int*, float*, const int*, float*,
            const int*, int*, std::size_t);
void sgglse_(const int*, const int*, const int*, float*, const int*, float*, const int*, float*, float*,
             float*, float*, const int*, int*);
}

namespace {

using bench::must;

std::vector<float> randomElements(int rows, int cols) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<float> uniform(-1, 1);
  std::vector<float> x(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
  for (float& v : x) v = uniform(engine);
  return x;
}

void leastSquares(bench::Report& report, int m, int n, int nrhs, double aim) {
  const int ldb = std::max(m, n), k = std::min(m, n);
  const std::vector<float> a = randomElements(m, n), b = randomElements(ldb, nrhs);
  std::vector<float> factors, x, work(1);
  const auto restore = [&] {
    factors = a;
    x = b;
  };
  const char no = 'N';
  int info = 0, lwork = -1;
  sgels_(&no, &m, &n, &nrhs, factors.data(), &m, x.data(), &ldb, work.data(), &lwork, &info, 1);
  lwork = static_cast<int>(work[0]);
  work.resize(static_cast<std::size_t>(lwork));
  const double flops = 2.0 * ldb * k * k - 2.0 / 3 * k * k * k + 4.0 * ldb * k * nrhs;
  report.pair(
      "toviSgels " + std::to_string(m) + " x " + std::to_string(n) + ", nrhs = " + std::to_string(nrhs),
      flops * 1e-9, "GF", aim,
      {restore, [&] { must(toviSgels(no, m, n, nrhs, factors.data(), m, x.data(), ldb), "toviSgels"); }},
      {restore, [&] {
         sgels_(&no, &m, &n, &nrhs, factors.data(), &m, x.data(), &ldb, work.data(), &lwork, &info, 1);
         must(info, "sgels");
       }});
}

void constrained(bench::Report& report, int m, int n, int p, double aim) {
  const std::vector<float> a = randomElements(m, n), b = randomElements(p, n), c = randomElements(m, 1),
                           d = randomElements(p, 1);
  std::vector<float> fa, fb, fc, fd, x(static_cast<std::size_t>(n)), work(1);
  const auto restore = [&] {
    fa = a;
    fb = b;
    fc = c;
    fd = d;
  };
  int info = 0, lwork = -1;
  sgglse_(&m, &n, &p, fa.data(), &m, fb.data(), &p, fc.data(), fd.data(), x.data(), work.data(), &lwork,
          &info);
  lwork = static_cast<int>(work[0]);
  work.resize(static_cast<std::size_t>(lwork));
  // RQ of B, its product with A, QR of A
  const double flops = 2.0 * n * p * p - 2.0 / 3 * p * p * p + (4.0 * n - 2.0 * p) * m * p + 2.0 * m * n * n -
                       2.0 / 3 * n * n * n;
  report.pair("toviSgglse " + std::to_string(m) + " x " + std::to_string(n) + ", p = " + std::to_string(p),
              flops * 1e-9, "GF", aim,
              {restore,
               [&] {
                 must(toviSgglse(m, n, p, fa.data(), m, fb.data(), p, fc.data(), fd.data(), x.data()),
                      "toviSgglse");
               }},
              {restore, [&] {
                 sgglse_(&m, &n, &p, fa.data(), &m, fb.data(), &p, fc.data(), fd.data(), x.data(),
                         work.data(), &lwork, &info);
                 must(info, "sgglse");
               }});
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(quick ? 3 : 9);
  const int unit = quick ? 250 : 1000;
  for (const int nrhs : {1, 100}) {
    leastSquares(report, 4 * unit, unit, nrhs, 1.0);
    leastSquares(report, unit, 4 * unit, nrhs, 1.0);
  }
  constrained(report, 2 * unit, unit + unit / 2, unit / 2, 1.0);
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
