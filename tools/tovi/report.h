// What solving reports whatever the problem: time and speed, memory that is not there, a line for a table,
// warnings.

#ifndef TOVI_TOOLS_REPORT_H
#define TOVI_TOOLS_REPORT_H

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "tools/tovi/failure.h"
#include "tools/tovi/matrix.h"

namespace tool {

template <class Body>
double seconds(Body&& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

using CsvRow = std::vector<std::pair<std::string, std::string>>;  // name and field

struct Speed {
  double flops = 0.0;
  double withTransfers = 0.0, withoutTransfers = 0.0;  // seconds

  double gflops(double time) const { return flops / time * 1e-9; }
  std::string text() const;  // two lines
  void addTo(CsvRow& row) const;
};

// Refuses a problem that cannot fit before anything of its size is asked for. The host holds the operands and
// the copy that the solver overwrites. what: "FILE: too large: order 5"; double is wide enough for every
// product.
void checkMemory(const std::string& what, double operandBytes);

template <class T>
bool isFinite(const Matrix<T>& a) {
  return std::all_of(a.values.begin(), a.values.end(), [](const T& x) { return std::isfinite(std::abs(x)); });
}
template <class T>
void checkFinite(const std::string& path, const Matrix<T>& solution) {
  if (!isFinite(solution)) throw Failure(path + ": the solution overflows " + precisionOf<T>);
}

// An element that is not its mirror image.
[[noreturn]] void refuseAsymmetry(const std::string& path, bool complex, int row, int column);
// Refuses a matrix that is not symmetric, or of a complex type not Hermitian, to the last bit.
template <class T>
void checkHermitian(const std::string& path, const Matrix<T>& a) {
  for (int j = 0; j < a.columns; ++j)
    for (int i = j; i < a.rows; ++i)
      if (Wide<T>(a(j, i)) != conjugated(Wide<T>(a(i, j)))) refuseAsymmetry(path, isComplex<T>, i + 1, j + 1);
}

// To standard error.
void warn(const std::vector<std::string>& warnings);

std::string rightHandSides(int count);  // "1 right-hand side"

std::string writtenText(const std::vector<std::string>& paths);  // a line after an empty one; nothing of none
std::string allDigits(bool inDouble, double value);              // as many as bring every bit back

// Of double precision; nothing of single precision, which is the default.
std::string precisionText(bool inDouble);  // a line
void addPrecision(CsvRow& row, bool inDouble);

// A table of results: one line of names, then lines of fields.
// Refuses a file that begins with other names than the row has.
void checkCsv(const std::string& path, const CsvRow& row);
// Appends one line, the names before it in a new file. Where that fails the file is as it was.
void appendCsv(const std::string& path, const CsvRow& row);
std::string quoted(const std::string& text);

}  // namespace tool

#endif
