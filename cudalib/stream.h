// The private stream of one driver call, beside the default stream, on which its kernels run.

#ifndef TOVI_CUDALIB_STREAM_H
#define TOVI_CUDALIB_STREAM_H

#include <device/runtime.h>

namespace cudalib {

// Owns an event.
class Event {
 public:
  explicit Event(bool wanted);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  // What `later` is given from here on begins when all is done that `earlier` has been given so far.
  void order(cudaStream_t earlier, cudaStream_t later) const;

 private:
  cudaEvent_t handle_ = nullptr;
};

// Owns a stream on devices that can overlap copies with kernels. It keeps in order with the default stream
// only where the driver says so. Elsewhere it holds none: get() is the default stream, nothing has to be
// said, and there is nothing to wait for. Used by one host thread.
class Stream {
 public:
  Stream();
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  cudaStream_t get() const { return handle_; }
  // What is issued on it from here on begins when all is done that the default stream has been given so far.
  void afterDefault() const;
  // What the default stream is given from here on begins when all is done that has been issued on this one.
  void beforeDefault() const;
  // Waits until what has been issued on it is done.
  void synchronize() const;

 private:
  const Event event_;
  cudaStream_t handle_ = nullptr;
};

}  // namespace cudalib

#endif
