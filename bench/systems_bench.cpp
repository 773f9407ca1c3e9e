// Cholesky, solves with given factors, products with Q, Q itself and systems refined to double precision: the
// exported routines, host interface with its transfers, beside the host LAPACK called directly, both on all
// processors of this machine (on the software device). All element types.

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "bench/must.h"
#include "include/tovi.h"

namespace {

template <class T>
struct Routines;

}  // namespace

// The rival: any LAPACK with the standard Fortran interface.
#define TOVI_RIVALS(T, p, q)                                                                            \
  extern "C" {                                                                                          \
  void p##potrf_(const char*, const int*, T*, const int*, int*, std::size_t);                           \
  void p##getrf_(const int*, const int*, T*, const int*, int*, int*);                                   \
  void p##getrs_(const char*, const int*, const int*, const T*, const int*, const int*, T*, const int*, \
                 int*, std::size_t);                                                                    \
  void p##geqrf_(const int*, const int*, T*, const int*, T*, T*, const int*, int*);                     \
  void p##q##mqr_(const char*, const char*, const int*, const int*, const int*, const T*, const int*,   \
                  const T*, T*, const int*, T*, const int*, int*, std::size_t, std::size_t);            \
  void p##q##gqr_(const int*, const int*, const int*, T*, const int*, const T*, T*, const int*, int*);  \
  }
TOVI_RIVALS(float, s, or)
TOVI_RIVALS(double, d, or)
TOVI_RIVALS(toviFloatComplex, c, un)
TOVI_RIVALS(toviDoubleComplex, z, un)

namespace {

using bench::must;

// Numbers of an element: 1 or 2 reals, and how many real operations stand for one of T.
#define TOVI_ROUTINES(T, Real_, P, p, q, factor)                \
  template <>                                                   \
  struct Routines<T> {                                          \
    using Real = Real_;                                         \
    static constexpr const char *prefix = #P, *qPrefix = #P #q; \
    static constexpr double weight = factor;                    \
    static constexpr auto potrf = tovi##P##potrf;               \
    static constexpr auto getrf = tovi##P##getrf;               \
    static constexpr auto getrs = tovi##P##getrs;               \
    static constexpr auto geqrf = tovi##P##geqrf;               \
    static constexpr auto mqr = tovi##P##q##mqr;                \
    static constexpr auto gqr = tovi##P##q##gqr;                \
    static constexpr auto hostPotrf = p##potrf_;                \
    static constexpr auto hostGetrs = p##getrs_;                \
    static constexpr auto hostMqr = p##q##mqr_;                 \
    static constexpr auto hostGqr = p##q##gqr_;                 \
  };
TOVI_ROUTINES(float, float, S, s, or, 1)
TOVI_ROUTINES(double, double, D, d, or, 1)
TOVI_ROUTINES(toviFloatComplex, float, C, c, un, 4)
TOVI_ROUTINES(toviDoubleComplex, double, Z, z, un, 4)

std::size_t elements(int rows, int cols) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

template <class T>
auto* reals(std::vector<T>& x) {
  return reinterpret_cast<typename Routines<T>::Real*>(x.data());
}
template <class T>
constexpr std::size_t parts = sizeof(T) / sizeof(typename Routines<T>::Real);

template <class T>
std::vector<T> randomElements(int rows, int cols) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::vector<T> x(elements(rows, cols));
  std::generate_n(reals(x), x.size() * parts<T>,
                  [&] { return static_cast<typename Routines<T>::Real>(uniform(engine)); });
  return x;
}

std::string title(const std::string& routine, int n) {
  return "tovi" + routine + " n = " + std::to_string(n);
}

template <class T>
void cholesky(bench::Report& report, char uplo, int n) {
  using R = Routines<T>;
  std::vector<T> a = randomElements<T>(n, n), work;
  for (int i = 0; i < n; ++i) reals(a)[parts<T> * elements(i, n + 1)] += static_cast<typename R::Real>(n);
  const auto restore = [&] { work = a; };
  report.pair(title(std::string(R::prefix) + "potrf " + uplo, n), R::weight / 3 * n * n * n * 1e-9, "GF",
              0.85, {restore, [&] { must(R::potrf(uplo, n, work.data(), n), "potrf"); }},
              {restore, [&] {
                 int info;
                 R::hostPotrf(&uplo, &n, work.data(), &n, &info, 1);
                 must(info, "host potrf");
               }});
}

template <class T>
void solveAgain(bench::Report& report, int n, int nrhs, double aim) {
  using R = Routines<T>;
  std::vector<T> lu = randomElements<T>(n, n), b = randomElements<T>(n, nrhs), x;
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  must(R::getrf(n, n, lu.data(), n, ipiv.data()), "getrf");
  const auto restore = [&] { x = b; };
  const char no = 'N';
  report.pair(
      title(std::string(R::prefix) + "getrs", n) + ", nrhs = " + std::to_string(nrhs),
      R::weight * 2.0 * n * n * nrhs * 1e-9, "GF", aim,
      {restore, [&] { must(R::getrs(no, n, nrhs, lu.data(), n, ipiv.data(), x.data(), n), "getrs"); }},
      {restore, [&] {
         int info;
         R::hostGetrs(&no, &n, &nrhs, lu.data(), &n, ipiv.data(), x.data(), &n, &info, 1);
       }});
}

template <class T>
void products(bench::Report& report, int n) {
  using R = Routines<T>;
  std::vector<T> qr = randomElements<T>(n, n), c = qr, tau(static_cast<std::size_t>(n)), work,
                 space(elements(n, 64));
  must(R::geqrf(n, n, qr.data(), n, tau.data()), "geqrf");
  const char left = 'L', no = 'N';
  const int lwork = static_cast<int>(space.size());
  const std::string prefix = R::qPrefix;
  const auto restoreC = [&] { work = c; };
  report.pair(
      title(prefix + "mqr", n), R::weight * 2.0 * n * n * n * 1e-9, "GF", 1,
      {restoreC, [&] { must(R::mqr(left, no, n, n, n, qr.data(), n, tau.data(), work.data(), n), "mqr"); }},
      {restoreC, [&] {
         int info;
         R::hostMqr(&left, &no, &n, &n, &n, qr.data(), &n, tau.data(), work.data(), &n, space.data(), &lwork,
                    &info, 1, 1);
       }});
  const auto restoreQ = [&] { work = qr; };
  report.pair(title(prefix + "gqr", n), R::weight * 4.0 / 3 * n * n * n * 1e-9, "GF", 1,
              {restoreQ, [&] { must(R::gqr(n, n, n, work.data(), n, tau.data()), "gqr"); }},
              {restoreQ, [&] {
                 int info;
                 R::hostGqr(&n, &n, &n, work.data(), &n, tau.data(), space.data(), &lwork, &info);
               }});
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

// Beside our own gesv in double precision.
template <class T, class Refined, class Plain>
void refined(bench::Report& report, const char* name, int n, Refined refine, Plain solve) {
  const std::vector<double> real = ofConditionThousand(n);
  std::vector<T> a(elements(n, n)), b = randomElements<T>(n, 1), x(b.size()), factors;
  for (std::size_t i = 0; i < a.size(); ++i) reals(a)[parts<T> * i] = real[i];
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  int iterations = -1;
  const auto restore = [&] {
    factors = a;
    x = b;
  };
  report.pair(title(name, n) + ", beside gesv", Routines<T>::weight * 2.0 / 3 * n * n * n * 1e-9, "GF", 1.3,
              {restore,
               [&] {
                 must(refine(n, 1, factors.data(), n, ipiv.data(), b.data(), n, x.data(), n, &iterations),
                      name);
                 must(iterations < 0 ? iterations : 0, "iterations");
               }},
              {restore, [&] { must(solve(n, 1, factors.data(), n, ipiv.data(), x.data(), n), "gesv"); }});
}

template <class T>
void all(bench::Report& report, int n) {
  for (const int order : {n, 2 * n})
    for (const char uplo : {'L', 'U'}) cholesky<T>(report, uplo, order);
  solveAgain<T>(report, n, 1, 0.8);
  solveAgain<T>(report, n, 256, 0.8);
  products<T>(report, n);
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(quick ? 3 : 9);
  const int n = quick ? 512 : 2048;
  all<float>(report, n);
  all<double>(report, n);
  all<toviFloatComplex>(report, n);
  all<toviDoubleComplex>(report, n);
  for (const int order : {n, 2 * n}) {
    refined<double>(report, "Dsgesv", order, toviDsgesv, toviDgesv);
    refined<toviDoubleComplex>(report, "Zcgesv", order, toviZcgesv, toviZgesv);
  }
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
