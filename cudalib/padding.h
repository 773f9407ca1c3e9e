// The leading dimension of device matrices that the device BLAS works on: rows rounded up to whole padding
// units, and one unit more where consecutive columns would otherwise start in the same memory partition.

#ifndef TOVI_CUDALIB_PADDING_H
#define TOVI_CUDALIB_PADDING_H

#include <cstddef>

#include "ground/complex.h"

namespace tovi {

// Elements, for levels 10 to 13 and for all others. Measured, deliberately not monotone in the element's
// size.
template <class T>
struct PaddingUnit;
template <>
struct PaddingUnit<float> {
  static constexpr std::size_t first = 32, other = 96;
};
template <>
struct PaddingUnit<double> {
  static constexpr std::size_t first = 48, other = 64;
};
template <>
struct PaddingUnit<Complex<float>> {
  static constexpr std::size_t first = 32, other = 64;
};
template <>
struct PaddingUnit<Complex<double>> {
  static constexpr std::size_t first = 48, other = 32;
};
template <>
struct PaddingUnit<int> : PaddingUnit<float> {};

template <class T>
constexpr std::size_t paddingUnit(int level) {
  return level >= 10 && level <= 13 ? PaddingUnit<T>::first : PaddingUnit<T>::other;
}

// Elements from one pass over all memory partitions to the next.
template <class T>
constexpr std::size_t partitionSpan(unsigned partitions) {
  return partitions * std::size_t{256} / sizeof(T);
}

template <class T>
constexpr std::size_t paddedLeadingDimension(std::size_t rows, int level, unsigned partitions) {
  const std::size_t unit = paddingUnit<T>(level);
  const std::size_t rest = rows % unit;
  const std::size_t ld = rest == 0 ? rows : rows + (unit - rest);
  return ld % partitionSpan<T>(partitions) == 0 ? ld + unit : ld;
}

}  // namespace tovi

#endif
