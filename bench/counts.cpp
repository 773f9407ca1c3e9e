// What each driver asks of the device: calls and bytes, counted on the software device in a call that finds
// its buffers warm, with the time that docs/performance.md predicts for them on an H200. Operands are in
// device memory unless the name is of the host interface.
//   --json FILE, --only REGULAR-EXPRESSION   as the benchmarks have them
//   --check FILE     counts small problems only and fails where one is higher than the file says
//   --refresh FILE   writes that file anew

#include <cuda_runtime.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench/elements.h"
#include "bench/h200.h"
#include "bench/must.h"
#include "device/software/testing/software_device.h"
#include "include/tovi.h"
#include "lapack/block_size.h"

namespace {

using bench::HostWork;
using bench::must;
using bench::Real;
using software_device::Entry;

struct Counts {
  static constexpr std::size_t kinds = 7;
  static constexpr const char* names[kinds] = {"launches", "CUBLAS calls", "waits",     "copies",
                                               "objects",  "bytes up",     "bytes down"};
  std::array<std::uint64_t, kinds> of{};

  void add(const software_device::Call& call) {
    const bench::Transfer transfer(call);
    of[0] += call.entry == Entry::launch;
    of[1] += call.entry >= Entry::gemm;
    // The host waits for the device.
    for (const Entry entry : {Entry::streamSynchronize, Entry::eventSynchronize, Entry::threadSynchronize,
                              Entry::memcpy, Entry::memcpy2D, Entry::free, Entry::freeHost})
      of[2] += call.entry == entry;
    of[3] += transfer.bytes > 0;
    // Streams, events and memory, made or freed
    for (const Entry entry :
         {Entry::malloc, Entry::mallocPitch, Entry::free, Entry::mallocHost, Entry::freeHost,
          Entry::streamCreate, Entry::streamDestroy, Entry::eventCreate, Entry::eventDestroy})
      of[4] += call.entry == entry;
    of[5] += transfer.up() ? static_cast<std::uint64_t>(transfer.bytes) : 0;
    of[6] += transfer.down() ? static_cast<std::uint64_t>(transfer.bytes) : 0;
  }
};

// The operands of a problem, random numbers between -1 and 1.
class Operands {
 public:
  explicit Operands(bool onDevice) : onDevice_(onDevice) {}
  ~Operands() {
    for (Operand& one : all_)
      if (onDevice_) cudaFree(one.used);
  }
  Operands(const Operands&) = delete;
  Operands& operator=(const Operands&) = delete;

  // n on the diagonal makes a matrix of order n well conditioned, and positive definite.
  template <class T>
  T* matrix(int rows, int cols, int diagonal = 0) {
    std::vector<T> x = bench::randomElements<T>(rows, cols);
    for (int i = 0; diagonal != 0 && i < std::min(rows, cols); ++i)
      x[bench::elements(rows, i) + static_cast<std::size_t>(i)] = bench::number<T>(diagonal);
    return keep(x);
  }
  template <class T>
  T* zeros(int n) {
    return keep(std::vector<T>(bench::elements(n, 1)));
  }
  int* pivots(int n) {  // of no interchange
    std::vector<int> x(bench::elements(n, 1));
    for (int i = 0; i < n; ++i) x[static_cast<std::size_t>(i)] = i + 1;
    return keep(x);
  }
  // As they were before the first call
  void restore() {
    for (Operand& one : all_)
      if (onDevice_)
        cudaMemcpy(one.used, one.original.data(), one.original.size(), cudaMemcpyHostToDevice);
      else
        std::memcpy(one.used, one.original.data(), one.original.size());
  }

 private:
  struct Operand {
    std::vector<char> original, here;
    void* used = nullptr;
  };
  template <class X>
  X* keep(const std::vector<X>& x) {
    const char* const bytes = reinterpret_cast<const char*>(x.data());
    Operand& one = all_.emplace_back();
    one.original.assign(bytes, bytes + x.size() * sizeof(X));
    if (!onDevice_) {
      one.here = one.original;
      one.used = one.here.data();
    } else if (cudaMalloc(&one.used, one.original.size()) != cudaSuccess) {
      std::fprintf(stderr, "no memory for the operands\n");
      std::exit(1);
    } else {
      cudaMemcpy(one.used, x.data(), one.original.size(), cudaMemcpyHostToDevice);
    }
    return static_cast<X*>(one.used);
  }

  bool onDevice_;
  std::deque<Operand> all_;
};

// The exported routines, host and device interface.
template <class T>
struct Routines;
#define TOVI_BENCH_BOTH(P, name) \
  static constexpr decltype(tovi##P##name)* name[] = {tovi##P##name, toviDevice##P##name};
#define TOVI_BENCH_ROUTINES(T, P, q, h)                                                        \
  template <>                                                                                  \
  struct Routines<T> {                                                                         \
    static constexpr char letter = #P[0];                                                      \
    static constexpr const char *mqrName = #q "mqr", *gqrName = #q "gqr", *evdName = #h "evd"; \
    TOVI_BENCH_BOTH(P, gemm)                                                                   \
    TOVI_BENCH_BOTH(P, getrf)                                                                  \
    TOVI_BENCH_BOTH(P, getrs)                                                                  \
    TOVI_BENCH_BOTH(P, gesv)                                                                   \
    TOVI_BENCH_BOTH(P, potrf)                                                                  \
    TOVI_BENCH_BOTH(P, geqrf)                                                                  \
    TOVI_BENCH_BOTH(P, gels)                                                                   \
    TOVI_BENCH_BOTH(P, gglse)                                                                  \
    TOVI_BENCH_BOTH(P, gesvd)                                                                  \
    TOVI_BENCH_BOTH(P, gesdd)                                                                  \
    static constexpr auto mqr = toviDevice##P##q##mqr;                                         \
    static constexpr auto gqr = toviDevice##P##q##gqr;                                         \
    static constexpr auto evd = toviDevice##P##h##evd;                                         \
  };
TOVI_BENCH_ROUTINES(float, S, or, sy)
TOVI_BENCH_ROUTINES(double, D, or, sy)
TOVI_BENCH_ROUTINES(toviFloatComplex, C, un, he)
TOVI_BENCH_ROUTINES(toviDoubleComplex, Z, un, he)

struct Row {
  std::string name;
  // Which calls an iteration makes depends on how the host rounds; up to an eighth more is let through.
  bool rounded;
  Counts counts;
  double seconds;  // predicted
  std::string bound;
};

class Table {
 public:
  explicit Table(const std::regex& only) : only_(only) {}

  // make(operands) returns a function that calls the routine.
  template <class Make>
  void row(bool onDevice, bool rounded, const std::string& name, const HostWork& work, const Make& make) {
    const std::string full = (onDevice ? "toviDevice" : "tovi") + name;
    if (!std::regex_search(full, only_)) return;
    Operands operands(onDevice);
    const std::function<void()> call = make(operands);
    call();  // has the buffers made
    operands.restore();
    software_device::startRecording();
    call();
    Row result{full, rounded, {}, 0, {}};
    bench::Timeline timeline(work);
    for (const software_device::Call& recorded : software_device::stopRecording()) {
      result.counts.add(recorded);
      timeline.add(recorded);
    }
    result.seconds = timeline.seconds();
    const auto [part, share] = timeline.bound();
    result.bound = std::string(part) + ' ' + std::to_string(static_cast<int>(100 * share + 0.5)) + " %";
    rows_.push_back(result);
    if (shown) print(result);
  }

  const std::vector<Row>& rows() const { return rows_; }
  void printHead() {
    shown = true;
    std::printf("%-36s %8s %7s %6s %6s %8s %9s %9s %11s  %s\n", "", "launches", "CUBLAS", "waits", "copies",
                "objects", "MB up", "MB down", "H200, ms", "longest part");
  }

 private:
  static void print(const Row& row) {
    const auto& n = row.counts.of;
    const auto count = [&](std::size_t i) { return static_cast<unsigned long long>(n[i]); };
    std::printf("%-36s %8llu %7llu %6llu %6llu %8llu %9.3f %9.3f %11.3f  %s\n", row.name.c_str(), count(0),
                count(1), count(2), count(3), count(4), static_cast<double>(n[5]) * 1e-6,
                static_cast<double>(n[6]) * 1e-6, row.seconds * 1e3, row.bound.c_str());
    std::fflush(stdout);
  }

  std::regex only_;
  bool shown = false;
  std::vector<Row> rows_;
};

// The host's part: one core of the machine that docs/performance.md names. Operations a second on panels of
// LU, of QR with their T, on T alone, on diagonal blocks of Cholesky.
struct HostSpeed {
  double lu, qr, triangle, cholesky;
};
template <class T>
constexpr HostSpeed hostSpeed{57e9, 42e9, 34e9, 24e9};
template <>
constexpr HostSpeed hostSpeed<double>{34e9, 24e9, 17e9, 11.5e9};
template <>
constexpr HostSpeed hostSpeed<toviFloatComplex>{68e9, 66e9, 64e9, 32e9};
template <>
constexpr HostSpeed hostSpeed<toviDoubleComplex>{38e9, 33e9, 33e9, 21e9};
// Real operations of an element of a panel: so many for each of its columns.
template <class T>
HostWork panels(int width, double operations, double speed) {
  const double perByte = operations * width * bench::weight<T> / speed / sizeof(T);
  return {perByte, perByte, 0, 0};
}
// Seconds of an iteration for n^2: singular values, eigenvalues, both by divide and conquer but for the
// products that the device makes. A pair of rotations of a sweep.
struct Iterations {
  double values, eigenvalues, divided, eigenDivided;
};
template <class T>
constexpr Iterations iterations =
    bench::isDouble<T> ? Iterations{13e-9, 12e-9, 88e-9, 29e-9} : Iterations{10e-9, 8e-9, 65e-9, 16e-9};
constexpr double perPairOfRotations = 33e-9;

struct Shape {
  int m, n;
};

std::string by(int m, int n) { return ' ' + std::to_string(m) + " x " + std::to_string(n); }

// All routines of a type, on problems of order n, and on tall and wide ones with as many elements.
template <class T>
void count(Table& table, int n, bool withRotations) {
  using R = Routines<T>;
  const std::string letter(1, R::letter);
  const int longer = 4 * n, shorter = n / 4;
  constexpr HostSpeed speed = hostSpeed<T>;
  const int width = tovi::lapack::reflectorPanelWidth<T>();
  const HostWork none, lu = panels<T>(tovi::lapack::luPanelWidth<T>(), 1, speed.lu),
                       qr = panels<T>(width, 3, speed.qr), triangle = panels<T>(width, 1, speed.triangle),
                       both{(qr.perByteDown + triangle.perByteDown) / 2, triangle.perByteAwaited, 0, 0},
                       cholesky = panels<T>(tovi::lapack::choleskyBlockWidth<T>(), 1.0 / 3, speed.cholesky);
  const auto device = [&](const std::string& name, const HostWork& work, const auto& make) {
    table.row(true, false, letter + name, work, make);
  };
  const auto host = [&](const std::string& name, const HostWork& work, const auto& make) {
    table.row(false, false, letter + name, work, make);
  };

  host("gemm" + by(n, n), none, [=](Operands& x) {
    return [=, a = x.matrix<T>(n, n), b = x.matrix<T>(n, n), c = x.matrix<T>(n, n)] {
      must(R::gemm[0]('N', 'N', n, n, n, bench::number<T>(1), a, n, b, n, bench::number<T>(0), c, n), "gemm");
    };
  });
  host("gesv" + by(n, n) + ", nrhs 1", HostWork{lu.perByteDown, 0, 0, 0}, [=](Operands& x) {
    return [=, a = x.matrix<T>(n, n, n), p = x.pivots(n), b = x.matrix<T>(n, 1)] {
      must(R::gesv[0](n, 1, a, n, p, b, n), "gesv");
    };
  });
  for (const Shape shape : {Shape{n, n}, {longer, shorter}, {shorter, longer}}) {
    const int m = shape.m, k = shape.n;
    device("getrf" + by(m, k), lu, [=](Operands& x) {
      return [=, a = x.matrix<T>(m, k), p = x.pivots(std::min(m, k))] {
        must(R::getrf[1](m, k, a, m, p), "getrf");
      };
    });
    if (m < k) continue;
    device("geqrf" + by(m, k), qr, [=](Operands& x) {
      return [=, a = x.matrix<T>(m, k), tau = x.zeros<T>(k)] { must(R::geqrf[1](m, k, a, m, tau), "geqrf"); };
    });
    device(R::gqrName + by(m, k), triangle, [=](Operands& x) {
      return [=, a = x.matrix<T>(m, k), tau = x.zeros<T>(k)] { must(R::gqr(m, k, k, a, m, tau), "gqr"); };
    });
    device(R::mqrName + by(m, k), triangle, [=](Operands& x) {
      return [=, a = x.matrix<T>(m, k), tau = x.zeros<T>(k), c = x.matrix<T>(m, k)] {
        must(R::mqr('L', bench::isComplex<T> ? 'C' : 'T', m, k, k, a, m, tau, c, m), "mqr");
      };
    });
  }
  for (const int nrhs : {1, 100})
    device("getrs" + by(n, n) + ", nrhs " + std::to_string(nrhs), none, [=](Operands& x) {
      return [=, a = x.matrix<T>(n, n, n), p = x.pivots(n), b = x.matrix<T>(n, nrhs)] {
        must(R::getrs[1]('N', n, nrhs, a, n, p, b, n), "getrs");
      };
    });
  for (const char uplo : {'L', 'U'})
    device(std::string("potrf ") + uplo + by(n, n), cholesky, [=](Operands& x) {
      return [=, a = x.matrix<T>(n, n, n)] { must(R::potrf[1](uplo, n, a, n), "potrf"); };
    });
  for (const Shape shape : {Shape{longer, shorter}, {shorter, longer}}) {
    const int m = shape.m, k = shape.n, most = std::max(m, k);
    device("gels" + by(m, k), both, [=](Operands& x) {
      return [=, a = x.matrix<T>(m, k), b = x.matrix<T>(most, 1)] {
        must(R::gels[1]('N', m, k, 1, a, m, b, most), "gels");
      };
    });
  }
  device("gglse" + by(n, n) + ", " + std::to_string(shorter) + " constraints", both, [=](Operands& x) {
    return [=, a = x.matrix<T>(n, n), b = x.matrix<T>(shorter, n), c = x.matrix<T>(n, 1),
            d = x.matrix<T>(shorter, 1), solution = x.zeros<T>(n)] {
      must(R::gglse[1](n, n, shorter, a, n, b, shorter, c, d, solution), "gglse");
    };
  });

  struct Decomposition {
    char job;
    int m, n;
  };
  for (const Decomposition& d :
       {Decomposition{'N', n, n}, {'S', n, n}, {'S', longer, shorter}, {'S', shorter, longer}}) {
    const char job = d.job;
    const int m = d.m, k = d.n, least = std::min(m, k);
    const auto decompose = [=](Operands& x, auto run) {
      return [=, a = x.matrix<T>(m, k), s = x.zeros<Real<T>>(least), u = x.zeros<T>(m * least),
              vt = x.zeros<T>(least * k)] { must(run(m, k, a, s, u, vt, least), "svd"); };
    };
    const std::string jobs{job, ',', job};
    const double square = 1.0 * least * least;
    HostWork sweeps{triangle.perByteDown, 0, 0, 0}, divided = sweeps;
    sweeps.perByteUp = job == 'N' ? 0 : perPairOfRotations / (4 * sizeof(Real<T>));
    sweeps.once = job == 'N' ? iterations<T>.values * square : 0;
    divided.once = (job == 'N' ? iterations<T>.values : iterations<T>.divided) * square;
    if (job == 'N' || withRotations)
      table.row(true, job != 'N', letter + "gesvd " + jobs + by(m, k), sweeps, [=](Operands& x) {
        return decompose(x, [=](int rows, int cols, T* a, Real<T>* s, T* u, T* vt, int ldvt) {
          return R::gesvd[1](job, job, rows, cols, a, rows, s, u, rows, vt, ldvt);
        });
      });
    table.row(true, job != 'N', letter + "gesdd " + job + by(m, k), divided, [=](Operands& x) {
      return decompose(x, [=](int rows, int cols, T* a, Real<T>* s, T* u, T* vt, int ldvt) {
        return R::gesdd[1](job, rows, cols, a, rows, s, u, rows, vt, ldvt);
      });
    });
  }
  for (const char job : {'N', 'V'}) {
    HostWork divided{triangle.perByteDown, 0, 0, 0};
    divided.once = (job == 'N' ? iterations<T>.eigenvalues : iterations<T>.eigenDivided) * n * n;
    table.row(true, job != 'N', letter + R::evdName + ' ' + job + by(n, n), divided, [=](Operands& x) {
      return
          [=, a = x.matrix<T>(n, n), w = x.zeros<Real<T>>(n)] { must(R::evd(job, 'L', n, a, n, w), "evd"); };
    });
  }
}

// Double precision by way of single.
template <class T, class Solve>
void countRefined(Table& table, const char* name, int n, const Solve& solve) {
  using Single = std::conditional_t<bench::isComplex<T>, toviFloatComplex, float>;
  const HostWork lu = panels<Single>(tovi::lapack::luPanelWidth<Single>(), 1, hostSpeed<Single>.lu);
  table.row(true, true, name + by(n, n), lu, [=](Operands& x) {
    return [=, a = x.matrix<T>(n, n, n), p = x.pivots(n), b = x.matrix<T>(n, 1), solution = x.zeros<T>(n)] {
      int iterations = 0;
      must(solve(n, 1, a, n, p, b, n, solution, n, &iterations), name);
    };
  });
}

// Sweeps of rotations are the same calls in double precision, and take long.
void countAllTypes(Table& table, int n, bool withDoubleRotations) {
  count<float>(table, n, true);
  count<double>(table, n, withDoubleRotations);
  count<toviFloatComplex>(table, n, true);
  count<toviDoubleComplex>(table, n, withDoubleRotations);
  countRefined<double>(table, "Dsgesv", n, toviDeviceDsgesv);
  countRefined<toviDoubleComplex>(table, "Zcgesv", n, toviDeviceZcgesv);
}

void writeJson(const std::string& path, const std::vector<Row>& rows) {
  std::ofstream out(path);
  out << "[\n";
  for (const Row& row : rows) {
    out << "  {\"name\": \"" << row.name << '"';
    for (std::size_t i = 0; i < Counts::kinds; ++i)
      out << ", \"" << Counts::names[i] << "\": " << row.counts.of[i];
    out << ", \"h200_s\": " << row.seconds << ", \"longest\": \"" << row.bound << "\"}"
        << (&row == &rows.back() ? "\n" : ",\n");
  }
  out << "]\n";
  if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
}

// --- The table that holds the counts down: a line for each row, with its counts in front of its name.

bool refresh(const std::string& path, const std::vector<Row>& rows) {
  std::ofstream out(path);
  out << "# What drivers may ask of the device in a warm call. tovi_bench_counts --refresh FILE writes this, "
         "--check FILE,\n# a test, goes by it.";
  for (const char* const name : Counts::names) out << (name == Counts::names[0] ? " " : ", ") << name;
  out << ":\n";
  for (const Row& row : rows) {
    for (const std::uint64_t number : row.counts.of) out << number << ' ';
    out << row.name << '\n';
  }
  if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
  return static_cast<bool>(out);
}

bool check(const std::string& path, const std::vector<Row>& rows) {
  std::map<std::string, Counts> table;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    Counts counts;
    for (std::uint64_t& number : counts.of) words >> number;
    std::string name;
    if (words && std::getline(words >> std::ws, name)) table[name] = counts;
  }
  int more = 0, fewer = 0;
  for (const Row& row : rows) {
    const auto known = table.find(row.name);
    if (known == table.end()) {
      std::printf("%s: not in %s\n", row.name.c_str(), path.c_str());
      ++more;
      continue;
    }
    for (std::size_t i = 0; i < Counts::kinds; ++i) {
      const std::uint64_t now = row.counts.of[i], before = known->second.of[i],
                          most = before + (row.rounded ? before / 8 : 0);
      if (now > most) {
        std::printf("%s: %llu %s, at most %llu\n", row.name.c_str(), static_cast<unsigned long long>(now),
                    Counts::names[i], static_cast<unsigned long long>(most));
        ++more;
      }
      fewer += now < before && !row.rounded;
    }
  }
  std::printf("%d counts of %d rows are higher than the table has them, %d lower\n", more,
              static_cast<int>(rows.size()), fewer);
  if (more != 0 || fewer != 0)
    std::printf("where that is meant: tovi_bench_counts --refresh %s\n", path.c_str());
  return more == 0 && !rows.empty();
}

}  // namespace

int main(int argc, char** argv) {
  std::map<std::string, std::string> options{
      {"--json", ""}, {"--only", ""}, {"--check", ""}, {"--refresh", ""}};
  for (int i = 1; i < argc; i += 2) {
    const auto option = options.find(argv[i]);
    if (option == options.end() || i + 1 == argc) {
      std::fprintf(stderr,
                   "usage: %s [--json FILE] [--only REGULAR-EXPRESSION] [--check FILE | --refresh FILE]\n",
                   argv[0]);
      return 2;
    }
    option->second = argv[i + 1];
  }
  const std::string toCheck = options["--check"], toRefresh = options["--refresh"], json = options["--json"];
  must(toviInitialize(), "toviInitialize");
  Table table{std::regex(options["--only"])};
  bool good = true;
  if (!toCheck.empty() || !toRefresh.empty()) {
    countAllTypes(table, 520, false);  // LU is transposed above 512
    good = toRefresh.empty() ? check(toCheck, table.rows()) : refresh(toRefresh, table.rows());
  } else {
    table.printHead();
    count<float>(table, 256, true);
    countAllTypes(table, 1024, true);
    count<float>(table, 4096, false);
    countRefined<double>(table, "Dsgesv", 4096, toviDeviceDsgesv);
  }
  if (!json.empty()) writeJson(json, table.rows());
  toviShutdown();
  return good ? 0 : 1;
}
