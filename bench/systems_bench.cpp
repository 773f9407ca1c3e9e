// Cholesky, solves with given factors, products with Q, Q itself and systems refined to double precision: the
// exported routines, host interface with its transfers, beside the host LAPACK called directly, both on all
// processors of this machine (on the software device). All element types.

#include <cmath>
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

constexpr char no = 'N', left = 'L';

template <class T>
void cholesky(bench::Report& report, char uplo, int n) {
  const std::string title = bench::title<T>(std::string("potrf ") + uplo, n);
  std::vector<T> a = randomElements<T>(n, n), work;
  for (int i = 0; i < n; ++i) a[elements(i, n + 1)] = number<T>(n);
  const auto restore = [&] { work = a; };
  report.pair(title, weight<T> / 3 * n * n * n * 1e-9, "GF", 0.85,
              {restore, [&] { must(Ours<T>::potrf(uplo, n, work.data(), n), "potrf"); }},
              {restore, [&] {
                 int info;
                 Rival<T>::potrf(&uplo, &n, work.data(), &n, &info, 1);
                 must(info, "rival potrf");
               }});
}

template <class T>
void solveAgain(bench::Report& report, int n, int nrhs, double aim) {
  const std::string title = bench::title<T>("getrs", n) + ", nrhs = " + std::to_string(nrhs);
  std::vector<T> lu = randomElements<T>(n, n), b = randomElements<T>(n, nrhs), x;
  std::vector<int> ipiv(elements(n, 1));
  must(Ours<T>::getrf(n, n, lu.data(), n, ipiv.data()), "getrf");
  const auto restore = [&] { x = b; };
  report.pair(
      title, weight<T> * 2.0 * n * n * nrhs * 1e-9, "GF", aim,
      {restore, [&] { must(Ours<T>::getrs(no, n, nrhs, lu.data(), n, ipiv.data(), x.data(), n), "getrs"); }},
      {restore, [&] {
         int info;
         Rival<T>::getrs(&no, &n, &nrhs, lu.data(), &n, ipiv.data(), x.data(), &n, &info, 1);
       }});
}

// A QR factorization of order n.
template <class T>
struct Reflectors {
  explicit Reflectors(int n) : qr(randomElements<T>(n, n)), tau(elements(n, 1)) {
    must(Ours<T>::geqrf(n, n, qr.data(), n, tau.data()), "geqrf");
  }
  std::vector<T> qr, tau;
};

template <class T>
void multiplyByQ(bench::Report& report, int n) {
  const std::string title = bench::title<T>(Ours<T>::mqrName, n);
  const Reflectors<T> q(n);
  std::vector<T> c = randomElements<T>(n, n), work;
  const auto restore = [&] { work = c; };
  report.pair(title, weight<T> * 2.0 * n * n * n * 1e-9, "GF", 1,
              {restore,
               [&] {
                 must(Ours<T>::mqr(left, no, n, n, n, q.qr.data(), n, q.tau.data(), work.data(), n),
                      Ours<T>::mqrName);
               }},
              {restore, bench::withWorkspace<T>([&](T* space, int lwork) {
                 int info;
                 Rival<T>::mqr(&left, &no, &n, &n, &n, q.qr.data(), &n, q.tau.data(), work.data(), &n, space,
                               &lwork, &info, 1, 1);
               })});
}

template <class T>
void formQ(bench::Report& report, int n) {
  const std::string title = bench::title<T>(Ours<T>::gqrName, n);
  const Reflectors<T> q(n);
  std::vector<T> work;
  const auto restore = [&] { work = q.qr; };
  report.pair(title, weight<T> * 4.0 / 3 * n * n * n * 1e-9, "GF", 1,
              {restore, [&] { must(Ours<T>::gqr(n, n, n, work.data(), n, q.tau.data()), Ours<T>::gqrName); }},
              {restore, bench::withWorkspace<T>([&](T* space, int lwork) {
                 int info;
                 Rival<T>::gqr(&n, &n, &n, work.data(), &n, q.tau.data(), space, &lwork, &info);
               })});
}

// A real matrix of condition 1e3: a diagonal one between two reflections.
std::vector<double> ofConditionThousand(int n) {
  const std::vector<double> v = randomElements<double>(n, 2);
  const double *u = v.data(), *w = u + n;
  double uu = 0, ww = 0, udw = 0;
  const auto d = [&](int i) { return std::pow(10.0, -3.0 * i / (n - 1)); };
  for (int i = 0; i < n; ++i) uu += u[i] * u[i], ww += w[i] * w[i], udw += u[i] * d(i) * w[i];
  std::vector<double> a(elements(n, n));
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      a[elements(j, n) + static_cast<std::size_t>(i)] = (i == j ? d(i) : 0) - 2 / uu * u[i] * u[j] * d(j) -
                                                        2 / ww * d(i) * w[i] * w[j] +
                                                        4 / uu / ww * u[i] * udw * w[j];
  return a;
}

// sgesv or cgesv, beside our own gesv in double precision.
template <class T, class Refined>
void refined(bench::Report& report, const char* name, int n, Refined refine) {
  const std::string title = bench::title<T>(name, n) + ", beside gesv";
  const std::vector<double> real = ofConditionThousand(n);
  std::vector<T> a(real.size()), b = randomElements<T>(n, 1), x(b.size()), factors;
  for (std::size_t i = 0; i < a.size(); ++i) a[i] = number<T>(real[i]);
  std::vector<int> ipiv(elements(n, 1));
  int iterations = -1;
  const auto restore = [&] {
    factors = a;
    x = b;
  };
  report.pair(
      title, weight<T> * 2.0 / 3 * n * n * n * 1e-9, "GF", 1.3,
      {restore,
       [&] {
         must(refine(n, 1, factors.data(), n, ipiv.data(), b.data(), n, x.data(), n, &iterations), name);
         must(iterations < 0 ? iterations : 0, "iterations");
       }},
      {restore, [&] { must(Ours<T>::gesv(n, 1, factors.data(), n, ipiv.data(), x.data(), n), "gesv"); }});
}

template <class T>
void all(bench::Report& report, int n) {
  for (const int order : {n, 2 * n})
    for (const char uplo : {'L', 'U'}) cholesky<T>(report, uplo, order);
  solveAgain<T>(report, n, 1, 0.8);
  solveAgain<T>(report, n, 256, 0.8);
  multiplyByQ<T>(report, n);
  formQ<T>(report, n);
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json, only] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(only, quick ? 3 : 9);
  const int n = quick ? 512 : 2048;
  all<float>(report, n);
  all<double>(report, n);
  all<toviFloatComplex>(report, n);
  all<toviDoubleComplex>(report, n);
  for (const int order : {n, 2 * n}) {
    refined<double>(report, "sgesv", order, toviDsgesv);
    refined<toviDoubleComplex>(report, "cgesv", order, toviZcgesv);
  }
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
