#include "platform/software/src/queue.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/software/src/os.h"
#include "platform/software/src/pool.h"
#include "platform/software/src/sanitizer.h"

namespace software_device {

namespace {

// How often one looks again before going to sleep: some microseconds, about what waking a sleeper costs.
// Longer would take the processor from the pool's workers, and from a host thread that factors a panel
// meanwhile.
int spins() {
  static const int count = usableProcessors() > 1 ? 200 : 0;
  return count;
}

// What runs on the thread that forgot to wait for it is no race. So that ThreadSanitizer sees every missing
// wait, the device's thread does all the work under it.
constexpr bool hostHelps = !threadSanitizer;

template <class Condition>
void spinUntil(Condition condition) {
  for (int i = spins(); i > 0 && !condition(); --i) {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ volatile("yield");
#endif
  }
}

}  // namespace

std::uint64_t Queue::push(cudaStream_t stream, Work work, bool wakeDevice) {
  std::shared_ptr<void> loaded;
  Lock lock(mutex_);
  if (loaded_ == nullptr) {
    // Not with the lock: the system may have one of its own, and whoever holds that waits for the device.
    lock.unlock();
    loaded = os::keepLoaded();
    lock.lock();
    loaded_.swap(loaded);
  }
  if (tail_ - head_ == ring_.size()) {
    std::vector<Work> larger(2 * ring_.size());
    for (std::size_t i = head_; i != tail_; ++i)
      larger[i % larger.size()] = std::move(ring_[i % ring_.size()]);
    ring_.swap(larger);
  }
  ring_[tail_++ % ring_.size()] = std::move(work);
  const std::uint64_t number = issued_.load(std::memory_order_relaxed) + 1;
  issued_.store(number, std::memory_order_release);
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

void Queue::runOne(Lock& lock) {
  Work work = std::move(ring_[head_++ % ring_.size()]);
  executing_ = true;
  lock.unlock();
  work();
  work = nullptr;
  lock.lock();
  executing_ = false;
  const std::uint64_t completed = completed_.load(std::memory_order_relaxed) + 1;
  completed_.store(completed, std::memory_order_release);
  for (Waiter* waiter : waiters_)
    if (waiter->number <= completed) waiter->wake.notify_one();
}

void Queue::handOver() {
  if (executing_ || empty()) return;
  if (deviceAsleep_ && schedule_ == Schedule::eager) {
    deviceAsleep_ = false;
    deviceWake_.notify_one();
  } else if (!waiters_.empty()) {
    waiters_.front()->wake.notify_one();
  }
}

bool Queue::mayHelp() const { return hostHelps || schedule_ == Schedule::lazy || !running_; }

void Queue::wait(std::uint64_t number) {
  if (done(number)) return;
  Lock lock(mutex_);
  for (bool spun = false; !done(number);) {
    if (!executing_ && mayHelp()) {
      runOne(lock);
    } else if (!spun) {
      lock.unlock();
      spinUntil([&] { return done(number); });
      lock.lock();
      spun = true;
    } else {
      Waiter self{number, {}};
      waiters_.push_back(&self);
      self.wake.wait(lock);
      waiters_.erase(std::find(waiters_.begin(), waiters_.end(), &self));
    }
  }
  handOver();
}

bool Queue::poll(std::uint64_t number) {
  if (done(number)) return true;
  Lock lock(mutex_);
  if (!executing_ && !empty() && (schedule_ == Schedule::lazy || !running_)) {
    runOne(lock);
    handOver();
  }
  return false;
}

void Queue::deviceThread() {
  Lock lock(mutex_);
  while (!ends_) {
    if (deviceHasWork()) {
      runOne(lock);
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

cudaStream_t Queue::createStream() {
  auto stream = std::make_unique<CUstream_st>();
  const cudaStream_t handle = stream.get();
  const Lock lock(mutex_);
  streams_.emplace(handle, std::move(stream));
  return handle;
}

bool Queue::removeStream(cudaStream_t stream) {
  const Lock lock(mutex_);
  return streams_.erase(stream) != 0;
}

void Queue::removeAllStreams() {
  const Lock lock(mutex_);
  streams_.clear();
}

bool Queue::lastIssued(cudaStream_t stream, std::uint64_t* number) const {
  const Lock lock(mutex_);
  if (stream == nullptr) {
    *number = issued_.load(std::memory_order_relaxed);
    return true;
  }
  const auto found = streams_.find(stream);
  if (found == streams_.end()) return false;
  *number = found->second->last;
  return true;
}

std::size_t Queue::streams() const {
  const Lock lock(mutex_);
  return streams_.size();
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
    thread_ = std::thread([this] { deviceThread(); });
    running_ = true;
  } catch (const std::system_error&) {
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
Queue& theQueue() {
  static Queue* const instance = new Queue;
  return *instance;
}

struct StopAtUnload {
  ~StopAtUnload() {
    if (os::joinsAtUnload()) theQueue().stop();
  }
} stopAtUnload;

}  // namespace

Queue& queue() { return theQueue(); }

}  // namespace software_device
