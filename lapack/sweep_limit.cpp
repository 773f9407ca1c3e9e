#include "lapack/sweep_limit.h"

namespace tovi::lapack {

double mostRotations(int n) { return static_cast<double>(sweepsPerValue) * n * n; }

}  // namespace tovi::lapack
