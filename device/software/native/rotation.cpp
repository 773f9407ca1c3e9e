// Sequences of rotations of neighbouring columns, native. A piece owns some rows, and makes all rotations
// there. Rows do not meet, so a complex matrix is a real one of twice as many.
//
// Several sequences pass through the columns together, each some rotations behind the one before it: a column
// is loaded for all of them, and in tiles of two sequences stays in registers from rotation to rotation. Two
// rotations that have a column in common keep their order, and every element its bits.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "device/native_bodies.h"
#include "device/software/src/pool.h"

namespace software_device {
namespace native {

namespace {

template <class R, int bytes>
struct Vector {
  typedef R type __attribute__((vector_size(bytes)));
};
template <>
struct Vector<float, sizeof(float)> {
  using type = float;
};
template <>
struct Vector<double, sizeof(double)> {
  using type = double;
};

// In the order in which a sequence passes through the columns: from the left (forward) or from the right,
// where the neighbours x and y of a rotation have changed places.
template <bool forward, class R>
struct Passing {
  const R *c, *s;             // of the first rotation
  std::ptrdiff_t begin, end;  // of the rotations; number k is of the columns k and k + 1
  bool turns;                 // each of them does

  TOVI_DEVICE_CODE __forceinline__ std::ptrdiff_t at(std::ptrdiff_t k) const {
    return forward ? k - begin : begin - k;
  }
  TOVI_DEVICE_CODE __forceinline__ bool has(std::ptrdiff_t k) const {
    return begin <= k && k < end && (turns || c[at(k)] != 1 || s[at(k)] != 0);
  }
  template <int count>
  TOVI_DEVICE_CODE __forceinline__ bool hasAll(std::ptrdiff_t k) const {
    if (k < begin || k + count > end) return false;
    bool all = true;
    if (!turns)
      for (int j = 0; j < count; ++j) all = all && has(k + j);
    return all;
  }
};

// The rotation of one pair, as the kernel writes it.
template <bool forward, class V, class R>
TOVI_DEVICE_CODE __forceinline__ void rotatePair(R c, R s, V& first, V& second) {
  V &x = forward ? first : second, &y = forward ? second : first;
  const V turned = c * y - s * x;
  x = s * y + c * x;
  y = turned;
}

// A tile of some sequences, each with `rotations` rotations: those of the second are one column behind.
template <bool forward, int sequences, int rotations, class R>
struct Tile {
  static constexpr int columns = sequences + rotations;

  R* a;  // the first column that the last sequence rotates
  std::ptrdiff_t step;
  std::array<const R*, sequences> c, s;

  // `rows` rows in vectors of these bytes, so many at a time; the rest in smaller ones.
  template <int bytes, int vectors>
  TOVI_DEVICE_CODE __forceinline__ void rotate(std::ptrdiff_t i, std::ptrdiff_t rows) const {
    constexpr std::ptrdiff_t length = bytes / sizeof(R);
    for (; i + vectors * length <= rows; i += vectors * length) rotateVectors<bytes, vectors>(a + i);
    if constexpr (vectors > 1)
      rotate<bytes, 1>(i, rows);
    else if constexpr (bytes > 16)
      rotate<bytes / 2, 1>(i, rows);
    else if constexpr (bytes > sizeof(R))
      rotate<sizeof(R), 1>(i, rows);
  }

 private:
  template <int bytes, int vectors>
  TOVI_DEVICE_CODE __forceinline__ void rotateVectors(R* first) const {
    using V = typename Vector<R, bytes>::type;
    constexpr std::ptrdiff_t length = bytes / sizeof(R);
    V x[columns][vectors];
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j)
#pragma GCC unroll 8
      for (int v = 0; v < vectors; ++v) std::memcpy(&x[j][v], first + j * step + v * length, sizeof(V));
        // Those that do not wait for each other side by side
#pragma GCC unroll 8
    for (int turn = 0; turn < columns - 1; ++turn)
#pragma GCC unroll 8
      for (int sequence = 0; sequence < sequences; ++sequence) {
        const int k = turn - sequence, column = sequences - 1 - sequence + k;
        if (k < 0 || k >= rotations) continue;
        const R ck = c[sequence][forward ? k : -k], sk = s[sequence][forward ? k : -k];
#pragma GCC unroll 8
        for (int v = 0; v < vectors; ++v) rotatePair<forward>(ck, sk, x[column][v], x[column + 1][v]);
      }
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j)
#pragma GCC unroll 8
      for (int v = 0; v < vectors; ++v) std::memcpy(first + j * step + v * length, &x[j][v], sizeof(V));
  }
};

// Some rows of what is rotated.
template <bool forward, class R>
struct Rows {
  const Passing<forward, R>* sequences;
  int count;
  std::ptrdiff_t rotations;  // of the longest way: from column 0 on
  R* a;                      // column 0
  std::ptrdiff_t step, rows;

  // Rotation k of the first sequence is made when rotation k - q of sequence q is, `length` at a time.
  template <int bytes, int length>
  TOVI_DEVICE_CODE __forceinline__ void rotate() const {
    for (std::ptrdiff_t k = 0; k - (count - 1) < rotations; k += length) {
      constexpr std::ptrdiff_t line = 64 / sizeof(R);
      for (std::ptrdiff_t j = k + length + 1; j <= std::min(k + 2 * length, rotations); ++j)
        for (std::ptrdiff_t i = 0; i < rows; i += line) __builtin_prefetch(a + j * step + i, 1);
      for (int q = 0; q < count; q += 2) {
        const std::ptrdiff_t first = k - q;
        if (q + 1 < count && sequences[q].template hasAll<length>(first) &&
            sequences[q + 1].template hasAll<length>(first - 1)) {
          rotateTile<bytes, 2, length>(q, first);
          continue;
        }
        rotateAlone<bytes, length>(q, first);
        if (q + 1 < count) rotateAlone<bytes, length>(q + 1, first - 1);
      }
    }
  }

 private:
  template <int bytes, int length>
  TOVI_DEVICE_CODE __forceinline__ void rotateAlone(int q, std::ptrdiff_t k) const {
    if (sequences[q].template hasAll<length>(k)) return rotateTile<bytes, 1, length>(q, k);
    for (int j = 0; j < length; ++j)
      if (sequences[q].has(k + j)) rotateTile<bytes, 1, 1>(q, k + j);
  }
  template <int bytes, int together, int length>
  TOVI_DEVICE_CODE __forceinline__ void rotateTile(int q, std::ptrdiff_t k) const {
    Tile<forward, together, length, R> tile{a + (k + 1 - together) * step, step, {}, {}};
    for (int t = 0; t < together; ++t) {
      const Passing<forward, R>& sequence = sequences[q + t];
      tile.c[static_cast<std::size_t>(t)] = sequence.c + sequence.at(k - t);
      tile.s[static_cast<std::size_t>(t)] = sequence.s + sequence.at(k - t);
    }
    tile.template rotate<bytes, 2>(0, rows);
  }
};

// A tile has two vectors of each column in registers: of six columns with 32 of them, of four with 16.
// Without products that are added unrounded, which the kernel does not have either (rotation.cpp is compiled
// with -ffp-contract=off).
template <bool forward, class R>
TOVI_DEVICE_CODE void rotateRows(const Rows<forward, R>& rows) {
  rows.template rotate<16, 2>();
}
#if defined(__x86_64__) && defined(__linux__)
template <bool forward, class R>
[[gnu::target("avx2")]] TOVI_DEVICE_CODE void rotateRowsByAvx2(const Rows<forward, R>& rows) {
  rows.template rotate<32, 2>();
}
template <bool forward, class R>
[[gnu::target("avx512f")]] TOVI_DEVICE_CODE void rotateRowsByAvx512(const Rows<forward, R>& rows) {
  rows.template rotate<64, 4>();
}
template <bool forward, class R>
auto fastest() {
  if (__builtin_cpu_supports("avx512f")) return rotateRowsByAvx512<forward, R>;
  return __builtin_cpu_supports("avx2") ? rotateRowsByAvx2<forward, R> : rotateRows<forward, R>;
}
#else
template <bool forward, class R>
auto fastest() {
  return rotateRows<forward, R>;
}
#endif

template <class R>
TOVI_DEVICE_CODE bool allTurn(const R* c, const R* s, int count) {
  bool all = true;
  for (int k = 0; k < count; ++k) all = all && (c[k] != 1 || s[k] != 0);
  return all;
}

}  // namespace

template <bool forward, class T>
void rotateColumns(int m, const Sweeps<tovi::Real<T>>& sweeps, T* dA, int lda) {
  using R = tovi::Real<T>;
  constexpr std::ptrdiff_t parts = tovi::isComplex<T> ? 2 : 1, line = 64 / sizeof(R), group = 8 * line;
  std::array<Passing<forward, R>, Sweeps<R>::most> sequences;
  const std::ptrdiff_t columns = sweeps.end - sweeps.begin;
  for (int q = 0; q < sweeps.count; ++q) {
    const auto& sweep = sweeps.list[static_cast<std::size_t>(q)];
    const std::ptrdiff_t begin =
        forward ? sweep.first - sweeps.begin : sweeps.end - sweep.first - sweep.count - 1;
    const int start = forward ? 0 : sweep.count - 1;
    sequences[static_cast<std::size_t>(q)] = {sweep.c + start, sweep.s + start, begin, begin + sweep.count,
                                              allTurn(sweep.c, sweep.s, sweep.count)};
  }
  const std::ptrdiff_t rows = parts * m, ld = parts * lda;
  R* const a = reinterpret_cast<R*>(dA) + (forward ? sweeps.begin : sweeps.end - 1) * ld;
  // Pieces of much the same size
  const std::ptrdiff_t pieces = (rows + group - 1) / group,
                       length = (rows + pieces * line - 1) / (pieces * line) * line;
  static const auto rotate = fastest<forward, R>();
  parallelFor(static_cast<std::size_t>(pieces), [&](std::size_t piece) {
    const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(piece) * length;
    if (i < rows)
      rotate({sequences.data(), sweeps.count, columns - 1, a + i, forward ? ld : -ld,
              std::min(length, rows - i)});
  });
}

#define TOVI_INSTANCES(T)                                           \
  template decltype(rotateColumns<true, T>) rotateColumns<true, T>; \
  template decltype(rotateColumns<false, T>) rotateColumns<false, T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)

}  // namespace native
}  // namespace software_device
