// Native bodies: what the device runs in place of a kernel that cannot be fast thread by thread. The contract
// is the kernel's, to the bit, or to rounding for the transposed product, whose sums are the host BLAS's. A
// launch through the wrappers' maps finds its body here at compile time, and
// software_device::useNativeBodies(false) runs the kernel instead, so that a test can hold both against each
// other.
//
// To add one: declare the kernel, declare the function that does the work of the whole grid and define it in
// a source beside this file, and specialize NativeBody for every instance of the kernel.

#ifndef TOVI_SOFTWARE_NATIVE_BODY_H
#define TOVI_SOFTWARE_NATIVE_BODY_H

#include <cuda_runtime.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/host/complex.h"

namespace cudalib {
class Map1D;
template <unsigned N>
class StaticMap1D;
template <unsigned N>
class StaticOneBlockMap1D;
}  // namespace cudalib

namespace tovi {

template <class Int>
struct PivotBatch;

template <class T>
__global__ void CopyMatrix_k(int m, int n, const T* A, int lda, T* B, int ldb);
template <class T, bool conj>
__global__ void Transpose_k(T* B, int ldb, const T* A, int lda, int rows, int cols);
template <class T, bool conj>
__global__ void TransposeInplace_k(T* A, int lda, int n);
template <class Map, class T, class Int>
__global__ void KernelLASWP(int n, T* a, int lda, int first, int count, PivotBatch<Int> pivots);
template <class Map, class T, class Int>
__global__ void KernelLASWPCOL(int n, T* a, int lda, int first, int count, PivotBatch<Int> pivots);
template <class Map, char side, char pivot, char direct, class T>
__global__ void LASR_k(int m, int n, const Real<T>* c, const Real<T>* s, T* A, int lda);
template <class Map, class T>
__global__ void LARFG_k(int n, T* alpha, T* x, int incx, T* tau);
template <class T, int BX, int BY, bool conj>
__global__ void gemvt_k(int m, int n, T alpha, int m_main, const T* A, int lda, T beta, const T* x, int incx,
                        T* y, int incy);

}  // namespace tovi

namespace software_device {

namespace native {

// Visible between the device and the library, by attribute: a pragma does not reach what is made from
// templates.
template <class T>
[[gnu::visibility("default")]] void copyMatrix(int m, int n, const T* dA, int lda, T* dB, int ldb);
template <bool conj, class T>
[[gnu::visibility("default")]] void transpose(T* dB, int ldb, const T* dA, int lda, int rows, int cols);
template <bool conj, class T>
[[gnu::visibility("default")]] void transposeInplace(T* dA, int lda, int n);
// lines[t]: what line first + t changes places with, t = 0 ... count - 1
template <class T, class Int>
[[gnu::visibility("default")]] void swapRows(int cols, T* dA, int lda, int first, int count,
                                             const Int* lines);
template <class T, class Int>
[[gnu::visibility("default")]] void swapColumns(int rows, T* dA, int lda, int first, int count,
                                                const Int* lines);
template <bool forward, class T>
[[gnu::visibility("default")]] void rotateColumns(int m, int n, const tovi::Real<T>* dC,
                                                  const tovi::Real<T>* dS, T* dA, int lda);
template <class T>
[[gnu::visibility("default")]] void makeReflector(int n, T* dAlpha, T* dX, int incx, T* dTau);
// The first `count` of the n entries of y. room: null, or for the m elements of x
template <bool conj, class T>
[[gnu::visibility("default")]] void multiplyTransposed(int count, int m, int n, T alpha, const T* dA, int lda,
                                                       T beta, const T* dX, int incx, T* dY, int incy,
                                                       T* room);

// The elements that threads stand for: a grid that is too small leaves the rest alone here, too.
inline int covered(int n, std::size_t threads) {
  return static_cast<int>(std::min(static_cast<std::size_t>(std::max(n, 0)), threads));
}
inline std::size_t inX(dim3 grid, dim3 block) { return std::size_t{grid.x} * block.x; }
inline std::size_t inY(dim3 grid, dim3 block) { return std::size_t{grid.y} * block.y; }

// What a body needs beside the arguments is had when the kernel is launched: room(arguments) makes it.
struct NoRoom {};
struct Body {
  static constexpr bool exists = true;
  template <class... Parameters>
  static NoRoom room(const Parameters&...) {
    return {};
  }
};

template <class T>
struct CopyMatrix : Body {
  static void run(NoRoom, dim3 grid, dim3 block, int m, int n, const T* dA, int lda, T* dB, int ldb) {
    copyMatrix(covered(m, inX(grid, block)), covered(n, inY(grid, block)), dA, lda, dB, ldb);
  }
};

template <class T, bool conj>
struct Transpose : Body {
  static void run(NoRoom, dim3 grid, dim3 block, T* dB, int ldb, const T* dA, int lda, int rows, int cols) {
    transpose<conj>(dB, ldb, dA, lda, covered(rows, inX(grid, block)), covered(cols, inY(grid, block)));
  }
};

template <class T, bool conj>
struct TransposeInplace : Body {
  static void run(NoRoom, dim3 grid, dim3 block, T* dA, int lda, int n) {
    transposeInplace<conj>(dA, lda, covered(n, std::min(inX(grid, block), inY(grid, block))));
  }
};

template <class T, class Int>
struct SwapRows : Body {
  static void run(NoRoom, dim3 grid, dim3 block, int n, T* dA, int lda, int first, int count,
                  const tovi::PivotBatch<Int>& pivots) {
    swapRows(covered(n, inX(grid, block) * grid.y * grid.z), dA, lda, first, count, pivots.line);
  }
};

template <class T, class Int>
struct SwapColumns : Body {
  static void run(NoRoom, dim3 grid, dim3 block, int n, T* dA, int lda, int first, int count,
                  const tovi::PivotBatch<Int>& pivots) {
    swapColumns(covered(n, inX(grid, block) * grid.y * grid.z), dA, lda, first, count, pivots.line);
  }
};

template <class T, char direct>
struct RotateColumns : Body {
  static void run(NoRoom, dim3 grid, dim3 block, int m, int n, const tovi::Real<T>* dC,
                  const tovi::Real<T>* dS, T* dA, int lda) {
    rotateColumns<direct == 'F'>(covered(m, inX(grid, block) * grid.y * grid.z), n, dC, dS, dA, lda);
  }
};

template <class T>
struct MakeReflector : Body {
  static void run(NoRoom, dim3, dim3, int n, T* dAlpha, T* dX, int incx, T* dTau) {
    makeReflector(n, dAlpha, dX, incx, dTau);
  }
};

template <class T, bool conj>
struct MultiplyTransposed : Body {
  // For the elements of x where they are no neighbours
  static std::unique_ptr<T[]> room(int m, int /*n*/, T alpha, int /*mMain*/, const T* /*dA*/, int /*lda*/,
                                   T /*beta*/, const T* /*dX*/, int incx, T* /*dY*/, int /*incy*/) {
    const bool gathered = m > 0 && alpha != T(0) && incx != 1;
    return std::unique_ptr<T[]>(gathered ? new T[static_cast<std::size_t>(m)] : nullptr);
  }
  static void run(const std::unique_ptr<T[]>& room, dim3 grid, dim3 block, int m, int n, T alpha,
                  int /*mMain*/, const T* dA, int lda, T beta, const T* dX, int incx, T* dY, int incy) {
    multiplyTransposed<conj>(covered(n, inX(grid, block)), m, n, alpha, dA, lda, beta, dX, incx, dY, incy,
                             room.get());
  }
};

}  // namespace native

// Kernels without a body of their own run thread by thread.
template <auto Kernel>
struct NativeBody : native::Body {
  static constexpr bool exists = false;
};

using FloatComplex = tovi::Complex<float>;
using DoubleComplex = tovi::Complex<double>;

template <>
struct NativeBody<&tovi::CopyMatrix_k<float>> : native::CopyMatrix<float> {};
template <>
struct NativeBody<&tovi::CopyMatrix_k<double>> : native::CopyMatrix<double> {};
template <>
struct NativeBody<&tovi::CopyMatrix_k<FloatComplex>> : native::CopyMatrix<FloatComplex> {};
template <>
struct NativeBody<&tovi::CopyMatrix_k<DoubleComplex>> : native::CopyMatrix<DoubleComplex> {};
template <>
struct NativeBody<&tovi::Transpose_k<float, false>> : native::Transpose<float, false> {};
template <>
struct NativeBody<&tovi::Transpose_k<float, true>> : native::Transpose<float, true> {};
template <>
struct NativeBody<&tovi::Transpose_k<double, false>> : native::Transpose<double, false> {};
template <>
struct NativeBody<&tovi::Transpose_k<double, true>> : native::Transpose<double, true> {};
template <>
struct NativeBody<&tovi::Transpose_k<FloatComplex, false>> : native::Transpose<FloatComplex, false> {};
template <>
struct NativeBody<&tovi::Transpose_k<FloatComplex, true>> : native::Transpose<FloatComplex, true> {};
template <>
struct NativeBody<&tovi::Transpose_k<DoubleComplex, false>> : native::Transpose<DoubleComplex, false> {};
template <>
struct NativeBody<&tovi::Transpose_k<DoubleComplex, true>> : native::Transpose<DoubleComplex, true> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<float, false>> : native::TransposeInplace<float, false> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<float, true>> : native::TransposeInplace<float, true> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<double, false>> : native::TransposeInplace<double, false> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<double, true>> : native::TransposeInplace<double, true> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<FloatComplex, false>>
    : native::TransposeInplace<FloatComplex, false> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<FloatComplex, true>>
    : native::TransposeInplace<FloatComplex, true> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<DoubleComplex, false>>
    : native::TransposeInplace<DoubleComplex, false> {};
template <>
struct NativeBody<&tovi::TransposeInplace_k<DoubleComplex, true>>
    : native::TransposeInplace<DoubleComplex, true> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, float, std::int16_t>>
    : native::SwapRows<float, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, float, std::int32_t>>
    : native::SwapRows<float, std::int32_t> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, double, std::int16_t>>
    : native::SwapRows<double, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, double, std::int32_t>>
    : native::SwapRows<double, std::int32_t> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, FloatComplex, std::int16_t>>
    : native::SwapRows<FloatComplex, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, FloatComplex, std::int32_t>>
    : native::SwapRows<FloatComplex, std::int32_t> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, DoubleComplex, std::int16_t>>
    : native::SwapRows<DoubleComplex, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWP<cudalib::Map1D, DoubleComplex, std::int32_t>>
    : native::SwapRows<DoubleComplex, std::int32_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, float, std::int16_t>>
    : native::SwapColumns<float, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, float, std::int32_t>>
    : native::SwapColumns<float, std::int32_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, double, std::int16_t>>
    : native::SwapColumns<double, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, double, std::int32_t>>
    : native::SwapColumns<double, std::int32_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, FloatComplex, std::int16_t>>
    : native::SwapColumns<FloatComplex, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, FloatComplex, std::int32_t>>
    : native::SwapColumns<FloatComplex, std::int32_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, DoubleComplex, std::int16_t>>
    : native::SwapColumns<DoubleComplex, std::int16_t> {};
template <>
struct NativeBody<&tovi::KernelLASWPCOL<cudalib::Map1D, DoubleComplex, std::int32_t>>
    : native::SwapColumns<DoubleComplex, std::int32_t> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'F', float>>
    : native::RotateColumns<float, 'F'> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'B', float>>
    : native::RotateColumns<float, 'B'> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'F', double>>
    : native::RotateColumns<double, 'F'> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'B', double>>
    : native::RotateColumns<double, 'B'> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'F', FloatComplex>>
    : native::RotateColumns<FloatComplex, 'F'> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'B', FloatComplex>>
    : native::RotateColumns<FloatComplex, 'B'> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'F', DoubleComplex>>
    : native::RotateColumns<DoubleComplex, 'F'> {};
template <>
struct NativeBody<&tovi::LASR_k<cudalib::StaticMap1D<64>, 'R', 'V', 'B', DoubleComplex>>
    : native::RotateColumns<DoubleComplex, 'B'> {};
template <>
struct NativeBody<&tovi::LARFG_k<cudalib::StaticOneBlockMap1D<32>, float>> : native::MakeReflector<float> {};
template <>
struct NativeBody<&tovi::LARFG_k<cudalib::StaticOneBlockMap1D<32>, double>> : native::MakeReflector<double> {
};
template <>
struct NativeBody<&tovi::LARFG_k<cudalib::StaticOneBlockMap1D<32>, FloatComplex>>
    : native::MakeReflector<FloatComplex> {};
template <>
struct NativeBody<&tovi::LARFG_k<cudalib::StaticOneBlockMap1D<32>, DoubleComplex>>
    : native::MakeReflector<DoubleComplex> {};
template <>
struct NativeBody<&tovi::gemvt_k<float, 32, 16, false>> : native::MultiplyTransposed<float, false> {};
template <>
struct NativeBody<&tovi::gemvt_k<float, 32, 16, true>> : native::MultiplyTransposed<float, true> {};
template <>
struct NativeBody<&tovi::gemvt_k<double, 16, 8, false>> : native::MultiplyTransposed<double, false> {};
template <>
struct NativeBody<&tovi::gemvt_k<double, 16, 8, true>> : native::MultiplyTransposed<double, true> {};
template <>
struct NativeBody<&tovi::gemvt_k<FloatComplex, 16, 8, false>>
    : native::MultiplyTransposed<FloatComplex, false> {};
template <>
struct NativeBody<&tovi::gemvt_k<FloatComplex, 16, 8, true>>
    : native::MultiplyTransposed<FloatComplex, true> {};
template <>
struct NativeBody<&tovi::gemvt_k<DoubleComplex, 16, 8, false>>
    : native::MultiplyTransposed<DoubleComplex, false> {};
template <>
struct NativeBody<&tovi::gemvt_k<DoubleComplex, 16, 8, true>>
    : native::MultiplyTransposed<DoubleComplex, true> {};

}  // namespace software_device

#endif
