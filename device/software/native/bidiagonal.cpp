// The two products of a step of the bidiagonal reduction, and all steps of a panel, native. A piece of the
// columns is read from memory once; what the pieces are depends on the launch alone. Sums are the host's, and
// agree with the kernel's to rounding.

#include <algorithm>
#include <array>
#include <cstddef>

#include "device/native_bodies.h"
#include "device/software/src/cublas_tiles.h"
#include "device/software/src/in_turn.h"
#include "device/software/src/sanitizer.h"
#include "ground/reflector.h"

namespace software_device {
namespace native {

namespace {

// y := tau (A^H v + y), x := x - y, w := w + A x. A few columns at a time, which the cache holds.
template <class T>
void multiplyInTurn(int m, int n, const T* a, int ld, const T* v, T tau, T* y, T* x, T* w) {
  if constexpr (!tovi::isComplex<T>)
    if (multiplyInTurnAtOnce(m, n, a, ld, v, tau, y, x, w)) return;
  constexpr std::size_t cached = 0x20000;  // bytes
  constexpr int widest = 64;
  const std::size_t fitting = cached / (sizeof(T) * static_cast<std::size_t>(m));
  const int width = static_cast<int>(std::clamp<std::size_t>(fitting, 8, widest));
  for (int first = 0; first < n; first += width) {
    const int count = std::min(width, n - first);
    const T* const columns = tiles::at(a, 0, first, ld);
    std::array<T, widest + 1> elements;  // of x; without transposition gemv loads one more
    elements.fill(T(0));
    host::gemv('C', m, count, T(1), columns, ld, v, 1, T(1), y + first, 1);
    for (int j = 0; j < count; ++j) {
      y[first + j] *= tau;
      x[first + j] -= y[first + j];
      elements[static_cast<std::size_t>(j)] = x[first + j];
    }
    host::gemv('N', m, count, T(1), columns, ld, elements.data(), 1, T(1), w, 1);
  }
}

}  // namespace

template <class T>
void multiplyBothWays(int pieces, int m, int n, int width, const T* dA, int lda, const T* dV, const T* dTau,
                      T* dY, T* dX, T* dParts, int ldp) {
  const std::array<Extent, 6> operands = {extent(dA, n, host::distance(lda), m),
                                          extent(dV, 1, 0, m),
                                          extent(dTau, 1, 0, 1),
                                          extent(dY, 1, 0, n),
                                          extent(dX, 1, 0, n),
                                          extent(dParts, pieces, host::distance(ldp), m)};
  lendToHost(operands, [&] {
    tiles::forEach(static_cast<std::size_t>(pieces), [&](std::size_t piece) {
      const int i = static_cast<int>(piece), first = std::min(n, i * width),
                count = std::min(width, n - first);
      T* const part = tiles::at(dParts, 0, i, ldp);
      std::fill_n(part, m, T(0));
      multiplyInTurn(m, count, tiles::at(dA, 0, first, lda), lda, dV, *dTau, dY + first, dX + first, part);
    });
  });
}

namespace {

// Some rows, whose sums stay in the cache. Each has the order of the kernel's.
constexpr int runLength = 256;
template <class T>
TOVI_DEVICE_CODE void addRun(int rows, int n, const T* a, std::ptrdiff_t lda, const T* u, tovi::Real<T> beta,
                             T tau, int count, const T* parts, std::ptrdiff_t ldp, T* __restrict__ x) {
  T sums[runLength];
  for (int i = 0; i < rows; ++i) sums[i] = T(0);
  if (tovi::productsLoseDigits(tau, beta)) {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < rows; ++i) sums[i] += a[j * lda + i] * u[j];
    for (int i = 0; i < rows; ++i) sums[i] = tau * sums[i];
  } else if (tau != T(0)) {
    for (int part = 0; part < count; ++part)
      for (int i = 0; i < rows; ++i) sums[i] += parts[part * ldp + i];
    for (int i = 0; i < rows; ++i) sums[i] = a[i] - tovi::dividedBy(beta, sums[i]);
  }
  for (int i = 0; i < rows; ++i) x[i] = tau * x[i] + sums[i];
}

}  // namespace

template <class T>
TOVI_DEVICE_CODE void addReflected(int m, int n, const T* dA, int lda, const T* dU,
                                   const tovi::Real<T>* dBeta, const T* dTau, int count, const T* dParts,
                                   int ldp, T* dX) {
  const T tau = *dTau;
  const tovi::Real<T> beta = *dBeta;
  const int traffic = tovi::productsLoseDigits(tau, beta) ? n : count;
  tiles::forEach(tiles::strips(m, traffic, tiles::leastTraffic, runLength), [&](int first, int rows) {
    for (int i = first; i < first + rows; i += runLength)
      addRun(std::min(runLength, first + rows - i), n, dA + i, lda, dU, beta, tau, count, dParts + i, ldp,
             dX + i);
  });
}

// Each step is that of the separate kernels.
template <class T>
void reducePanel(int steps, int m, int n, const T* dA, int lda, T* dL, int ldl, T* dR, int ldr,
                 tovi::Real<T>* dD, tovi::Real<T>* dE, T* dTauq, T* dTaup, T* room) {
  constexpr int most = 64;
  std::array<T, most + 1> row, products;  // without transposition gemv loads one more
  row.fill(T(0));
  products.fill(T(0));
  const auto step = [&](int i) {
    const int rows = m - i, right = n - i - 1, made = 2 * i;
    const T* const a = tiles::at(dA, i, i + 1, lda);
    T *const v = tiles::at(dL, i, made, ldl), *const x = tiles::at(dL, i + 1, made + 1, ldl);
    T *const y = tiles::at(dR, i + 1, made, ldr), *const u = tiles::at(dR, i + 1, made + 1, ldr);
    const auto takeRow = [&](const T* dM, int ld) {
      for (int k = 0; k < made; ++k) row[static_cast<std::size_t>(k)] = tovi::conj(*tiles::at(dM, i, k, ld));
    };

    takeRow(dR, ldr);
    host::gemv('N', rows, made, T(-1), dL + i, ldl, row.data(), 1, T(1), v, 1);
    makeReflector(rows, v, v + 1, 1, dTauq + i, dD + i);
    host::gemv('C', rows, made, T(1), dL + i, ldl, v, 1, T(0), products.data(), 1);
    std::fill_n(y, right, T(0));
    host::gemv('N', right, made, T(-1), dR + (i + 1), ldr, products.data(), 1, T(1), y, 1);
    takeRow(dL, ldl);
    host::gemv('N', right, made, T(-1), dR + (i + 1), ldr, row.data(), 1, T(1), u, 1);
    std::fill_n(room, rows, T(0));
    multiplyInTurn(rows, right, a, lda, v, dTauq[i], y, u, room);
    makeReflector(right, u, u + 1, 1, dTaup + i, dE + i);
    host::gemv('C', right, made + 1, T(1), dR + (i + 1), ldr, u, 1, T(0), products.data(), 1);
    host::gemv('N', rows - 1, made + 1, T(-1), dL + (i + 1), ldl, products.data(), 1, T(0), x, 1);
    for (int r = 0; r < rows - 1; r += runLength)
      addRun(std::min(runLength, rows - 1 - r), right, a + (r + 1), lda, u, dE[i], dTaup[i], 1,
             room + (r + 1), m, x + r);
  };
  const std::array<Extent, 7> operands = {extent(dA, n, host::distance(lda), m),
                                          extent(dL, 2 * steps, host::distance(ldl), m),
                                          extent(dR, 2 * steps, host::distance(ldr), n),
                                          extent(dD, 1, 0, steps),
                                          extent(dE, 1, 0, steps),
                                          extent(dTauq, 1, 0, steps),
                                          extent(dTaup, 1, 0, steps)};
  lendToHost(operands, [&] {
    for (int i = 0; i < steps; ++i) step(i);
  });
}

#define TOVI_INSTANCES(T)                                     \
  template decltype(multiplyBothWays<T>) multiplyBothWays<T>; \
  template decltype(addReflected<T>) addReflected<T>;         \
  template decltype(reducePanel<T>) reducePanel<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace native
}  // namespace software_device
