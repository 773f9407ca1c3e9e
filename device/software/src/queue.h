// The device's queue. All streams feed one queue in the order of issue, and one piece of work runs at a time:
// a legal serialization of the streams, whatever they ask of each other by the legacy rule of the default
// stream or by events. An event is then the number of a piece, and a stream that waits for it counts as
// having had that piece issued on it.
//
// The drawn schedule takes any other order that is legal, too. Whoever waits draws at each turn one of the
// pieces that nothing keeps waiting: half of the waits one of all, the others one of those without which what
// they wait for cannot be had. Records of events and waits for them are pieces then.
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
  std::uint64_t number = 0;  // of the stream: no other one of the process has it
  bool blocking = true;      // keeps in order with the default stream
  std::uint64_t last = 0;    // number of the work issued last, or waited for, whichever is later
};

// What an event handle points at.
struct CUevent_st {
  software_device::Device* device = nullptr;
  std::uint64_t last = 0;  // number of the work that is done when it happens; 0: never recorded
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
  void wait(std::uint64_t number) { wait(Goal{number}); }
  // When that of this number is, and what comes before it by streams and events.
  void waitForWork(std::uint64_t number) { wait(Goal{number, true}); }
  // Whether it is done, with all before it or alone. Where nothing else runs the queue, every call that says
  // no moves the queue on by one piece, so that a program that polls comes to its end.
  bool poll(std::uint64_t number, bool alone);
  void waitForAll() { wait(issued_.load(std::memory_order_acquire)); }
  std::size_t pending() const;
  // The error of the first work that the calling thread has issued and that has failed since it last asked.
  cudaError_t takeFailure() noexcept;

  cudaStream_t createStream(Device& device, bool blocking);
  // Forgets the handle; its work goes on. False when there is no such stream.
  bool removeStream(cudaStream_t stream);
  // The number of the last work issued on it; for the default stream, on any that keeps in order with it.
  // False when there is no such stream.
  bool lastIssued(const Device& device, cudaStream_t stream, std::uint64_t* number) const;
  // Returns when work that was issued on it now would begin. False when there is no such stream.
  bool waitForTurn(Device& device, cudaStream_t stream);
  // Whether work for this device may be issued on it.
  bool belongs(cudaStream_t stream, const Device& device) const;
  std::size_t streams() const;

  cudaEvent_t createEvent(Device& device);
  // Forgets the handle; who waits for it goes on waiting. False when there is no such event.
  bool removeEvent(cudaEvent_t event);
  // It happens when all is done that the stream has been given. False when the event is not the device's.
  bool record(Device& device, cudaStream_t stream, cudaEvent_t event);
  // What is issued on the stream from here on comes after the event as it was recorded last. False when there
  // is no such event.
  bool await(Device& device, cudaStream_t stream, cudaEvent_t event);
  // The number of the work that is done when it happens. False when there is no such event.
  bool lastBefore(cudaEvent_t event, std::uint64_t* number) const;
  std::size_t events() const;

  // As there were neither streams, events nor failures.
  void forget();

  void setSchedule(Schedule schedule, std::uint64_t seed);
  // Ends the device's thread when all work is done; later work starts another one.
  void rest();
  // Ends it for good; the queue then runs in those who wait.
  void stop();

 private:
  using Lock = std::unique_lock<std::mutex>;
  // What somebody waits for: the work of a number, with all before it or alone.
  struct Goal {
    std::uint64_t number = 0;
    bool alone = false;
    bool frugal = false;  // while the order is drawn: nothing else is to run
  };
  struct Waiter {
    Goal goal;
    Waiter* next = nullptr;
    std::condition_variable wake{};
  };

  std::uint64_t append(Device& device, cudaStream_t stream, Work* work, bool wakeDevice);
  // Work of this number counts as issued on the stream.
  static void countAsIssued(Device& device, CUstream_st* stream, std::uint64_t number);
  CUstream_st* find(cudaStream_t stream) const;
  bool empty() const { return first_ == nullptr; }
  void wait(Goal goal);
  bool isDone(const Goal& goal) const;
  // The next piece, with those up to number `last` that it takes in; nobody is executing, and there is one.
  void runOne(Lock& lock, const Goal& goal, std::uint64_t last);
  Work* next(const Goal& goal);
  template <class Condition>
  Work* drawn(Condition condition);
  // Whether the later one of two pieces in the queue has to come after the earlier one, for a reason of its
  // own.
  static bool keepsWaiting(const Work& earlier, const Work& piece);
  bool isReady(const Work& piece) const;
  void unlink(Work* first, Work* last);  // and what is between them
  void handOver();                       // who runs what is left when a helper leaves
  void sleep(Lock& lock, const Goal& goal);
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
  std::uint64_t executed_ = 0;  // number of the piece that is being executed, or was latest
  Waiter* waiters_ = nullptr;
  std::map<cudaStream_t, std::unique_ptr<CUstream_st>> streams_;
  std::map<cudaEvent_t, std::unique_ptr<CUevent_st>> events_;
  std::uint64_t streamsMade_ = 0;
  std::atomic<Work*> failed_{nullptr};  // those whose errors nobody has taken yet, the latest first

  std::atomic<Schedule> schedule_{Schedule::eager};
  std::uint64_t drawState_ = 0;
  std::mutex ending_;  // held by who ends the thread
  std::thread thread_;
  std::shared_ptr<void> loaded_;  // held from the first work until the thread has ended
  std::condition_variable deviceWake_;
  bool deviceAsleep_ = false, started_ = false, running_ = false, ends_ = false, stopped_ = false;
};

Queue& queue();

}  // namespace software_device

#endif
