#include "tools/tovi/progress.h"

#include <unistd.h>

#include <chrono>
#include <iostream>

namespace tool {
namespace {

constexpr const char* wiped = "\r\033[K";

void show(const std::string& step, int second) {
  std::cerr << wiped << step << " ... " << second << " s" << std::flush;
}

}  // namespace

RunningClock::RunningClock(const std::string& step) {
  if (isatty(STDERR_FILENO) == 0) return;
  show(step, 0);
  thread_ = std::thread([this, step] {
    std::unique_lock lock(mutex_);
    for (int second = 1; !ended_.wait_for(lock, std::chrono::seconds(1), [this] { return end_; }); ++second)
      show(step, second);
    std::cerr << wiped << std::flush;
  });
}

RunningClock::~RunningClock() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    end_ = true;
  }
  ended_.notify_one();
  thread_.join();
}

}  // namespace tool
