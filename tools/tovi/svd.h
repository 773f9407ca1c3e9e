#ifndef TOVI_TOOLS_SVD_H
#define TOVI_TOOLS_SVD_H

#include <string>

namespace tool {

struct SvdOptions {
  std::string matrix;     // Matrix Market, or a table if it ends in .csv, a picture if it ends in .pgm
  std::string label;      // the table's column that is no part of the matrix, if any
  bool center = false;    // each column less its mean
  int rank = 0;           // 0: ten, or all values where there are fewer
  std::string output;     // what the names of the files written begin with; empty: none is written
  bool scatter = false;   // plot the first two principal components
  std::string csv;        // empty: no line is appended
  int device = -1;        // negative: the library chooses
  bool inDouble = false;  // not in single precision
};

// `tovi svd`: reads, decomposes, reports.
void svd(const SvdOptions& options);

}  // namespace tool

#endif
