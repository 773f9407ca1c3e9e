#include "tools/tovi/solve.h"

#include <cmath>
#include <complex>
#include <iostream>
#include <optional>
#include <vector>

#include "tools/tovi/backward_error.h"
#include "tools/tovi/condition.h"
#include "tools/tovi/device_matrix.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/files.h"
#include "tools/tovi/library.h"
#include "tools/tovi/matrix_market.h"
#include "tools/tovi/numbers.h"
#include "tools/tovi/report.h"

namespace tool {
namespace {

struct Report {
  Factorization factorization;
  std::string matrix, kind, device;
  int order, columns;
  bool inDouble;
  Speed speed;
  double backwardError;
  Condition condition;
};

CsvRow csvRow(const Report& report) {
  CsvRow row = {{"order", std::to_string(report.order)},
                {"columns", std::to_string(report.columns)},
                {"kind", report.kind}};
  if (report.factorization == Factorization::cholesky) row.emplace_back("factorization", "Cholesky");
  addPrecision(row, report.inDouble);
  report.speed.addTo(row);
  row.emplace_back("backward_error", number("%.6g", report.backwardError));
  report.condition.addTo(row);
  row.insert(row.end(), {{"matrix", quoted(report.matrix)}, {"device", quoted(report.device)}});
  return row;
}

template <class T>
struct Solution {
  Matrix<T> x, factors;
};

// Columns that make the matrix singular, or nearly, by its factors.
template <class T>
std::vector<std::string> dependences(const std::string& what, const Matrix<T>& factors) {
  const double resolved = resolvedCondition<T>(factors.rows, factors.columns);
  return describe(what, dependentColumns(factors, resolved), precisionOf<T>, "column",
                  [](int j) { return std::to_string(j + 1); });
}

// The factors of A = L L^H in its lower triangle as those of A = (L / D) (D L^H), D the diagonal of L: LU's,
// from which the condition is estimated.
template <class T>
void makeLu(Matrix<T>& factors) {
  for (int j = 0; j < factors.columns; ++j) {
    const T diagonal = factors(j, j);
    for (int i = j; i < factors.rows; ++i) {
      const T value = factors(i, j);
      factors(i, j) = value / diagonal;
      factors(j, i) = T(conjugated(Wide<T>(value))) * diagonal;
    }
  }
}

// By the host interface. The operands are copied: what is reported needs them.
template <class T>
Solution<T> solveFromHost(Factorization factorization, const std::string& what, const Matrix<T>& a,
                          const Matrix<T>& b, double& time) {
  Solution<T> solution{b, a};
  T *const dataA = solution.factors.values.data(), *const dataX = solution.x.values.data();
  std::vector<int> pivots(static_cast<std::size_t>(a.rows));
  const bool cholesky = factorization == Factorization::cholesky;
  toviStatus status = toviNoError;
  time = seconds([&] {
    status = cholesky ? posv(a.rows, b.columns, dataA, a.rows, dataX, b.rows)
                      : gesv(a.rows, b.columns, dataA, a.rows, pivots.data(), dataX, b.rows);
  });
  if (status == toviDataError && cholesky)
    warn({what + ": not positive definite: the first leading minor that is not has order " +
          std::to_string(toviGetErrorInfo())});
  if (status == toviNoError && cholesky) makeLu(solution.factors);
  if ((status == toviDataError && !cholesky) || (status == toviNoError && !isFinite(solution.x)))
    warn(dependences(what, solution.factors));
  check(status, what);
  return solution;
}

// The same on operands that are on the device already: only the call is timed.
template <class T>
double timeOnDevice(Factorization factorization, const std::string& what, const Matrix<T>& a,
                    const Matrix<T>& b) {
  const DeviceMatrix<T> dA(a), dB(b);
  const DeviceMatrix<int> dPivots(a.rows, 1);
  return seconds([&] {
    check(factorization == Factorization::cholesky
              ? devicePosv(a.rows, b.columns, dA.get(), dA.ld(), dB.get(), dB.ld())
              : deviceGesv(a.rows, b.columns, dA.get(), dA.ld(), dPivots.get(), dB.get(), dB.ld()),
          what);
  });
}

// What to warn of where the condition is not resolved: units that differ much, or columns that depend on
// each other.
template <class T>
std::vector<std::string> warningsOf(const std::string& what, const Condition& condition, const Matrix<T>& a,
                                    const Matrix<T>& factors) {
  if (condition.isResolved()) return {};
  std::vector<std::string> warnings = {what + ": " + condition.warning()};
  const std::vector<double> lengths = columnLengths(a);
  const Condition scaled =
      Condition::of<T>(normOf(a, lengths) * normOfInverse(factors, lengths), a.rows, a.columns);
  if (scaled.isResolved()) {
    warnings.front() +=
        number("; badly scaled: condition %.3g with its columns at one length, ", scaled.value) +
        number("about %.1f digits of x times those lengths", scaled.digits());
    return warnings;
  }
  for (std::string& line : dependences(what, factors)) warnings.push_back(std::move(line));
  return warnings;
}

template <class T>
bool solveAs(const SolveOptions& options, Factorization factorization, MatrixMarketReader& matrix,
             std::optional<MatrixMarketReader>& rightHandSide, Outputs& outputs) {
  const int n = matrix.header().rows, nrhs = rightHandSide ? rightHandSide->header().columns : 1;
  Report report{};
  report.factorization = factorization;
  report.matrix = options.matrix;
  report.kind = matrix.header().kind;
  report.order = n;
  report.columns = nrhs;
  report.inDouble = isDouble<T>;

  const Session session(options.device);
  report.device = deviceText(session.device());
  std::cout << "device          " << report.device << '\n'
            << "matrix          " << printable(options.matrix) << ": order " << n << ", " << report.kind
            << ", " << counted(matrix.header().entries, "entry", "entries") << "; " << rightHandSides(nrhs)
            << '\n'
            << precisionText(report.inDouble) << std::flush;
  checkMemory(options.matrix + ": too large: order " + std::to_string(n) +
                  (nrhs > 1 ? " with " + rightHandSides(nrhs) : ""),
              static_cast<double>(n) * (static_cast<double>(n) + nrhs) * sizeof(T));
  const Matrix<T> a = matrix.read<T>();
  if (factorization == Factorization::cholesky) checkHermitian(options.matrix, a);
  const Matrix<T> b = rightHandSide ? rightHandSide->read<T>() : Matrix<T>(n, 1, T(1));

  // The first call of a process starts the device's threads, or loads its kernels: not part of the figures.
  const Matrix<T> one(1, 1, T(1));
  solveFromHost(factorization, "first call", one, one, report.speed.withTransfers);
  const auto [x, factors] = solveFromHost(factorization, options.matrix, a, b, report.speed.withTransfers);
  checkFinite(options.matrix, x);
  report.speed.withoutTransfers = timeOnDevice(factorization, options.matrix, a, b);
  const double third = factorization == Factorization::cholesky ? 1.0 / 3.0 : 2.0 / 3.0;
  report.speed.flops = (isComplex<T> ? 4.0 : 1.0) * (third * n * n * n + 2.0 * n * n * nrhs);
  report.backwardError = backwardError(a, b, x);
  report.condition = Condition::of<T>(conditionOf(a, factors), n, n);

  std::cout << report.speed.text() << "backward error  " << number("%.3g\n", report.backwardError)
            << report.condition.text() << std::flush;
  warn(warningsOf(options.matrix, report.condition, a, factors));
  if (!options.output.empty())
    outputs.write(options.output, [&x = x](std::ostream& file) { writeMatrixMarket(file, x); });
  if (!options.csv.empty()) appendCsv(options.csv, csvRow(report));
  outputs.takePlaces();
  return report.condition.isResolved();
}

}  // namespace

bool solve(const SolveOptions& options, Factorization factorization) {
  Outputs outputs({options.matrix, options.rightHandSide}, {options.output}, options.csv);
  Report names{};
  names.factorization = factorization;
  names.inDouble = options.inDouble;
  checkCsv(options.csv, csvRow(names));
  MatrixMarketReader matrix(options.matrix);
  matrix.expectSquare();
  const Header& header = matrix.header();
  std::optional<MatrixMarketReader> rightHandSide;
  if (!options.rightHandSide.empty()) {
    rightHandSide.emplace(options.rightHandSide);
    rightHandSide->expectRows(header.rows);
  }
  const bool complex =
      header.field == Field::complex || (rightHandSide && rightHandSide->header().field == Field::complex);
  const auto run = options.inDouble ? (complex ? solveAs<std::complex<double>> : solveAs<double>)
                                    : (complex ? solveAs<std::complex<float>> : solveAs<float>);
  return run(options, factorization, matrix, rightHandSide, outputs);
}

}  // namespace tool
