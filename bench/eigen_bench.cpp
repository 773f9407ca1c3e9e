// Eigenvalues and eigenvectors of symmetric and Hermitian matrices: the exported routines, host interface
// with its transfers, beside the host LAPACK called directly, both on all processors of this machine (on the
// software device).

#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/harness.h"
#include "bench/must.h"
#include "include/tovi.h"

// The rival: any LAPACK with the standard Fortran interface.
extern "C" {
#define TOVI_RIVAL(name, T)                                                                             \
  void name(const char*, const char*, const int*, T*, const int*, T*, T*, const int*, int*, const int*, \
            int*, std::size_t, std::size_t);
TOVI_RIVAL(ssyevd_, float)
TOVI_RIVAL(dsyevd_, double)
#undef TOVI_RIVAL
#define TOVI_RIVAL(name, T, R)                                                                              \
  void name(const char*, const char*, const int*, T*, const int*, R*, T*, const int*, R*, const int*, int*, \
            const int*, int*, std::size_t, std::size_t);
TOVI_RIVAL(cheevd_, toviFloatComplex, float)
TOVI_RIVAL(zheevd_, toviDoubleComplex, double)
}

namespace {

using bench::must;

template <class T>
struct Routines;
template <>
struct Routines<float> {
  using Real = float;
  static constexpr const char* name = "toviSsyevd";
  static constexpr auto ours = toviSsyevd;
  static constexpr auto host = ssyevd_;
};
template <>
struct Routines<double> {
  using Real = double;
  static constexpr const char* name = "toviDsyevd";
  static constexpr auto ours = toviDsyevd;
  static constexpr auto host = dsyevd_;
};
template <>
struct Routines<toviFloatComplex> {
  using Real = float;
  static constexpr const char* name = "toviCheevd";
  static constexpr auto ours = toviCheevd;
  static constexpr auto host = cheevd_;
};
template <>
struct Routines<toviDoubleComplex> {
  using Real = double;
  static constexpr const char* name = "toviZheevd";
  static constexpr auto ours = toviZheevd;
  static constexpr auto host = zheevd_;
};

template <class T>
class Problem {
  using R = typename Routines<T>::Real;

 public:
  Problem(char job, int n)
      : job_(job), n_(n), a_(static_cast<std::size_t>(n) * static_cast<std::size_t>(n)), w_(a_.size() / n) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<R> uniform(-1, 1);
    std::vector<R> parts(a_.size() * sizeof(T) / sizeof(R));
    for (R& x : parts) x = uniform(engine);
    std::memcpy(static_cast<void*>(a_.data()), parts.data(), parts.size() * sizeof(R));
  }

  void restore() { work_ = a_; }
  // Of the reduction and, with vectors, of the back-transformation and of divide and conquer without
  // deflation: a nominal figure.
  double flops() const {
    const double n = n_;
    return (job_ == 'N' ? 4.0 / 3 : 14.0 / 3) * n * n * n * (sizeof(T) == sizeof(R) ? 1 : 4);
  }
  void ours() { must(Routines<T>::ours(job_, 'L', n_, work_.data(), n_, w_.data()), Routines<T>::name); }
  void host() {
    if (space_.empty()) {
      space_.resize(1), reals_.resize(1), integers_.resize(1);
      callHost(-1, -1, -1);
      R wanted;
      std::memcpy(&wanted, static_cast<const void*>(space_.data()), sizeof wanted);
      space_.resize(static_cast<std::size_t>(wanted) + 1);
      reals_.resize(static_cast<std::size_t>(reals_[0]) + 1);
      integers_.resize(static_cast<std::size_t>(integers_[0]));
    }
    callHost(static_cast<int>(space_.size()), static_cast<int>(reals_.size()),
             static_cast<int>(integers_.size()));
  }

 private:
  void callHost(int lspace, [[maybe_unused]] int lreals, int lintegers) {
    int info = 0;
    if constexpr (sizeof(T) == sizeof(R))
      Routines<T>::host(&job_, "L", &n_, work_.data(), &n_, w_.data(), space_.data(), &lspace,
                        integers_.data(), &lintegers, &info, 1, 1);
    else
      Routines<T>::host(&job_, "L", &n_, work_.data(), &n_, w_.data(), space_.data(), &lspace, reals_.data(),
                        &lreals, integers_.data(), &lintegers, &info, 1, 1);
    must(info, "the host's routine");
  }

  char job_;
  int n_;
  std::vector<T> a_, work_, space_;
  std::vector<R> w_, reals_;
  std::vector<int> integers_;
};

template <class T>
void compare(bench::Report& report, char job, int n, double aim) {
  Problem<T> problem(job, n);
  const auto restore = [&] { problem.restore(); };
  report.pair(std::string(Routines<T>::name) + " " + job + " " + std::to_string(n), problem.flops() * 1e-9,
              "GF", aim, {restore, [&] { problem.ours(); }}, {restore, [&] { problem.host(); }});
}

template <class T>
void compareAll(bench::Report& report, int unit, double aim) {
  for (const int n : {unit, 2 * unit, 4 * unit}) compare<T>(report, 'V', n, aim);
  compare<T>(report, 'N', 2 * unit, aim);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Arguments arguments = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(arguments.quick ? 1 : 5);
  const int unit = arguments.quick ? 128 : 512;
  compareAll<float>(report, unit, 1);
  compareAll<double>(report, unit, 1);
  compareAll<toviFloatComplex>(report, unit, 1);
  compareAll<toviDoubleComplex>(report, unit, 1);
  if (!arguments.json.empty()) report.writeJson(arguments.json);
  toviShutdown();
  return 0;
}
