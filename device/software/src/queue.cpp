#include "device/software/src/queue.h"

#include <new>
#include <utility>

#include "device/software/src/draw.h"
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

// So many pieces of brief work may lie until somebody waits for them: to wake the device's thread costs more
// than they do.
constexpr std::uint64_t mostDelayed = 8;

// A number for the calling thread that no other thread of the process ever has.
unsigned long long thisThread() {
  static std::atomic<unsigned long long> threads{0};
  static thread_local unsigned long long number = 0;
  if (number == 0) number = ++threads;
  return number;
}

// A place in a stream, where nothing is to be done.
struct Mark {
  void operator()() const {}
};

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
  CUstream_st* const own = find(stream);
  const std::uint64_t number = issued_.load(std::memory_order_relaxed) + 1;
  work->device_ = &device;
  work->number_ = number;
  work->stream_ = own == nullptr ? 0 : own->number;
  work->blocking_ = own == nullptr || own->blocking;
  work->thread_ = thisThread();
  work->next_ = nullptr;
  (empty() ? first_ : last_->next_) = work;
  last_ = work;
  issued_.store(number, std::memory_order_release);
  countAsIssued(device, own, number);

  if ((!wakeDevice && hostHelps) || schedule_ != Schedule::eager) return number;
  const std::uint64_t waiting = number - completed_.load(std::memory_order_relaxed);
  if (work->brief_ && waiting < mostDelayed && hostHelps && (deviceAsleep_ || !started_)) return number;
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
  waitForWork(append(device, stream, &work, false));
  const cudaError_t lost = lostWith(device);
  return lost != cudaSuccess ? lost : static_cast<cudaError_t>(work.error_);
}

void Queue::countAsIssued(Device& device, CUstream_st* stream, std::uint64_t number) {
  const auto raise = [=](std::atomic<std::uint64_t>& last) {
    if (last.load(std::memory_order_relaxed) < number) last.store(number, std::memory_order_release);
  };
  raise(device.issued);
  if (stream == nullptr || stream->blocking) raise(device.inOrder);
  if (stream != nullptr && stream->last < number) stream->last = number;
}

bool Queue::keepsWaiting(const Work& earlier, const Work& piece) {
  if (earlier.number_ >= piece.number_) return false;
  if (earlier.number_ == piece.after_) return true;
  if (earlier.device_ != piece.device_) return false;
  const bool withDefault = earlier.stream_ == 0 || piece.stream_ == 0;
  return earlier.stream_ == piece.stream_ || (withDefault && earlier.blocking_ && piece.blocking_);
}

bool Queue::isReady(const Work& piece) const {
  const Work* earlier = first_;
  while (earlier != &piece && !keepsWaiting(*earlier, piece)) earlier = earlier->next_;
  return earlier == &piece;
}

void Queue::runOne(Lock& lock, const Goal& goal, std::uint64_t last) {
  Work* const work = next(goal);
  Work* end = work;
  if (schedule_ == Schedule::drawn) last = 0;
  while (end->number_ < last && end->next_ != nullptr && end->next_->owned_ &&
         end->next_->device_ == work->device_ && work->takeIn(*end->next_))
    end = end->next_;
  unlink(work, end);
  executing_ = true;
  executed_ = work->number_;
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
  completed_.store(empty() ? issued_.load(std::memory_order_relaxed) : first_->number_ - 1,
                   std::memory_order_release);
  for (Waiter* waiter = waiters_; waiter != nullptr; waiter = waiter->next)
    if (isDone(waiter->goal)) waiter->wake.notify_one();
}

// One of the pieces of which condition(piece) holds; null where it holds of none.
template <class Condition>
Work* Queue::drawn(Condition condition) {
  Work* result = nullptr;
  std::uint64_t count = 0;
  for (Work* piece = first_; piece != nullptr; piece = piece->next_)
    if (condition(*piece) && draw(drawState_) % ++count == 0) result = piece;
  return result;
}

Work* Queue::next(const Goal& goal) {
  if (schedule_ != Schedule::drawn) return first_;
  if (!goal.frugal || !goal.alone)
    return drawn(
        [&](const Work& piece) { return (!goal.frugal || piece.number_ <= goal.number) && isReady(piece); });
  // From what is waited for to something that keeps it waiting, and on from there.
  Work* piece = drawn([&](const Work& one) { return one.number_ == goal.number; });
  while (Work* const earlier = drawn([&](const Work& one) { return keepsWaiting(one, *piece); }))
    piece = earlier;
  return piece;
}

void Queue::unlink(Work* first, Work* last) {
  Work *before = nullptr, *at = first_;
  for (; at != first; at = at->next_) before = at;
  (before == nullptr ? first_ : before->next_) = last->next_;
  if (last_ == last) last_ = before;
  last->next_ = nullptr;
}

bool Queue::isDone(const Goal& goal) const {
  if (completed_.load(std::memory_order_acquire) >= goal.number) return true;
  if (!goal.alone || schedule_ != Schedule::drawn || (executing_ && executed_ == goal.number)) return false;
  const Work* piece = first_;
  while (piece != nullptr && piece->number_ != goal.number) piece = piece->next_;
  return piece == nullptr;
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

bool Queue::mayHelp() const { return hostHelps || schedule_ != Schedule::eager || !running_; }

void Queue::sleep(Lock& lock, const Goal& goal) {
  Waiter self{goal, waiters_};
  waiters_ = &self;
  self.wake.wait(lock);
  Waiter** place = &waiters_;
  while (*place != &self) place = &(*place)->next;
  *place = self.next;
}

void Queue::wait(Goal goal) {
  const auto done = [&] { return completed_.load(std::memory_order_acquire) >= goal.number; };
  if (done()) return;
  Lock lock(mutex_);
  goal.frugal = schedule_ == Schedule::drawn && draw(drawState_) % 2 == 0;
  for (bool spun = false; !isDone(goal);) {
    if (!executing_ && mayHelp()) {
      runOne(lock, goal, goal.number);
    } else if (!spun) {
      lock.unlock();
      spinUntil(done);
      lock.lock();
      spun = true;
    } else {
      sleep(lock, goal);
    }
  }
  handOver();
}

bool Queue::poll(std::uint64_t number, bool alone) {
  if (completed_.load(std::memory_order_acquire) >= number) return true;
  Lock lock(mutex_);
  const Goal goal{number, alone};
  if (isDone(goal)) return true;
  if (!executing_ && !empty() && (schedule_ != Schedule::eager || !running_)) runOne(lock, goal, 0);
  handOver();
  return false;
}

std::size_t Queue::pending() const {
  const Lock lock(mutex_);
  std::size_t count = executing_ ? 1 : 0;
  for (const Work* piece = first_; piece != nullptr; piece = piece->next_) ++count;
  return count;
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
      runOne(lock, Goal(), issued_.load(std::memory_order_relaxed));
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

cudaStream_t Queue::createStream(Device& device, bool blocking) {
  auto stream = std::make_unique<CUstream_st>();
  stream->device = &device;
  stream->blocking = blocking;
  const cudaStream_t handle = stream.get();
  const Lock lock(mutex_);
  stream->number = ++streamsMade_;
  streams_.emplace(handle, std::move(stream));
  return handle;
}

bool Queue::removeStream(cudaStream_t stream) {
  const Lock lock(mutex_);
  return streams_.erase(stream) != 0;
}

CUstream_st* Queue::find(cudaStream_t stream) const {
  if (stream == nullptr) return nullptr;
  const auto found = streams_.find(stream);
  return found == streams_.end() ? nullptr : found->second.get();
}

bool Queue::lastIssued(const Device& device, cudaStream_t stream, std::uint64_t* number) const {
  if (stream == nullptr) {
    *number = device.inOrder.load(std::memory_order_acquire);
    return true;
  }
  const Lock lock(mutex_);
  const CUstream_st* const found = find(stream);
  if (found == nullptr) return false;
  *number = found->last;
  return true;
}

bool Queue::waitForTurn(Device& device, cudaStream_t stream) {
  std::uint64_t last = 0;
  if (!lastIssued(device, stream, &last)) return false;
  if (stream != nullptr || schedule_ != Schedule::drawn) {
    waitForWork(last);
  } else if (completed_.load(std::memory_order_acquire) < last) {  // work of several streams
    WorkOf<Mark> mark{Mark()};
    static_cast<void>(pushAndWait(device, stream, mark));
  }
  return true;
}

bool Queue::belongs(cudaStream_t stream, const Device& device) const {
  if (stream == nullptr) return true;
  const Lock lock(mutex_);
  const CUstream_st* const found = find(stream);
  return found != nullptr && found->device == &device;
}

std::size_t Queue::streams() const {
  const Lock lock(mutex_);
  return streams_.size();
}

cudaEvent_t Queue::createEvent(Device& device) {
  auto event = std::make_unique<CUevent_st>();
  event->device = &device;
  const cudaEvent_t handle = event.get();
  const Lock lock(mutex_);
  events_.emplace(handle, std::move(event));
  return handle;
}

bool Queue::removeEvent(cudaEvent_t event) {
  const Lock lock(mutex_);
  return events_.erase(event) != 0;
}

bool Queue::record(Device& device, cudaStream_t stream, cudaEvent_t event) {
  std::unique_ptr<Work> mark;
  if (schedule_ == Schedule::drawn) mark = std::make_unique<WorkOf<Mark>>(Mark());
  {
    const Lock lock(mutex_);
    const auto found = events_.find(event);
    if (found == events_.end() || found->second->device != &device) return false;
  }
  std::uint64_t last = 0;
  if (mark != nullptr)
    last = push(device, stream, std::move(mark));
  else
    lastIssued(device, stream, &last);
  const Lock lock(mutex_);
  if (const auto found = events_.find(event); found != events_.end()) found->second->last = last;
  return true;
}

bool Queue::await(Device& device, cudaStream_t stream, cudaEvent_t event) {
  std::uint64_t number = 0;
  if (!lastBefore(event, &number)) return false;
  if (completed_.load(std::memory_order_acquire) >= number) return true;
  if (schedule_ == Schedule::drawn) {
    std::unique_ptr<Work> mark = std::make_unique<WorkOf<Mark>>(Mark());
    mark->after_ = number;
    push(device, stream, std::move(mark));
  } else {
    const Lock lock(mutex_);
    countAsIssued(device, find(stream), number);
  }
  return true;
}

bool Queue::lastBefore(cudaEvent_t event, std::uint64_t* number) const {
  const Lock lock(mutex_);
  const auto found = events_.find(event);
  if (found == events_.end()) return false;
  *number = found->second->last;
  return true;
}

std::size_t Queue::events() const {
  const Lock lock(mutex_);
  return events_.size();
}

void Queue::forget() {
  const Lock lock(mutex_);
  streams_.clear();
  events_.clear();
  for (Work *work = failed_.exchange(nullptr), *next; work != nullptr; work = next) {
    next = work->next_;
    delete work;
  }
}

void Queue::setSchedule(Schedule schedule, std::uint64_t seed) {
  waitForAll();
  const Lock lock(mutex_);
  schedule_ = schedule;
  drawState_ = seed;
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
