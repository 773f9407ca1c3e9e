// Launches a kernel with the shape that a map gives.

#ifndef TOVI_CUDALIB_LAUNCH_H
#define TOVI_CUDALIB_LAUNCH_H

#include <platform/launch.h>

#include "cudalib/maps.h"

namespace cudalib {

// An error of the launch stays pending (cudalib/check.h). An empty problem gives an empty grid, which is such
// an error: callers return before they come here.
template <auto Kernel, class... Args>
void launch(const MapBase& map, cudaStream_t stream, Args... args) {
  platform::launch<Kernel>(map.grid(), map.block(), 0, stream, args...);
}

}  // namespace cudalib

#endif
