// Vectors of 32 bytes, which AVX2 has registers for.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_VECTORS_H
#define TOVI_DEVICE_SOFTWARE_SRC_VECTORS_H

namespace software_device {

constexpr int vectorBytes = 32;

template <class R>
struct VectorOf;
template <>
struct VectorOf<float> {
  typedef float type __attribute__((vector_size(vectorBytes)));
  typedef int Lanes __attribute__((vector_size(vectorBytes)));
  static constexpr Lanes numbers = {0, 1, 2, 3, 4, 5, 6, 7};
};
template <>
struct VectorOf<double> {
  typedef double type __attribute__((vector_size(vectorBytes)));
  typedef long long Lanes __attribute__((vector_size(vectorBytes)));
  static constexpr Lanes numbers = {0, 1, 2, 3};
};

}  // namespace software_device

#endif
