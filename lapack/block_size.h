// Block sizes of the blocked factorizations, from the compute level of the executing device.

#ifndef TOVI_LAPACK_BLOCK_SIZE_H
#define TOVI_LAPACK_BLOCK_SIZE_H

#include <type_traits>

#include "cudalib/device_table.h"
#include "ground/complex.h"

namespace tovi::lapack {

// Width of a panel of reflectors; the first generation of devices (capability 1.0 to 1.3) takes narrower
// ones.
template <class T>
int reflectorPanelWidth() {
  if (cudalib::smallBlocks()) return 32;
  return isComplex<T> ? 64 : 96;
}

// Width of a panel of the LU factorization.
template <class T>
int luPanelWidth() {
  return 2 * reflectorPanelWidth<T>();
}

// Order of a diagonal block of the Cholesky factorization: the host has a triangle to factor, no panel.
template <class T>
int choleskyBlockWidth() {
  if (cudalib::smallBlocks()) return 32;
  return std::is_same_v<T, float> ? 96 : 64;
}

}  // namespace tovi::lapack

#endif
