#include "cudalib/maps.h"

#include <cstdint>

#include "cudalib/check.h"

namespace cudalib {
namespace {

std::uint64_t ceilDivide(std::uint64_t a, std::uint64_t b) { return (a + b - 1) / b; }

}  // namespace

dim3 foldedGrid(int n, unsigned threads, unsigned limit) {
  if (n <= 0) return dim3(0, 1, 1);
  // 64 bits: the blocks of a folded grid cover more than n threads. An extent is halved, not divided exactly.
  const auto size = static_cast<std::uint64_t>(n);
  std::uint64_t gx = ceilDivide(size, threads);
  while (gx > limit) gx >>= 1;
  std::uint64_t gy = ceilDivide(size, threads * gx);
  while (gy > limit) gy >>= 1;
  const std::uint64_t gz = ceilDivide(size, threads * gx * gy);
  return dim3(static_cast<unsigned>(gx), static_cast<unsigned>(gy), static_cast<unsigned>(gz));
}

dim3 grid1D(int n, unsigned threads) {
  constexpr unsigned leastLimit = 65535;  // that any device has: mostly none need be asked
  if (n <= 0 || static_cast<unsigned>(n) / threads < leastLimit) return foldedGrid(n, threads, leastLimit);
  int device = 0;
  check(cudaGetDevice(&device));
  device::DeviceProperties properties = {};
  check(device::getDeviceProperties(&properties, device));
  return foldedGrid(n, threads, static_cast<unsigned>(properties.maxGridSize[0]));
}

dim3 grid2D(int rows, int cols, dim3 block) {
  const auto blocks = [](int extent, unsigned size) {
    return extent <= 0 ? 0U : static_cast<unsigned>(ceilDivide(static_cast<std::uint64_t>(extent), size));
  };
  return dim3(blocks(rows, block.x), blocks(cols, block.y), 1);
}

dim3 Map1D::block() const {
  if (blockSize_ != 0) return dim3(blockSize_, 1, 1);
  switch (blockClass_) {
    case 2:
      return dim3(64, 1, 1);
    case 3:
      return dim3(16, 1, 1);
    default:
      return dim3(256, 1, 1);
  }
}

}  // namespace cudalib
