#include "device/software/src/both_ways.h"

#if defined(__x86_64__) && defined(__linux__)

#include <cstddef>
#include <cstring>

#include "device/software/src/vectors.h"

namespace software_device {
namespace {

// Some columns, of as many as there are registers for.
template <int columns, class R>
class Group {
 public:
  static constexpr int length = vectorBytes / sizeof(R);

  [[gnu::always_inline]] Group(const R* r, std::size_t ld, const R* x1, const R* x2, R* y)
      : r_(r), ld_(ld), x1_(x1), x2_(x2), y_(y) {}

  // m rows from row i on.
  [[gnu::always_inline]] void multiply(int i, int m) {
    const int end = i + m;
    for (; i + length <= end; i += length) multiplyVector(i, [](int, Vector&) {});
    if (i == end) return;
    if (m >= length) {
      // The last rows, with some that have been multiplied.
      const Lanes fresh = VectorOf<R>::numbers >= i - (end - length);
      multiplyVector(end - length, [&](int, Vector& rj) { rj = fresh ? rj : Vector{}; });
    } else {
      for (; i < end; ++i)
        for (int j = 0; j < columns; ++j) {
          y_[i] += r_[j * ld_ + i] * x2_[j];
          rest_[j] += r_[j * ld_ + i] * x1_[i];
        }
    }
  }
  // A triangle on the diagonal of a symmetric matrix, from row i on. The columns are those of its order.
  [[gnu::always_inline]] void multiplyCorner(bool lower, int i) {
    for (int j = 0; j < columns; ++j) y_[i + j] += r_[j * ld_ + i + j] * x2_[j];
    if constexpr (columns % length == 0) {
      for (int k = 0; k < columns; k += length)
        multiplyVector(i + k, [&](int j, Vector& rj) {
          const Lanes beside = lower ? VectorOf<R>::numbers > j - k : VectorOf<R>::numbers < j - k;
          rj = beside ? rj : Vector{};
        });
    } else {
      for (int j = 0; j < columns; ++j)
        for (int k = lower ? j + 1 : 0; k < (lower ? columns : j); ++k) {
          y_[i + k] += r_[j * ld_ + i + k] * x2_[j];
          rest_[j] += r_[j * ld_ + i + k] * x1_[i + k];
        }
    }
  }
  [[gnu::always_inline]] void addSums(R* z) const {
    for (int j = 0; j < columns; ++j) {
      R sum = 0;
      for (int part = 0; part < length; ++part) sum += sums_[j][part];
      z[j] += sum + rest_[j];
    }
  }

 private:
  using Vector = typename VectorOf<R>::type;
  using Lanes = typename VectorOf<R>::Lanes;

  template <class Select>
  [[gnu::always_inline]] void multiplyVector(int i, const Select& select) {
    Vector x, yi;
    std::memcpy(&x, x1_ + i, sizeof x);
    std::memcpy(&yi, y_ + i, sizeof yi);
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j) {
      Vector rj;
      std::memcpy(&rj, r_ + j * ld_ + i, sizeof rj);
      select(j, rj);
      sums_[j] += rj * x;
      yi += rj * x2_[j];
    }
    std::memcpy(y_ + i, &yi, sizeof yi);
  }

  Vector sums_[columns] = {};
  const R* const r_;
  const std::size_t ld_;
  const R *const x1_, *const x2_;
  R* const y_;
  R rest_[columns] = {};
};

// The columns from j on: a triangle on the diagonal, and what is below or above that.
template <int columns, class R>
[[gnu::always_inline]] inline void multiplyGroup(bool lower, int n, int j, const R* a, std::size_t ld,
                                                 const R* x, R* y) {
  Group<columns, R> group(a + static_cast<std::size_t>(j) * ld, ld, x, x + j, y);
  group.multiplyCorner(lower, j);
  if (lower)
    group.multiply(j + columns, n - j - columns);
  else
    group.multiply(0, j);
  group.addSums(y + j);
}

template <class R>
[[gnu::target("avx2,fma")]] void multiplyByVectors(bool lower, int n, int first, int end, const R* a, int ld,
                                                   const R* x, R* y) {
  const std::size_t step = static_cast<std::size_t>(ld);
  int j = first;
  for (; j + 8 <= end; j += 8) multiplyGroup<8>(lower, n, j, a, step, x, y);
  for (; j + 2 <= end; j += 2) multiplyGroup<2>(lower, n, j, a, step, x, y);
  for (; j < end; ++j) multiplyGroup<1>(lower, n, j, a, step, x, y);
}

}  // namespace

template <class R>
bool multiplyBothWaysAtOnce(bool lower, int n, int first, int end, const R* a, int ld, const R* x, R* y) {
  static const bool provided = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (provided) multiplyByVectors(lower, n, first, end, a, ld, x, y);
  return provided;
}

}  // namespace software_device

#else

namespace software_device {

template <class R>
bool multiplyBothWaysAtOnce(bool, int, int, int, const R*, int, const R*, R*) {
  return false;
}

}  // namespace software_device

#endif

namespace software_device {

template bool multiplyBothWaysAtOnce(bool, int, int, int, const float*, int, const float*, float*);
template bool multiplyBothWaysAtOnce(bool, int, int, int, const double*, int, const double*, double*);

}  // namespace software_device
