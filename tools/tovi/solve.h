#ifndef TOVI_TOOLS_SOLVE_H
#define TOVI_TOOLS_SOLVE_H

#include <string>

namespace tool {

enum class Factorization { lu, cholesky };

struct SolveOptions {
  std::string matrix;
  std::string rightHandSide;  // empty: one column of ones
  std::string output;         // empty: x is not written
  std::string csv;            // empty: no line is appended
  int device = -1;            // negative: the library chooses
  bool inDouble = false;      // not in single precision
};

// `tovi solve` and `tovi chol`: reads, solves, reports. Returns whether digits of the solution can be
// trusted.
bool solve(const SolveOptions& options, Factorization factorization);

}  // namespace tool

#endif
