// What the size of a problem does: the six LAPACK routines in single precision, host interface with its
// transfers, beside the host LAPACK, from n = 16 to 4096, on square matrices. Writes a table, and a plot
// where asked for. The sizes of the rule for small problems are judged by it: a call may take 1.5 times the
// host's time and 20 microseconds.
//   --csv FILE, --svg FILE   the table, the plot
//   --rule                   the rule's routines and sizes only, measured longer

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "bench/must.h"
#include "bench/rival.h"
#include "include/tovi.h"
#include "tools/tovi/plots.h"

namespace {

using bench::must;
using Rival = bench::Rival<float>;

// A routine on square problems of order n. The arrays of a call, x[0], x[1], ..., stand one behind the other.
struct Routine {
  const char* name;
  bool ruled;      // the rule for small problems is about it
  bool workspace;  // the host's routine wants some
  double flops;    // of n^3
  std::vector<std::size_t> (*arrays)(std::size_t n);
  void (*ours)(int n, float* const* x, int* pivots);
  int (*host)(int n, float* const* x, int* pivots, float* work, int lwork);  // returns info
};

constexpr int one = 1;
constexpr char no = 'N';

const Routine routines[] = {
    {"getrf", true, false, 2.0 / 3, [](std::size_t n) { return std::vector<std::size_t>{n * n}; },
     [](int n, float* const* x, int* pivots) { must(toviSgetrf(n, n, x[0], n, pivots), "toviSgetrf"); },
     [](int n, float* const* x, int* pivots, float*, int) {
       int info = 0;
       Rival::getrf(&n, &n, x[0], &n, pivots, &info);
       return info;
     }},
    {"gesv, one right-hand side", true, false, 2.0 / 3,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n};
     },
     [](int n, float* const* x, int* pivots) {
       must(toviSgesv(n, 1, x[0], n, pivots, x[1], n), "toviSgesv");
     },
     [](int n, float* const* x, int* pivots, float*, int) {
       int info = 0;
       Rival::gesv(&n, &one, x[0], &n, pivots, x[1], &n, &info);
       return info;
     }},
    {"geqrf", true, true, 4.0 / 3,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n};
     },
     [](int n, float* const* x, int*) { must(toviSgeqrf(n, n, x[0], n, x[1]), "toviSgeqrf"); },
     [](int n, float* const* x, int*, float* work, int lwork) {
       int info = 0;
       Rival::geqrf(&n, &n, x[0], &n, x[1], work, &lwork, &info);
       return info;
     }},
    {"gels, one right-hand side", true, true, 4.0 / 3,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n};
     },
     [](int n, float* const* x, int*) { must(toviSgels(no, n, n, 1, x[0], n, x[1], n), "toviSgels"); },
     [](int n, float* const* x, int*, float* work, int lwork) {
       int info = 0;
       Rival::gels(&no, &n, &n, &one, x[0], &n, x[1], &n, work, &lwork, &info, 1);
       return info;
     }},
    {"gesvd, values only", false, true, 8.0 / 3,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n};
     },
     [](int n, float* const* x, int*) {
       must(toviSgesvd(no, no, n, n, x[0], n, x[1], nullptr, 1, nullptr, 1), "toviSgesvd");
     },
     [](int n, float* const* x, int*, float* work, int lwork) {
       int info = 0;
       Rival::gesvd(&no, &no, &n, &n, x[0], &n, x[1], nullptr, &one, nullptr, &one, work, &lwork, &info, 1,
                    1);
       return info;
     }},
    // With p = n / 4: RQ of B, its product with A, QR of A
    {"gglse, n / 4 constraints", false, true, 2.0 / 16 - 2.0 / 192 + (4 - 2.0 / 4) / 4 + 2 - 2.0 / 3,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n / 4 * n, n, n / 4, n};
     },
     [](int n, float* const* x, int*) {
       must(toviSgglse(n, n, n / 4, x[0], n, x[1], n / 4, x[2], x[3], x[4]), "toviSgglse");
     },
     [](int n, float* const* x, int*, float* work, int lwork) {
       const int p = n / 4;
       int info = 0;
       Rival::gglse(&n, &n, &p, x[0], &n, x[1], &p, x[2], x[3], x[4], work, &lwork, &info);
       return info;
     }},
};

// A routine at one size. Every call gets operands of its own, made before the clock starts.
class Problem {
 public:
  Problem(const Routine& routine, int n) : routine_(routine), n_(n), pivots_(static_cast<std::size_t>(n)) {
    for (const std::size_t length : routine.arrays(static_cast<std::size_t>(n))) {
      begins_.push_back(original_.size());
      original_.resize(original_.size() + length);
    }
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> uniform(-1, 1);
    for (float& x : original_) x = uniform(engine);
    if (!routine.workspace) return;
    calls_ = original_;
    float wanted = 0;
    host(calls_.data(), &wanted, -1);
    work_.resize(static_cast<std::size_t>(wanted));
  }

  // Seconds of one call, over about ten milliseconds of them.
  double ours() {
    return measure([this](float* x) { routine_.ours(n_, arrays(x).data(), pivots_.data()); });
  }
  double rival() {
    return measure([this](float* x) { host(x, work_.data(), static_cast<int>(work_.size())); });
  }

 private:
  static constexpr double enough = 0.01;                             // seconds
  static constexpr std::size_t mostElements = std::size_t{1} << 21;  // of all operands of a measurement

  std::array<float*, 5> arrays(float* x) const {
    std::array<float*, 5> result{};
    for (std::size_t i = 0; i < begins_.size(); ++i) result[i] = x + begins_[i];
    return result;
  }
  void host(float* x, float* work, int lwork) {
    must(routine_.host(n_, arrays(x).data(), pivots_.data(), work, lwork), routine_.name);
  }
  template <class Run>
  double timed(std::size_t calls, Run run) {
    calls_.resize(calls * original_.size());
    for (std::size_t i = 0; i < calls; ++i)
      std::copy(original_.begin(), original_.end(),
                calls_.begin() + static_cast<std::ptrdiff_t>(i * original_.size()));
    const double start = bench::seconds();
    for (std::size_t i = 0; i < calls; ++i) run(calls_.data() + i * original_.size());
    return (bench::seconds() - start) / static_cast<double>(calls);
  }
  template <class Run>
  double measure(Run run) {
    const double first = timed(1, run);  // warms caches, threads and buffers
    if (first > 100 * enough) return first;
    const std::size_t most = std::max<std::size_t>(1, mostElements / original_.size());
    return timed(std::min(most, static_cast<std::size_t>(enough / first) + 1), run);
  }

  const Routine& routine_;
  int n_;
  std::vector<std::size_t> begins_;
  std::vector<float> original_, calls_, work_;
  std::vector<int> pivots_;
};

struct Measured {
  const Routine* routine;
  int n;
  double ours, host, oursBest, hostBest;  // seconds; the medians, and the shortest
};

double bound(double host) { return 1.5 * host + 20e-6; }
// By the medians and by the shortest times: threads that wait for each other suffer most where others use the
// processors too.
bool holds(const Measured& row) { return row.ours <= bound(row.host) && row.oursBest <= bound(row.hostBest); }
bool isRuled(const Measured& row) {
  constexpr int sizes[] = {32, 64, 128, 256, 512};
  return row.routine->ruled && std::find(std::begin(sizes), std::end(sizes), row.n) != std::end(sizes);
}

// In turn, so that a machine whose speed drifts does not favour one of them. The host's threads spin on for
// some tenths of a second.
Measured measure(const Routine& routine, int n, int pairs) {
  Problem problem(routine, n);
  std::vector<double> ours, host;
  for (int i = 0; i < pairs; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    ours.push_back(problem.ours());
    host.push_back(problem.rival());
  }
  return {&routine,
          n,
          bench::median(ours),
          bench::median(host),
          *std::min_element(ours.begin(), ours.end()),
          *std::min_element(host.begin(), host.end())};
}

constexpr double micro = 1e6;

void printHead() {
  std::printf("%-26s %5s %33s %33s %22s\n", "microseconds a call", "", "medians: ours, host, ratio",
              "shortest: ours, host, ratio", "1.5 of it + 20");
}
void print(const Measured& row) {
  std::printf("%-26s %5d %13.1f %12.1f %6.2f %13.1f %12.1f %6.2f", row.routine->name, row.n, row.ours * micro,
              row.host * micro, row.ours / row.host, row.oursBest * micro, row.hostBest * micro,
              row.oursBest / row.hostBest);
  if (isRuled(row)) std::printf(" %12.1f %s", bound(row.hostBest) * micro, holds(row) ? "held" : "NOT HELD");
  std::printf("\n");
  std::fflush(stdout);
}

void writeCsv(const std::string& path, const std::vector<Measured>& rows) {
  std::ofstream out(path);
  out << "routine,n,ours_s,host_s,ours_best_s,host_best_s\n";
  for (const Measured& row : rows) {
    char line[160];
    std::snprintf(line, sizeof line, "%d,%.4g,%.4g,%.4g,%.4g\n", row.n, row.ours, row.host, row.oursBest,
                  row.hostBest);
    out << '"' << row.routine->name << "\"," << line;
  }
  if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
}

void writeSvg(const std::string& path, const std::vector<Measured>& rows) {
  tool::CurvesPlot plot;
  plot.title = "Speed by size, single precision, host memory";
  plot.xTitle = "n";
  plot.yTitle = "GFLOP/s, of the shortest times";
  plot.xTicks = {16, 64, 256, 1024, 4096};
  plot.curves = {"TOVI, transfers included", "host LAPACK",
                 "what the rule asks for: 1.5 of its time + 20 us"};
  for (const Routine& routine : routines) {
    tool::CurvesPlot::Panel panel{routine.name, {{}, {}, {}}};
    for (const Measured& row : rows) {
      if (row.routine != &routine) continue;
      const double n = row.n, work = routine.flops * n * n * n * 1e-9;
      panel.curves[0].emplace_back(n, work / row.oursBest);
      panel.curves[1].emplace_back(n, work / row.hostBest);
      if (routine.ruled && n >= 32 && n <= 512) panel.curves[2].emplace_back(n, work / bound(row.hostBest));
    }
    plot.panels.push_back(panel);
  }
  std::ofstream out(path);
  out << tool::svgOf(plot);
  if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  std::string csv, svg;
  bool rule = false;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--rule") {
      rule = true;
    } else if ((word == "--csv" || word == "--svg") && i + 1 < argc) {
      (word == "--csv" ? csv : svg) = argv[++i];
    } else {
      std::fprintf(stderr, "usage: %s [--rule] [--csv FILE] [--svg FILE]\n", argv[0]);
      return 2;
    }
  }
  must(toviInitialize(), "toviInitialize");
  printHead();
  std::vector<Measured> rows;
  for (const Routine& routine : routines)
    for (const int n : {16, 24, 32, 48, 64, 96, 128, 192, 256, 384, 512, 768, 1024, 1536, 2048, 3072, 4096}) {
      if (rule && !isRuled({&routine, n, 0, 0, 0, 0})) continue;
      rows.push_back(measure(routine, n, rule ? 15 : n <= 512 ? 5 : n <= 1024 ? 3 : 2));
      print(rows.back());
    }
  const auto broken = std::count_if(rows.begin(), rows.end(),
                                    [](const Measured& row) { return isRuled(row) && !holds(row); });
  std::printf("the rule for small problems is not held in %d cases\n", static_cast<int>(broken));
  if (!csv.empty()) writeCsv(csv, rows);
  if (!svg.empty()) writeSvg(svg, rows);
  toviShutdown();
  return 0;
}
