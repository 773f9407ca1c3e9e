#include "tools/tovi/svd.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "tools/tovi/device_matrix.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/files.h"
#include "tools/tovi/library.h"
#include "tools/tovi/matrix_market.h"
#include "tools/tovi/numbers.h"
#include "tools/tovi/picture.h"
#include "tools/tovi/plots.h"
#include "tools/tovi/progress.h"
#include "tools/tovi/report.h"
#include "tools/tovi/svd_quality.h"
#include "tools/tovi/table.h"

namespace tool {
namespace {

constexpr int usualRank = 10;

// --- What is asked

// The file: a table has been read, the others have been opened and have told their size.
template <class R>
struct Source {
  std::optional<Table<R>> table;  // or
  std::optional<PgmReader> picture;
  std::optional<MatrixMarketReader> matrix;

  explicit Source(const SvdOptions& options) {
    if (!options.label.empty() && !isTable(options.matrix))
      throw Failure("--label is for tables, and " + options.matrix + " is no .csv file");
    if (isTable(options.matrix)) {
      table = readTable<R>(options.matrix, options.label);
      if (table->names.empty()) throw Failure(options.matrix + ": no column is left beside the label");
    } else if (hasEnding(options.matrix, ".pgm")) {
      picture.emplace(options.matrix);
    } else {
      matrix.emplace(options.matrix);
    }
  }

  int m() const { return table ? table->values.rows : picture ? picture->height() : matrix->header().rows; }
  int n() const {
    return table ? table->values.columns : picture ? picture->width() : matrix->header().columns;
  }
  bool isComplex() const { return matrix && matrix->header().field == Field::complex; }
  std::string kind() const { return table ? "table" : picture ? "picture" : matrix->header().kind; }

  template <class T>
  Matrix<T> read() {
    if (table) return converted<T>(table->values);
    if (picture) return converted<T>(picture->read());
    return matrix->read<T>();
  }
};

// The labels in use, numbers first and by size, and which of them each row has.
struct Groups {
  std::vector<std::string> names;
  std::vector<int> ofRow;

  explicit Groups(const std::vector<std::string>& labels) {
    using Key = std::tuple<bool, float, std::string>;
    const auto key = [](const std::string& label) {
      float value = 0.0f;
      const bool isText = !readReal(label, value).empty();
      return Key(isText, isText ? 0.0f : value, label);
    };
    std::map<Key, int> numbers;
    for (const std::string& label : labels) numbers.try_emplace(key(label));
    for (auto& [labelKey, number] : numbers) {
      number = static_cast<int>(names.size());
      names.push_back(std::get<std::string>(labelKey));
    }
    for (const std::string& label : labels) ofRow.push_back(numbers[key(label)]);
  }
};

template <class R>
struct Request {
  const SvdOptions& options;
  Source<R> source;
  int k;  // how many singular values there are
  int rank;
  Groups groups;

  explicit Request(const SvdOptions& asked)
      : options(asked),
        source(asked),
        k(std::min(source.m(), source.n())),
        rank(asked.rank > 0 ? asked.rank : std::min(usualRank, k)),
        groups(source.table ? source.table->labels : std::vector<std::string>()) {
    if (rank > k)
      throw Failure(options.matrix + ": rank " + std::to_string(rank) + " is more than its " +
                    std::to_string(k) + (k == 1 ? " singular value" : " singular values"));
    if (options.scatter) checkScatter();
  }

  std::vector<std::string> outputs() const {
    if (options.output.empty()) return {};
    std::vector<std::string> paths = {options.output + ".csv", options.output + ".svg"};
    if (source.picture) paths.push_back(options.output + ".png");
    if (options.scatter) paths.push_back(options.output + "_scatter.svg");
    return paths;
  }

 private:
  void checkScatter() const {
    if (source.isComplex()) throw Failure(options.matrix + ": complex, a scatter plot takes real components");
    if (k < 2) throw Failure(options.matrix + ": has one component, a scatter plot takes two");
    if (groups.names.size() > mostGroups)
      throw Failure(options.matrix + ": column '" + options.label + "' has " +
                    std::to_string(groups.names.size()) + " different labels, a scatter plot takes " +
                    std::to_string(mostGroups));
  }
};

// --- Decomposing

// What the columns lose to centering: nothing where it is not asked for.
template <class T>
std::vector<Wide<T>> center(Matrix<T>& a, bool asked) {
  using W = Wide<T>;
  std::vector<W> means(static_cast<std::size_t>(a.columns));
  if (!asked) return means;
  for (int j = 0; j < a.columns; ++j) {
    W& mean = means[static_cast<std::size_t>(j)];
    for (int i = 0; i < a.rows; ++i) mean += W(a(i, j)) / static_cast<double>(a.rows);
    for (int i = 0; i < a.rows; ++i) a(i, j) = T(W(a(i, j)) - mean);
  }
  return means;
}

template <class T>
Decomposition<T> decompose(const std::string& what, Matrix<T> a, double& time) {
  const int m = a.rows, n = a.columns, k = std::min(m, n);
  Decomposition<T> svd{Matrix<T>(m, k), std::vector<Real<T>>(static_cast<std::size_t>(k)), Matrix<T>(k, n)};
  time = seconds([&] {
    check(gesvd(m, n, a.values.data(), m, svd.values.data(), svd.u.values.data(), m, svd.vh.values.data(), k),
          what);
  });
  for (const Real<T> value : svd.values)
    if (!std::isfinite(value)) throw Failure(what + ": the singular values overflow " + precisionOf<T>);
  return svd;
}

// --- Reporting

struct Report {
  std::string device;
  double time = 0.0;
  std::vector<double> values;
  std::vector<double> energy;  // of the first 1, 2, ... values
  double largest = 0.0;
  double rankEnergy = 0.0;  // of the first K
  double rankError = 0.0;   // ||A - A_K|| / ||A||
  double reconstruction = 0.0, orthogonalityU = 0.0, orthogonalityV = 0.0;
};

void measureEnergy(int rank, Report& report) {
  const double scale = scaleOf(report.values.front());
  const auto square = [scale](double value) { return value / scale * (value / scale); };
  double total = 0.0, sum = 0.0, rest = 0.0;
  for (const double value : report.values) total += square(value);
  for (const double value : report.values) {
    sum += square(value);
    report.energy.push_back(total == 0.0 ? 1.0 : sum / total);
    if (report.energy.size() > static_cast<std::size_t>(rank)) rest += square(value);
  }
  report.largest = report.values.front();
  report.rankEnergy = report.energy[static_cast<std::size_t>(rank - 1)];
  report.rankError = rest == 0.0 ? 0.0 : std::sqrt(rest / total);
}

std::string percent(double part) { return number("%.4g %%", 100.0 * part); }

template <class R>
std::string matrixText(const Request<R>& request) {
  const Source<R>& source = request.source;
  std::string text = printable(request.options.matrix) + ": " + std::to_string(source.m()) + " x " +
                     std::to_string(source.n()) + ", " + source.kind();
  if (source.matrix) text += ", " + std::to_string(source.matrix->header().entries) + " entries";
  if (source.picture) text += ", white is " + std::to_string(source.picture->white());
  if (!request.options.label.empty())
    text += " without " + request.options.label + " (" + std::to_string(request.groups.names.size()) +
            (request.groups.names.size() == 1 ? " label)" : " labels)");
  return text + (request.options.center ? ", centered" : "");
}

template <class R>
std::string text(const Request<R>& request, const Report& report) {
  const double m = request.source.m(), n = request.source.n(), rank = request.rank;
  const std::string rankName = "rank " + std::to_string(request.rank);
  std::string lines =
      "time            " + number("%.3g s\n", report.time) + "reconstruction  " +
      number("%.3g\n", report.reconstruction) + "orthogonality   " +
      number("%.3g of U, ", report.orthogonalityU) + number("%.3g of V\n", report.orthogonalityV) + rankName +
      std::string(rankName.size() < 16 ? 16 - rankName.size() : 1, ' ') + percent(report.rankEnergy) +
      " of the energy, " + number("relative error %.3g, ", report.rankError) +
      number("%.0f numbers for ", rank * (m + n + 1)) + number("%.0f\n\n", m * n) + "   index" +
      std::string(isDouble<R> ? 11 : 2, ' ') + "singular value      energy\n";
  for (int k = 0; k < request.rank; ++k) {
    if (k >= usualRank && k < request.rank - 1) {
      if (k == usualRank) lines += "     ...\n";
      continue;
    }
    const auto at = static_cast<std::size_t>(k);
    lines += number("%8.0f", k + 1) + number(isDouble<R> ? "%25.16g" : "%16.7g", report.values[at]) +
             number("%10.4f %%\n", 100.0 * report.energy[at]);
  }
  return lines;
}

template <class R>
CsvRow csvRow(const Request<R>& request, const Report& report) {
  CsvRow row = {{"rows", std::to_string(request.source.m())},
                {"columns", std::to_string(request.source.n())},
                {"kind", request.source.kind()}};
  addPrecision(row, isDouble<R>);
  row.insert(row.end(), {{"rank", std::to_string(request.rank)},
                         {"seconds", number("%.6g", report.time)},
                         {"largest_value", allDigits(isDouble<R>, report.largest)},
                         {"energy", number("%.9g", report.rankEnergy)},
                         {"reconstruction", number("%.6g", report.reconstruction)},
                         {"orthogonality_u", number("%.6g", report.orthogonalityU)},
                         {"orthogonality_v", number("%.6g", report.orthogonalityV)},
                         {"matrix", quoted(request.options.matrix)},
                         {"device", quoted(report.device)}});
  return row;
}

std::string fileName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

template <class R>
void writeValues(Outputs& outputs, const Request<R>& request, const Report& report) {
  std::string csv = "index,value,energy\n";
  for (std::size_t k = 0; k < report.values.size(); ++k)
    csv += std::to_string(k + 1) + ',' + allDigits(isDouble<R>, report.values[k]) +
           number(",%.9g\n", report.energy[k]);
  outputs.write(request.options.output + ".csv", [&](std::ostream& file) { file << csv; });

  ValuesPlot plot;
  plot.title =
      "Singular values of " + fileName(request.options.matrix) + (request.options.center ? ", centered" : "");
  plot.xTitle = "index";
  plot.yTitle = "singular value";
  plot.values = report.values;
  if (request.rank < request.k) plot.marked = request.rank;
  plot.mark = "rank " + std::to_string(request.rank) + ": " + percent(report.rankEnergy) + " of the energy";
  outputs.write(request.options.output + ".svg", [&](std::ostream& file) { file << svgOf(plot); });
}

template <class R>
void writeScatter(Outputs& outputs, const Request<R>& request, const Decomposition<R>& svd,
                  const Report& report) {
  ScatterPlot plot;
  plot.title = (request.options.center ? "Principal components of " : "First two components of ") +
               fileName(request.options.matrix);
  plot.xTitle = "component 1 (" + percent(report.energy[0]) + " of the energy)";
  plot.yTitle = "component 2 (" + percent(report.energy[1] - report.energy[0]) + " of the energy)";
  for (int i = 0; i < svd.u.rows; ++i) {
    plot.x.push_back(static_cast<double>(svd.u(i, 0)) * report.values[0]);
    plot.y.push_back(static_cast<double>(svd.u(i, 1)) * report.values[1]);
  }
  plot.group = request.groups.ofRow;
  plot.groups = request.groups.names;
  plot.groupsTitle = request.options.label;
  outputs.write(request.options.output + "_scatter.svg", [&](std::ostream& file) { file << svgOf(plot); });
}

template <class T>
void svdAs(Request<Real<T>>& request) {
  using W = Wide<T>;
  const SvdOptions& options = request.options;
  Outputs outputs({options.matrix}, request.outputs(), options.csv);
  checkCsv(options.csv, csvRow(request, {}));
  const Session session(options.device);
  Report report;
  report.device = deviceText(session.device());
  std::cout << "device          " << report.device << '\n'
            << "matrix          " << matrixText(request) << '\n'
            << precisionText(isDouble<T>) << std::flush;
  const double m = request.source.m(), n = request.source.n();
  const std::string size = std::to_string(request.source.m()) + " x " + std::to_string(request.source.n());
  checkMemory(options.matrix + ": too large: " + size, (m * n + request.k * (m + n)) * sizeof(T));

  Matrix<T> a = showing("reading " + options.matrix, [&] { return request.source.template read<T>(); });
  const std::vector<W> means = center(a, options.center);
  const Decomposition<T> svd =
      showing("decomposing " + size, [&] { return decompose(options.matrix, a, report.time); });
  report.values.assign(svd.values.begin(), svd.values.end());
  measureEnergy(request.rank, report);
  showing("checking", [&] {
    report.reconstruction = reconstructionRatio(a, leadingPart(svd, request.k));
    report.orthogonalityU = orthogonalityRatio<T>(svd.u);
    report.orthogonalityV = orthogonalityRatio<T>(conjugateTransposed(converted<W>(svd.vh)));
  });
  std::cout << text(request, report) << std::flush;

  if (!options.output.empty()) {
    writeValues(outputs, request, report);
    if constexpr (!isComplex<T>) {
      if (options.scatter) writeScatter(outputs, request, svd, report);
      if (request.source.picture) {
        Matrix<double> greys = leadingPart(svd, request.rank);
        for (int j = 0; j < greys.columns; ++j)
          for (int i = 0; i < greys.rows; ++i) greys(i, j) += means[static_cast<std::size_t>(j)];
        outputs.write(options.output + ".png",
                      [&](std::ostream& file) { writePng(file, greys, request.source.picture->white()); });
      }
    }
  }
  if (!options.csv.empty()) appendCsv(options.csv, csvRow(request, report));
  outputs.takePlaces();
  std::cout << writtenText(request.outputs()) << std::flush;
}

template <class R>
void svdIn(const SvdOptions& options) {
  Request<R> request(options);
  if (request.source.isComplex())
    svdAs<std::complex<R>>(request);
  else
    svdAs<R>(request);
}

}  // namespace

void svd(const SvdOptions& options) {
  if (options.inDouble)
    svdIn<double>(options);
  else
    svdIn<float>(options);
}

}  // namespace tool
