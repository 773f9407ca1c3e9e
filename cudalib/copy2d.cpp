#include "cudalib/copy2d.h"

#include "cudalib/device_table.h"

namespace cudalib {
namespace {

cudaError_t copyLinear(void* dst, const void* src, std::size_t bytes, cudaMemcpyKind kind, bool async,
                       cudaStream_t stream) {
  return async ? cudaMemcpyAsync(dst, src, bytes, kind, stream) : cudaMemcpy(dst, src, bytes, kind);
}

}  // namespace

cudaError_t copy2D(void* dst, std::size_t dpitch, const void* src, std::size_t spitch, std::size_t widthBytes,
                   std::size_t height, cudaMemcpyKind kind, bool async, cudaStream_t stream) {
  if (dpitch == spitch && spitch == widthBytes)
    return copyLinear(dst, src, widthBytes * height, kind, async, stream);

  const std::size_t limit = currentDevice().pitchLimit();
  if (dpitch < limit && spitch < limit)
    return async ? cudaMemcpy2DAsync(dst, dpitch, src, spitch, widthBytes, height, kind, stream)
                 : cudaMemcpy2D(dst, dpitch, src, spitch, widthBytes, height, kind);

  cudaError_t status = cudaSuccess;
  for (std::size_t r = 0; r < height && status == cudaSuccess; ++r)
    status = copyLinear(static_cast<char*>(dst) + r * dpitch, static_cast<const char*>(src) + r * spitch,
                        widthBytes, kind, async, stream);
  return status;
}

}  // namespace cudalib
