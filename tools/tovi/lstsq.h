#ifndef TOVI_TOOLS_LSTSQ_H
#define TOVI_TOOLS_LSTSQ_H

#include <string>
#include <vector>

namespace tool {

struct LstsqOptions {
  std::string matrix;                   // Matrix Market, or a table if it ends in .csv
  std::string rightHandSide;            // empty: the response, or one column of ones
  std::string response;                 // the table's column that is b
  bool intercept = false;               // a column of ones before those of the table
  std::vector<std::string> constraint;  // empty, or the files of B and d
  std::string output;                   // empty: x is not written
  std::string csv;                      // empty: no line is appended
  bool reference = false;               // solve in double precision on the processor too
  int device = -1;                      // negative: the library chooses
  bool inDouble = false;                // not in single precision
};

// `tovi lstsq`: reads, solves, reports. Returns whether digits of the solution can be trusted.
bool lstsq(const LstsqOptions& options);

}  // namespace tool

#endif
