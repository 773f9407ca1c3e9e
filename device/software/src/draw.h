// Numbers drawn from a seed.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_DRAW_H
#define TOVI_DEVICE_SOFTWARE_SRC_DRAW_H

#include <cstdint>

namespace software_device {

// The next one of a sequence of numbers.
inline std::uint64_t draw(std::uint64_t& state) {
  state += 0x9E3779B97F4A7C15U;  // splitmix64
  std::uint64_t z = state;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
  return z ^ (z >> 31);
}

}  // namespace software_device

#endif
