#include "tools/tovi/report.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <system_error>

#include "tools/tovi/device_matrix.h"
#include "tools/tovi/failure.h"
#include "tools/tovi/files.h"
#include "tools/tovi/line_reader.h"
#include "tools/tovi/numbers.h"

namespace tool {
namespace {

std::string bytesText(double bytes) {
  const char* units[] = {"B", "KB", "MB", "GB", "TB", "PB", "EB"};
  std::size_t unit = 0;
  for (; bytes >= 1024.0 && unit < 6; ++unit) bytes /= 1024.0;
  return number("%.3g ", bytes) + units[unit];
}

// Bytes that the system can still give, or infinity where it does not say.
double availableMemory() {
  std::ifstream file("/proc/meminfo");
  for (std::string name, rest; file >> name && std::getline(file, rest);)
    if (name == "MemAvailable:") return 1024.0 * std::stod(rest);
  return INFINITY;
}

// A stream always is: it cannot be asked what it holds.
bool isNewTable(const std::string& path) {
  std::error_code missing;
  return isStream(path) || std::filesystem::file_size(path, missing) == 0 || missing;
}

bool endsWithALine(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(-1, std::ios::end);
  return file.get() == '\n';
}

// The names of a row, or its fields.
std::string lineOf(const CsvRow& row, std::string CsvRow::value_type::*part) {
  std::string line;
  for (const auto& field : row) line += (&field == &row.front() ? "" : ",") + field.*part;
  return line;
}

}  // namespace

std::string Speed::text() const {
  return "time            " + number("%.3g s with transfers, ", withTransfers) +
         number("%.3g s without\n", withoutTransfers) + "speed           " +
         number("%.3g GFLOP/s with transfers, ", gflops(withTransfers)) +
         number("%.3g GFLOP/s without\n", gflops(withoutTransfers));
}

void Speed::addTo(CsvRow& row) const {
  row.insert(row.end(), {{"seconds", number("%.6g", withTransfers)},
                         {"seconds_without_transfers", number("%.6g", withoutTransfers)},
                         {"gflops", number("%.6g", gflops(withTransfers))},
                         {"gflops_without_transfers", number("%.6g", gflops(withoutTransfers))}});
}

void checkMemory(const std::string& what, double operandBytes) {
  std::size_t freeBytes = 0, totalBytes = 0;
  checkRuntime(cudaMemGetInfo(&freeBytes, &totalBytes), "device memory");
  const double onDevice = static_cast<double>(freeBytes), onHost = availableMemory();
  if (!(operandBytes <= onDevice))
    throw Failure(what + " needs " + bytesText(operandBytes) + " of device memory, " + bytesText(onDevice) +
                  " is free");
  if (!(2 * operandBytes <= onHost && 2 * operandBytes <= static_cast<double>(PTRDIFF_MAX)))
    throw Failure(what + " needs " + bytesText(2 * operandBytes) + " of memory, " + bytesText(onHost) +
                  " is available");
}

void refuseAsymmetry(const std::string& path, bool complex, int row, int column) {
  const auto place = [](int i, int j) { return "(" + std::to_string(i) + ", " + std::to_string(j) + ")"; };
  const std::string what = path + (complex ? ": not Hermitian: " : ": not symmetric: ");
  if (row == column) throw Failure(what + "element " + place(row, row) + " is not real");
  throw Failure(what + "elements " + place(row, column) + " and " + place(column, row) +
                (complex ? " are not each other's conjugates" : " differ"));
}

void warn(const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings) std::cerr << "tovi: warning: " << printable(warning) << '\n';
}

std::string rightHandSides(int count) { return counted(count, "right-hand side", "right-hand sides"); }

std::string writtenText(const std::vector<std::string>& paths) {
  std::string text;
  for (const std::string& path : paths) text += (text.empty() ? "\nwritten         " : ", ") + path;
  return text.empty() ? "" : text + '\n';
}

std::string allDigits(bool inDouble, double value) { return number(inDouble ? "%.17g" : "%.9g", value); }

std::string precisionText(bool inDouble) { return inDouble ? "precision       double\n" : ""; }

void addPrecision(CsvRow& row, bool inDouble) {
  if (inDouble) row.emplace_back("precision", "double");
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"') result += '"';
    result += c;
  }
  return result + '"';
}

void checkCsv(const std::string& path, const CsvRow& row) {
  if (path.empty() || isNewTable(path)) return;
  LineReader reader(path);
  std::string_view names;
  reader.next(names);
  if (!names.empty() && names.back() == '\r') names.remove_suffix(1);
  if (names != lineOf(row, &CsvRow::value_type::first))
    reader.failAtLine("holds no results of this kind: other names of columns are expected");
}

void appendCsv(const std::string& path, const CsvRow& row) {
  checkCsv(path, row);
  const bool isNew = isNewTable(path);
  std::error_code none;
  const bool isThere = std::filesystem::exists(path, none);
  const std::uintmax_t size = isNew ? 0 : std::filesystem::file_size(path, none);
  const std::string lines = (isNew                 ? lineOf(row, &CsvRow::value_type::first) + '\n'
                             : endsWithALine(path) ? ""
                                                   : "\n") +
                            lineOf(row, &CsvRow::value_type::second) + '\n';
  errno = 0;
  std::ofstream file(path, std::ios::app);
  file << lines;
  file.close();
  if (file) return;
  const std::string why = std::generic_category().message(errno);
  if (!isThere)
    std::filesystem::remove(path, none);
  else if (!isStream(path))
    std::filesystem::resize_file(path, size, none);
  throw Failure(path + ": cannot be written: " + why);
}

}  // namespace tool
