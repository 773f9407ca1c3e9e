// Least squares, minimum norm and least squares under constraints: the exported routines, host interface with
// its transfers, beside the host LAPACK called directly, both on all processors of this machine (on the
// software device).

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/elements.h"
#include "bench/harness.h"
#include "bench/must.h"
#include "bench/rival.h"
#include "include/tovi.h"

namespace {

using bench::must;
using bench::Ours;
using bench::randomElements;
using bench::Rival;

template <class T>
void leastSquares(bench::Report& report, int m, int n, int nrhs, double aim) {
  const std::string title = bench::title<T>("gels", m, n) + ", nrhs = " + std::to_string(nrhs);
  const int ldb = std::max(m, n), k = std::min(m, n);
  const std::vector<T> a = randomElements<T>(m, n), b = randomElements<T>(ldb, nrhs);
  std::vector<T> factors, x;
  const auto restore = [&] {
    factors = a;
    x = b;
  };
  const char no = 'N';
  const double flops = 2.0 * ldb * k * k - 2.0 / 3 * k * k * k + 4.0 * ldb * k * nrhs;
  report.pair(
      title, bench::weight<T> * flops * 1e-9, "GF", aim,
      {restore, [&] { must(Ours<T>::gels(no, m, n, nrhs, factors.data(), m, x.data(), ldb), "gels"); }},
      {restore, bench::withWorkspace<T>([&](T* space, int lwork) {
         int info;
         Rival<T>::gels(&no, &m, &n, &nrhs, factors.data(), &m, x.data(), &ldb, space, &lwork, &info, 1);
         must(info, "rival gels");
       })});
}

template <class T>
void constrained(bench::Report& report, int m, int n, int p, double aim) {
  const std::string title = bench::title<T>("gglse", m, n) + ", p = " + std::to_string(p);
  const std::vector<T> a = randomElements<T>(m, n), b = randomElements<T>(p, n), c = randomElements<T>(m, 1),
                       d = randomElements<T>(p, 1);
  std::vector<T> fa, fb, fc, fd, x(bench::elements(n, 1));
  const auto restore = [&] {
    fa = a;
    fb = b;
    fc = c;
    fd = d;
  };
  // RQ of B, its product with A, QR of A
  const double flops = 2.0 * n * p * p - 2.0 / 3 * p * p * p + (4.0 * n - 2.0 * p) * m * p + 2.0 * m * n * n -
                       2.0 / 3 * n * n * n;
  report.pair(title, bench::weight<T> * flops * 1e-9, "GF", aim,
              {restore,
               [&] {
                 must(Ours<T>::gglse(m, n, p, fa.data(), m, fb.data(), p, fc.data(), fd.data(), x.data()),
                      "gglse");
               }},
              {restore, bench::withWorkspace<T>([&](T* space, int lwork) {
                 int info;
                 Rival<T>::gglse(&m, &n, &p, fa.data(), &m, fb.data(), &p, fc.data(), fd.data(), x.data(),
                                 space, &lwork, &info);
                 must(info, "rival gglse");
               })});
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json, only] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(only, quick ? 3 : 9);
  const int unit = quick ? 250 : 1000;
  for (const int nrhs : {1, 100}) {
    leastSquares<float>(report, 4 * unit, unit, nrhs, 1.0);
    leastSquares<float>(report, unit, 4 * unit, nrhs, 1.0);
    leastSquares<double>(report, 4 * unit, unit, nrhs, 1.0);
  }
  leastSquares<toviFloatComplex>(report, 4 * unit, unit, 1, 1.0);
  leastSquares<toviDoubleComplex>(report, 4 * unit, unit, 1, 1.0);
  constrained<float>(report, 2 * unit, unit + unit / 2, unit / 2, 1.0);
  constrained<double>(report, 2 * unit, unit + unit / 2, unit / 2, 1.0);
  constrained<toviFloatComplex>(report, 2 * unit, unit + unit / 2, unit / 2, 1.0);
  constrained<toviDoubleComplex>(report, 2 * unit, unit + unit / 2, unit / 2, 1.0);
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
