// Splitting of products whose operands are too long for one CUBLAS call. Some dimensions let the product be
// cut in half, along k or along a dimension of C; the halves are cut again. Written over the threshold and
// the call at the leaves, so that the arithmetic can be followed on small matrices.

#ifndef TOVI_BLAS_GEMM_SPLIT_H
#define TOVI_BLAS_GEMM_SPLIT_H

#include <cstdint>

#include "ground/matrix_view.h"

namespace tovi::blas {

struct GemmSplit {
  std::int64_t threshold;  // elements that an operand spans, padding included
  int granularity;         // only multiples of it are cut along a dimension of C

  // Whether ld * count elements are too many, and `divisor` lets them be cut. count >= 2, or a half would be
  // empty.
  bool cuts(int ld, int count, int divisor) const {
    return count >= 2 && divisor > 0 && std::int64_t{ld} * count >= threshold && threshold % divisor == 0;
  }
  bool cutsOutput(int ld, int count) const { return cuts(ld, count, count) && count % granularity == 0; }
};

// leaf(transa, transb, alpha, dA, dB, beta, dC) is called for every piece. Deliberate: the output's
// divisibility is tested on its own dimension, the inner one's on the leading dimension.
template <class T, class Leaf>
void splitGemm(const GemmSplit& split, char transa, char transb, T alpha, MatrixView<const T> dA,
               MatrixView<const T> dB, T beta, MatrixView<T> dC, const Leaf& leaf) {
  const bool plainA = transa == 'N', plainB = transb == 'N';
  const int m = dC.rows, n = dC.cols, k = plainA ? dA.cols : dA.rows;

  const auto halfOfInner = [&](int first, int count, T factor) {
    splitGemm(split, transa, transb, alpha, plainA ? dA.columns(first, count) : dA.block(first, 0, count, m),
              plainB ? dB.block(first, 0, count, n) : dB.columns(first, count), factor, dC, leaf);
  };
  const auto halfOfColumns = [&](int first, int count) {
    splitGemm(split, transa, transb, alpha, dA, dB.columns(first, count), beta, dC.columns(first, count),
              leaf);
  };
  const auto halfOfRows = [&](int first, int count) {
    splitGemm(split, transa, transb, alpha, dA.columns(first, count), dB, beta, dC.block(first, 0, count, n),
              leaf);
  };

  // In this order, the first that applies: k by A, n, m, k by B.
  const bool cutsColumns = plainB && split.cutsOutput(dB.ld, n);
  const bool cutsRows = !plainA && split.cutsOutput(dA.ld, m);
  const bool cutsByA = plainA && split.cuts(dA.ld, k, dA.ld);
  const bool cutsByB = !cutsColumns && !cutsRows && !plainB && split.cuts(dB.ld, k, dB.ld);
  if (cutsByA || cutsByB) {
    // C := alpha op(A)(:, 1) op(B)(1, :) + beta C, then C := C + alpha op(A)(:, 2) op(B)(2, :)
    halfOfInner(0, k / 2, beta);
    halfOfInner(k / 2, k - k / 2, T(1));
  } else if (cutsColumns) {
    // C(:, i) := alpha op(A) B(:, i) + beta C(:, i)
    halfOfColumns(0, n / 2);
    halfOfColumns(n / 2, n - n / 2);
  } else if (cutsRows) {
    // C(i, :) := alpha op(A(:, i)) op(B) + beta C(i, :)
    halfOfRows(0, m / 2);
    halfOfRows(m / 2, m - m / 2);
  } else {
    leaf(transa, transb, alpha, dA, dB, beta, dC);
  }
}

}  // namespace tovi::blas

#endif
