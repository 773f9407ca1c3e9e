// What ends the program with exit code 1: its message goes to standard error.

#ifndef TOVI_TOOLS_FAILURE_H
#define TOVI_TOOLS_FAILURE_H

#include <stdexcept>

namespace tool {

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace tool

#endif
