// What the device runs in place of a kernel whose wrapper names a native body (device/native.h). The contract
// is the kernel's, to the bit, or to rounding for the products, whose sums are the host BLAS's. The
// shape of the launch says how many elements there are; software_device::useNativeBodies(false) runs the
// kernel instead, so that a test can hold both against each other.
//
// To add one: declare it in device/native.h, define it here with the kernel's parameters, and the function
// that does the work of the whole grid in a source in device/software/native.

#ifndef TOVI_DEVICE_NATIVE_BODIES_H
#define TOVI_DEVICE_NATIVE_BODIES_H

#include <cuda_runtime.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "device/native.h"
#include "ground/complex.h"

namespace software_device::native {

using FloatComplex = tovi::Complex<float>;
using DoubleComplex = tovi::Complex<double>;

// Visible between the device and the library, by attribute: a pragma does not reach what is made from
// templates.
template <class T>
[[gnu::visibility("default")]] void copyMatrix(int m, int n, const T* dA, int lda, T* dB, int ldb);
template <class S, class D>
[[gnu::visibility("default")]] void convertMatrix(int m, int n, const S* dA, int lda, D* dB, int ldb);
template <class T>
[[gnu::visibility("default")]] void sumRows(int m, int n, const T* dA, int lda, tovi::Real<T>* dSums);
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
// Sequences of rotations on one matrix, one after the other. Columns are counted from that of dA, which need
// not be the first.
template <class R>
struct Sweeps {
  static constexpr int most = 16;
  struct Sweep {
    const R *c, *s;
    std::ptrdiff_t first;
    int count;
  };
  std::array<Sweep, most> list;
  int count = 0;
  std::ptrdiff_t begin = 0, end = 0;  // of the columns

  // False where there is no room, or where columns lie between these sweeps and that one.
  bool add(const Sweep& sweep) {
    const std::ptrdiff_t last = sweep.first + sweep.count + 1;
    if (count == most || (count != 0 && (sweep.first > end || last < begin))) return false;
    begin = count == 0 ? sweep.first : std::min(begin, sweep.first);
    end = count == 0 ? last : std::max(end, last);
    list[static_cast<std::size_t>(count++)] = sweep;
    return true;
  }
};
template <bool forward, class T>
[[gnu::visibility("default")]] void rotateColumns(int m, const Sweeps<tovi::Real<T>>& sweeps, T* dA, int lda);
template <class T>
[[gnu::visibility("default")]] void makeReflector(int n, T* dAlpha, T* dX, int incx, T* dTau,
                                                  tovi::Real<T>* dBeta);
template <class T>
[[gnu::visibility("default")]] void completeWeight(int n, const T* dV, const T* dTau, T* dW, T* dCopy);
// The first `count` of the n entries of y. room: null, or for the m elements of x
template <bool conj, class T>
[[gnu::visibility("default")]] void multiplyTransposed(int count, int m, int n, T alpha, const T* dA, int lda,
                                                       T beta, const T* dX, int incx, T* dY, int incy,
                                                       T* room);
template <class T>
[[gnu::visibility("default")]] void multiplyBothWays(int pieces, int m, int n, int width, const T* dA,
                                                     int lda, const T* dV, const T* dTau, T* dY, T* dX,
                                                     T* dParts, int ldp);
template <class T>
[[gnu::visibility("default")]] void addReflected(int m, int n, const T* dA, int lda, const T* dU,
                                                 const tovi::Real<T>* dBeta, const T* dTau, int count,
                                                 const T* dParts, int ldp, T* dX);
// room: for m elements
template <class T>
[[gnu::visibility("default")]] void reducePanel(int steps, int m, int n, const T* dA, int lda, T* dL, int ldl,
                                                T* dR, int ldr, tovi::Real<T>* dD, tovi::Real<T>* dE,
                                                T* dTauq, T* dTaup, T* room);

}  // namespace software_device::native

namespace device::native {

using namespace software_device::native;

// The elements that threads stand for: a grid that is too small leaves the rest alone here, too.
inline int covered(int n, std::size_t threads) {
  return static_cast<int>(std::min(static_cast<std::size_t>(std::max(n, 0)), threads));
}
inline std::size_t inX(dim3 grid, dim3 block) { return std::size_t{grid.x} * block.x; }
inline std::size_t inY(dim3 grid, dim3 block) { return std::size_t{grid.y} * block.y; }

// Elements that take no longer than some microseconds.
constexpr std::size_t brief = 4096;

// What a body needs beside the arguments is had when the kernel is launched: room(arguments) makes it. One
// that takesIn can do other launches with its own: takeIn(room, arguments, those of a launch that comes next
// in the queue) says whether it does, and run(room, ...) then does them all.
// isBrief(arguments): whether a launch of few threads takes no longer than some microseconds.
struct NoRoom {};
struct Body {
  static constexpr bool takesIn = false;
  template <class... Parameters>
  static NoRoom room(const Parameters&...) {
    return {};
  }
  template <class... Parameters>
  static bool isBrief(const Parameters&...) {
    return true;
  }
};
// Its threads own rows, or columns, of a matrix of m x n elements, which its parameters begin with.
struct LineBody : Body {
  template <class... Parameters>
  static bool isBrief(int m, int n, const Parameters&...) {
    return m <= 0 || n <= static_cast<int>(brief) / m;
  }
};

template <class T>
struct CopyMatrix : Body {
  static void run(NoRoom, dim3 grid, dim3 block, int m, int n, const T* dA, int lda, T* dB, int ldb) {
    copyMatrix(covered(m, inX(grid, block)), covered(n, inY(grid, block)), dA, lda, dB, ldb);
  }
};

template <class S, class D>
struct ConvertMatrix : Body {
  static void run(NoRoom, dim3 grid, dim3 block, int m, int n, const S* dA, int lda, D* dB, int ldb) {
    convertMatrix(covered(m, inX(grid, block)), covered(n, inY(grid, block)), dA, lda, dB, ldb);
  }
};

template <class T>
struct SumRows : LineBody {
  static void run(NoRoom, dim3 grid, dim3 block, int m, int n, const T* dA, int lda, tovi::Real<T>* dSums) {
    sumRows(covered(m, inX(grid, block) * grid.y * grid.z), n, dA, lda, dSums);
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

template <class T>
struct SwapRows : Body {
  template <class Pivots>
  static void run(NoRoom, dim3 grid, dim3 block, int n, T* dA, int lda, int first, int count,
                  const Pivots& pivots) {
    swapRows(covered(n, inX(grid, block) * grid.y * grid.z), dA, lda, first, count, pivots.line);
  }
};

template <class T>
struct SwapColumns : Body {
  template <class Pivots>
  static void run(NoRoom, dim3 grid, dim3 block, int n, T* dA, int lda, int first, int count,
                  const Pivots& pivots) {
    swapColumns(covered(n, inX(grid, block) * grid.y * grid.z), dA, lda, first, count, pivots.line);
  }
};

template <class T, char direct>
struct RotateColumns : LineBody {
  using R = tovi::Real<T>;
  static constexpr bool takesIn = true;

  static Sweeps<R> room(int /*m*/, int n, const R* dC, const R* dS, T* /*dA*/, int /*lda*/) {
    Sweeps<R> sweeps;
    sweeps.add({dC, dS, 0, n - 1});
    return sweeps;
  }
  // Of the same rows of the same matrix
  static bool takeIn(Sweeps<R>& sweeps, int m, int /*n*/, const R* /*dC*/, const R* /*dS*/, T* dA, int lda,
                     int otherM, int otherN, const R* dOtherC, const R* dOtherS, T* dOther, int otherLda) {
    if (m != otherM || lda != otherLda) return false;
    const auto column = static_cast<std::intptr_t>(sizeof(T)) * lda;
    const std::intptr_t distance =
        reinterpret_cast<std::intptr_t>(dOther) - reinterpret_cast<std::intptr_t>(dA);
    return distance % column == 0 && sweeps.add({dOtherC, dOtherS, distance / column, otherN - 1});
  }
  static void run(const Sweeps<R>& sweeps, dim3 grid, dim3 block, int m, int /*n*/, const R* /*dC*/,
                  const R* /*dS*/, T* dA, int lda) {
    rotateColumns<direct == 'F'>(covered(m, inX(grid, block) * grid.y * grid.z), sweeps, dA, lda);
  }
};

template <class T>
struct MakeReflector : Body {
  static void run(NoRoom, dim3, dim3, int n, T* dAlpha, T* dX, int incx, T* dTau, tovi::Real<T>* dBeta) {
    makeReflector(n, dAlpha, dX, incx, dTau, dBeta);
  }
};

template <class T>
struct CompleteWeight : Body {
  static void run(NoRoom, dim3, dim3, int n, const T* dV, const T* dTau, T* dW, T* dCopy) {
    completeWeight(n, dV, dTau, dW, dCopy);
  }
};

template <class T, bool conj>
struct MultiplyTransposed : LineBody {
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

template <class T>
struct MultiplyBothWays : LineBody {
  static void run(NoRoom, dim3 grid, dim3, int m, int n, int width, const T* dA, int lda, const T* dV,
                  const T* dTau, T* dY, T* dX, T* dParts, int ldp) {
    multiplyBothWays(static_cast<int>(grid.x), m, n, width, dA, lda, dV, dTau, dY, dX, dParts, ldp);
  }
};

template <class T>
struct AddReflected : LineBody {
  static void run(NoRoom, dim3 grid, dim3 block, int m, int n, const T* dA, int lda, const T* dU,
                  const tovi::Real<T>* dBeta, const T* dTau, int count, const T* dParts, int ldp, T* dX) {
    addReflected(covered(m, inX(grid, block) * grid.y * grid.z), n, dA, lda, dU, dBeta, dTau, count, dParts,
                 ldp, dX);
  }
};

template <class T>
struct ReducePanel : Body {
  template <class... Others>
  static std::unique_ptr<T[]> room(int /*steps*/, int m, const Others&...) {
    return std::unique_ptr<T[]>(new T[static_cast<std::size_t>(m)]);
  }
  template <class... Parameters>
  static bool isBrief(const Parameters&...) {
    return false;
  }
  static void run(const std::unique_ptr<T[]>& room, dim3, dim3, int steps, int m, int n, const T* dA, int lda,
                  T* dL, int ldl, T* dR, int ldr, tovi::Real<T>* dD, tovi::Real<T>* dE, T* dTauq, T* dTaup) {
    reducePanel(steps, m, n, dA, lda, dL, ldl, dR, ldr, dD, dE, dTauq, dTaup, room.get());
  }
};

// Thread by thread.
struct None : Body {};

}  // namespace device::native

#endif
