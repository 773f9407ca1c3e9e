// The device's queue. All streams feed one queue in the order of issue, and one piece of work runs at a time:
// a legal serialization of the streams under the legacy rule of the default stream, on which no program can
// see a difference.
//
// A thread of the device runs the queue; a host thread that waits for a piece helps, and runs what is queued
// up to that piece by itself, so that a small call costs no change of threads. Whoever runs it, work computes
// in one floating-point mode.
//
// The queue takes work that somebody has made, and allocates nothing. Work that fails all the same, since it
// could not get memory for a stack, is over like any other; its error waits for the thread that has issued
// it.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_QUEUE_H
#define TOVI_DEVICE_SOFTWARE_SRC_QUEUE_H

#include <cuda_runtime.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "device/software/src/model.h"
#include "device/work.h"

// What a stream handle points at.
struct CUstream_st {
  software_device::Device* device = nullptr;
  std::uint64_t last = 0;  // number of the work issued last
};

namespace software_device {

class Queue {
 public:
  Queue();
  ~Queue();
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  // Appends work for this device; its number, counted from 1.
  std::uint64_t push(Device& device, cudaStream_t stream, std::unique_ptr<Work> work);
  // Appends work of a caller's who waits for it; when it is done, its error.
  cudaError_t pushAndWait(Device& device, cudaStream_t stream, Work& work);
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
  // The error of the first work that the calling thread has issued and that has failed since it last asked.
  cudaError_t takeFailure() noexcept;

  cudaStream_t createStream(Device& device);
  // Forgets the handle; its work goes on. False when there is no such stream.
  bool removeStream(cudaStream_t stream);
  // The number of the last work issued on it; for the default stream, on any of the device. False when there
  // is no such stream.
  bool lastIssued(const Device& device, cudaStream_t stream, std::uint64_t* number) const;
  // Whether work for this device may be issued on it.
  bool belongs(cudaStream_t stream, const Device& device) const;
  std::size_t streams() const;
  // As there were neither streams nor failures.
  void forget();

  void setSchedule(Schedule schedule);
  // Ends the device's thread when all work is done; later work starts another one.
  void rest();
  // Ends it for good; the queue then runs in those who wait.
  void stop();

 private:
  using Lock = std::unique_lock<std::mutex>;
  struct Waiter {
    std::uint64_t number;
    Waiter* next = nullptr;
    std::condition_variable wake{};
  };

  std::uint64_t append(Device& device, cudaStream_t stream, Work* work, bool wakeDevice);
  bool empty() const { return first_ == nullptr; }
  // The next piece, with those up to this number that it takes in; nobody is executing, and there is one.
  void runOne(Lock& lock, std::uint64_t last);
  void handOver();  // who runs what is left when a helper leaves
  void sleep(Lock& lock, std::uint64_t number);
  template <class Condition>
  void spinUntil(Condition condition) const;
  void deviceThread();
  void startThread();
  void endThread();
  // Whether a host thread that waits may run the next piece itself.
  bool mayHelp() const;
  bool deviceHasWork() const { return schedule_ == Schedule::eager && !executing_ && !empty(); }

  const int spins_;  // how often one looks again before going to sleep
  mutable std::mutex mutex_;
  Work *first_ = nullptr, *last_ = nullptr;
  std::atomic<std::uint64_t> issued_{0}, completed_{0};
  bool executing_ = false;
  Waiter* waiters_ = nullptr;
  std::map<cudaStream_t, std::unique_ptr<CUstream_st>> streams_;
  std::atomic<Work*> failed_{nullptr};  // those whose errors nobody has taken yet, the latest first

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
