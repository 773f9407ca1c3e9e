#include "tools/tovi/solve.h"

#include <cmath>
#include <complex>
#include <iostream>
#include <optional>
#include <vector>

#include "tools/tovi/backward_error.h"
#include "tools/tovi/device_matrix.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/library.h"
#include "tools/tovi/matrix_market.h"
#include "tools/tovi/numbers.h"
#include "tools/tovi/report.h"

namespace tool {
namespace {

struct Report {
  std::string matrix, kind, device;
  int order, columns;
  Speed speed;
  double backwardError;
};

CsvRow csvRow(const Report& report) {
  CsvRow row = {{"order", std::to_string(report.order)},
                {"columns", std::to_string(report.columns)},
                {"kind", report.kind}};
  report.speed.addTo(row);
  row.insert(row.end(), {{"backward_error", number("%.6g", report.backwardError)},
                         {"matrix", quoted(report.matrix)},
                         {"device", quoted(report.device)}});
  return row;
}

// The factors and the solution by the host interface; x comes back. A is copied: the backward error needs it.
template <class T>
Matrix<T> solveFromHost(const std::string& what, const Matrix<T>& a, const Matrix<T>& b, double& time) {
  Matrix<T> factors = a, x = b;
  std::vector<int> pivots(static_cast<std::size_t>(a.rows));
  time = seconds([&] {
    check(gesv(a.rows, b.columns, factors.values.data(), a.rows, pivots.data(), x.values.data(), b.rows),
          what);
  });
  return x;
}

// The same on operands that are on the device already: only the call is timed.
template <class T>
double timeOnDevice(const std::string& what, const Matrix<T>& a, const Matrix<T>& b) {
  const DeviceMatrix<T> dA(a), dB(b);
  const DeviceMatrix<int> dPivots(a.rows, 1);
  return seconds([&] {
    check(deviceGesv(a.rows, b.columns, dA.get(), dA.ld(), dPivots.get(), dB.get(), dB.ld()), what);
  });
}

template <class T>
void solveAs(const SolveOptions& options, MatrixMarketReader& matrix,
             std::optional<MatrixMarketReader>& rightHandSide) {
  const int n = matrix.header().rows, nrhs = rightHandSide ? rightHandSide->header().columns : 1;
  Report report{};
  report.matrix = options.matrix;
  report.kind = matrix.header().kind;
  report.order = n;
  report.columns = nrhs;

  const Session session(options.device);
  report.device = deviceText(session.device());
  std::cout << "device          " << report.device << '\n'
            << "matrix          " << options.matrix << ": order " << n << ", " << report.kind << ", "
            << counted(matrix.header().entries, "entry", "entries") << "; " << rightHandSides(nrhs) << '\n'
            << std::flush;
  checkMemory(options.matrix + ": too large: order " + std::to_string(n) +
                  (nrhs > 1 ? " with " + rightHandSides(nrhs) : ""),
              static_cast<double>(n) * (static_cast<double>(n) + nrhs) * sizeof(T));
  const Matrix<T> a = matrix.read<T>();
  const Matrix<T> b = rightHandSide ? rightHandSide->read<T>() : Matrix<T>(n, 1, T(1));

  // The first call of a process starts the device's threads, or loads its kernels: not part of the figures.
  const Matrix<T> one(1, 1, T(1));
  solveFromHost("first call", one, one, report.speed.withTransfers);
  const Matrix<T> x = solveFromHost(options.matrix, a, b, report.speed.withTransfers);
  checkFinite(options.matrix, x);
  report.speed.withoutTransfers = timeOnDevice(options.matrix, a, b);
  report.speed.flops = (isComplex<T> ? 4.0 : 1.0) * (2.0 / 3.0 * n * n * n + 2.0 * n * n * nrhs);
  report.backwardError = backwardError(a, b, x);

  std::cout << report.speed.text() << "backward error  " << number("%.3g\n", report.backwardError)
            << std::flush;
  if (!options.output.empty()) writeMatrixMarket(options.output, x);
  if (!options.csv.empty()) appendCsv(options.csv, csvRow(report));
}

}  // namespace

void solve(const SolveOptions& options) {
  MatrixMarketReader matrix(options.matrix);
  const Header& header = matrix.header();
  if (header.rows != header.columns)
    throw Failure(options.matrix + ": not square: " + std::to_string(header.rows) + " x " +
                  std::to_string(header.columns));
  std::optional<MatrixMarketReader> rightHandSide;
  if (!options.rightHandSide.empty()) {
    rightHandSide.emplace(options.rightHandSide);
    rightHandSide->expectRows(header.rows);
  }
  if (header.field == Field::complex || (rightHandSide && rightHandSide->header().field == Field::complex))
    solveAs<std::complex<float>>(options, matrix, rightHandSide);
  else
    solveAs<float>(options, matrix, rightHandSide);
}

}  // namespace tool
