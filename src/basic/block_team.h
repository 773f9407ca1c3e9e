// The threads of a block as the owners of the vector that a reflector is made of (ground/reflector.h).

#ifndef TOVI_BASIC_BLOCK_TEAM_H
#define TOVI_BASIC_BLOCK_TEAM_H

#include <cstddef>

#include "cudalib/maps.h"
#include "ground/scalars.h"
#include "src/basic/addressing.h"

namespace tovi {

// The threads of a block, each of which owns every Map::threads-th element of x. Sums of the threads' parts
// are taken by all threads, in the same order.
template <class Map, class R>
struct BlockTeam {
  R* parts;  // in shared memory
  bool used = false;

  template <class T>
  __device__ R sumOfSquares(int n, const T* x, int incx) {
    R sum = 0;
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads) sum += squareOf(element(x, incx, i));
    share(sum);
    return sumOfParts();
  }
  template <class T>
  __device__ R sumOfSquares(int n, const T* x, int incx, R divisor) {
    R sum = 0;
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads)
      sum += squareOf(dividedBy(divisor, element(x, incx, i)));
    share(sum);
    return sumOfParts();
  }
  template <class T>
  __device__ R greatestPart(int n, const T* x, int incx) {
    R greatest = 0;
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads)
      greatest = greaterOf(greatest, greatestPartOf(element(x, incx, i)));
    share(greatest);
    for (int t = 0; t < Map::threads; ++t) greatest = greaterOf(greatest, parts[t]);
    return greatest;
  }
  template <class T>
  __device__ void scale(int n, T* x, int incx, T factor) {
    for (std::ptrdiff_t i = Map::index(); i < n; i += Map::threads) element(x, incx, i) *= factor;
  }
  __device__ bool leads() const { return Map::index() == 0; }

 private:
  __device__ void share(R part) {
    if (used) __syncthreads();  // somebody may still be reading the parts of the last sum
    used = true;
    parts[Map::index()] = part;
    __syncthreads();
  }
  __device__ R sumOfParts() const {
    R sum = 0;
    for (int t = 0; t < Map::threads; ++t) sum += parts[t];
    return sum;
  }
};

}  // namespace tovi

#endif
