// Matrix transposition, native. A piece of work is a block of 1 KiB a side, or a pair of blocks for the
// transposition in place: small enough for the caches and for the pages that a processor knows by heart.
// Inside it goes tile by tile: a tile of two cache lines a side is turned into a buffer, and the buffer goes
// out column by column, so that every line of memory is touched once and whole, whatever the leading
// dimensions.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "device/software/native/bodies.h"
#include "device/software/src/pool.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define TOVI_TRANSPOSE_SSE2 1
#endif

namespace software_device {
namespace native {

namespace {

template <class T>
constexpr int tileEdge = static_cast<int>(128 / sizeof(T));
template <class T>
constexpr int blockEdge = 8 * tileEdge<T>;

// The transpose of a tile of A: column i of the result stands in line[i].
template <class T>
struct alignas(64) Tile {
  T line[tileEdge<T>][tileEdge<T>];
};

template <class T>
struct Matrix {
  T* data;
  int ld;
  T* at(int i, int j) const { return data + (static_cast<std::ptrdiff_t>(j) * ld + i); }
};

template <bool conj, class T>
TOVI_DEVICE_CODE inline T turned(T x) {
  if constexpr (conj)
    return tovi::conj(x);
  else
    return x;
}

// --- Tiles at the edge of the matrix: rows x cols of A
template <bool conj, class T>
TOVI_DEVICE_CODE void load(Tile<T>& tile, const T* a, std::ptrdiff_t ld, int rows, int cols) {
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) tile.line[i][j] = turned<conj>(a[j * ld + i]);
}
template <class T>
TOVI_DEVICE_CODE void store(const Tile<T>& tile, T* b, std::ptrdiff_t ld, int rows, int cols) {
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j) b[i * ld + j] = tile.line[i][j];
}

#ifdef TOVI_TRANSPOSE_SSE2

// --- Whole tiles, 16 bytes at a time
// The sign bits that conjugation flips
template <bool conj, class T>
inline __m128 signs() {
  if (!conj || !tovi::isComplex<T>) return _mm_setzero_ps();
  return sizeof(T) == 8 ? _mm_setr_ps(0.f, -0.f, 0.f, -0.f) : _mm_castpd_ps(_mm_setr_pd(0.0, -0.0));
}

// Turns the square of 16 bytes a side whose columns start at a, ld elements apart, into lines of the tile.
template <class T>
TOVI_DEVICE_CODE inline void turnSquare(const float* a, std::ptrdiff_t ld, float* line,
                                        [[maybe_unused]] __m128 flip) {
  [[maybe_unused]] constexpr std::ptrdiff_t next = 128 / sizeof(float);
  if constexpr (sizeof(T) == 4) {
    __m128 x0 = _mm_loadu_ps(a), x1 = _mm_loadu_ps(a + ld), x2 = _mm_loadu_ps(a + 2 * ld),
           x3 = _mm_loadu_ps(a + 3 * ld);
    _MM_TRANSPOSE4_PS(x0, x1, x2, x3);
    _mm_store_ps(line, x0);
    _mm_store_ps(line + next, x1);
    _mm_store_ps(line + 2 * next, x2);
    _mm_store_ps(line + 3 * next, x3);
  } else if constexpr (sizeof(T) == 8) {
    const __m128 x0 = _mm_loadu_ps(a), x1 = _mm_loadu_ps(a + 2 * ld);
    _mm_store_ps(line, _mm_xor_ps(_mm_movelh_ps(x0, x1), flip));
    _mm_store_ps(line + next, _mm_xor_ps(_mm_movehl_ps(x1, x0), flip));
  } else {
    _mm_store_ps(line, _mm_xor_ps(_mm_loadu_ps(a), flip));
  }
}

template <bool conj, class T>
TOVI_DEVICE_CODE void loadWhole(Tile<T>& tile, const T* a, std::ptrdiff_t ld) {
  constexpr int side = static_cast<int>(16 / sizeof(T));
  const __m128 flip = signs<conj, T>();
  for (int j = 0; j < tileEdge<T>; j += side)
    for (int i = 0; i < tileEdge<T>; i += side)
      turnSquare<T>(reinterpret_cast<const float*>(a + j * ld + i), ld,
                    reinterpret_cast<float*>(&tile.line[i][j]), flip);
}
template <class T>
TOVI_DEVICE_CODE void storeWhole(const Tile<T>& tile, T* b, std::ptrdiff_t ld) {
  for (int i = 0; i < tileEdge<T>; ++i) {
    const auto* from = reinterpret_cast<const float*>(tile.line[i]);
    auto* to = reinterpret_cast<float*>(b + i * ld);
    for (int k = 0; k < 32; k += 4) _mm_storeu_ps(to + k, _mm_load_ps(from + k));
  }
}

// Asks for the lines of the tile at a, which comes next, while the present one is being written: a processor
// does not foresee such jumps by itself. Forced inline: GCC drops calls of a function that does nothing else.
template <class T>
__forceinline__ void foretell(const T* a, std::ptrdiff_t ld, int cols) {
  for (int j = 0; j < cols; ++j) {
    const auto* column = reinterpret_cast<const char*>(a + j * ld);
    _mm_prefetch(column, _MM_HINT_T0);
    _mm_prefetch(column + 64, _MM_HINT_T0);
    if (reinterpret_cast<std::uintptr_t>(column) % 64 != 0) _mm_prefetch(column + 127, _MM_HINT_T0);
  }
}

#else

template <class T>
inline void foretell(const T*, std::ptrdiff_t, int) {}

template <bool conj, class T>
TOVI_DEVICE_CODE void loadWhole(Tile<T>& tile, const T* a, std::ptrdiff_t ld) {
  load<conj>(tile, a, ld, tileEdge<T>, tileEdge<T>);
}
template <class T>
TOVI_DEVICE_CODE void storeWhole(const Tile<T>& tile, T* b, std::ptrdiff_t ld) {
  store(tile, b, ld, tileEdge<T>, tileEdge<T>);
}

#endif

template <bool conj, class T>
void loadTile(Tile<T>& tile, const T* a, int ld, int rows, int cols) {
  if (rows == tileEdge<T> && cols == tileEdge<T>)
    loadWhole<conj>(tile, a, ld);
  else
    load<conj>(tile, a, ld, rows, cols);
}
template <class T>
void storeTile(const Tile<T>& tile, T* b, int ld, int rows, int cols) {
  if (rows == tileEdge<T> && cols == tileEdge<T>)
    storeWhole(tile, b, ld);
  else
    store(tile, b, ld, rows, cols);
}

// An extent in pieces of `size`, the last one shorter.
struct Steps {
  int extent, size;
  int count() const { return extent / size + (extent % size != 0); }
  int first(int step) const { return step * size; }
  int length(int step) const { return std::min(size, extent - step * size); }
};

}  // namespace

template <bool conj, class T>
void transpose(T* dB, int ldb, const T* dA, int lda, int rows, int cols) {
  const Matrix<const T> a = {dA, lda};
  const Matrix<T> b = {dB, ldb};
  const Steps down = {rows, blockEdge<T>}, across = {cols, blockEdge<T>};
  parallelFor(
      static_cast<std::size_t>(down.count()) * static_cast<std::size_t>(across.count()),
      [&](std::size_t piece) {
        Tile<T> tile;
        const auto columns = static_cast<std::size_t>(across.count());
        const int p = static_cast<int>(piece / columns), q = static_cast<int>(piece % columns);
        const Steps tilesDown = {down.length(p), tileEdge<T>}, tilesAcross = {across.length(q), tileEdge<T>};
        for (int s = 0; s < tilesDown.count(); ++s)
          for (int t = 0; t < tilesAcross.count(); ++t) {
            const int i = down.first(p) + tilesDown.first(s), r = tilesDown.length(s);
            const int j = across.first(q) + tilesAcross.first(t), c = tilesAcross.length(t);
            loadTile<conj>(tile, a.at(i, j), lda, r, c);
            if (t + 1 < tilesAcross.count()) {
              foretell(a.at(i, j + c), lda, tilesAcross.length(t + 1));
              foretell(b.at(j + c, i), ldb, r);
            }
            storeTile(tile, b.at(j, i), ldb, r, c);
          }
      });
}

template <bool conj, class T>
void transposeInplace(T* dA, int lda, int n) {
  const Matrix<T> a = {dA, lda};
  const Steps blocks = {n, blockEdge<T>};
  const auto count = static_cast<std::size_t>(blocks.count());
  parallelFor(count * (count + 1) / 2, [&](std::size_t piece) {
    Tile<T> tile, mirror;
    int q = 0;  // the piece's block (p, q), p <= q, counted along the columns of the upper triangle
    std::size_t rest = piece;
    while (rest > static_cast<std::size_t>(q)) rest -= static_cast<std::size_t>(++q);
    const int p = static_cast<int>(rest);
    const Steps tilesDown = {blocks.length(p), tileEdge<T>}, tilesAcross = {blocks.length(q), tileEdge<T>};
    for (int s = 0; s < tilesDown.count(); ++s)
      for (int t = p == q ? s : 0; t < tilesAcross.count(); ++t) {
        const int i = blocks.first(p) + tilesDown.first(s), r = tilesDown.length(s);
        const int j = blocks.first(q) + tilesAcross.first(t), c = tilesAcross.length(t);
        loadTile<conj>(tile, a.at(i, j), lda, r, c);
        if (t + 1 < tilesAcross.count()) {
          foretell(a.at(i, j + c), lda, tilesAcross.length(t + 1));
          foretell(a.at(j + c, i), lda, r);
        }
        if (i != j) {
          loadTile<conj>(mirror, a.at(j, i), lda, c, r);
          storeTile(mirror, a.at(i, j), lda, c, r);
        }
        storeTile(tile, a.at(j, i), lda, r, c);
      }
  });
}

template void transpose<false>(float*, int, const float*, int, int, int);
template void transpose<true>(float*, int, const float*, int, int, int);
template void transpose<false>(double*, int, const double*, int, int, int);
template void transpose<true>(double*, int, const double*, int, int, int);
template void transpose<false>(FloatComplex*, int, const FloatComplex*, int, int, int);
template void transpose<true>(FloatComplex*, int, const FloatComplex*, int, int, int);
template void transpose<false>(DoubleComplex*, int, const DoubleComplex*, int, int, int);
template void transpose<true>(DoubleComplex*, int, const DoubleComplex*, int, int, int);

template void transposeInplace<false>(float*, int, int);
template void transposeInplace<true>(float*, int, int);
template void transposeInplace<false>(double*, int, int);
template void transposeInplace<true>(double*, int, int);
template void transposeInplace<false>(FloatComplex*, int, int);
template void transposeInplace<true>(FloatComplex*, int, int);
template void transposeInplace<false>(DoubleComplex*, int, int);
template void transposeInplace<true>(DoubleComplex*, int, int);

}  // namespace native
}  // namespace software_device
