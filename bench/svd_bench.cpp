// Singular value decompositions: the exported routines, host interface with its transfers, beside the host
// LAPACK called directly, both on all processors of this machine (on the software device).

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "bench/must.h"
#include "include/tovi.h"

// The rival: any LAPACK with the standard Fortran interface.
extern "C" {
void sgesvd_(const char*, const char*, const int*, const int*, float*, const int*, float*, float*, const int*,
             float*, const int*, float*, const int*, int*, std::size_t, std::size_t);
void sgesdd_(const char*, const int*, const int*, float*, const int*, float*, float*, const int*, float*,
             const int*, float*, const int*, int*, int*, std::size_t);
void cgesvd_(const char*, const char*, const int*, const int*, toviFloatComplex*, const int*, float*,
             toviFloatComplex*, const int*, toviFloatComplex*, const int*, toviFloatComplex*, const int*,
             float*, int*, std::size_t, std::size_t);
void dgesdd_(const char*, const int*, const int*, double*, const int*, double*, double*, const int*, double*,
             const int*, double*, const int*, int*, int*, std::size_t);
void cgesdd_(const char*, const int*, const int*, toviFloatComplex*, const int*, float*, toviFloatComplex*,
             const int*, toviFloatComplex*, const int*, toviFloatComplex*, const int*, float*, int*, int*,
             std::size_t);
void zgesdd_(const char*, const int*, const int*, toviDoubleComplex*, const int*, double*, toviDoubleComplex*,
             const int*, toviDoubleComplex*, const int*, toviDoubleComplex*, const int*, double*, int*, int*,
             std::size_t);
}

namespace {

using bench::must;

std::size_t elements(int rows, int cols) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
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
        a_(elements(m, n)),
        u_(elements(m, k_)),
        vt_(elements(k_, n)),
        s_(elements(k_, 1)),
        real_(elements(5, k_)),
        integer_(elements(8, k_)) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> uniform(-1, 1);
    std::vector<float> parts(a_.size() * sizeof(T) / sizeof(float));
    for (float& x : parts) x = uniform(engine);
    std::memcpy(static_cast<void*>(a_.data()), parts.data(), parts.size() * sizeof(float));
  }

  void restore() { work_ = a_; }
  // Multiplications and additions, at two a rotated element and two sweeps a value: a nominal figure.
  double flops() const {
    const double k = k_, longest = std::max(m_, n_), reduction = (4 * longest - 4.0 / 3 * k) * k * k;
    return (job_ == 'N' ? reduction : reduction + 14 * longest * k * k) *
           (sizeof(T) == sizeof(float) ? 1 : 4);
  }

  void ours() {
    if constexpr (sizeof(T) == sizeof(float))
      must(toviSgesvd(job_, job_, m_, n_, work_.data(), m_, s_.data(), u_.data(), m_, vt_.data(), k_),
           "toviSgesvd");
    else
      must(toviCgesvd(job_, job_, m_, n_, work_.data(), m_, s_.data(), u_.data(), m_, vt_.data(), k_),
           "toviCgesvd");
  }
  void hostGesvd() {
    withSpace([&](T* space, int lspace) {
      int info = 0;
      if constexpr (sizeof(T) == sizeof(float))
        sgesvd_(&job_, &job_, &m_, &n_, work_.data(), &m_, s_.data(), u_.data(), &m_, vt_.data(), &k_, space,
                &lspace, &info, 1, 1);
      else
        cgesvd_(&job_, &job_, &m_, &n_, work_.data(), &m_, s_.data(), u_.data(), &m_, vt_.data(), &k_, space,
                &lspace, real_.data(), &info, 1, 1);
      must(info, "gesvd");
    });
  }
  void hostGesdd() {
    withSpace([&](float* space, int lspace) {
      int info = 0;
      sgesdd_(&job_, &m_, &n_, work_.data(), &m_, s_.data(), u_.data(), &m_, vt_.data(), &k_, space, &lspace,
              integer_.data(), &info, 1);
      must(info, "gesdd");
    });
  }

 private:
  template <class Call>
  void withSpace(Call call) {
    if (space_.empty()) {
      space_.resize(1);
      call(space_.data(), -1);
      float wanted;
      std::memcpy(&wanted, static_cast<const void*>(space_.data()), sizeof wanted);
      space_.resize(static_cast<std::size_t>(wanted));
    }
    call(space_.data(), static_cast<int>(space_.size()));
  }

  char job_;
  int m_, n_, k_;
  std::vector<T> a_, work_, u_, vt_, space_;
  std::vector<float> s_, real_;
  std::vector<int> integer_;
};

// The same by divide and conquer, job "S", in all precisions.
template <class T>
struct Divided;
template <>
struct Divided<float> {
  using Real = float;
  static constexpr const char* name = "toviSgesdd";
  static constexpr auto ours = toviSgesdd;
  static constexpr auto host = sgesdd_;
};
template <>
struct Divided<double> {
  using Real = double;
  static constexpr const char* name = "toviDgesdd";
  static constexpr auto ours = toviDgesdd;
  static constexpr auto host = dgesdd_;
};
template <>
struct Divided<toviFloatComplex> {
  using Real = float;
  static constexpr const char* name = "toviCgesdd";
  static constexpr auto ours = toviCgesdd;
  static constexpr auto host = cgesdd_;
};
template <>
struct Divided<toviDoubleComplex> {
  using Real = double;
  static constexpr const char* name = "toviZgesdd";
  static constexpr auto ours = toviZgesdd;
  static constexpr auto host = zgesdd_;
};

std::string title(const char* routine, const std::string& jobs, int m, int n, const char* rival) {
  return std::string(routine) + " " + jobs + " " + std::to_string(m) + " x " + std::to_string(n) + ", " +
         rival;
}

template <class T>
void compare(bench::Report& report, const char* routine, char job, int n, double aim, bool gesdd = false) {
  Problem<T> problem(job, n, n);
  const auto restore = [&] { problem.restore(); };
  report.pair(title(routine, std::string{job, ',', job}, n, n, gesdd ? "gesdd" : "gesvd"),
              problem.flops() * 1e-9, "GF", aim, {restore, [&] { problem.ours(); }},
              {restore, [&] {
                 if constexpr (sizeof(T) == sizeof(float)) {
                   if (gesdd) return problem.hostGesdd();
                 }
                 problem.hostGesvd();
               }});
}

template <class T>
void compareDivided(bench::Report& report, int m, int n, double aim) {
  using R = typename Divided<T>::Real;
  constexpr bool real = sizeof(T) == sizeof(R);
  const int k = std::min(m, n);
  std::vector<T> a(elements(m, n)), work, u(elements(m, k)), vt(elements(k, n)), space(1);
  std::vector<R> s(elements(k, 1)), reals(real ? 0 : elements(k, 5 * k + 7 + 2 * std::max(m, n)));
  std::vector<int> integers(elements(8, k));
  std::mt19937 engine(1);
  std::uniform_real_distribution<R> uniform(-1, 1);
  std::vector<R> parts(a.size() * sizeof(T) / sizeof(R));
  for (R& x : parts) x = uniform(engine);
  std::memcpy(static_cast<void*>(a.data()), parts.data(), parts.size() * sizeof(R));
  int lspace = -1;
  const auto host = [&] {
    int info = 0;
    if constexpr (real)
      Divided<T>::host("S", &m, &n, work.data(), &m, s.data(), u.data(), &m, vt.data(), &k, space.data(),
                       &lspace, integers.data(), &info, 1);
    else
      Divided<T>::host("S", &m, &n, work.data(), &m, s.data(), u.data(), &m, vt.data(), &k, space.data(),
                       &lspace, reals.data(), integers.data(), &info, 1);
    must(info, "gesdd");
  };
  const auto restore = [&] { work = a; };
  restore();
  host();
  R wanted;
  std::memcpy(&wanted, static_cast<const void*>(space.data()), sizeof wanted);
  lspace = static_cast<int>(wanted) + 1;
  space.resize(static_cast<std::size_t>(lspace));
  const double longest = std::max(m, n),
               flops = ((4 * longest - 4.0 / 3 * k) + 8 * longest) * k * k * (real ? 1 : 4);
  report.pair(title(Divided<T>::name, "S", m, n, "gesdd"), flops * 1e-9, "GF", aim,
              {restore,
               [&] {
                 must(Divided<T>::ours('S', m, n, work.data(), m, s.data(), u.data(), m, vt.data(), k),
                      Divided<T>::name);
               }},
              {restore, host});
}

}  // namespace

int main(int argc, char** argv) {
  const auto [quick, json] = bench::arguments(argc, argv);
  must(toviInitialize(), "toviInitialize");
  bench::Report report(quick ? 1 : 5);
  const int unit = quick ? 128 : 512;
  for (const int n : {unit, 2 * unit}) {
    compare<float>(report, "toviSgesvd", 'S', n, 8);
    compare<float>(report, "toviSgesvd", 'S', n, 1.0 / 3, true);
  }
  for (const int n : {unit, 2 * unit, 4 * unit}) {
    compareDivided<float>(report, n, n, 1);
    compareDivided<double>(report, n, n, 1);
  }
  compareDivided<toviFloatComplex>(report, 2 * unit, 2 * unit, 1);
  compareDivided<toviDoubleComplex>(report, 2 * unit, 2 * unit, 1);
  compareDivided<double>(report, 4 * unit, unit, 1);
  compareDivided<double>(report, unit, 4 * unit, 1);
  for (const int n : {2 * unit, 4 * unit}) compare<float>(report, "toviSgesvd", 'N', n, 0.9);
  compare<toviFloatComplex>(report, "toviCgesvd", 'A', unit, 4);
  {
    const int rows = quick ? 125 : 500;
    Problem<float> wide('S', rows, 4 * rows), tall('S', 4 * rows, rows);
    report.pair(title("toviSgesvd", "S,S", rows, 4 * rows, "ours of the transposed shape"),
                wide.flops() * 1e-9, "GF", 1 / 1.3, {[&] { wide.restore(); }, [&] { wide.ours(); }},
                {[&] { tall.restore(); }, [&] { tall.ours(); }});
  }
  if (!json.empty()) report.writeJson(json);
  toviShutdown();
  return 0;
}
