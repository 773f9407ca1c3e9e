// What the size of a problem does: LAPACK routines in single precision, host interface with its transfers,
// beside a rival (bench/rival.h), from n = 16 to 4096, on square matrices. The sizes of the rule for small
// problems are judged by it: a call may take 1.5 times the host's time and 20 microseconds.
//   --csv FILE         the table, which is printed, too
//   --most N           no larger problems
//   --rule             the rule's routines and sizes only, measured longer
//   --draw SVG CSV...  measures nothing: a plot of tables that were made beside different rivals, the one
//                      that the rule is about first

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
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
  double flops;    // of n^3; nominal where there are vectors
  int most;        // n
  std::vector<std::size_t> (*arrays)(std::size_t n);
  void (*ours)(int n, float* const* x, int* pivots);
  int (*host)(int n, float* const* x, int* pivots, float* work, int lwork);  // returns info
};

constexpr int one = 1, largest = 4096;
constexpr char no = 'N', lower = 'L', some = 'S', vectors = 'V';
constexpr int integersOf(int n) { return 8 * n + 3; }  // pivots, and the work space of divide and conquer

const Routine routines[] = {
    {"getrf", true, false, 2.0 / 3, largest, [](std::size_t n) { return std::vector<std::size_t>{n * n}; },
     [](int n, float* const* x, int* pivots) { must(toviSgetrf(n, n, x[0], n, pivots), "toviSgetrf"); },
     [](int n, float* const* x, int* pivots, float*, int) {
       int info = 0;
       Rival::getrf(&n, &n, x[0], &n, pivots, &info);
       return info;
     }},
    {"gesv, one right-hand side", true, false, 2.0 / 3, largest,
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
    {"potrf", false, false, 1.0 / 3, largest, [](std::size_t n) { return std::vector<std::size_t>{n * n}; },
     [](int n, float* const* x, int*) { must(toviSpotrf(lower, n, x[0], n), "toviSpotrf"); },
     [](int n, float* const* x, int*, float*, int) {
       int info = 0;
       Rival::potrf(&lower, &n, x[0], &n, &info, 1);
       return info;
     }},
    {"geqrf", true, true, 4.0 / 3, largest,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n};
     },
     [](int n, float* const* x, int*) { must(toviSgeqrf(n, n, x[0], n, x[1]), "toviSgeqrf"); },
     [](int n, float* const* x, int*, float* work, int lwork) {
       int info = 0;
       Rival::geqrf(&n, &n, x[0], &n, x[1], work, &lwork, &info);
       return info;
     }},
    {"gels, one right-hand side", true, true, 4.0 / 3, largest,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n};
     },
     [](int n, float* const* x, int*) { must(toviSgels(no, n, n, 1, x[0], n, x[1], n), "toviSgels"); },
     [](int n, float* const* x, int*, float* work, int lwork) {
       int info = 0;
       Rival::gels(&no, &n, &n, &one, x[0], &n, x[1], &n, work, &lwork, &info, 1);
       return info;
     }},
    {"gesvd, values only", false, true, 8.0 / 3, largest,
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
    {"gglse, n / 4 constraints", false, true, 2.0 / 16 - 2.0 / 192 + (4 - 2.0 / 4) / 4 + 2 - 2.0 / 3, largest,
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
    {"gesdd, all vectors", false, true, 8.0 / 3 + 8, 2048,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n, n * n, n * n};
     },
     [](int n, float* const* x, int*) {
       must(toviSgesdd(some, n, n, x[0], n, x[1], x[2], n, x[3], n), "toviSgesdd");
     },
     [](int n, float* const* x, int* integers, float* work, int lwork) {
       int info = 0;
       Rival::gesdd(&some, &n, &n, x[0], &n, x[1], x[2], &n, x[3], &n, work, &lwork, integers, &info, 1);
       return info;
     }},
    {"syevd, all vectors", false, true, 4.0 / 3 + 14.0 / 3, 2048,
     [](std::size_t n) {
       return std::vector<std::size_t>{n * n, n};
     },
     [](int n, float* const* x, int*) { must(toviSsyevd(vectors, lower, n, x[0], n, x[1]), "toviSsyevd"); },
     [](int n, float* const* x, int* integers, float* work, int lwork) {
       const int length = integersOf(n);
       int info = 0;
       Rival::heevd(&vectors, &lower, &n, x[0], &n, x[1], work, &lwork, integers, &length, &info, 1, 1);
       return info;
     }},
};

// A routine at one size. Every call gets operands of its own, made before the clock starts.
class Problem {
 public:
  Problem(const Routine& routine, int n)
      : routine_(routine), n_(n), integers_(static_cast<std::size_t>(integersOf(n))) {
    for (const std::size_t length : routine.arrays(static_cast<std::size_t>(n))) {
      begins_.push_back(original_.size());
      original_.resize(original_.size() + length);
    }
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> uniform(-1, 1);
    for (float& x : original_) x = uniform(engine);
    if (routine.name == std::string("potrf"))  // positive definite
      for (std::size_t i = 0, order = static_cast<std::size_t>(n); i < order; ++i)
        original_[i * (order + 1)] = static_cast<float>(n);
    if (!routine.workspace) return;
    calls_ = original_;
    float wanted = 0;
    host(calls_.data(), &wanted, -1);
    work_.resize(static_cast<std::size_t>(wanted));
  }

  // Seconds of one call, over about ten milliseconds of them.
  double ours() {
    return measure([this](float* x) { routine_.ours(n_, arrays(x).data(), integers_.data()); });
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
    must(routine_.host(n_, arrays(x).data(), integers_.data(), work, lwork), routine_.name);
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
  std::vector<int> integers_;
};

struct Measured {
  const Routine* routine = nullptr;
  int n = 0;
  double ours = 0, host = 0, oursBest = 0, hostBest = 0;  // seconds; the medians, and the shortest
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

// "OpenBLAS 0.3.21", "MKL 2026.2": by what it says of itself, else its file's name.
std::string rivalName() {
  for (const std::string prefix : {"", "scipy_"})
    if (void* const config = dlsym(bench::rivalLibrary(), (prefix + "openblas_get_config").c_str())) {
      std::istringstream words(reinterpret_cast<const char* (*)()>(config)());
      std::string name, version;
      words >> name >> version;
      return name + ' ' + version;
    }
  if (void* const version = dlsym(bench::rivalLibrary(), "MKL_Get_Version_String")) {
    std::array<char, 200> text{};
    reinterpret_cast<void (*)(char*, int)>(version)(text.data(), static_cast<int>(text.size() - 1));
    const std::string words = text.data(), before = "Version ";
    const std::size_t first = words.find(before);
    if (first != std::string::npos)
      return "MKL " + words.substr(first + before.size(), words.find('-', first) - first - before.size());
  }
  const char* const named = std::getenv("TOVI_RIVAL");
  const std::string path = named == nullptr ? "host LAPACK" : named;
  return path.substr(path.find_last_of('/') + 1);
}

// The measurements beside one rival.
struct Rows {
  std::string rival;
  std::vector<Measured> rows;
};

void writeCsv(const std::string& path, const Rows& table) {
  std::ofstream out(path);
  out << "routine,n,ours_s,host_s,ours_best_s,host_best_s,rival\n" << std::setprecision(4);
  for (const Measured& row : table.rows)
    out << std::quoted(row.routine->name) << ',' << row.n << ',' << row.ours << ',' << row.host << ','
        << row.oursBest << ',' << row.hostBest << ',' << std::quoted(table.rival) << '\n';
  if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
}

// No rows where it cannot be read.
Rows readCsv(const std::string& path) {
  Rows table;
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);  // of the columns' names
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string name;
    char comma = 0;
    Measured row;
    words >> std::quoted(name) >> comma >> row.n >> comma >> row.ours >> comma >> row.host >> comma >>
        row.oursBest >> comma >> row.hostBest >> comma >> std::quoted(table.rival);
    for (const Routine& routine : routines)
      if (words && name == routine.name) row.routine = &routine;
    if (row.routine != nullptr) table.rows.push_back(row);
  }
  return table;
}

// Ours is the shortest of all tables.
bool writeSvg(const std::string& path, const std::vector<Rows>& tables) {
  tool::CurvesPlot plot;
  plot.title = "Speed by size, single precision, host memory, transfers included";
  plot.xTitle = "n";
  plot.yTitle = "GFLOP/s, of the shortest times";
  plot.xTicks = {16, 64, 256, 1024, 4096};
  plot.curves = {"TOVI"};
  for (const Rows& table : tables) plot.curves.push_back(table.rival);
  plot.curves.push_back("the rule: 1.5 of " + tables.front().rival + "'s time + 20 us");
  plot.bounded = true;
  for (const Routine& routine : routines) {
    tool::CurvesPlot::Panel panel{routine.name, {{}}};
    tool::CurvesPlot::Curve rule;
    std::map<int, double> ours;  // by n
    for (const Rows& table : tables) {
      tool::CurvesPlot::Curve& rival = panel.curves.emplace_back();
      for (const Measured& row : table.rows) {
        if (row.routine != &routine) continue;
        const double n = row.n, work = routine.flops * n * n * n * 1e-9;
        rival.emplace_back(n, work / row.hostBest);
        ours[row.n] = std::max(ours[row.n], work / row.oursBest);
        if (&table == &tables.front() && routine.ruled && n >= 32 && n <= 512)
          rule.emplace_back(n, work / bound(row.hostBest));
      }
    }
    panel.curves.front().assign(ours.begin(), ours.end());
    panel.curves.push_back(rule);
    plot.panels.push_back(panel);
  }
  std::ofstream out(path);
  out << tool::svgOf(plot);
  if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
  return static_cast<bool>(out);
}

int draw(const std::string& svg, const std::vector<std::string>& paths) {
  std::vector<Rows> tables;
  for (const std::string& path : paths) {
    tables.push_back(readCsv(path));
    if (!tables.back().rows.empty()) continue;
    std::fprintf(stderr, "no measurements in %s\n", path.c_str());
    return 1;
  }
  return writeSvg(svg, tables) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string csv;
  int most = largest;
  bool rule = false, usable = true;
  if (!words.empty() && words.front() == "--draw") {
    usable = words.size() >= 3 && words.size() <= tool::mostCurves;  // two curves are ours and the rule's
    if (usable) return draw(words[1], {words.begin() + 2, words.end()});
  }
  for (std::size_t i = 0; usable && i < words.size(); ++i) {
    if (words[i] == "--rule")
      rule = true;
    else if (words[i] == "--csv" && i + 1 < words.size())
      csv = words[++i];
    else if (words[i] == "--most" && i + 1 < words.size())
      most = std::atoi(words[++i].c_str());
    else
      usable = false;
  }
  if (!usable) {
    std::fprintf(stderr, "usage: %s [--rule] [--csv FILE] [--most N] | --draw SVG CSV...\n", argv[0]);
    return 2;
  }
  must(toviInitialize(), "toviInitialize");
  Rows table{rivalName(), {}};
  std::printf("beside %s\n", table.rival.c_str());
  printHead();
  for (const Routine& routine : routines)
    for (const int n : {16, 24, 32, 48, 64, 96, 128, 192, 256, 384, 512, 768, 1024, 1536, 2048, 3072, 4096}) {
      if (n > most || n > routine.most || (rule && !isRuled({&routine, n}))) continue;
      table.rows.push_back(measure(routine, n, rule ? 15 : n <= 512 ? 5 : n <= 1024 ? 3 : 2));
      print(table.rows.back());
    }
  const auto broken = std::count_if(table.rows.begin(), table.rows.end(),
                                    [](const Measured& row) { return isRuled(row) && !holds(row); });
  std::printf("the rule for small problems is not held in %d cases\n", static_cast<int>(broken));
  if (!csv.empty()) writeCsv(csv, table);
  toviShutdown();
  return 0;
}
