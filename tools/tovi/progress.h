// What a long run shows while it runs: on a terminal one line with the step and its seconds, wiped when the
// step ends. Where standard error is no terminal, nothing.

#ifndef TOVI_TOOLS_PROGRESS_H
#define TOVI_TOOLS_PROGRESS_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

class RunningClock {
 public:
  explicit RunningClock(const std::string& step);
  ~RunningClock();
  RunningClock(const RunningClock&) = delete;
  RunningClock& operator=(const RunningClock&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  bool end_ = false;
  std::thread thread_;  // none without a terminal
};

// Nothing else may write to the terminal while the body runs.
template <class Body>
auto showing(const std::string& step, Body&& body) {
  const RunningClock clock(step);
  return body();
}

}  // namespace tool

#endif
