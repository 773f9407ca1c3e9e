// Launch geometry. A map knows the size of a problem and gives the shape of the blocks and of the grid; the
// kernel that is launched through it takes the map's type as a template argument and asks it, in static
// device functions, which part of the problem the calling thread owns. Grids hold more threads than the
// problem: a kernel does nothing for an index outside of it.

#ifndef TOVI_CUDALIB_MAPS_H
#define TOVI_CUDALIB_MAPS_H

#include <device/runtime.h>

#include <cstddef>

namespace cudalib {

class MapBase {
 public:
  virtual dim3 block() const = 0;
  virtual dim3 grid() const = 0;

 protected:
  ~MapBase() = default;
};

// The block's shape is chosen at run time, or a constant of the type.
class DynamicMapBase : public MapBase {};
class StaticMapBase : public MapBase {};

class Map1DBase {
 protected:
  virtual ~Map1DBase() = default;
};
class Map2DBase {
 protected:
  virtual ~Map2DBase() = default;
};

// The grid for n threads in blocks of `threads`: one-dimensional while that stays within `limit` blocks, else
// folded into y and z, halving an extent until it fits.
dim3 foldedGrid(int n, unsigned threads, unsigned limit);
// The same with the current device's limit, which is read where it could matter.
dim3 grid1D(int n, unsigned threads);
// The grid for rows x cols threads; no limit is applied.
dim3 grid2D(int rows, int cols, dim3 block);

namespace detail {

// The thread's number in a grid that may be folded.
__device__ inline std::ptrdiff_t linearIndex(unsigned threads) {
  const std::size_t row = static_cast<std::size_t>(blockIdx.z) * gridDim.y + blockIdx.y;
  return static_cast<std::ptrdiff_t>((row * gridDim.x + blockIdx.x) * threads + threadIdx.x);
}

}  // namespace detail

// n elements, one thread each.
class Map1D final : public Map1DBase, public DynamicMapBase {
 public:
  // blockClass 2: 64 threads a block, 3: 16, else 256; a blockSize other than 0 overrides it.
  explicit Map1D(int n, int blockClass = 1, unsigned blockSize = 0)
      : blockClass_(blockClass), n_(n), blockSize_(blockSize) {}
  dim3 block() const override;
  dim3 grid() const override { return grid1D(n_, block().x); }

  __device__ static std::ptrdiff_t index() { return detail::linearIndex(blockDim.x); }

 private:
  int blockClass_;
  int n_;
  unsigned blockSize_;
};

// rows x cols elements, one thread each.
class Map2D final : public Map2DBase, public DynamicMapBase {
 public:
  // Blocks of 16 x 16 threads, or of blockX x blockY where blockX is not 0.
  Map2D(int rows, int cols, unsigned blockX = 0, unsigned blockY = 0)
      : rows_(rows), cols_(cols), blockX_(blockX), blockY_(blockY) {}
  dim3 block() const override { return blockX_ == 0 ? dim3(16, 16, 1) : dim3(blockX_, blockY_, 1); }
  dim3 grid() const override { return grid2D(rows_, cols_, block()); }

  __device__ static std::ptrdiff_t row() {
    return static_cast<std::ptrdiff_t>(blockIdx.x) * static_cast<std::ptrdiff_t>(blockDim.x) +
           static_cast<std::ptrdiff_t>(threadIdx.x);
  }
  __device__ static std::ptrdiff_t col() {
    return static_cast<std::ptrdiff_t>(blockIdx.y) * static_cast<std::ptrdiff_t>(blockDim.y) +
           static_cast<std::ptrdiff_t>(threadIdx.y);
  }

 private:
  int rows_, cols_;
  unsigned blockX_, blockY_;
};

// n elements, one thread each, N threads a block.
template <unsigned N>
class StaticMap1D : public Map1DBase, public StaticMapBase {
 public:
  explicit StaticMap1D(int n) : n_(n) {}
  dim3 block() const final { return dim3(N, 1, 1); }
  dim3 grid() const final { return grid1D(n_, N); }

  __device__ static std::ptrdiff_t index() { return detail::linearIndex(N); }

 private:
  int n_;
};

// A matrix whose rows, or whose columns, are owned by one thread each, N threads a block.
template <unsigned N>
class StaticRowWiseMap final : public StaticMap1D<N> {
 public:
  StaticRowWiseMap(int rows, int /*cols*/) : StaticMap1D<N>(rows) {}
  __device__ static std::ptrdiff_t row() { return StaticMap1D<N>::index(); }
};
template <unsigned N>
class StaticColumnWiseMap final : public StaticMap1D<N> {
 public:
  StaticColumnWiseMap(int /*rows*/, int cols) : StaticMap1D<N>(cols) {}
  __device__ static std::ptrdiff_t col() { return StaticMap1D<N>::index(); }
};

// One block of N threads, whatever the size of the problem.
template <unsigned N>
class StaticOneBlockMap1D final : public Map1DBase, public StaticMapBase {
 public:
  dim3 block() const override { return dim3(N, 1, 1); }
  dim3 grid() const override { return dim3(1, 1, 1); }

  static constexpr int threads = static_cast<int>(N);
  // The calling thread's number; it owns the elements index(), index() + threads, ...
  __device__ static std::ptrdiff_t index() { return static_cast<std::ptrdiff_t>(threadIdx.x); }
};

// rows x cols elements, one thread each, in blocks of X x Y threads.
template <unsigned X, unsigned Y>
class StaticMap2D : public Map2DBase, public StaticMapBase {
 public:
  StaticMap2D(int rows, int cols) : rows_(rows), cols_(cols) {}
  dim3 block() const final { return dim3(X, Y, 1); }
  dim3 grid() const final { return grid2D(rows_, cols_, block()); }

  __device__ static std::ptrdiff_t row() { return static_cast<std::ptrdiff_t>(blockIdx.x) * X + threadIdx.x; }
  __device__ static std::ptrdiff_t col() { return static_cast<std::ptrdiff_t>(blockIdx.y) * Y + threadIdx.y; }

 private:
  int rows_, cols_;
};

// One triangle of an n x n matrix, diagonal included. The grid covers the whole square; the threads outside
// of the triangle own nothing.
class TriangularMap2D final : public StaticMap2D<16, 16> {
 public:
  explicit TriangularMap2D(int n) : StaticMap2D<16, 16>(n, n) {}
  __device__ static bool owns(bool upper, int n) {
    return row() < n && col() < n && (upper ? row() <= col() : row() >= col());
  }
};

}  // namespace cudalib

#endif
