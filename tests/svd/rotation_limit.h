// Another limit for the iteration of bdsqr, in a program that includes this in one of its sources: the linker
// finds it there, and takes none from the library (lapack/sweep_limit.h).

#ifndef TOVI_TESTS_SVD_ROTATION_LIMIT_H
#define TOVI_TESTS_SVD_ROTATION_LIMIT_H

#include <optional>

#include "lapack/sweep_limit.h"

namespace testing_support {

// While it lives, no sweep begins once so many rotations have been made.
class RotationLimit {
 public:
  explicit RotationLimit(double most) { inForce() = most; }
  ~RotationLimit() { inForce().reset(); }
  RotationLimit(const RotationLimit&) = delete;
  RotationLimit& operator=(const RotationLimit&) = delete;

  static std::optional<double>& inForce() {
    static std::optional<double> limit;
    return limit;
  }
};

}  // namespace testing_support

double tovi::lapack::mostRotations(int n) {
  return testing_support::RotationLimit::inForce().value_or(static_cast<double>(sweepsPerValue) * n * n);
}

#endif
