// The small transfers that the drivers share.

#ifndef TOVI_LAPACK_TRANSFERS_H
#define TOVI_LAPACK_TRANSFERS_H

#include <vector>

#include <device/runtime.h>
#include "cudalib/check.h"
#include "cudalib/stream.h"

namespace tovi::lapack {

// Waits until the driver's asynchronous transfers are complete. On a device that cannot overlap copies with
// kernels the holder has no stream of its own and the transfers are queued on the default stream, for which
// it does not wait.
inline void finishTransfers(const cudalib::Stream& stream) {
  if (stream.get() != nullptr)
    stream.synchronize();
  else
    cudalib::check(cudaStreamSynchronize(nullptr));
}

// Vectors of pivots and of scalar factors; both wait for all work before them.
template <class T>
void copyToDevice(const std::vector<T>& hX, T* dX) {
  cudalib::check(cudaMemcpy(dX, hX.data(), hX.size() * sizeof(T), cudaMemcpyHostToDevice));
}
template <class T>
void copyToHost(const T* dX, std::vector<T>& hX) {
  cudalib::check(cudaMemcpy(hX.data(), dX, hX.size() * sizeof(T), cudaMemcpyDeviceToHost));
}

}  // namespace tovi::lapack

#endif
