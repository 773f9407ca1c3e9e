#include "platform/software/src/pool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#if defined(__linux__)
#include <sched.h>
#endif

#include "platform/software/src/blas_buffers.h"
#include "platform/software/src/os.h"
#include "platform/software/testing/software_device.h"

namespace software_device {

namespace {

// How often a thread looks again before it sleeps: some ten microseconds, less than it takes to wake a
// sleeper and more than what lies between two steps of a blocked algorithm's update. Longer would rob the
// host thread, which factors panels at the same time.
constexpr int spins = 400;

inline void relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

int defaultWorkers() {
  int threads = usableProcessors();
  if (const char* wanted = std::getenv("TOVI_DEVICE_THREADS")) {
    const long count = std::strtol(wanted, nullptr, 10);
    if (count > 0) threads = static_cast<int>(std::min(count, 1024L));
  }
  return threads - 1;
}

// One job at a time. Its caller publishes it, works on it, closes it to newcomers, and waits for the workers
// that had joined: run and the counters are touched by nobody afterwards.
class Pool {
 public:
  void run(std::size_t pieces, const std::function<void(std::size_t)>& piece);
  int workers() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return wanted_;
  }
  void setWorkers(int count);
  void rest();
  void stop();

 private:
  void work();
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
  const std::function<void(std::size_t)>* piece_ = nullptr;
  std::size_t pieces_ = 0;
  std::atomic<std::size_t> next_{0};
  bool open_ = false, ending_ = false;
  std::atomic<int> joined_{0};
};

void Pool::run(std::size_t pieces, const std::function<void(std::size_t)>& piece) {
  const auto alone = [&] {
    for (std::size_t i = 0; i < pieces; ++i) piece(i);
  };
  if (pieces < 2) return alone();
  if (busy_.exchange(true, std::memory_order_acquire)) return alone();
  {
    const std::unique_lock<std::mutex> lock(mutex_);
    if (!startThreads()) {
      busy_.store(false, std::memory_order_release);
      return alone();
    }
    piece_ = &piece;
    pieces_ = pieces;
    next_.store(0, std::memory_order_relaxed);
    open_ = true;
    jobs_.fetch_add(1, std::memory_order_release);
    // As many as there is work for; who spins joins by itself.
    for (int i = 0; i < asleep_ && static_cast<std::size_t>(i) + 1 < pieces; ++i) jobPosted_.notify_one();
  }
  for (std::size_t i; (i = next_.fetch_add(1, std::memory_order_relaxed)) < pieces;) piece(i);
  {
    std::unique_lock<std::mutex> lock(mutex_);
    open_ = false;
    if (joined_.load(std::memory_order_relaxed) != 0) {
      lock.unlock();
      for (int i = 0; i < spins && joined_.load(std::memory_order_acquire) != 0; ++i) relax();
      lock.lock();
      workerLeft_.wait(lock, [&] { return joined_.load(std::memory_order_relaxed) == 0; });
    }
  }
  busy_.store(false, std::memory_order_release);
}

void Pool::work() {
  std::uint64_t seen = 0;
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    if (ending_) return;
    const std::uint64_t latest = jobs_.load(std::memory_order_relaxed);
    if (latest == seen || !open_) {
      seen = latest;
      lock.unlock();
      for (int i = 0; i < spins && jobs_.load(std::memory_order_relaxed) == seen; ++i) relax();
      lock.lock();
      ++asleep_;
      jobPosted_.wait(lock, [&] { return ending_ || jobs_.load(std::memory_order_relaxed) != seen; });
      --asleep_;
      continue;
    }
    seen = latest;
    joined_.fetch_add(1, std::memory_order_relaxed);
    const std::function<void(std::size_t)>& piece = *piece_;
    const std::size_t pieces = pieces_;
    lock.unlock();
    for (std::size_t i; (i = next_.fetch_add(1, std::memory_order_relaxed)) < pieces;) piece(i);
    lock.lock();
    if (joined_.fetch_sub(1, std::memory_order_release) == 1 && !open_) workerLeft_.notify_one();
  }
}

bool Pool::startThreads() {
  if (stopped_) return false;
  if (!started_) {
    started_ = true;
    loaded_ = os::keepLoaded();
    try {
      threads_.reserve(static_cast<std::size_t>(wanted_));
      for (int i = 0; i < wanted_; ++i) threads_.emplace_back([this] { work(); });
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

// Never destroyed, since the device may still run work while the process ends; only its threads are.
Pool& pool() {
  static Pool& instance = *new Pool;
  return instance;
}
struct StopAtUnload {
  ~StopAtUnload() {
    if (os::joinsAtUnload()) pool().stop();
  }
};

Pool& livePool() {
  static const StopAtUnload stopAtUnload;
  return pool();
}

}  // namespace

void parallelFor(std::size_t pieces, const std::function<void(std::size_t)>& run) {
  livePool().run(pieces, run);
}
int workers() { return livePool().workers(); }
void setWorkers(int count) {
  livePool().setWorkers(count);
  leaseBlasBuffers();
}
void restWorkers() { livePool().rest(); }

int usableProcessors() {
  int count = static_cast<int>(std::thread::hardware_concurrency());
#if defined(__linux__)
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) == 0) count = CPU_COUNT(&set);
  if (std::FILE* quotaFile = std::fopen("/sys/fs/cgroup/cpu.max", "r")) {
    long quota = 0, period = 0;  // microseconds; the quota may be the word "max"
    if (std::fscanf(quotaFile, "%ld %ld", &quota, &period) == 2 && quota > 0 && period > 0)
      count = std::min(count, static_cast<int>((quota + period - 1) / period));
    std::fclose(quotaFile);
  }
#endif
  return std::max(count, 1);
}

}  // namespace software_device
