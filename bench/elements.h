// The element types of the exported functions: their parts, and random numbers of them.

#ifndef TOVI_BENCH_ELEMENTS_H
#define TOVI_BENCH_ELEMENTS_H

#include <algorithm>
#include <cstddef>
#include <random>
#include <type_traits>
#include <vector>

#include "include/tovi.h"

namespace bench {

template <class T>
struct RealOf {
  using type = T;
};
template <>
struct RealOf<toviFloatComplex> {
  using type = float;
};
template <>
struct RealOf<toviDoubleComplex> {
  using type = double;
};
template <class T>
using Real = typename RealOf<T>::type;
template <class T>
constexpr bool isComplex = !std::is_same_v<T, Real<T>>;
template <class T>
constexpr bool isDouble = std::is_same_v<Real<T>, double>;

// An operation of a complex type counts as four.
template <class T>
constexpr double weight = isComplex<T> ? 4 : 1;

// Of either library's types.
template <class T>
T number(double x) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(x);
  } else {
    using Part = std::conditional_t<sizeof(T) == 2 * sizeof(float), float, double>;
    return {static_cast<Part>(x), 0};
  }
}

inline std::size_t elements(int rows, int cols) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

template <class T>
std::vector<T> randomElements(int rows, int cols, unsigned seed = 1) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<Real<T>> uniform(-1, 1);
  std::vector<T> x(elements(rows, cols));
  auto* const parts = reinterpret_cast<Real<T>*>(x.data());
  std::generate(parts, parts + x.size() * sizeof(T) / sizeof(Real<T>), [&] { return uniform(engine); });
  return x;
}

// The elements of work space that a Fortran routine has asked for in the first of them.
template <class T>
int spaceWanted(const T& first) {
  if constexpr (isComplex<T>)
    return static_cast<int>(first.real);
  else
    return static_cast<int>(first);
}

}  // namespace bench

#endif
