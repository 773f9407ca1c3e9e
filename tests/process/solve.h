// A linear system through the exported function alone.

#ifndef TOVI_TESTS_PROCESS_SOLVE_H
#define TOVI_TESTS_PROCESS_SOLVE_H

#include <tovi.h>

#include <cstddef>
#include <vector>

// The status of the call, or 99 for a wrong solution: of order n, 4 on the diagonal and 1 beside it.
inline int solve(int n) {
  const auto size = static_cast<std::size_t>(n);
  std::vector<float> a(size * size), b(size, 6.0f);
  std::vector<int> pivots(size);
  for (std::size_t i = 0; i < size; ++i) {
    a[i * size + i] = 4;
    if (i > 0) a[i * size + i - 1] = a[(i - 1) * size + i] = 1;
  }
  b.front() = b.back() = n == 1 ? 4.0f : 5.0f;
  const toviStatus status = toviSgesv(n, 1, a.data(), n, pivots.data(), b.data(), n);
  if (status != toviNoError) return status;
  for (const float x : b)
    if (!(x > 0.999f && x < 1.001f)) return 99;
  return 0;
}

#endif
