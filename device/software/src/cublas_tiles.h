// The BLAS of the software device on all its processors: each routine is cut into tiles of the result, which
// the host BLAS computes one by one. What the tiles are depends on the problem alone, never on who computes
// them, and the inner dimension is never cut: the bits of a result are the same with any number of workers.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_CUBLAS_TILES_H
#define TOVI_DEVICE_SOFTWARE_SRC_CUBLAS_TILES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "device/software/src/both_ways.h"
#include "device/software/src/pool.h"
#include "host/blas.h"

namespace software_device {
namespace tiles {

// An extent in equal pieces; only the last may be shorter.
class Cut {
 public:
  // About as many pieces as wanted, of a multiple of unit elements each.
  Cut(int extent, int pieces, int unit) : extent_(extent) {
    const long long least = (static_cast<long long>(extent) + pieces - 1) / pieces;
    size_ = std::min(static_cast<long long>(extent), (least + unit - 1) / unit * unit);
  }
  int count() const { return size_ == 0 ? 0 : static_cast<int>((extent_ + size_ - 1) / size_); }
  int first(int piece) const { return static_cast<int>(piece * size_); }
  int length(int piece) const { return static_cast<int>(std::min(size_, extent_ - piece * size_)); }

 private:
  long long extent_, size_;
};

constexpr int vectorUnit = 16;     // pieces start where the host BLAS's inner loops like to
constexpr int enough = 16;         // tiles, for as many processors to share
constexpr int greatestEdge = 512;  // a tile's operands stay within a processor's cache
constexpr int smallestEdge = 48;   // below, packing the operands costs more than another processor gives
constexpr double leastWork =
    0x1p20;  // multiply-adds of a float tile: several times what handing it over costs
constexpr double leastTraffic = 0x1p16;  // elements that a piece of a memory-bound routine reads

// The cost of a multiply-add, a float's being 1.
template <class T>
constexpr double weight = (tovi::isComplex<T> ? 4.0 : 1.0) *
                          (sizeof(tovi::Real<T>) == sizeof(double) ? 2.0 : 1.0);

// An m x n result each of whose elements costs work.
struct Grid {
  Cut rows, cols;
  std::size_t count() const {
    return static_cast<std::size_t>(rows.count()) * static_cast<std::size_t>(cols.count());
  }
};
inline Grid grid(int m, int n, double work) {
  int down = 1, across = 1;
  while (true) {
    const double height = static_cast<double>(m) / down, width = static_cast<double>(n) / across;
    const double longer = std::max(height, width);
    if (height * width * work < 2 * leastWork) break;
    if (longer < 2 * smallestEdge && down * across > 1) break;  // a second processor gets its half
    if (down * across >= enough && longer <= greatestEdge) break;
    (height >= width ? down : across) *= 2;
  }
  return {Cut(m, down, vectorUnit), Cut(n, across, vectorUnit)};
}

// n lines that can be computed one without the other, each costing work.
inline Cut strips(int n, double work, double least, int narrowest) {
  int pieces = 1;
  while (true) {
    const double width = static_cast<double>(n) / pieces;
    if (width * work < 2 * least || width < 2 * narrowest) break;
    if (pieces >= enough && width <= greatestEdge) break;
    pieces *= 2;
  }
  return Cut(n, pieces, vectorUnit);
}

// One triangle of an n x n result: blocks on and off its diagonal.
inline Cut blocks(int n, double work) {
  int pieces = 1;
  while (true) {
    const double edge = static_cast<double>(n) / pieces;
    if (edge * edge * work < 2 * leastWork || edge < 2 * smallestEdge) break;
    if (pieces * (pieces + 1) / 2 >= enough && edge <= greatestEdge) break;
    ++pieces;
  }
  return Cut(n, pieces, vectorUnit);
}

// body(0) ... body(count - 1). A host BLAS that brings its own threads gets one tile after the other.
template <class Body>
void forEach(std::size_t count, const Body& body) {
#ifdef TOVI_HOST_BLAS_THREADS
  for (std::size_t tile = 0; tile < count; ++tile) body(tile);
#else
  parallelFor(count, body);
#endif
}
template <class Body>
void forEach(const Cut& cut, const Body& body) {
  forEach(static_cast<std::size_t>(cut.count()), [&](std::size_t i) {
    const int piece = static_cast<int>(i);
    body(cut.first(piece), cut.length(piece));
  });
}

template <class T>
T* at(T* a, int i, int j, int ld) {
  return a + (static_cast<std::ptrdiff_t>(j) * ld + i);
}
// Where row i of op(A) starts, and where its column j does.
template <class T>
const T* rowOf(char trans, const T* a, int i, int ld) {
  return tovi::isOption(trans, 'N') ? at(a, i, 0, ld) : at(a, 0, i, ld);
}
template <class T>
const T* columnOf(char trans, const T* a, int j, int ld) {
  return tovi::isOption(trans, 'N') ? at(a, 0, j, ld) : at(a, j, 0, ld);
}
inline bool isLeft(char side) { return tovi::isOption(side, 'L'); }

// C_ij := alpha op(A)_i op(B)_j + beta C_ij
template <class T>
void gemm(char transa, char transb, int m, int n, int k, T alpha, const T* dA, int lda, const T* dB, int ldb,
          T beta, T* dC, int ldc) {
  const Grid tiles = grid(m, n, std::max(k, 1) * weight<T>);
  forEach(tiles.count(), [&](std::size_t tile) {
    const int down = tiles.rows.count(), p = static_cast<int>(tile) % down, q = static_cast<int>(tile) / down;
    const int i = tiles.rows.first(p), j = tiles.cols.first(q);
    host::gemm(transa, transb, tiles.rows.length(p), tiles.cols.length(q), k, alpha,
               rowOf(transa, dA, i, lda), lda, columnOf(transb, dB, j, ldb), ldb, beta, at(dC, i, j, ldc),
               ldc);
  });
}

// The triangle stays whole; columns of B (side L) or rows of it (side R) are independent.
template <class T, class Routine>
void triangular(Routine routine, char side, int m, int n, T* dB, int ldb) {
  const double order = isLeft(side) ? m : n;
  forEach(strips(isLeft(side) ? n : m, order * order / 2 * weight<T>, leastWork, smallestEdge),
          [&](int first, int count) {
            if (isLeft(side))
              routine(m, count, at(dB, 0, first, ldb));
            else
              routine(count, n, at(dB, first, 0, ldb));
          });
}
template <class T>
void trsm(char side, char uplo, char trans, char diag, int m, int n, T alpha, const T* dA, int lda, T* dB,
          int ldb) {
  triangular([&](int rows, int cols,
                 T* b) { host::trsm(side, uplo, trans, diag, rows, cols, alpha, dA, lda, b, ldb); },
             side, m, n, dB, ldb);
}
template <class T>
void trmm(char side, char uplo, char trans, char diag, int m, int n, T alpha, const T* dA, int lda, T* dB,
          int ldb) {
  triangular([&](int rows, int cols,
                 T* b) { host::trmm(side, uplo, trans, diag, rows, cols, alpha, dA, lda, b, ldb); },
             side, m, n, dB, ldb);
}

// The symmetric matrix stays whole; columns of C (side L) or rows of it (side R) are independent.
template <bool hermitian, class T>
void symm(char side, char uplo, int m, int n, T alpha, const T* dA, int lda, const T* dB, int ldb, T beta,
          T* dC, int ldc) {
  const double order = isLeft(side) ? m : n;
  forEach(strips(isLeft(side) ? n : m, order * order * weight<T>, leastWork, smallestEdge),
          [&](int first, int count) {
            const int i = isLeft(side) ? 0 : first, j = isLeft(side) ? first : 0;
            const int rows = isLeft(side) ? m : count, cols = isLeft(side) ? count : n;
            if constexpr (hermitian)
              host::hemm(side, uplo, rows, cols, alpha, dA, lda, at(dB, i, j, ldb), ldb, beta,
                         at(dC, i, j, ldc), ldc);
            else
              host::symm(side, uplo, rows, cols, alpha, dA, lda, at(dB, i, j, ldb), ldb, beta,
                         at(dC, i, j, ldc), ldc);
          });
}

// One triangle of C block by block: diagonal(i, order), and offDiagonal(i, rows, j, cols) for the blocks
// beside it.
template <class T, class Diagonal, class OffDiagonal>
void triangle(char uplo, int n, double work, const Diagonal& diagonal, const OffDiagonal& offDiagonal) {
  const Cut cut = blocks(n, work * weight<T>);
  const int count = cut.count(), beside = count * (count - 1) / 2;
  forEach(static_cast<std::size_t>(beside) + static_cast<std::size_t>(count), [&](std::size_t tile) {
    int t = static_cast<int>(tile);
    if (t >= beside) return diagonal(cut.first(t - beside), cut.length(t - beside));
    int low = 1;  // block row `low` of the lower triangle has `low` blocks beside the diagonal
    while (t >= low) t -= low++;
    const int p = tovi::isOption(uplo, 'L') ? low : t, q = tovi::isOption(uplo, 'L') ? t : low;
    offDiagonal(cut.first(p), cut.length(p), cut.first(q), cut.length(q));
  });
}

// C_ij := alpha op(A)_i op(A)_j^T + beta C_ij; ^H, and alpha and beta real, for the Hermitian form
template <bool hermitian, class T, class Factor>
void syrk(char uplo, char trans, int n, int k, Factor alpha, const T* dA, int lda, Factor beta, T* dC,
          int ldc) {
  const char turned = hermitian ? 'C' : 'T', plain = tovi::isOption(trans, 'N') ? 'N' : turned,
             other = plain == 'N' ? turned : 'N';
  triangle<T>(
      uplo, n, std::max(k, 1),
      [&](int i, int order) {
        const T* a = rowOf(trans, dA, i, lda);
        if constexpr (hermitian)
          host::herk(uplo, trans, order, k, alpha, a, lda, beta, at(dC, i, i, ldc), ldc);
        else
          host::syrk(uplo, trans, order, k, alpha, a, lda, beta, at(dC, i, i, ldc), ldc);
      },
      [&](int i, int rows, int j, int cols) {
        host::gemm(plain, other, rows, cols, k, T(alpha), rowOf(trans, dA, i, lda), lda,
                   rowOf(trans, dA, j, lda), lda, T(beta), at(dC, i, j, ldc), ldc);
      });
}

// C_ij := alpha op(A)_i op(B)_j^T + alpha op(B)_i op(A)_j^T + beta C_ij; with ^H, conj(alpha) in the second
// product and a real beta for the Hermitian form
template <bool hermitian, class T, class Beta>
void syr2k(char uplo, char trans, int n, int k, T alpha, const T* dA, int lda, const T* dB, int ldb,
           Beta beta, T* dC, int ldc) {
  const char turned = hermitian ? 'C' : 'T', plain = tovi::isOption(trans, 'N') ? 'N' : turned,
             other = plain == 'N' ? turned : 'N';
  triangle<T>(
      uplo, n, 2.0 * std::max(k, 1),
      [&](int i, int order) {
        const T *a = rowOf(trans, dA, i, lda), *b = rowOf(trans, dB, i, ldb);
        if constexpr (hermitian)
          host::her2k(uplo, trans, order, k, alpha, a, lda, b, ldb, beta, at(dC, i, i, ldc), ldc);
        else
          host::syr2k(uplo, trans, order, k, alpha, a, lda, b, ldb, beta, at(dC, i, i, ldc), ldc);
      },
      [&](int i, int rows, int j, int cols) {
        T* c = at(dC, i, j, ldc);
        host::gemm(plain, other, rows, cols, k, alpha, rowOf(trans, dA, i, lda), lda,
                   rowOf(trans, dB, j, ldb), ldb, T(beta), c, ldc);
        host::gemm(plain, other, rows, cols, k, hermitian ? tovi::conj(alpha) : alpha,
                   rowOf(trans, dB, i, ldb), ldb, rowOf(trans, dA, j, lda), lda, T(1), c, ldc);
      });
}

// Element i of a vector as the BLAS takes it: with a negative increment the first element stands last. The
// pointer that a piece [first, first + count) of an n-vector is to be called with:
template <class T>
T* piece(T* x, int inc, int n, int first, int count) {
  return x + host::distance(inc) * static_cast<std::size_t>(inc < 0 ? n - first - count : first);
}

// A vector x whose elements are no neighbours is gathered once for all pieces. Without transposition a
// complex one always is: OpenBLAS 0.3.21 loads the element that would come after it, for which there is room
// here. The number of elements that gemv needs room for:
template <class T>
std::size_t gemvRoom(char trans, int m, int n, T alpha, int incx) {
  const bool plain = tovi::isOption(trans, 'N');
  if (alpha == T(0) || (incx == 1 && !(plain && tovi::isComplex<T>))) return 0;
  return static_cast<std::size_t>(plain ? n : m) + 1;
}

// y_i := alpha op(A)_i x + beta y_i
template <class T>
void gemv(char trans, int m, int n, T alpha, const T* dA, int lda, const T* dx, int incx, T beta, T* dy,
          int incy, T* room) {
  const bool plain = tovi::isOption(trans, 'N');
  const int length = plain ? m : n;
  if (room != nullptr) {
    host::copy(plain ? n : m, dx, incx, room, 1);
    dx = room;
    incx = 1;
  }
  const int narrowest = plain ? 256 : 1;  // rows of a column-major matrix are walked in runs
  forEach(strips(length, static_cast<double>(plain ? n : m), leastTraffic, narrowest),
          [&](int first, int count) {
            host::gemv(trans, plain ? count : m, plain ? n : count, alpha,
                       at(dA, plain ? first : 0, plain ? 0 : first, lda), lda, dx, incx, beta,
                       piece(dy, incy, length, first, count), incy);
          });
}

// The columns of a triangle of order n in pieces of about the same area. The lower triangle's first columns
// are its longest, the upper one's its last.
class TriangleCut {
 public:
  TriangleCut(char uplo, int n) : count_(pieces(n)) {
    const bool lower = tovi::isOption(uplo, 'L');
    for (int i = 1; i < count_; ++i) {
      const double share = static_cast<double>(lower ? count_ - i : i) / count_;
      const int columns = static_cast<int>(n * std::sqrt(share)) / vectorUnit * vectorUnit;
      starts_[static_cast<std::size_t>(i)] = lower ? n - columns : columns;
    }
    starts_[static_cast<std::size_t>(count_)] = n;
  }
  static int pieces(int n) {
    return std::clamp(static_cast<int>(std::min(0.5 * n * n / leastTraffic, 0x1p10)), 1, enough);
  }
  int count() const { return count_; }
  int first(int piece) const { return starts_[static_cast<std::size_t>(piece)]; }
  int end(int piece) const { return starts_[static_cast<std::size_t>(piece) + 1]; }

 private:
  int count_;
  std::array<int, enough + 1> starts_{};
};

// For the elements of x, with one more as in gemv, and for each piece's contributions to y.
template <class T>
std::size_t hemvRoom(int n, T alpha) {
  if (alpha == T(0)) return 0;
  return static_cast<std::size_t>(n) * static_cast<std::size_t>(TriangleCut::pieces(n) + 1) + 1;
}

// y := y + R x2 and z := z + R^H x1, R m x n, a few columns at a time, which the cache holds: R comes from
// memory once.
template <class T>
void multiplyBothWays(int m, int n, const T* r, int ld, const T* x1, const T* x2, T* y, T* z) {
  constexpr std::size_t cached = 0x20000;  // bytes
  const std::size_t fitting = cached / (sizeof(T) * static_cast<std::size_t>(m)) / 8 * 8;
  const int width = static_cast<int>(std::clamp<std::size_t>(fitting, 8, 64));
  for (int j = 0; j < n; j += width) {
    const int count = std::min(width, n - j);
    host::gemv('N', m, count, T(1), at(r, 0, j, ld), ld, x2 + j, 1, T(1), y, 1);
    host::gemv('C', m, count, T(1), at(r, 0, j, ld), ld, x1, 1, T(1), z + j, 1);
  }
}

// y := alpha A x + beta y, A Hermitian. A piece of A's columns, a triangle on the diagonal and the rectangle
// below or above that, acts on x both ways. What the pieces contribute is added up when all are there.
template <class T>
void hemv(char uplo, int n, T alpha, const T* dA, int lda, const T* dx, int incx, T beta, T* dy, int incy,
          T* room) {
  const bool lower = tovi::isOption(uplo, 'L');
  const TriangleCut cut(uplo, n);
  const auto part = [=](int i) {
    return room + static_cast<std::size_t>(n) * static_cast<std::size_t>(i + 1) + 1;
  };
  if (alpha != T(0)) {
    host::copy(n, dx, incx, room, 1);
    room[n] = T(0);
    forEach(static_cast<std::size_t>(cut.count()), [&](std::size_t tile) {
      const int i = static_cast<int>(tile), first = cut.first(i), end = cut.end(i);
      const int beside = lower ? end : 0, rows = lower ? n - end : first;
      T* const y = part(i);
      std::fill(y + (lower ? first : 0), y + (lower ? n : end), T(0));
      if constexpr (!tovi::isComplex<T>)
        if (multiplyBothWaysAtOnce(lower, n, first, end, dA, lda, room, y)) return;
      host::hemv(uplo, end - first, T(1), at(dA, first, first, lda), lda, room + first, 1, T(1), y + first,
                 1);
      if (rows > 0)
        multiplyBothWays(rows, end - first, at(dA, beside, first, lda), lda, room + beside, room + first,
                         y + beside, y + first);
    });
  }
  // The piece with the longest columns takes what the others contribute.
  const int longest = lower ? 0 : cut.count() - 1;
  forEach(strips(n, cut.count(), leastTraffic, 256), [&](int first, int count) {
    T* const sum = part(longest);
    for (int i = 0; i < cut.count() && alpha != T(0); ++i) {
      if (i == longest) continue;
      const T* const y = part(i);
      const int from = lower ? std::max(first, cut.first(i)) : first;
      const int to = lower ? first + count : std::min(first + count, cut.end(i));
      for (int k = from; k < to; ++k) sum[k] += y[k];
    }
    for (int k = first; k < first + count; ++k) {
      T& yk = *piece(dy, incy, n, k, 1);
      const T product = alpha == T(0) ? T(0) : alpha * sum[k];
      yk = beta == T(0) ? product : product + beta * yk;
    }
  });
}

}  // namespace tiles
}  // namespace software_device

#endif
