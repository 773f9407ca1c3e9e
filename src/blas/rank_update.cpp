// syrk, herk, syr2k and her2k. Every block of C is computed by itself: the diagonal ones by the routine of
// the family, recursively, the off-diagonal one by gemm.

#include "src/blas/blas.h"
#include "src/blas/block_unit.h"
#include "src/blas/cublas.h"

namespace tovi::blas {
namespace {

bool byBlocks(int n, int k) { return n >= 1024 && k >= 1024; }

// The rows of op(A) from `first` on.
template <class T>
MatrixView<const T> rowsOf(MatrixView<const T> dA, char trans, int first, int count) {
  return trans == 'N' ? dA.block(first, 0, count, dA.cols) : dA.columns(first, count);
}

// D := alpha op(A) op(B)^T + beta D, or op(B)^H where transposed is 'C'; trans says what op does.
template <class T>
void product(char trans, char transposed, T alpha, MatrixView<const T> dA, MatrixView<const T> dB, T beta,
             MatrixView<T> dD) {
  if (trans == 'N')
    gemm('N', transposed, alpha, dA, dB, beta, dD);
  else
    gemm(transposed, 'N', alpha, dA, dB, beta, dD);
}

// transposed is 'T' for syrk and 'C' for herk; leaf(dA, dC) updates a diagonal block.
template <class T, class Leaf>
void rankKByBlocks(int nb, char uplo, char trans, char transposed, T alpha, MatrixView<const T> dA, T beta,
                   MatrixView<T> dC, const Leaf& leaf) {
  const int n = dC.rows;
  if (n <= nb) return leaf(dA, dC);
  const int n1 = leadingPart(n, nb), n2 = n - n1;
  const auto dA1 = rowsOf(dA, trans, 0, n1), dA2 = rowsOf(dA, trans, n1, n2);

  rankKByBlocks<T>(nb, uplo, trans, transposed, alpha, dA1, beta, dC.block(0, 0, n1, n1), leaf);
  if (uplo == 'L')  // C21 := alpha A2 A1^T + beta C21
    product<T>(trans, transposed, alpha, dA2, dA1, beta, dC.block(n1, 0, n2, n1));
  else  // C12 := alpha A1 A2^T + beta C12
    product<T>(trans, transposed, alpha, dA1, dA2, beta, dC.block(0, n1, n1, n2));
  rankKByBlocks<T>(nb, uplo, trans, transposed, alpha, dA2, beta, dC.block(n1, n1, n2, n2), leaf);
}

template <class T>
void rank2KByBlocks(int nb, char uplo, char trans, T alpha, MatrixView<const T> dA, MatrixView<const T> dB,
                    T beta, MatrixView<T> dC) {
  const int n = dC.rows;
  if (n <= nb) return cublas::syr2k<T>(uplo, trans, alpha, dA, dB, beta, dC);
  const int n1 = leadingPart(n, nb), n2 = n - n1;
  const auto dA1 = rowsOf(dA, trans, 0, n1), dA2 = rowsOf(dA, trans, n1, n2);
  const auto dB1 = rowsOf(dB, trans, 0, n1), dB2 = rowsOf(dB, trans, n1, n2);

  rank2KByBlocks<T>(nb, uplo, trans, alpha, dA1, dB1, beta, dC.block(0, 0, n1, n1));
  if (uplo == 'L') {  // C21 := alpha A2 B1^H + conj(alpha) B2 A1^H + beta C21
    const auto dC21 = dC.block(n1, 0, n2, n1);
    product<T>(trans, 'C', alpha, dA2, dB1, beta, dC21);
    product<T>(trans, 'C', conj(alpha), dB2, dA1, T(1), dC21);
  } else {  // C12 := alpha A1 B2^H + conj(alpha) B1 A2^H + beta C12
    const auto dC12 = dC.block(0, n1, n1, n2);
    product<T>(trans, 'C', alpha, dA1, dB2, beta, dC12);
    product<T>(trans, 'C', conj(alpha), dB1, dA2, T(1), dC12);
  }
  rank2KByBlocks<T>(nb, uplo, trans, alpha, dA2, dB2, beta, dC.block(n1, n1, n2, n2));
}

}  // namespace

template <class T>
void syrk(char uplo, char trans, Scalar<T> alpha, ConstView<T> dA, Scalar<T> beta, MatrixView<T> dC) {
  if (dC.empty() || dC.data == nullptr) return;
  const auto leaf = [=](MatrixView<const T> dPart, MatrixView<T> dBlock) {
    cublas::syrk<T>(uplo, trans, alpha, dPart, beta, dBlock);
  };
  if (byBlocks(dC.rows, trans == 'N' ? dA.cols : dA.rows))
    rankKByBlocks<T>(blockUnit<T>(), uplo, trans, 'T', alpha, dA, beta, dC, leaf);
  else
    leaf(dA, dC);
}

template <class T>
void herk(char uplo, char trans, RealScalar<T> alpha, ConstView<T> dA, RealScalar<T> beta, MatrixView<T> dC) {
  if (dC.empty() || dC.data == nullptr) return;
  const auto leaf = [=](MatrixView<const T> dPart, MatrixView<T> dBlock) {
    cublas::herk<T>(uplo, trans, alpha, dPart, beta, dBlock);
  };
  if (byBlocks(dC.rows, trans == 'N' ? dA.cols : dA.rows))
    rankKByBlocks<T>(blockUnit<T>(), uplo, trans, 'C', T(alpha), dA, T(beta), dC, leaf);
  else
    leaf(dA, dC);
}

template <class T>
void syr2k(char uplo, char trans, Scalar<T> alpha, ConstView<T> dA, ConstView<T> dB, Scalar<T> beta,
           MatrixView<T> dC) {
  if (dC.empty() || dC.data == nullptr) return;
  const bool unknown = isComplex<T> && trans == 'T';  // the Hermitian update has no such form: CUBLAS says so
  if (byBlocks(dC.rows, trans == 'N' ? dA.cols : dA.rows) && !unknown)
    rank2KByBlocks<T>(blockUnit<T>(), uplo, trans, alpha, dA, dB, T(real(beta)), dC);
  else
    cublas::syr2k<T>(uplo, trans, alpha, dA, dB, beta, dC);
}

#define TOVI_INSTANCES(T)             \
  template decltype(syrk<T>) syrk<T>; \
  template decltype(syr2k<T>) syr2k<T>;
TOVI_FOR_EACH_TYPE(TOVI_INSTANCES)
template decltype(herk<Complex<float>>) herk<Complex<float>>;
template decltype(herk<Complex<double>>) herk<Complex<double>>;

}  // namespace tovi::blas
