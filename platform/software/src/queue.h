// The device's queue. All streams feed one queue in the order of issue, and one piece of work runs at a time:
// a legal serialization of the streams under the legacy rule of the default stream, on which no program can
// see a difference.
//
// A thread of the device runs the queue; a host thread that waits for a piece helps, and runs what is queued
// up to that piece by itself, so that a small call costs no change of threads.

#ifndef TOVI_SOFTWARE_QUEUE_H
#define TOVI_SOFTWARE_QUEUE_H

#include <cuda_runtime.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/software/testing/software_device.h"

// What a stream handle points at.
struct CUstream_st {
  std::uint64_t last = 0;  // number of the work issued last
};

namespace software_device {

class Queue {
 public:
  using Work = std::function<void()>;

  // Appends work; its number, counted from 1. wakeDevice = false where the caller waits for it at once.
  std::uint64_t push(cudaStream_t stream, Work work, bool wakeDevice = true);
  // Returns when the work of this number, and all before it, is done.
  void wait(std::uint64_t number);
  // Whether it is done. Where nothing else runs the queue, every call that says no moves the queue on by one
  // piece, so that a program that polls comes to its end.
  bool poll(std::uint64_t number);
  void waitForAll() { wait(issued_.load(std::memory_order_acquire)); }
  std::size_t pending() const {
    const std::uint64_t done = completed_.load(std::memory_order_acquire);
    return static_cast<std::size_t>(issued_.load(std::memory_order_acquire) - done);
  }

  cudaStream_t createStream();
  // Forgets the handle; its work goes on. False when there is no such stream.
  bool removeStream(cudaStream_t stream);
  // The number of the last work issued on it; for the default stream, on any. False when there is no such
  // stream.
  bool lastIssued(cudaStream_t stream, std::uint64_t* number) const;
  bool done(std::uint64_t number) const { return completed_.load(std::memory_order_acquire) >= number; }
  std::size_t streams() const;
  void removeAllStreams();

  void setSchedule(Schedule schedule);
  // Ends the device's thread when all work is done; later work starts another one.
  void rest();
  // Ends it for good; the queue then runs in those who wait.
  void stop();

 private:
  using Lock = std::unique_lock<std::mutex>;
  struct Waiter {
    std::uint64_t number;
    std::condition_variable wake;
  };

  bool empty() const { return head_ == tail_; }
  void runOne(Lock& lock);  // the next piece; nobody is executing, and there is one
  void handOver();          // who runs what is left when a helper leaves
  void deviceThread();
  void startThread();
  void endThread();
  // Whether a host thread that waits may run the next piece itself.
  bool mayHelp() const;
  bool deviceHasWork() const { return schedule_ == Schedule::eager && !executing_ && !empty(); }

  mutable std::mutex mutex_;
  std::vector<Work> ring_ = std::vector<Work>(64);  // a power of two
  std::size_t head_ = 0, tail_ = 0;                 // next to run, next free place; both count up for ever
  std::atomic<std::uint64_t> issued_{0}, completed_{0};
  bool executing_ = false;
  std::vector<Waiter*> waiters_;
  std::map<cudaStream_t, std::unique_ptr<CUstream_st>> streams_;

  Schedule schedule_ = Schedule::eager;
  std::mutex ending_;  // held by who ends the thread
  std::thread thread_;
  std::shared_ptr<void> loaded_;  // held from the first work until the thread has ended
  std::condition_variable deviceWake_;
  bool deviceAsleep_ = false, started_ = false, running_ = false, ends_ = false, stopped_ = false;
};

Queue& queue();

}  // namespace software_device

#endif
