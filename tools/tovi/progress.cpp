#include "tools/tovi/progress.h"

#include <unistd.h>

#include <chrono>
#include <iostream>

namespace tool {
namespace {

// The line only grows, so that it is written over itself: a control sequence would be shown by consoles that
// know none.
std::string show(const std::string& step, int second) {
  std::string line = step + " ... " + std::to_string(second) + " s";
  std::cerr << '\r' << line << std::flush;
  return line;
}

}  // namespace

RunningClock::RunningClock(const std::string& step) {
  if (isatty(STDERR_FILENO) == 0) return;
  thread_ = std::thread([this, step, line = show(step, 0)]() mutable {
    std::unique_lock lock(mutex_);
    for (int second = 1; !ended_.wait_for(lock, std::chrono::seconds(1), [this] { return end_; }); ++second)
      line = show(step, second);
    std::cerr << '\r' << std::string(line.size(), ' ') << '\r' << std::flush;
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
