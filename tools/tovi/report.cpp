#include "tools/tovi/report.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "tools/tovi/device_matrix.h"
#include "tools/tovi/failure.h"
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

std::string rightHandSides(int count) { return counted(count, "right-hand side", "right-hand sides"); }

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"') result += '"';
    result += c;
  }
  return result + '"';
}

void appendCsv(const std::string& path, const CsvRow& row) {
  std::error_code unknown;
  const bool isNew = std::filesystem::file_size(path, unknown) == 0 || unknown;
  std::string names, fields;
  for (const auto& [name, field] : row) {
    const char end = &name == &row.back().first ? '\n' : ',';
    names += name + end;
    fields += field + end;
  }
  std::ofstream file(path, std::ios::app);
  if (isNew) file << names;
  file << fields;
  file.close();
  if (!file) throw Failure(path + ": cannot be written");
}

}  // namespace tool
