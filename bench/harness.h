// Measures pairs: our routine and its rival in turn, A B A B ..., so that a machine whose speed drifts does
// not favour one of them. A row's figure is the median over the pairs of rival time / our time: 1 is the same
// speed, 2 is twice. Beside it stands the rival's shortest time / our shortest: on a machine that others
// share, the one figure that they do not disturb.

#ifndef TOVI_BENCH_HARNESS_H
#define TOVI_BENCH_HARNESS_H

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace bench {

inline double seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Arguments {
  bool quick = false;   // smaller problems, fewer pairs
  std::string json;     // empty: no file is written
  std::regex only{""};  // rows whose names it finds
};

// Ends the program where they are wrong.
inline Arguments arguments(int argc, char** argv) {
  Arguments result;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--quick") == 0) {
      result.quick = true;
    } else if (std::strcmp(argv[i], "--json") == 0 && i + 1 < argc) {
      result.json = argv[++i];
    } else if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) {
      result.only = argv[++i];
    } else {
      std::fprintf(stderr, "usage: %s [--quick] [--json FILE] [--only REGULAR-EXPRESSION]\n", argv[0]);
      std::exit(2);
    }
  }
  return result;
}

// Something to time. `prepare` restores the operands and is not timed; `run` is called `repeat` times per
// measurement, after a call that is not timed: after a pause, processors and caches are cold.
struct Contender {
  std::function<void()> prepare, run;
  int repeat = 1;

  double time() const {
    prepare();
    run();
    prepare();
    const double start = seconds();
    for (int i = 0; i < repeat; ++i) run();
    return (seconds() - start) / repeat;
  }
};

class Report {
 public:
  // pairs: measurements of each contender. pause: idle time in seconds before each one, for rivals whose
  // threads spin on: those of OpenBLAS cost a call that follows within a tenth of a second up to a third of
  // its speed.
  Report(std::regex only, int pairs, double pause = 0.25)
      : only_(std::move(only)), pairs_(pairs), pause_(pause) {
    std::printf("%-44s %12s %12s %9s %8s %8s\n", "", "ours", "rival", "ratio", "aim", "of best");
  }

  // work: units of `unit` (GFLOP, GB) that one call does.
  void pair(const std::string& name, double work, const std::string& unit, double aim, const Contender& ours,
            const Contender& rival) {
    if (!wanted(name)) return;
    const auto [a, b, ratio, best] = measure(name, ours, rival);
    std::printf("%-44s %7.1f %s/s %7.1f %s/s %6.2f %8.2f %8.2f%s\n", name.c_str(), work / a, unit.c_str(),
                work / b, unit.c_str(), ratio, aim, best, ratio >= aim ? "" : "  <--");
    add(name, a, b, ratio, aim);
  }
  // Beside a limit, in units a second, that nothing can pass. The figure is the part of it that is reached.
  void share(const std::string& name, double work, const std::string& unit, double limit, double aim,
             const Contender& ours) {
    if (!wanted(name)) return;
    std::vector<double> times;
    for (int i = -1; i < pairs_; ++i) {
      showProgress(name + " " + std::to_string(i + 1) + "/" + std::to_string(pairs_));
      std::this_thread::sleep_for(std::chrono::duration<double>(pause_));
      const double time = ours.time();
      if (i >= 0) times.push_back(time);
    }
    showProgress("");
    const double a = median(times), part = work / a / limit;
    std::printf("%-44s %7.1f %s/s %7.1f %s/s %6.2f %8.2f%s\n", name.c_str(), work / a, unit.c_str(), limit,
                unit.c_str(), part, aim, part >= aim ? "" : "  <--");
    add(name, a, work / limit, part, aim);
  }
  // The figure is our time minus the rival's, in microseconds; aim: at most.
  void overhead(const std::string& name, double aim, const Contender& ours, const Contender& rival) {
    if (!wanted(name)) return;
    const auto [a, b, ratio, best] = measure(name, ours, rival);
    const double more = (a - b) * 1e6;
    std::printf("%-44s %9.2f us %9.2f us %6.2f us %5.0f us%s\n", name.c_str(), a * 1e6, b * 1e6, more, aim,
                more <= aim ? "" : "  <--");
    add(name, a, b, more, aim);
  }
  // A figure that is no pair of times; aim: at most.
  void figure(const std::string& name, double value, const std::string& unit, double aim) {
    if (!wanted(name)) return;
    std::printf("%-44s %25s %6.2f %s %4.2f%s\n", name.c_str(), "", value, unit.c_str(), aim,
                value <= aim ? "" : "  <--");
    add(name, 0, 0, value, aim);
  }

  void writeJson(const std::string& path) const {
    std::ofstream out(path);
    out << "[\n";
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      const Row& r = rows_[i];
      char line[512];
      std::snprintf(
          line, sizeof line,
          "  {\"name\": \"%s\", \"ours_s\": %.9g, \"rival_s\": %.9g, \"figure\": %.6g, \"aim\": %.6g}%s\n",
          r.name.c_str(), r.ours, r.rival, r.figure, r.aim, i + 1 < rows_.size() ? "," : "");
      out << line;
    }
    out << "]\n";
    if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
  }

 private:
  struct Row {
    std::string name;
    double ours, rival, figure, aim;
  };
  struct Measured {
    double ours, rival, ratio, best;
  };

  bool wanted(const std::string& name) const { return std::regex_search(name, only_); }
  Measured measure(const std::string& name, const Contender& ours, const Contender& rival) const {
    std::vector<double> a, b, ratios;
    for (int i = -1; i < pairs_; ++i) {  // the first pair only warms up
      showProgress(name + " " + std::to_string(i + 1) + "/" + std::to_string(pairs_));
      std::this_thread::sleep_for(std::chrono::duration<double>(pause_));
      const double x = ours.time();
      std::this_thread::sleep_for(std::chrono::duration<double>(pause_));
      const double y = rival.time();
      if (i < 0) continue;
      a.push_back(x);
      b.push_back(y);
      ratios.push_back(y / x);
    }
    showProgress("");
    return {median(a), median(b), median(ratios),
            *std::min_element(b.begin(), b.end()) / *std::min_element(a.begin(), a.end())};
  }
  // One line that the next one, or the row of results, overwrites; nothing where stderr is no terminal.
  static void showProgress(const std::string& line) {
    static const bool terminal = isatty(STDERR_FILENO) != 0;
    if (terminal) std::fprintf(stderr, "\r%-60s\r", line.c_str());
  }
  void add(const std::string& name, double a, double b, double figure, double aim) {
    std::fflush(stdout);
    rows_.push_back({name, a, b, figure, aim});
  }

  std::regex only_;
  int pairs_;
  double pause_;
  std::vector<Row> rows_;
};

}  // namespace bench

#endif
