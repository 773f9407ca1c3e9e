// What small problems cost: the exported routines with a counterpart in the host's BLAS or LAPACK, all
// element types, host interface with its transfers, at n = 8 to 64. By the rule for them a call takes at
// most 1.5 times the rival's time and 10 microseconds. And what the first call of a process costs, from the
// start of the process on.
//   --all           all rows, else those that break the rule
//   --only REGEX    rows whose names it finds

#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "bench/elements.h"
#include "bench/harness.h"
#include "bench/must.h"
#include "bench/rival.h"
#include "include/tovi.h"

extern char** environ;

namespace {

using bench::elements;
using bench::must;
using bench::number;
using bench::Ours;
using bench::Rival;

double bound(double rival) { return 1.5 * rival + 10e-6; }

struct Row {
  std::string name;
  std::function<double()> ours, rival;  // seconds of one call
  double oursBest = 1, rivalBest = 1;

  bool holds() const { return oursBest <= bound(rivalBest); }
};

// The arrays of a call: x[0], x[1], ...; what else it writes; the rival's work space.
template <class T>
struct Arrays {
  std::array<T*, 5> x;
  int* pivots;
  static constexpr int room = 1 << 15;
  static inline std::vector<T> work = std::vector<T>(room);
  static inline std::vector<bench::Real<T>> reals = std::vector<bench::Real<T>>(room);
  static inline std::vector<int> integers = std::vector<int>(room);
};

// Every call gets operands of its own, made before the clock starts.
template <class T>
class Problem {
 public:
  using Call = std::function<void(const Arrays<T>&)>;

  Problem(int n, std::vector<std::vector<T>> operands)
      : operands_(std::move(operands)), pivots_(elements(n, 1)) {
    for (const auto& operand : operands_) length_ += operand.size();
  }

  double time(const Call& call) {
    const double once = timed(call, 3);
    return timed(call, static_cast<std::size_t>(std::clamp(0.0015 / once, 3.0, 300.0)));
  }
  // Before all others: what it leaves are the operands.
  void prepare(const Call& call) {
    calls_.clear();
    for (const auto& operand : operands_) calls_.insert(calls_.end(), operand.begin(), operand.end());
    call(arrays(0));
    std::size_t at = 0;
    for (auto& operand : operands_) {
      std::copy_n(calls_.data() + at, operand.size(), operand.data());
      at += operand.size();
    }
  }

 private:
  Arrays<T> arrays(std::size_t number) {
    Arrays<T> result{};
    T* at = calls_.data() + number * length_;
    for (std::size_t i = 0; i < operands_.size(); at += operands_[i++].size()) result.x[i] = at;
    result.pivots = pivots_.data();
    return result;
  }
  double timed(const Call& call, std::size_t count) {
    calls_.clear();
    for (std::size_t i = 0; i < count; ++i)
      for (const auto& operand : operands_) calls_.insert(calls_.end(), operand.begin(), operand.end());
    const double start = bench::seconds();
    for (std::size_t i = 0; i < count; ++i) call(arrays(i));
    return (bench::seconds() - start) / static_cast<double>(count);
  }

  std::vector<std::vector<T>> operands_;
  std::size_t length_ = 0;
  std::vector<T> calls_;
  std::vector<int> pivots_;
};

// A square matrix with a diagonal that makes it positive definite, of which routines read one triangle.
template <class T>
std::vector<T> definite(int n) {
  std::vector<T> a = bench::randomElements<T>(n, n, 3);
  for (int i = 0; i < n; ++i) a[elements(i, n + 1)] = number<T>(n);
  return a;
}

template <class T>
class Rows {
 public:
  Rows(std::vector<Row>& rows, int n) : rows_(rows), n_(n) { addAll(); }

 private:
  using A = const Arrays<T>&;
  using Call = typename Problem<T>::Call;

  void add(const std::string& name, std::vector<std::vector<T>> operands, const Call& ours, const Call& rival,
           const Call& before = nullptr) {
    const auto problem = std::make_shared<Problem<T>>(n_, std::move(operands));
    if (before) problem->prepare(before);
    rows_.push_back({bench::title<T>(name, n_), [=] { return problem->time(ours); },
                     [=] { return problem->time(rival); }});
  }

  void addAll() {
    using R = bench::Real<T>;
    const int n = n_;
    const std::vector<T> a = bench::randomElements<T>(n, n), b = bench::randomElements<T>(n, n, 2),
                         x(elements(n, 1), number<T>(1)), spd = definite<T>(n);
    static constexpr char no = 'N', low = 'L', left = 'L', all = 'A', some = 'S', vectors = 'V';
    static constexpr char adjoint = bench::isComplex<T> ? 'C' : 'T';
    static const int one = 1, room = Arrays<T>::room;
    static const T alpha = number<T>(1), beta = number<T>(0);
    [[maybe_unused]] static const R alphaReal = 1, betaReal = 0;
    static int info = 0;
    const auto reals = [](T* p) { return reinterpret_cast<R*>(p); };

    add(
        "gemm", {a, b, a},
        [=](A p) {
          must(Ours<T>::gemm(no, no, n, n, n, alpha, p.x[0], n, p.x[1], n, beta, p.x[2], n), "gemm");
        },
        [=](A p) {
          Rival<T>::gemm(&no, &no, &n, &n, &n, &alpha, p.x[0], &n, p.x[1], &n, &beta, p.x[2], &n, 1, 1);
        });
    add(
        "gemv", {a, x, x},
        [=](A p) { must(Ours<T>::gemv(no, n, n, alpha, p.x[0], n, p.x[1], 1, beta, p.x[2], 1), "gemv"); },
        [=](A p) { Rival<T>::gemv(&no, &n, &n, &alpha, p.x[0], &n, p.x[1], &one, &beta, p.x[2], &one, 1); });
    add(
        "trsm", {spd, b},
        [=](A p) { must(Ours<T>::trsm(left, low, no, no, n, n, alpha, p.x[0], n, p.x[1], n), "trsm"); },
        [=](A p) {
          Rival<T>::trsm(&left, &low, &no, &no, &n, &n, &alpha, p.x[0], &n, p.x[1], &n, 1, 1, 1, 1);
        });
    add(
        "trmm", {spd, b},
        [=](A p) { must(Ours<T>::trmm(left, low, no, no, n, n, alpha, p.x[0], n, p.x[1], n), "trmm"); },
        [=](A p) {
          Rival<T>::trmm(&left, &low, &no, &no, &n, &n, &alpha, p.x[0], &n, p.x[1], &n, 1, 1, 1, 1);
        });
    add(
        Ours<T>::hemmName, {spd, b, a},
        [=](A p) {
          must(Ours<T>::hemm(left, low, n, n, alpha, p.x[0], n, p.x[1], n, beta, p.x[2], n), "hemm");
        },
        [=](A p) {
          Rival<T>::hemm(&left, &low, &n, &n, &alpha, p.x[0], &n, p.x[1], &n, &beta, p.x[2], &n, 1, 1);
        });
    add(
        "syrk", {a, b},
        [=](A p) { must(Ours<T>::syrk(low, no, n, n, alpha, p.x[0], n, beta, p.x[1], n), "syrk"); },
        [=](A p) { Rival<T>::syrk(&low, &no, &n, &n, &alpha, p.x[0], &n, &beta, p.x[1], &n, 1, 1); });
    if constexpr (bench::isComplex<T>) {
      add(
          "herk", {a, b},
          [=](A p) { must(Ours<T>::herk(low, no, n, n, alphaReal, p.x[0], n, betaReal, p.x[1], n), "herk"); },
          [=](A p) {
            Rival<T>::herk(&low, &no, &n, &n, &alphaReal, p.x[0], &n, &betaReal, p.x[1], &n, 1, 1);
          });
      add(
          "her2k", {a, b, a},
          [=](A p) {
            must(Ours<T>::her2k(low, no, n, n, alpha, p.x[0], n, p.x[1], n, betaReal, p.x[2], n), "her2k");
          },
          [=](A p) {
            Rival<T>::her2k(&low, &no, &n, &n, &alpha, p.x[0], &n, p.x[1], &n, &betaReal, p.x[2], &n, 1, 1);
          });
    } else {
      add(
          "syr2k", {a, b, a},
          [=](A p) {
            must(Ours<T>::syr2k(low, no, n, n, alpha, p.x[0], n, p.x[1], n, beta, p.x[2], n), "syr2k");
          },
          [=](A p) {
            Rival<T>::syr2k(&low, &no, &n, &n, &alpha, p.x[0], &n, p.x[1], &n, &beta, p.x[2], &n, 1, 1);
          });
    }

    add(
        "getrf", {a}, [=](A p) { must(Ours<T>::getrf(n, n, p.x[0], n, p.pivots), "getrf"); },
        [=](A p) { Rival<T>::getrf(&n, &n, p.x[0], &n, p.pivots, &info); });
    for (const int nrhs : {1, n}) {
      const std::vector<T> rhs = nrhs == 1 ? x : b;
      const std::string many = nrhs == 1 ? "" : ", n right-hand sides";
      add(
          "getrs" + many, {a, rhs},
          [=](A p) { must(Ours<T>::getrs(no, n, nrhs, p.x[0], n, p.pivots, p.x[1], n), "getrs"); },
          [=](A p) { Rival<T>::getrs(&no, &n, &nrhs, p.x[0], &n, p.pivots, p.x[1], &n, &info, 1); },
          [=](A p) { must(Ours<T>::getrf(n, n, p.x[0], n, p.pivots), "getrf"); });
      add(
          "gesv" + many, {a, rhs},
          [=](A p) { must(Ours<T>::gesv(n, nrhs, p.x[0], n, p.pivots, p.x[1], n), "gesv"); },
          [=](A p) { Rival<T>::gesv(&n, &nrhs, p.x[0], &n, p.pivots, p.x[1], &n, &info); });
      add(
          "potrs" + many, {spd, rhs},
          [=](A p) { must(Ours<T>::potrs(low, n, nrhs, p.x[0], n, p.x[1], n), "potrs"); },
          [=](A p) { Rival<T>::potrs(&low, &n, &nrhs, p.x[0], &n, p.x[1], &n, &info, 1); });
      add(
          "posv" + many, {spd, rhs},
          [=](A p) { must(Ours<T>::posv(low, n, nrhs, p.x[0], n, p.x[1], n), "posv"); },
          [=](A p) { Rival<T>::posv(&low, &n, &nrhs, p.x[0], &n, p.x[1], &n, &info, 1); });
      add(
          "gels" + many, {a, rhs},
          [=](A p) { must(Ours<T>::gels(no, n, n, nrhs, p.x[0], n, p.x[1], n), "gels"); },
          [=](A p) {
            Rival<T>::gels(&no, &n, &n, &nrhs, p.x[0], &n, p.x[1], &n, p.work.data(), &room, &info, 1);
          });
    }
    add(
        "potrf", {spd}, [=](A p) { must(Ours<T>::potrf(low, n, p.x[0], n), "potrf"); },
        [=](A p) { Rival<T>::potrf(&low, &n, p.x[0], &n, &info, 1); });
    const Call factor = [=](A p) { must(Ours<T>::geqrf(n, n, p.x[0], n, p.x[1]), "geqrf"); };
    add("geqrf", {a, x}, factor,
        [=](A p) { Rival<T>::geqrf(&n, &n, p.x[0], &n, p.x[1], p.work.data(), &room, &info); });
    add(
        Ours<T>::mqrName, {a, x, b},
        [=](A p) { must(Ours<T>::mqr(left, adjoint, n, n, n, p.x[0], n, p.x[1], p.x[2], n), "ormqr"); },
        [=](A p) {
          Rival<T>::mqr(&left, &adjoint, &n, &n, &n, p.x[0], &n, p.x[1], p.x[2], &n, p.work.data(), &room,
                        &info, 1, 1);
        },
        factor);
    add(
        Ours<T>::gqrName, {a, x}, [=](A p) { must(Ours<T>::gqr(n, n, n, p.x[0], n, p.x[1]), "orgqr"); },
        [=](A p) { Rival<T>::gqr(&n, &n, &n, p.x[0], &n, p.x[1], p.work.data(), &room, &info); }, factor);
    const int k = n / 4;
    add(
        "gglse", {a, b, x, x, x},
        [=](A p) { must(Ours<T>::gglse(n, n, k, p.x[0], n, p.x[1], n, p.x[2], p.x[3], p.x[4]), "gglse"); },
        [=](A p) {
          Rival<T>::gglse(&n, &n, &k, p.x[0], &n, p.x[1], &n, p.x[2], p.x[3], p.x[4], p.work.data(), &room,
                          &info);
        });

    for (const char job : {no, all}) {
      add(
          job == no ? "gesvd, values" : "gesvd, all vectors", {a, x, a, b},
          [=](A p) {
            must(Ours<T>::gesvd(job, job, n, n, p.x[0], n, reals(p.x[1]), p.x[2], n, p.x[3], n), "gesvd");
          },
          [=](A p) {
            bench::withReals<T>(
                [&](auto... rwork) {
                  Rival<T>::gesvd(&job, &job, &n, &n, p.x[0], &n, reals(p.x[1]), p.x[2], &n, p.x[3], &n,
                                  p.work.data(), &room, rwork..., &info, 1, 1);
                },
                p.reals.data());
          });
    }
    add(
        "gesdd, vectors", {a, x, a, b},
        [=](A p) {
          must(Ours<T>::gesdd(some, n, n, p.x[0], n, reals(p.x[1]), p.x[2], n, p.x[3], n), "gesdd");
        },
        [=](A p) {
          bench::withReals<T>(
              [&](auto... rwork) {
                Rival<T>::gesdd(&some, &n, &n, p.x[0], &n, reals(p.x[1]), p.x[2], &n, p.x[3], &n,
                                p.work.data(), &room, rwork..., p.integers.data(), &info, 1);
              },
              p.reals.data());
        });
    for (const char job : {no, vectors}) {
      add(
          Ours<T>::heevdName + std::string(job == no ? ", values" : ", vectors"), {a, x},
          [=](A p) { must(Ours<T>::heevd(job, low, n, p.x[0], n, reals(p.x[1])), "syevd"); },
          [=](A p) {
            if constexpr (bench::isComplex<T>)
              Rival<T>::heevd(&job, &low, &n, p.x[0], &n, reals(p.x[1]), p.work.data(), &room, p.reals.data(),
                              &room, p.integers.data(), &room, &info, 1, 1);
            else
              Rival<T>::heevd(&job, &low, &n, p.x[0], &n, reals(p.x[1]), p.work.data(), &room,
                              p.integers.data(), &room, &info, 1, 1);
          });
    }
  }

  std::vector<Row>& rows_;
  const int n_;
};

// All of ours, then all of the rival's, whose threads spin on for some tenths of a second, and so on.
void measure(std::vector<Row>& rows, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    for (Row& row : rows) row.oursBest = std::min(row.oursBest, row.ours());
    for (Row& row : rows) row.rivalBest = std::min(row.rivalBest, row.rival());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
}

constexpr double micro = 1e6;

int print(const std::vector<Row>& rows, bool all) {
  std::printf("%-44s %10s %10s %10s\n", "microseconds a call, the shortest times", "ours", "rival", "rule");
  int broken = 0;
  for (const Row& row : rows) {
    if (!row.holds()) ++broken;
    if (all || !row.holds())
      std::printf("%-44s %10.1f %10.1f %10.1f%s\n", row.name.c_str(), row.oursBest * micro,
                  row.rivalBest * micro, bound(row.rivalBest) * micro, row.holds() ? "" : "  <--");
  }
  std::printf("the rule for small problems is not held in %d of %d cases\n", broken,
              static_cast<int>(rows.size()));
  return broken;
}

// Milliseconds from the start of a process to the end of its first call (first_call.c).
void firstCalls(const std::string& program) {
  for (const char* routine : {"gemm", "gesv", "gesvd"}) {
    std::vector<double> times;
    for (int i = 0; i < 21; ++i) {
      timespec now{};
      clock_gettime(CLOCK_MONOTONIC, &now);
      std::string start =
          std::to_string(static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6);
      std::array<char*, 4> arguments{const_cast<char*>(program.c_str()), const_cast<char*>(routine),
                                     start.data(), nullptr};
      std::array<int, 2> ends{};
      must(pipe(ends.data()), "pipe");
      posix_spawn_file_actions_t actions;
      posix_spawn_file_actions_init(&actions);
      posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
      pid_t child = 0;
      must(posix_spawn(&child, program.c_str(), &actions, nullptr, arguments.data(), environ), "posix_spawn");
      posix_spawn_file_actions_destroy(&actions);
      close(ends[1]);
      std::array<char, 64> text{};
      static_cast<void>(read(ends[0], text.data(), text.size() - 1));
      close(ends[0]);
      int status = 0;
      waitpid(child, &status, 0);
      must(status, program.c_str());
      times.push_back(std::strtod(text.data(), nullptr));
    }
    std::printf("first call, %-8s n = 64 %8.2f ms, at most %.2f; the rule: 10\n", routine,
                bench::median(times), *std::max_element(times.begin(), times.end()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  bool all = false;
  std::regex only("");
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--all") == 0) {
      all = true;
    } else if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) {
      only = argv[++i];
    } else {
      std::fprintf(stderr, "usage: %s [--all] [--only REGULAR-EXPRESSION]\n", argv[0]);
      return 2;
    }
  }
  if (std::regex_search("first call", only)) {
    const std::string self = argv[0];
    firstCalls(self.substr(0, self.rfind('/') + 1) + "tovi_first_call");
  }
  must(toviInitialize(), "toviInitialize");
  std::vector<Row> rows;
  for (const int n : {8, 16, 32, 64}) {
    Rows<float>(rows, n);
    Rows<double>(rows, n);
    Rows<toviFloatComplex>(rows, n);
    Rows<toviDoubleComplex>(rows, n);
  }
  rows.erase(std::remove_if(rows.begin(), rows.end(),
                            [&](const Row& row) { return !std::regex_search(row.name, only); }),
             rows.end());
  if (!rows.empty()) {
    measure(rows, 5);
    print(rows, all);
  }
  toviShutdown();
  return 0;
}
