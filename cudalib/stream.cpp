#include "cudalib/stream.h"

#include "cudalib/buffer_cache.h"
#include "cudalib/check.h"
#include "cudalib/device_table.h"

namespace cudalib {

Event::Event(bool wanted) {
  if (!wanted) return;
  withBuffersFreed([this] { check(cudaEventCreateWithFlags(&handle_, cudaEventDisableTiming)); });
}

Event::~Event() {
  if (handle_ != nullptr) ignoreFailure(cudaEventDestroy(handle_));
}

void Event::order(cudaStream_t earlier, cudaStream_t later) const {
  if (handle_ == nullptr) return;
  check(cudaEventRecord(handle_, earlier));
  check(cudaStreamWaitEvent(later, handle_, 0));
}

Stream::Stream() : event_(currentDevice().overlapsCopies()) {
  if (!currentDevice().overlapsCopies()) return;
  withBuffersFreed([this] { check(cudaStreamCreateWithFlags(&handle_, cudaStreamNonBlocking)); });
}

Stream::~Stream() {
  if (handle_ != nullptr) ignoreFailure(cudaStreamDestroy(handle_));
}

void Stream::afterDefault() const { event_.order(nullptr, handle_); }
void Stream::beforeDefault() const { event_.order(handle_, nullptr); }

void Stream::synchronize() const {
  if (handle_ != nullptr) check(cudaStreamSynchronize(handle_));
}

}  // namespace cudalib
