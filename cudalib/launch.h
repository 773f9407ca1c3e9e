// Launches a kernel on the default stream, with the shape that a map gives.

#ifndef TOVI_CUDALIB_LAUNCH_H
#define TOVI_CUDALIB_LAUNCH_H

#include <device/launch.h>

#include <algorithm>

#include "cudalib/maps.h"

namespace cudalib {

// An error of the launch stays pending (cudalib/check.h). An empty problem gives an empty grid, which is such
// an error: callers return before they come here.
template <auto Kernel, class Native = device::native::None, class... Args>
void launch(const MapBase& map, Args... args) {
  device::launch<Kernel, Native>(map.grid(), map.block(), 0, nullptr, args...);
}

// Rows, and columns, of the largest matrix that one launch through Map2D serves on every device: 65535
// blocks.
constexpr int largestPart = 65535 * 16;

// Calls launchPart(i, j, m, n) for the m x n parts of a matrix, the first element of which is (i, j). Mostly
// the one part is the matrix itself. The diagonal runs through the parts with i = j, corner to corner; the
// others are below it (i > j) or above it.
template <class LaunchPart>
void forEachPart(int rows, int cols, const LaunchPart& launchPart) {
  const auto length = [](int extent, int first) { return std::min(extent - first, largestPart); };
  for (int j = 0; j < cols; j += length(cols, j))
    for (int i = 0; i < rows; i += length(rows, i)) launchPart(i, j, length(rows, i), length(cols, j));
}

}  // namespace cudalib

#endif
