#ifndef TOVI_TOOLS_EIG_H
#define TOVI_TOOLS_EIG_H

#include <string>

namespace tool {

struct EigOptions {
  std::string matrix;
  bool vectors = false;   // to be computed, and written where anything is
  bool modes = false;     // plot the lowest ones
  std::string output;     // what the names of the files written begin with; empty: none is written
  std::string csv;        // empty: no line is appended
  int device = -1;        // negative: the library chooses
  bool inDouble = false;  // not in single precision
};

// `tovi eig`: reads, decomposes, reports.
void eig(const EigOptions& options);

}  // namespace tool

#endif
