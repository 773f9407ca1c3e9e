#include "device/software/src/queue.h"

#include <new>
#include <utility>

#include "device/software/src/engine.h"
#include "device/software/src/machine.h"
#include "device/software/src/os.h"
#include "device/software/src/pool.h"
#include "device/software/src/sanitizer.h"
#include "ground/per_process.h"
#include "host/floating_point.h"

namespace software_device {

namespace {

// What runs on the thread that forgot to wait for it is no race. So that ThreadSanitizer sees every missing
// wait, the device's thread does all the work under it.
constexpr bool hostHelps = !threadSanitizer;

// A number for the calling thread that no other thread of the process ever has.
unsigned long long thisThread() {
  static std::atomic<unsigned long long> threads{0};
  static thread_local unsigned long long number = 0;
  if (number == 0) number = ++threads;
  return number;
}

cudaError_t attempt(Work& work) noexcept {
  const host::StatedFloatingPointMode mode;
  try {
    work.run();
    return cudaSuccess;
  } catch (const std::bad_alloc&) {
    return cudaErrorMemoryAllocation;
  } catch (...) {
    return cudaErrorLaunchFailure;
  }
}

}  // namespace

// Some microseconds, about what waking a sleeper costs. Longer would take the processor from the pool's
// workers, and from a host thread that factors a panel meanwhile.
Queue::Queue() : spins_(os::processors() > 1 ? 200 : 0) {}

// Only of one that another thread has made at the same time, or that never was at work.
Queue::~Queue() = default;

template <class Condition>
void Queue::spinUntil(Condition condition) const {
  for (int i = spins_; i > 0 && !condition(); --i) relaxProcessor();
}

std::uint64_t Queue::append(Device& device, cudaStream_t stream, Work* work, bool wakeDevice) {
  std::shared_ptr<void> loaded;
  Lock lock(mutex_);
  if (loaded_ == nullptr) {
    // Not with the lock: the system may have one of its own, and whoever holds that waits for the device.
    lock.unlock();
    loaded = os::keepLoaded();
    lock.lock();
    loaded_.swap(loaded);
  }
  work->device_ = &device;
  work->thread_ = thisThread();
  work->next_ = nullptr;
  (empty() ? first_ : last_->next_) = work;
  last_ = work;
  const std::uint64_t number = issued_.load(std::memory_order_relaxed) + 1;
  issued_.store(number, std::memory_order_release);
  device.issued.store(number, std::memory_order_release);
  if (const auto found = streams_.find(stream); found != streams_.end()) found->second->last = number;

  if ((!wakeDevice && hostHelps) || schedule_ == Schedule::lazy) return number;
  if (!started_) startThread();
  if (deviceAsleep_ && !executing_) {
    deviceAsleep_ = false;
    lock.unlock();
    deviceWake_.notify_one();
  }
  return number;
}

std::uint64_t Queue::push(Device& device, cudaStream_t stream, std::unique_ptr<Work> work) {
  const std::uint64_t number = append(device, stream, work.get(), true);
  static_cast<void>(work.release());
  return number;
}

cudaError_t Queue::pushAndWait(Device& device, cudaStream_t stream, Work& work) {
  work.owned_ = false;
  wait(append(device, stream, &work, false));
  const cudaError_t lost = lostWith(device);
  return lost != cudaSuccess ? lost : static_cast<cudaError_t>(work.error_);
}

void Queue::runOne(Lock& lock, std::uint64_t last) {
  Work* const work = first_;
  Work* end = work;
  std::uint64_t completed = completed_.load(std::memory_order_relaxed) + 1;
  while (completed < last && end->next_ != nullptr && end->next_->owned_ &&
         end->next_->device_ == work->device_ && work->takeIn(*end->next_)) {
    end = end->next_;
    ++completed;
  }
  first_ = end->next_;
  end->next_ = nullptr;
  executing_ = true;
  lock.unlock();
  // What is queued for a lost device never runs.
  const int error = lostWith(*work->device_) == cudaSuccess ? attempt(*work) : cudaSuccess;
  const bool owned = work->owned_, failed = owned && error != cudaSuccess;
  if (!owned) work->error_ = error;
  for (Work *done = owned && !failed ? work : nullptr, *next; done != nullptr; done = next) {
    next = done->next_;
    delete done;
  }
  lock.lock();
  if (failed) {
    for (Work* one = work; one != nullptr; one = one->next_) one->error_ = error;
    end->next_ = failed_.load(std::memory_order_relaxed);
    failed_.store(work, std::memory_order_release);
  }
  executing_ = false;
  completed_.store(completed, std::memory_order_release);
  for (Waiter* waiter = waiters_; waiter != nullptr; waiter = waiter->next)
    if (waiter->number <= completed) waiter->wake.notify_one();
}

void Queue::handOver() {
  if (executing_ || empty()) return;
  if (deviceAsleep_ && schedule_ == Schedule::eager) {
    deviceAsleep_ = false;
    deviceWake_.notify_one();
  } else if (waiters_ != nullptr) {
    waiters_->wake.notify_one();
  }
}

bool Queue::mayHelp() const { return hostHelps || schedule_ == Schedule::lazy || !running_; }

void Queue::sleep(Lock& lock, std::uint64_t number) {
  Waiter self{number, waiters_};
  waiters_ = &self;
  self.wake.wait(lock);
  Waiter** place = &waiters_;
  while (*place != &self) place = &(*place)->next;
  *place = self.next;
}

void Queue::wait(std::uint64_t number) {
  const auto done = [&] { return completed_.load(std::memory_order_acquire) >= number; };
  if (done()) return;
  Lock lock(mutex_);
  for (bool spun = false; !done();) {
    if (!executing_ && mayHelp()) {
      runOne(lock, number);
    } else if (!spun) {
      lock.unlock();
      spinUntil(done);
      lock.lock();
      spun = true;
    } else {
      sleep(lock, number);
    }
  }
  handOver();
}

bool Queue::poll(std::uint64_t number) {
  if (completed_.load(std::memory_order_acquire) >= number) return true;
  Lock lock(mutex_);
  if (!executing_ && !empty() && (schedule_ == Schedule::lazy || !running_)) {
    runOne(lock, 0);
    handOver();
  }
  return false;
}

cudaError_t Queue::takeFailure() noexcept {
  if (failed_.load(std::memory_order_acquire) == nullptr) return cudaSuccess;
  const unsigned long long thread = thisThread();
  int error = cudaSuccess;
  const Lock lock(mutex_);
  Work* failed = failed_.load(std::memory_order_relaxed);
  for (Work** place = &failed; *place != nullptr;) {
    Work* const work = *place;
    if (work->thread_ == thread) {
      error = work->error_;
      *place = work->next_;
      delete work;
    } else {
      place = &work->next_;
    }
  }
  failed_.store(failed, std::memory_order_release);
  return static_cast<cudaError_t>(error);
}

void Queue::deviceThread() {
  Lock lock(mutex_);
  while (!ends_) {
    if (deviceHasWork()) {
      runOne(lock, issued_.load(std::memory_order_relaxed));
      if (empty()) {
        const std::uint64_t seen = issued_.load(std::memory_order_relaxed);
        lock.unlock();
        spinUntil([&] { return issued_.load(std::memory_order_relaxed) != seen; });
        lock.lock();
      }
    } else {
      deviceAsleep_ = true;
      deviceWake_.wait(lock);
      deviceAsleep_ = false;
    }
  }
  running_ = false;
  handOver();
}

cudaStream_t Queue::createStream(Device& device) {
  auto stream = std::make_unique<CUstream_st>();
  stream->device = &device;
  const cudaStream_t handle = stream.get();
  const Lock lock(mutex_);
  streams_.emplace(handle, std::move(stream));
  return handle;
}

bool Queue::removeStream(cudaStream_t stream) {
  const Lock lock(mutex_);
  return streams_.erase(stream) != 0;
}

bool Queue::lastIssued(const Device& device, cudaStream_t stream, std::uint64_t* number) const {
  if (stream == nullptr) {
    *number = device.issued.load(std::memory_order_acquire);
    return true;
  }
  const Lock lock(mutex_);
  const auto found = streams_.find(stream);
  if (found == streams_.end()) return false;
  *number = found->second->last;
  return true;
}

bool Queue::belongs(cudaStream_t stream, const Device& device) const {
  if (stream == nullptr) return true;
  const Lock lock(mutex_);
  const auto found = streams_.find(stream);
  return found != streams_.end() && found->second->device == &device;
}

std::size_t Queue::streams() const {
  const Lock lock(mutex_);
  return streams_.size();
}

void Queue::forget() {
  const Lock lock(mutex_);
  streams_.clear();
  for (Work *work = failed_.exchange(nullptr), *next; work != nullptr; work = next) {
    next = work->next_;
    delete work;
  }
}

void Queue::setSchedule(Schedule schedule) {
  waitForAll();
  const Lock lock(mutex_);
  schedule_ = schedule;
  handOver();
}

void Queue::startThread() {
  if (stopped_) return;
  started_ = true;
  try {
    thread_ = os::startThread([this] { deviceThread(); });
    running_ = true;
  } catch (const std::exception&) {
    // Without a thread of its own the device works when somebody waits.
  }
}

void Queue::endThread() {
  const std::lock_guard<std::mutex> ending(ending_);
  std::shared_ptr<void> loaded;  // given up without the lock, too
  Lock lock(mutex_);
  if (started_) {
    ends_ = true;
    deviceWake_.notify_one();
    lock.unlock();
    if (thread_.joinable()) thread_.join();
    lock.lock();
    ends_ = started_ = false;
  }
  if (empty())
    loaded_.swap(loaded);
  else if (schedule_ == Schedule::eager)
    startThread();  // somebody has issued work meanwhile
}

void Queue::rest() {
  waitForAll();
  endThread();
}

void Queue::stop() {
  {
    const Lock lock(mutex_);
    stopped_ = true;
  }
  endThread();
}

namespace {

// The queue outlives every object with a destructor, so that calls made while the process ends still work;
// only its thread has to end before this library's code may go.
tovi::PerProcess<Queue> theQueue;

struct StopAtUnload {
  ~StopAtUnload() {
    if (os::joinsAtUnload() && theQueue.peek() != nullptr) theQueue.peek()->stop();
  }
} stopAtUnload;

}  // namespace

Queue& queue() { return theQueue.get(); }

void enqueue(Device& device, cudaStream_t stream, std::unique_ptr<Work> work) {
  queue().push(device, stream, std::move(work));
}

cudaError_t runInTurn(Device& device, cudaStream_t stream, Work& work) {
  return queue().pushAndWait(device, stream, work);
}

}  // namespace software_device
