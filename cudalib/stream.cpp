#include "cudalib/stream.h"

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/device_table.h"

namespace cudalib {

Stream::Stream() {
  if (currentDevice().overlapsCopies()) withBuffersFreed([this] { check(cudaStreamCreate(&handle_)); });
}

Stream::~Stream() {
  if (handle_ != nullptr) ignoreFailure(cudaStreamDestroy(handle_));
}

void Stream::synchronize() const {
  if (handle_ != nullptr) check(cudaStreamSynchronize(handle_));
}

}  // namespace cudalib
