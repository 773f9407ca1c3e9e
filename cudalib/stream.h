// The private stream of one driver call.

#ifndef TOVI_CUDALIB_STREAM_H
#define TOVI_CUDALIB_STREAM_H

#include <device/runtime.h>

namespace cudalib {

// Owns a stream on devices that can overlap copies with kernels. Elsewhere it holds none, get() is the
// default stream, and there is nothing to wait for or to ask about. Used by one host thread.
class Stream {
 public:
  Stream();
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  cudaStream_t get() const { return handle_; }
  void synchronize() const;
  // True when all work on the stream is complete.
  bool query() const;

 private:
  cudaStream_t handle_ = nullptr;
};

}  // namespace cudalib

#endif
