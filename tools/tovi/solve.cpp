#include "tools/tovi/solve.h"

#include <cuda_runtime.h>

#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <type_traits>
#include <vector>

#include "tools/tovi/backward_error.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/library.h"
#include "tools/tovi/matrix_market.h"

namespace tool {
namespace {

template <class T>
constexpr bool isComplex = !std::is_same_v<T, float>;

std::string number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string bytesText(double bytes) {
  const char* units[] = {"B", "KB", "MB", "GB", "TB", "PB", "EB"};
  std::size_t unit = 0;
  for (; bytes >= 1024.0 && unit < 6; ++unit) bytes /= 1024.0;
  return number("%.3g ", bytes) + units[unit];
}

void checkRuntime(cudaError_t error, const char* what) {
  if (error != cudaSuccess) throw Failure(std::string(what) + ": " + cudaGetErrorString(error));
}

// Device memory with the columns of a matrix on boundaries of 32 elements.
template <class T>
class DeviceMatrix {
 public:
  DeviceMatrix(int rows, int columns) : rows_(rows), columns_(columns), ld_((rows + 31) / 32 * 32) {
    const std::size_t bytes = static_cast<std::size_t>(ld_) * static_cast<std::size_t>(columns) * sizeof(T);
    checkRuntime(cudaMalloc(&data_, bytes), "device memory");
  }
  explicit DeviceMatrix(const Matrix<T>& host) : DeviceMatrix(host.rows, host.columns) {
    const std::size_t row = static_cast<std::size_t>(rows_) * sizeof(T);
    checkRuntime(cudaMemcpy2D(data_, static_cast<std::size_t>(ld_) * sizeof(T), host.values.data(), row, row,
                              static_cast<std::size_t>(columns_), cudaMemcpyHostToDevice),
                 "upload");
  }
  ~DeviceMatrix() { cudaFree(data_); }
  DeviceMatrix(const DeviceMatrix&) = delete;
  DeviceMatrix& operator=(const DeviceMatrix&) = delete;

  T* get() const { return static_cast<T*>(data_); }
  int ld() const { return ld_; }

 private:
  int rows_, columns_, ld_;
  void* data_ = nullptr;
};

template <class Body>
double seconds(Body&& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Bytes that the system can still give, or infinity where it does not say.
double availableMemory() {
  std::ifstream file("/proc/meminfo");
  for (std::string name, rest; file >> name && std::getline(file, rest);)
    if (name == "MemAvailable:") return 1024.0 * std::stod(rest);
  return INFINITY;
}

// Refuses a system that cannot fit before anything of its size is asked for. The host holds the operands and
// the copy that the solver overwrites; double is wide enough for every product.
void checkMemory(const std::string& path, double n, double nrhs, std::size_t element) {
  std::size_t freeBytes = 0, totalBytes = 0;
  checkRuntime(cudaMemGetInfo(&freeBytes, &totalBytes), "device memory");
  const double bytes = n * (n + nrhs) * static_cast<double>(element);
  const double onDevice = static_cast<double>(freeBytes), onHost = availableMemory();
  std::string needs = path + ": too large: order " + number("%.0f", n);
  if (nrhs > 1) needs += " with " + number("%.0f", nrhs) + " right-hand sides";
  needs += " needs ";
  if (!(bytes <= onDevice))
    throw Failure(needs + bytesText(bytes) + " of device memory, " + bytesText(onDevice) + " is free");
  if (!(2 * bytes <= onHost && 2 * bytes <= static_cast<double>(PTRDIFF_MAX)))
    throw Failure(needs + bytesText(2 * bytes) + " of memory, " + bytesText(onHost) + " is available");
}

struct Report {
  std::string matrix, kind, device;
  int order, columns;
  double withTransfers, withoutTransfers;  // seconds
  double flops;
  double backwardError;

  double gflops(double time) const { return flops / time * 1e-9; }
};

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"') result += '"';
    result += c;
  }
  return result + '"';
}

void appendCsv(const std::string& path, const Report& report) {
  std::error_code unknown;
  const bool isNew = std::filesystem::file_size(path, unknown) == 0 || unknown;
  std::ofstream file(path, std::ios::app);
  if (isNew)
    file << "order,columns,kind,seconds,seconds_without_transfers,gflops,gflops_without_transfers,backward_"
            "error,"
            "matrix,device\n";
  file << report.order << ',' << report.columns << ',' << report.kind;
  for (const double value :
       {report.withTransfers, report.withoutTransfers, report.gflops(report.withTransfers),
        report.gflops(report.withoutTransfers), report.backwardError})
    file << ',' << number("%.6g", value);
  file << ',' << quoted(report.matrix) << ',' << quoted(report.device) << '\n';
  file.close();
  if (!file) throw Failure(path + ": cannot be written");
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
            << matrix.header().entries << " entries; " << nrhs
            << (nrhs == 1 ? " right-hand side\n" : " right-hand sides\n") << std::flush;
  checkMemory(options.matrix, n, nrhs, sizeof(T));
  const Matrix<T> a = matrix.read<T>();
  const Matrix<T> b = rightHandSide ? rightHandSide->read<T>() : Matrix<T>(n, 1, T(1));

  // The first call of a process starts the device's threads, or loads its kernels: not part of the figures.
  const Matrix<T> one(1, 1, T(1));
  solveFromHost("first call", one, one, report.withTransfers);
  const Matrix<T> x = solveFromHost(options.matrix, a, b, report.withTransfers);
  for (const T& value : x.values)
    if (!std::isfinite(std::abs(value)))
      throw Failure(options.matrix + ": the solution overflows single precision");
  report.withoutTransfers = timeOnDevice(options.matrix, a, b);
  report.flops = (isComplex<T> ? 4.0 : 1.0) * (2.0 / 3.0 * n * n * n + 2.0 * n * n * nrhs);
  report.backwardError = backwardError(a, b, x);

  std::cout << "time            " << number("%.3g s with transfers, ", report.withTransfers)
            << number("%.3g s without\n", report.withoutTransfers) << "speed           "
            << number("%.3g GFLOP/s with transfers, ", report.gflops(report.withTransfers))
            << number("%.3g GFLOP/s without\n", report.gflops(report.withoutTransfers)) << "backward error  "
            << number("%.3g\n", report.backwardError) << std::flush;
  if (!options.output.empty()) writeMatrixMarket(options.output, x);
  if (!options.csv.empty()) appendCsv(options.csv, report);
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
    if (rightHandSide->header().rows != header.rows)
      throw Failure(options.rightHandSide + ": has " + std::to_string(rightHandSide->header().rows) +
                    " rows, the matrix has " + std::to_string(header.rows));
  }
  if (header.field == Field::complex || (rightHandSide && rightHandSide->header().field == Field::complex))
    solveAs<std::complex<float>>(options, matrix, rightHandSide);
  else
    solveAs<float>(options, matrix, rightHandSide);
}

}  // namespace tool
