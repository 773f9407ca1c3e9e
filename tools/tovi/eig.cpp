#include "tools/tovi/eig.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <filesystem>
#include <iostream>
#include <vector>

#include "tools/tovi/eigen_quality.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/files.h"
#include "tools/tovi/layout.h"
#include "tools/tovi/library.h"
#include "tools/tovi/matrix_market.h"
#include "tools/tovi/numbers.h"
#include "tools/tovi/plots.h"
#include "tools/tovi/progress.h"
#include "tools/tovi/report.h"

namespace tool {
namespace {

struct Report {
  std::string matrix, kind, device;
  int order = 0;
  bool inDouble = false, vectors = false;
  double time = 0.0, flops = 0.0;
  std::vector<double> values;  // ascending
  double rounding = 0.0;       // below it a value is as good as zero: sqrt(n) eps ||A||, the 2-norm
  double sums = 0.0, residual = 0.0, orthogonality = 0.0;

  double gflops() const { return flops / time * 1e-9; }
  std::size_t negative() const {
    return static_cast<std::size_t>(std::lower_bound(values.begin(), values.end(), -rounding) -
                                    values.begin());
  }
  std::size_t positive() const {
    return static_cast<std::size_t>(values.end() - std::upper_bound(values.begin(), values.end(), rounding));
  }
  std::size_t zeros() const { return values.size() - negative() - positive(); }
};

CsvRow csvRow(const Report& report) {
  CsvRow row = {{"order", std::to_string(report.order)}, {"kind", report.kind}};
  addPrecision(row, report.inDouble);
  const bool known = !report.values.empty(), vectors = report.vectors;
  row.insert(row.end(), {{"seconds", number("%.6g", report.time)},
                         {"gflops", number("%.6g", report.gflops())},
                         {"smallest_value", known ? allDigits(report.inDouble, report.values.front()) : ""},
                         {"largest_value", known ? allDigits(report.inDouble, report.values.back()) : ""},
                         {"negative", std::to_string(report.negative())},
                         {"zero", std::to_string(report.zeros())},
                         {"positive", std::to_string(report.positive())},
                         {"sums", number("%.6g", report.sums)},
                         {"residual", vectors ? number("%.6g", report.residual) : ""},
                         {"orthogonality", vectors ? number("%.6g", report.orthogonality) : ""},
                         {"matrix", quoted(report.matrix)},
                         {"device", quoted(report.device)}});
  return row;
}

std::string text(const Report& report) {
  std::string lines = "time            " + number("%.3g s\n", report.time) + "speed           " +
                      number("%.3g GFLOP/s\n", report.gflops());
  if (report.vectors)
    lines += "residual        " + number("%.3g\n", report.residual) + "orthogonality   " +
             number("%.3g\n", report.orthogonality);
  lines += "sums            " + number("%.3g\n", report.sums) + "values          " +
           std::to_string(report.negative()) + " negative, " + std::to_string(report.positive()) +
           " positive, " + std::to_string(report.zeros()) + number(" within %.2g of zero", report.rounding) +
           "\n\n   index" + std::string(report.inDouble ? 15 : 6, ' ') + "eigenvalue\n";
  constexpr std::size_t usual = 10;  // of the smallest ones, and the largest
  for (std::size_t k = 0; k < report.values.size(); ++k) {
    if (k >= usual && k + 1 < report.values.size()) {
      if (k == usual) lines += "     ...\n";
      continue;
    }
    lines += number("%8.0f", static_cast<double>(k + 1)) +
             number(report.inDouble ? "%25.16g\n" : "%16.7g\n", report.values[k]);
  }
  return lines;
}

std::vector<std::string> outputs(const EigOptions& options) {
  if (options.output.empty()) return {};
  std::vector<std::string> paths = {options.output + ".csv", options.output + ".svg"};
  if (options.vectors) paths.push_back(options.output + ".mtx");
  return paths;
}

template <class T>
EigenDecomposition<T> decompose(const std::string& what, Matrix<T> a, bool vectors, double& time) {
  EigenDecomposition<T> eigen{std::vector<Real<T>>(static_cast<std::size_t>(a.rows)), Matrix<T>(a.rows, 0)};
  time = seconds(
      [&] { check(syevd(vectors ? 'V' : 'N', a.rows, a.values.data(), a.rows, eigen.values.data()), what); });
  for (const Real<T> value : eigen.values)
    if (!std::isfinite(value)) throw Failure(what + ": the eigenvalues overflow " + precisionOf<T>);
  if (vectors) eigen.vectors = std::move(a);
  return eigen;
}

// How far each node moves in a mode.
template <class T>
std::vector<double> displacements(const Mesh& mesh, const Matrix<T>& vectors, int mode) {
  std::vector<double> squares(static_cast<std::size_t>(mesh.nodes()));
  for (int i = 0; i < vectors.rows; ++i)
    if (const int node = mesh.nodeOf[static_cast<std::size_t>(i)]; node >= 0)
      squares[static_cast<std::size_t>(node)] += std::norm(Wide<T>(vectors(i, mode)));
  for (double& square : squares) square = std::sqrt(square);
  return squares;
}

// The lowest modes of what has a place in the mesh.
template <class T>
void addModes(const Mesh& mesh, const EigenDecomposition<T>& eigen, const std::string& what,
              EigenvaluesPlot& plot) {
  const Places places = placesOf<Real<T>>(mesh, what + ": the places of the modes");
  plot.x = places.x;
  plot.y = places.y;
  plot.modesTitle =
      counted(static_cast<std::uint64_t>(mesh.nodes()), "node", "nodes") +
      " of the matrix's graph, each where the graph's own lowest modes put it; dark where it moves most";
  for (int mode = 0; mode < eigen.vectors.columns && plot.modes.size() < mostModes; ++mode) {
    std::vector<double> moved = displacements(mesh, eigen.vectors, mode);
    double share = 0.0;
    for (const double part : moved) share += part * part;
    if (share < 0.5) continue;  // one of unknowns that are connected with few others, or none
    plot.modes.push_back(
        {"mode " + std::to_string(mode + 1) +
             number(": eigenvalue %.4g", static_cast<double>(eigen.values[static_cast<std::size_t>(mode)])),
         std::move(moved)});
  }
  // What moves most in the lowest one goes on top.
  double moment = 0.0;
  for (std::size_t k = 0; k < plot.y.size() && !plot.modes.empty(); ++k)
    moment += plot.y[k] * plot.modes.front().values[k];
  if (moment < 0.0)
    for (double& y : plot.y) y = -y;
}

template <class T>
void writeFiles(Outputs& files, const EigOptions& options, const Report& report, const Mesh& mesh,
                const EigenDecomposition<T>& eigen) {
  std::string csv = "index,value\n";
  for (std::size_t k = 0; k < report.values.size(); ++k)
    csv += std::to_string(k + 1) + ',' + allDigits(report.inDouble, report.values[k]) + '\n';
  files.write(options.output + ".csv", [&](std::ostream& file) { file << csv; });

  EigenvaluesPlot plot;
  plot.title = "Eigenvalues of " + std::filesystem::path(options.matrix).filename().string();
  plot.values = report.values;
  plot.rounding = report.rounding;
  if (options.modes) addModes(mesh, eigen, options.matrix, plot);
  files.write(options.output + ".svg", [&](std::ostream& file) { file << svgOf(plot); });
  if (options.vectors)
    files.write(options.output + ".mtx", [&](std::ostream& file) { writeMatrixMarket(file, eigen.vectors); });
}

template <class T>
void eigAs(const EigOptions& options, MatrixMarketReader& matrix, Outputs& files) {
  const int n = matrix.header().rows;
  Report report;
  report.matrix = options.matrix;
  report.kind = matrix.header().kind;
  report.order = n;
  report.inDouble = isDouble<T>;
  report.vectors = options.vectors || options.modes;

  const Session session(options.device);
  report.device = deviceText(session.device());
  std::cout << "device          " << report.device << '\n'
            << "matrix          " << printable(options.matrix) << ": order " << n << ", " << report.kind
            << ", " << counted(matrix.header().entries, "entry", "entries") << '\n'
            << precisionText(report.inDouble) << std::flush;
  const std::string order = "order " + std::to_string(n);
  checkMemory(options.matrix + ": too large: " + order, 2.0 * n * n * sizeof(T));
  const Matrix<T> a = showing("reading " + options.matrix, [&] { return matrix.read<T>(); });
  checkHermitian(options.matrix, a);
  Mesh mesh;
  if (options.modes) {
    mesh = meshOf(a);
    if (mesh.nodes() < 3)
      throw Failure(options.matrix + ": its graph has " +
                    counted(static_cast<std::uint64_t>(mesh.nodes()), "connected node", "connected nodes") +
                    ", modes are drawn on three and more");
  }

  const EigenDecomposition<T> eigen = showing(
      "decomposing " + order, [&] { return decompose(options.matrix, a, report.vectors, report.time); });
  report.flops = (isComplex<T> ? 4.0 : 1.0) * (report.vectors ? 14.0 : 4.0) / 3.0 * n * n * n;
  report.values.assign(eigen.values.begin(), eigen.values.end());
  report.rounding = std::max(-report.values.front(), report.values.back()) * std::sqrt(n) * eps<T>;
  showing("checking", [&] {
    report.sums = sumsRatio(a, eigen.values);
    if (!report.vectors) return;
    report.residual = eigenResidualRatio(a, eigen);
    report.orthogonality = eigenOrthogonalityRatio(eigen.vectors);
  });
  std::cout << text(report) << std::flush;

  if (!options.output.empty()) showing("drawing", [&] { writeFiles(files, options, report, mesh, eigen); });
  if (!options.csv.empty()) appendCsv(options.csv, csvRow(report));
  files.takePlaces();
  std::cout << writtenText(outputs(options)) << std::flush;
}

}  // namespace

void eig(const EigOptions& options) {
  Outputs files({options.matrix}, outputs(options), options.csv);
  Report names;
  names.inDouble = options.inDouble;
  checkCsv(options.csv, csvRow(names));
  MatrixMarketReader matrix(options.matrix);
  matrix.expectSquare();
  const bool complex = matrix.header().field == Field::complex;
  const auto run = options.inDouble ? (complex ? eigAs<std::complex<double>> : eigAs<double>)
                                    : (complex ? eigAs<std::complex<float>> : eigAs<float>);
  run(options, matrix, files);
}

}  // namespace tool
