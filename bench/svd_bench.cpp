// Singular value decompositions: the exported routines, host interface with its transfers, beside the host
// LAPACK called directly, both on all processors of this machine (on the software device).

#include <algorithm>
#include <functional>
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

// An m x n matrix and the outputs of its decomposition, and the calls that fill them: with all vectors that
// fit into the shorter side (jobs "S"; "A" for square matrices, where that is all of them), or with none
// ("N").
template <class T>
class Problem {
 public:
  Problem(char job, int m, int n)
      : job_(job),
        m_(m),
        n_(n),
        k_(std::min(m, n)),
        a_(bench::randomElements<T>(m, n)),
        u_(elements(m, k_)),
        vt_(elements(k_, n)),
        s_(elements(k_, 1)),
        real_(elements(5 * k_ + 2 * std::max(m, n) + 7, k_)),
        integer_(elements(8, k_)) {}

  void restore() { work_ = a_; }
  // Multiplications and additions, at two a rotated element and two sweeps a value, or by divide and conquer
  // without deflation: nominal figures.
  double flops() const { return flops(14); }
  double flopsDivided() const { return flops(8); }

  void ours() {
    must(Ours<T>::gesvd(job_, job_, m_, n_, work_.data(), m_, s_.data(), u_.data(), m_, vt_.data(), k_),
         "gesvd");
  }
  void oursDivided() {
    must(Ours<T>::gesdd(job_, m_, n_, work_.data(), m_, s_.data(), u_.data(), m_, vt_.data(), k_), "gesdd");
  }
  std::function<void()> rival() {
    return bench::withWorkspace<T>([this](T* space, int lwork) {
      int info = 0;
      const auto call = [&](auto... reals) {
        Rival<T>::gesvd(&job_, &job_, &m_, &n_, work_.data(), &m_, s_.data(), u_.data(), &m_, vt_.data(), &k_,
                        space, &lwork, reals..., &info, 1, 1);
      };
      bench::withReals<T>(call, real_.data());
      must(info, "rival gesvd");
    });
  }
  std::function<void()> rivalDivided() {
    return bench::withWorkspace<T>([this](T* space, int lwork) {
      int info = 0;
      const auto call = [&](auto... reals) {
        Rival<T>::gesdd(&job_, &m_, &n_, work_.data(), &m_, s_.data(), u_.data(), &m_, vt_.data(), &k_, space,
                        &lwork, reals..., integer_.data(), &info, 1);
      };
      bench::withReals<T>(call, real_.data());
      must(info, "rival gesdd");
    });
  }

 private:
  double flops(double vectors) const {
    const double k = k_, longest = std::max(m_, n_), reduction = (4 * longest - 4.0 / 3 * k) * k * k;
    return bench::weight<T> * (job_ == 'N' ? reduction : reduction + vectors * longest * k * k);
  }

  char job_;
  int m_, n_, k_;
  std::vector<T> a_, work_, u_, vt_;
  std::vector<Real<T>> s_, real_;
  std::vector<int> integer_;
};

template <class T>
void compare(bench::Report& report, char job, int n, double aim, bool divided = false) {
  const std::string title =
      bench::title<T>(std::string("gesvd ") + job + ',' + job, n, n) + (divided ? ", beside gesdd" : "");
  Problem<T> problem(job, n, n);
  const auto restore = [&] { problem.restore(); };
  report.pair(title, problem.flops() * 1e-9, "GF", aim, {restore, [&] { problem.ours(); }},
              {restore, divided ? problem.rivalDivided() : problem.rival()});
}

template <class T>
void compareDivided(bench::Report& report, int m, int n) {
  const std::string title = bench::title<T>("gesdd S", m, n);
  Problem<T> problem('S', m, n);
  const auto restore = [&] { problem.restore(); };
  report.pair(title, problem.flopsDivided() * 1e-9, "GF", 1, {restore, [&] { problem.oursDivided(); }},
              {restore, problem.rivalDivided()});
}

// A wide matrix beside its transposed shape, both ours.
void compareShapes(bench::Report& report, int m, int n) {
  const std::string title = bench::title<float>("gesvd S,S", m, n) + ", beside tall";
  Problem<float> wide('S', m, n), tall('S', n, m);
  report.pair(title, wide.flops() * 1e-9, "GF", 1 / 1.3, {[&] { wide.restore(); }, [&] { wide.ours(); }},
              {[&] { tall.restore(); }, [&] { tall.ours(); }});
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json, only] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(only, quick ? 1 : 5);
  const int unit = quick ? 128 : 512;
  for (const int n : {unit, 2 * unit}) {
    compare<float>(report, 'S', n, 8);
    compare<float>(report, 'S', n, 1.0 / 3, true);
    compare<double>(report, 'S', n, 1.0 / 3, true);
  }
  for (const int n : {unit, 2 * unit, 4 * unit}) {
    compareDivided<float>(report, n, n);
    compareDivided<double>(report, n, n);
  }
  compareDivided<toviFloatComplex>(report, 2 * unit, 2 * unit);
  compareDivided<toviDoubleComplex>(report, 2 * unit, 2 * unit);
  compareDivided<double>(report, 4 * unit, unit);
  compareDivided<double>(report, unit, 4 * unit);
  for (const int n : {2 * unit, 4 * unit}) compare<float>(report, 'N', n, 0.9);
  compare<double>(report, 'N', 2 * unit, 0.9);
  compare<double>(report, 'S', unit, 8);
  compare<toviFloatComplex>(report, 'A', unit, 4);
  compare<toviDoubleComplex>(report, 'A', unit, 4);
  const int rows = quick ? 125 : 500;
  compareShapes(report, rows, 4 * rows);
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
