// Eigenvalues and eigenvectors of symmetric and Hermitian matrices: the exported routines, host interface
// with its transfers, beside the host LAPACK called directly, both on all processors of this machine (on the
// software device).

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
using bench::Ours;
using bench::Real;
using bench::Rival;
using bench::spaceWanted;

template <class T>
class Problem {
 public:
  Problem(char job, int n)
      : job_(job),
        n_(n),
        a_(bench::randomElements<T>(n, n)),
        space_(1),
        w_(elements(n, 1)),
        reals_(1),
        integers_(1) {
    callRival(-1, -1, -1);
    space_.resize(elements(spaceWanted(space_[0]), 1));
    reals_.resize(elements(spaceWanted(reals_[0]), 1));
    integers_.resize(elements(integers_[0], 1));
  }

  void restore() { work_ = a_; }
  // Of the reduction and, with vectors, of the back-transformation and of divide and conquer without
  // deflation: a nominal figure.
  double flops() const {
    const double n = n_;
    return bench::weight<T> * (job_ == 'N' ? 4.0 / 3 : 14.0 / 3) * n * n * n;
  }
  void ours() { must(Ours<T>::heevd(job_, 'L', n_, work_.data(), n_, w_.data()), Ours<T>::heevdName); }
  void rival() {
    callRival(static_cast<int>(space_.size()), static_cast<int>(reals_.size()),
              static_cast<int>(integers_.size()));
  }

 private:
  void callRival(int lspace, int lreals, int lintegers) {
    int info = 0;
    const auto call = [&](auto... reals) {
      Rival<T>::heevd(&job_, "L", &n_, work_.data(), &n_, w_.data(), space_.data(), &lspace, reals...,
                      integers_.data(), &lintegers, &info, 1, 1);
    };
    bench::withReals<T>(call, reals_.data(), &lreals);
    must(info, "the rival's routine");
  }

  char job_;
  int n_;
  std::vector<T> a_, work_, space_;
  std::vector<Real<T>> w_, reals_;
  std::vector<int> integers_;
};

template <class T>
void compare(bench::Report& report, char job, int n, double aim) {
  const std::string title = bench::title<T>(Ours<T>::heevdName + std::string(" ") + job, n);
  Problem<T> problem(job, n);
  const auto restore = [&] { problem.restore(); };
  report.pair(title, problem.flops() * 1e-9, "GF", aim, {restore, [&] { problem.ours(); }},
              {restore, [&] { problem.rival(); }});
}

template <class T>
void compareAll(bench::Report& report, int unit, double aim) {
  for (const int n : {unit, 2 * unit, 4 * unit}) compare<T>(report, 'V', n, aim);
  compare<T>(report, 'N', 2 * unit, aim);
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json, only] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(only, quick ? 1 : 5);
  const int unit = quick ? 128 : 512;
  compareAll<float>(report, unit, 1);
  compareAll<double>(report, unit, 1);
  compareAll<toviFloatComplex>(report, unit, 1);
  compareAll<toviDoubleComplex>(report, unit, 1);
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
