// Rectangular copies between host and device.

#ifndef TOVI_CUDALIB_COPY2D_H
#define TOVI_CUDALIB_COPY2D_H

#include <device/runtime.h>

#include <cstddef>

#include "cudalib/allocators.h"
#include "cudalib/check.h"
#include "ground/matrix_view.h"

namespace cudalib {

// Copies `height` runs of `widthBytes` bytes that start dpitch and spitch bytes apart, in the cheapest way
// the runtime offers. `stream` matters to asynchronous copies alone. Returns the unchecked status of the
// transfer.
cudaError_t copy2D(void* dst, std::size_t dpitch, const void* src, std::size_t spitch, std::size_t widthBytes,
                   std::size_t height, cudaMemcpyKind kind, bool async, cudaStream_t stream);

namespace detail {

template <class T>
void copyMatrix(T* dst, int ldDst, const T* src, int ldSrc, int rows, int cols, cudaMemcpyKind kind,
                bool async, cudaStream_t stream) {
  if (rows == 0 || cols == 0) return;
  const auto bytes = [](int elements) {
    return checkedProduct({static_cast<std::size_t>(elements), sizeof(T)});
  };
  const auto pitch = [=](int ld) { return bytes(cols > 1 ? ld : rows); };  // a single column has none
  check(copy2D(dst, pitch(ldDst), src, pitch(ldSrc), bytes(rows), static_cast<std::size_t>(cols), kind, async,
               stream));
}

}  // namespace detail

// Whole matrices. The asynchronous forms leave as soon as the copy is queued, provided the host side is
// page-locked.
template <class T>
void download(tovi::ConstView<T> dA, T* hA, int ldh) {
  detail::copyMatrix(hA, ldh, dA.data, dA.ld, dA.rows, dA.cols, cudaMemcpyDeviceToHost, false, nullptr);
}
template <class T>
void upload(const T* hA, int ldh, tovi::MatrixView<T> dA) {
  detail::copyMatrix(dA.data, dA.ld, hA, ldh, dA.rows, dA.cols, cudaMemcpyHostToDevice, false, nullptr);
}
template <class T>
void downloadAsync(tovi::ConstView<T> dA, T* hA, int ldh, cudaStream_t stream) {
  detail::copyMatrix(hA, ldh, dA.data, dA.ld, dA.rows, dA.cols, cudaMemcpyDeviceToHost, true, stream);
}
template <class T>
void uploadAsync(const T* hA, int ldh, tovi::MatrixView<T> dA, cudaStream_t stream) {
  detail::copyMatrix(dA.data, dA.ld, hA, ldh, dA.rows, dA.cols, cudaMemcpyHostToDevice, true, stream);
}

}  // namespace cudalib

#endif
