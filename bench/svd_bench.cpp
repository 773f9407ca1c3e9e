// Singular value decompositions: the exported routines, host interface with its transfers, beside the host
// LAPACK called directly, both on all processors of this machine (on the software device).

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/elements.h"
#include "bench/harness.h"
#include "bench/must.h"
#include "bench/rival.h"
#include "include/tovi.h"

// The rivals, whose complex forms take reals beside their work space.
#define TOVI_BENCH_GESVD(p, T, R, ...)                                                                     \
  extern "C" {                                                                                             \
  void p##gesvd_(const char*, const char*, const int*, const int*, T*, const int*, R*, T*, const int*, T*, \
                 const int*, T*, const int*, __VA_ARGS__ int*, std::size_t, std::size_t);                  \
  void p##gesdd_(const char*, const int*, const int*, T*, const int*, R*, T*, const int*, T*, const int*,  \
                 T*, const int*, __VA_ARGS__ int*, int*, std::size_t);                                     \
  }
TOVI_BENCH_GESVD(s, float, float, )
TOVI_BENCH_GESVD(d, double, double, )
TOVI_BENCH_GESVD(c, toviFloatComplex, float, float*, )
TOVI_BENCH_GESVD(z, toviDoubleComplex, double, double*, )
#undef TOVI_BENCH_GESVD

namespace {

using bench::elements;
using bench::must;
using bench::Ours;
using bench::Real;

template <class T, class Single, class Double>
constexpr auto byPrecision(Single single, Double whole) {
  if constexpr (bench::isDouble<T>)
    return whole;
  else
    return single;
}

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
  void hostGesvd() {
    withSpace([&](T* space, int lspace) {
      int info = 0;
      const auto call = [&](auto routine, auto... reals) {
        routine(&job_, &job_, &m_, &n_, work_.data(), &m_, s_.data(), u_.data(), &m_, vt_.data(), &k_, space,
                &lspace, reals..., &info, 1, 1);
      };
      if constexpr (bench::isComplex<T>)
        call(byPrecision<T>(cgesvd_, zgesvd_), real_.data());
      else
        call(byPrecision<T>(sgesvd_, dgesvd_));
      must(info, "rival gesvd");
    });
  }
  void hostGesdd() {
    withSpace([&](T* space, int lspace) {
      int info = 0;
      const auto call = [&](auto routine, auto... reals) {
        routine(&job_, &m_, &n_, work_.data(), &m_, s_.data(), u_.data(), &m_, vt_.data(), &k_, space,
                &lspace, reals..., integer_.data(), &info, 1);
      };
      if constexpr (bench::isComplex<T>)
        call(byPrecision<T>(cgesdd_, zgesdd_), real_.data());
      else
        call(byPrecision<T>(sgesdd_, dgesdd_));
      must(info, "rival gesdd");
    });
  }

 private:
  double flops(double vectors) const {
    const double k = k_, longest = std::max(m_, n_), reduction = (4 * longest - 4.0 / 3 * k) * k * k;
    return bench::weight<T> * (job_ == 'N' ? reduction : reduction + vectors * longest * k * k);
  }
  template <class Call>
  void withSpace(Call call) {
    if (space_.empty()) {
      space_.resize(1);
      call(space_.data(), -1);
      space_.resize(static_cast<std::size_t>(bench::spaceWanted(space_[0])));
    }
    call(space_.data(), static_cast<int>(space_.size()));
  }

  char job_;
  int m_, n_, k_;
  std::vector<T> a_, work_, u_, vt_, space_;
  std::vector<Real<T>> s_, real_;
  std::vector<int> integer_;
};

template <class T>
std::string title(const std::string& routine, int m, int n, const char* rival) {
  return Ours<T>::prefix + routine + " " + std::to_string(m) + " x " + std::to_string(n) + ", " + rival;
}

template <class T>
void compare(bench::Report& report, char job, int n, double aim, bool gesdd = false) {
  Problem<T> problem(job, n, n);
  const auto restore = [&] { problem.restore(); };
  report.pair(title<T>(std::string("gesvd ") + job + ',' + job, n, n, gesdd ? "gesdd" : "gesvd"),
              problem.flops() * 1e-9, "GF", aim, {restore, [&] { problem.ours(); }}, {restore, [&] {
                                                                                        if (gesdd)
                                                                                          problem.hostGesdd();
                                                                                        else
                                                                                          problem.hostGesvd();
                                                                                      }});
}

template <class T>
void compareDivided(bench::Report& report, int m, int n) {
  Problem<T> problem('S', m, n);
  const auto restore = [&] { problem.restore(); };
  report.pair(title<T>("gesdd S", m, n, "gesdd"), problem.flopsDivided() * 1e-9, "GF", 1,
              {restore, [&] { problem.oursDivided(); }}, {restore, [&] { problem.hostGesdd(); }});
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(quick ? 1 : 5);
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
  {
    const int rows = quick ? 125 : 500;
    Problem<float> wide('S', rows, 4 * rows), tall('S', 4 * rows, rows);
    report.pair(title<float>("gesvd S,S", rows, 4 * rows, "ours of the transposed shape"),
                wide.flops() * 1e-9, "GF", 1 / 1.3, {[&] { wide.restore(); }, [&] { wide.ours(); }},
                {[&] { tall.restore(); }, [&] { tall.ours(); }});
  }
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
