// Norms of matrices in device memory, as LAPACK's lange and lanhe give them.

#ifndef TOVI_BASIC_LANGE_H
#define TOVI_BASIC_LANGE_H

#include <vector>

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace tovi {

// A thread owns one line of the m x n matrix A, a column where Map is a column-wise map, a row where it is a
// row-wise one, and leaves one number in work: findSum_k and findMaxValue_k bring the numbers together.
// The greatest absolute value.
template <class Map, class T>
__global__ void LANGE_M_k(int m, int n, const T* A, int lda, Real<T>* work);
// The greatest |re| + |im|.
template <class Map, class T>
__global__ void GreatestOfColumns_k(int m, int n, const T* A, int lda, Real<T>* work);
// The sum of the absolute values.
template <class Map, class T>
__global__ void LANGE_OI_k(int m, int n, const T* A, int lda, Real<T>* work);
// The sum of the squares of the absolute values in A / *scale.
template <class Map, class T>
__global__ void LANGE_F_k(int m, int n, const T* A, int lda, const Real<T>* scale, Real<T>* work);
// The greatest absolute value of a column, and the sum of the absolute values of a column, of the Hermitian
// matrix that one triangle of A stands for: the upper one, or the lower one. The imaginary parts of the
// diagonal are taken as zero.
template <class Map, class T>
__global__ void LANHE_M_k(bool upper, int n, const T* A, int lda, Real<T>* work);
template <class Map, class T>
__global__ void LANHE_O_k(bool upper, int n, const T* A, int lda, Real<T>* work);

// *result: the sum, or the greatest, of the n elements of x, none of which is negative. NaN is greater than
// any number.
template <class Map, class R>
__global__ void findSum_k(int n, const R* x, R* result);
template <class Map, class R>
__global__ void findMaxValue_k(int n, const R* x, R* result);

namespace basic {

// "M": the greatest absolute value of an element; "O" or "1": the greatest sum of a column; "I": the greatest
// sum of a row; "F" or "E": the Frobenius norm, whose squares may leave the range of the type. NaN where
// there is one in dA, 0 for an empty matrix. Waits for the device.
template <class T>
Real<T> lange(char norm, ConstView<T> dA);

// The greatest |re| + |im| in each column, what LAPACK's iamax goes by; NaN where there is one. Waits for the
// device.
template <class T>
std::vector<Real<T>> greatestOfColumns(ConstView<T> dA);

// "M", or "O", "1" and "I", which are the same, of the Hermitian (symmetric) matrix whose triangle uplo dA
// holds. Waits for the device.
template <class T>
Real<T> lanhe(char norm, char uplo, ConstView<T> dA);

}  // namespace basic
}  // namespace tovi

#endif
