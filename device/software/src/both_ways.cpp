#include "device/software/src/both_ways.h"

#if defined(__x86_64__) && defined(__linux__)

#include <cstddef>
#include <cstring>

namespace software_device {
namespace {

constexpr int vectorBytes = 32;

template <class R>
struct VectorOf;
template <>
struct VectorOf<float> {
  typedef float type __attribute__((vector_size(vectorBytes)));
};
template <>
struct VectorOf<double> {
  typedef double type __attribute__((vector_size(vectorBytes)));
};

// The first columns of those that are left, as many at a time as there are registers for.
template <int columns, class R>
[[gnu::always_inline]] inline void multiply(int m, const R* r, std::size_t ld, const R* x1, const R* x2, R* y,
                                            R* z) {
  using Vector = typename VectorOf<R>::type;
  constexpr int length = vectorBytes / sizeof(R);
  Vector sums[columns] = {};
  int i = 0;
  for (; i + length <= m; i += length) {
    Vector x, yi;
    std::memcpy(&x, x1 + i, sizeof x);
    std::memcpy(&yi, y + i, sizeof yi);
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j) {
      Vector rj;
      std::memcpy(&rj, r + j * ld + i, sizeof rj);
      sums[j] += rj * x;
      yi += rj * x2[j];
    }
    std::memcpy(y + i, &yi, sizeof yi);
  }
  for (int j = 0; j < columns; ++j) {
    R sum = 0;
    for (int part = 0; part < length; ++part) sum += sums[j][part];
    for (int k = i; k < m; ++k) {
      sum += r[j * ld + k] * x1[k];
      y[k] += r[j * ld + k] * x2[j];
    }
    z[j] += sum;
  }
}

template <class R>
[[gnu::target("avx2,fma")]] void multiplyByVectors(int m, int n, const R* r, int ld, const R* x1, const R* x2,
                                                   R* y, R* z) {
  const std::size_t step = static_cast<std::size_t>(ld);
  int j = 0;
  for (; j + 8 <= n; j += 8) multiply<8>(m, r + j * step, step, x1, x2 + j, y, z + j);
  for (; j < n; ++j) multiply<1>(m, r + j * step, step, x1, x2 + j, y, z + j);
}

}  // namespace

template <class R>
bool multiplyBothWaysAtOnce(int m, int n, const R* r, int ld, const R* x1, const R* x2, R* y, R* z) {
  static const bool provided = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (provided) multiplyByVectors(m, n, r, ld, x1, x2, y, z);
  return provided;
}

}  // namespace software_device

#else

namespace software_device {

template <class R>
bool multiplyBothWaysAtOnce(int, int, const R*, int, const R*, const R*, R*, R*) {
  return false;
}

}  // namespace software_device

#endif

namespace software_device {

template bool multiplyBothWaysAtOnce(int, int, const float*, int, const float*, const float*, float*, float*);
template bool multiplyBothWaysAtOnce(int, int, const double*, int, const double*, const double*, double*,
                                     double*);

}  // namespace software_device
