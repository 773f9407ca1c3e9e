// The private stream of one driver call.

#ifndef TOVI_CUDALIB_STREAM_H
#define TOVI_CUDALIB_STREAM_H

#include <device/runtime.h>

namespace cudalib {

// Owns a stream on devices that can overlap copies with kernels. Elsewhere it holds none, get() is the
// default stream, and there is nothing to wait for. Used by one host thread.
class Stream {
 public:
  Stream();
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  cudaStream_t get() const { return handle_; }
  void synchronize() const;

 private:
  cudaStream_t handle_ = nullptr;
};

}  // namespace cudalib

#endif
