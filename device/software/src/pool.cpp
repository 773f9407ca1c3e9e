#include "device/software/src/pool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "device/software/src/blas_buffers.h"
#include "device/software/src/os.h"
#include "ground/per_process.h"
#include "host/floating_point.h"

namespace software_device {

namespace {

// How often a thread looks again before it sleeps: some ten microseconds, less than it takes to wake a
// sleeper and more than what lies between two steps of a blocked algorithm's update. Longer would rob the
// host thread, which factors panels at the same time.
constexpr int spins = 400;

// A total of more threads than this many for each processor is taken for a mistake.
constexpr int threadsPerProcessor = 4;

int defaultWorkers() {
  const int processors = os::processors(), most = threadsPerProcessor * processors;
  const char* const wanted = std::getenv("TOVI_DEVICE_THREADS");
  if (wanted == nullptr) return processors - 1;
  char* end = nullptr;
  const long threads = std::strtol(wanted, &end, 10);
  if (end != wanted && *end == '\0' && threads >= 1 && threads <= most) return static_cast<int>(threads) - 1;
  static std::atomic<bool> told{false};
  if (!told.exchange(true))
    std::fprintf(stderr,
                 "tovi: TOVI_DEVICE_THREADS is \"%s\", not a number from 1 to %d; computing with %d\n",
                 wanted, most, processors);
  return processors - 1;
}

// One job at a time. Its caller publishes it, works on it, closes it to newcomers, and waits for the workers
// that had joined: run and the counters are touched by nobody afterwards.
class Pool {
 public:
  // A piece of a job, and what it is called with.
  struct Job {
    void (*run)(const void* body, std::size_t piece);
    const void* body;
    std::size_t pieces;
  };

  void run(const Job& job);
  int workers() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return wanted_;
  }
  void setWorkers(int count);
  void rest();
  void stop();

 private:
  void work();
  void runPieces(const Job& job);
  bool startThreads();  // mutex_ held; true when there is any worker
  void joinThreads();   // busy_ held, mutex_ not

  std::atomic<bool> busy_{false};  // a job is under way, or the threads are being changed
  std::mutex mutex_;
  std::condition_variable jobPosted_, workerLeft_;
  int wanted_ = defaultWorkers();
  std::vector<std::thread> threads_;
  std::shared_ptr<void> loaded_;  // held while there are threads
  bool started_ = false, stopped_ = false;
  int asleep_ = 0;

  // The job. open_ says whether a worker may still join.
  std::atomic<std::uint64_t> jobs_{0};  // counts jobs, for those who spin
  Job job_{};
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> failed_{false};
  std::exception_ptr failure_;  // written by who sets failed_
  bool open_ = false, ending_ = false;
  std::atomic<int> joined_{0};
};

void Pool::runPieces(const Job& job) {
  for (std::size_t i; (i = next_.fetch_add(1, std::memory_order_relaxed)) < job.pieces;) {
    try {
      job.run(job.body, i);
    } catch (...) {
      next_.store(job.pieces, std::memory_order_relaxed);
      if (!failed_.exchange(true)) failure_ = std::current_exception();
    }
  }
}

void Pool::run(const Job& job) {
  const auto alone = [&] {
    for (std::size_t i = 0; i < job.pieces; ++i) job.run(job.body, i);
  };
  if (job.pieces < 2) return alone();
  if (busy_.exchange(true, std::memory_order_acquire)) return alone();
  {
    const std::unique_lock<std::mutex> lock(mutex_);
    if (!startThreads()) {
      busy_.store(false, std::memory_order_release);
      return alone();
    }
    job_ = job;
    next_.store(0, std::memory_order_relaxed);
    open_ = true;
    jobs_.fetch_add(1, std::memory_order_release);
    // As many as there is work for; who spins joins by itself.
    for (int i = 0; i < asleep_ && static_cast<std::size_t>(i) + 1 < job.pieces; ++i) jobPosted_.notify_one();
  }
  runPieces(job);
  {
    std::unique_lock<std::mutex> lock(mutex_);
    open_ = false;
    if (joined_.load(std::memory_order_relaxed) != 0) {
      lock.unlock();
      for (int i = 0; i < spins && joined_.load(std::memory_order_acquire) != 0; ++i) relaxProcessor();
      lock.lock();
      workerLeft_.wait(lock, [&] { return joined_.load(std::memory_order_relaxed) == 0; });
    }
  }
  std::exception_ptr failure;
  if (failed_.exchange(false)) failure.swap(failure_);
  busy_.store(false, std::memory_order_release);
  if (failure != nullptr) std::rethrow_exception(failure);
}

void Pool::work() {
  const host::StatedFloatingPointMode mode;  // not that of the thread that has started this one
  std::uint64_t seen = 0;
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    if (ending_) return;
    const std::uint64_t latest = jobs_.load(std::memory_order_relaxed);
    if (latest == seen || !open_) {
      seen = latest;
      lock.unlock();
      for (int i = 0; i < spins && jobs_.load(std::memory_order_relaxed) == seen; ++i) relaxProcessor();
      lock.lock();
      ++asleep_;
      jobPosted_.wait(lock, [&] { return ending_ || jobs_.load(std::memory_order_relaxed) != seen; });
      --asleep_;
      continue;
    }
    seen = latest;
    joined_.fetch_add(1, std::memory_order_relaxed);
    const Job job = job_;
    lock.unlock();
    runPieces(job);
    lock.lock();
    if (joined_.fetch_sub(1, std::memory_order_release) == 1 && !open_) workerLeft_.notify_one();
  }
}

bool Pool::startThreads() {
  if (stopped_) return false;
  if (!started_) {
    started_ = true;
    try {
      loaded_ = os::keepLoaded();
      threads_.reserve(static_cast<std::size_t>(wanted_));
      for (int i = 0; i < wanted_; ++i) threads_.push_back(os::startThread([this] { work(); }));
    } catch (const std::exception&) {
      // The system gives no more threads: those that are there do the work.
    }
  }
  return !threads_.empty();
}

void Pool::joinThreads() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ending_ = true;
  }
  jobPosted_.notify_all();
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
  loaded_ = nullptr;
  ending_ = started_ = false;
}

void Pool::setWorkers(int count) {
  while (busy_.exchange(true, std::memory_order_acquire)) std::this_thread::yield();
  joinThreads();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    wanted_ = std::max(count, 0);
  }
  busy_.store(false, std::memory_order_release);
}

void Pool::rest() {
  while (busy_.exchange(true, std::memory_order_acquire)) std::this_thread::yield();
  joinThreads();
  busy_.store(false, std::memory_order_release);
}

void Pool::stop() {
  while (busy_.exchange(true, std::memory_order_acquire)) std::this_thread::yield();
  joinThreads();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
  }
  busy_.store(false, std::memory_order_release);
}

// The device may still run work while the process ends; only the pool's threads have to end before.
tovi::PerProcess<Pool> thePool;

struct StopAtUnload {
  ~StopAtUnload() {
    if (os::joinsAtUnload() && thePool.peek() != nullptr) thePool.peek()->stop();
  }
} stopAtUnload;

}  // namespace

void parallelFor(std::size_t pieces, void (*run)(const void* body, std::size_t piece), const void* body) {
  thePool.get().run({run, body, pieces});
}
int workers() { return thePool.get().workers(); }
void useWorkers(int count) {
  thePool.get().setWorkers(count);
  leaseBlasBuffers();
}
void restWorkers() { thePool.get().rest(); }

}  // namespace software_device
