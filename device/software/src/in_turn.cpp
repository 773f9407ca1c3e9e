#include "device/software/src/in_turn.h"

#if defined(__x86_64__) && defined(__linux__)

#include <cstddef>
#include <cstring>

#include "device/software/src/vectors.h"

namespace software_device {
namespace {

// The first columns of those that are left, as many at a time as there are registers for: from the left and,
// while the cache has them, from the right.
template <int columns, class R>
[[gnu::always_inline]] inline void multiply(int m, const R* a, std::size_t ld, const R* v, R tau, R* y, R* x,
                                            R* w) {
  using Vector = typename VectorOf<R>::type;
  constexpr int length = vectorBytes / sizeof(R);
  Vector sums[columns] = {};
  int i = 0;
  for (; i + length <= m; i += length) {
    Vector vi;
    std::memcpy(&vi, v + i, sizeof vi);
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j) {
      Vector aj;
      std::memcpy(&aj, a + j * ld + i, sizeof aj);
      sums[j] += aj * vi;
    }
  }
  for (int j = 0; j < columns; ++j) {
    R sum = 0;
    for (int part = 0; part < length; ++part) sum += sums[j][part];
    for (int k = i; k < m; ++k) sum += a[j * ld + k] * v[k];
    y[j] = tau * (sum + y[j]);
    x[j] -= y[j];
  }
  for (i = 0; i + length <= m; i += length) {
    Vector wi;
    std::memcpy(&wi, w + i, sizeof wi);
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j) {
      Vector aj;
      std::memcpy(&aj, a + j * ld + i, sizeof aj);
      wi += aj * x[j];
    }
    std::memcpy(w + i, &wi, sizeof wi);
  }
  for (; i < m; ++i)
    for (int j = 0; j < columns; ++j) w[i] += a[j * ld + i] * x[j];
}

template <class R>
[[gnu::target("avx2,fma")]] void multiplyByVectors(int m, int n, const R* a, int ld, const R* v, R tau, R* y,
                                                   R* x, R* w) {
  const std::size_t step = static_cast<std::size_t>(ld);
  int j = 0;
  for (; j + 8 <= n; j += 8) multiply<8>(m, a + j * step, step, v, tau, y + j, x + j, w);
  for (; j < n; ++j) multiply<1>(m, a + j * step, step, v, tau, y + j, x + j, w);
}

}  // namespace

template <class R>
bool multiplyInTurnAtOnce(int m, int n, const R* a, int ld, const R* v, R tau, R* y, R* x, R* w) {
  static const bool provided = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (provided) multiplyByVectors(m, n, a, ld, v, tau, y, x, w);
  return provided;
}

}  // namespace software_device

#else

namespace software_device {

template <class R>
bool multiplyInTurnAtOnce(int, int, const R*, int, const R*, R, R*, R*, R*) {
  return false;
}

}  // namespace software_device

#endif

namespace software_device {

template bool multiplyInTurnAtOnce(int, int, const float*, int, const float*, float, float*, float*, float*);
template bool multiplyInTurnAtOnce(int, int, const double*, int, const double*, double, double*, double*,
                                   double*);

}  // namespace software_device
