// Stacks that the threads of a block run on once one of them has met a barrier. What is behind this interface
// can be another implementation on another system.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_FIBER_H
#define TOVI_DEVICE_SOFTWARE_SRC_FIBER_H

#include <memory>

namespace software_device {

// Whether fibers may be kept from one launch to the next. Where a thread with fibers is one itself they are
// not: it may be the host program's, which has not asked for that.
bool fibersAreKept();

// One more stack on the calling thread. Used again and again; belongs to the thread that made it.
class Fiber {
 public:
  Fiber();
  ~Fiber();  // the function that it was given must have returned
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;

  // Gives it a function, which starts with the next resume(). The earlier one must have returned.
  void assign(void (*function)(void* context, unsigned number), void* context, unsigned number);
  // Runs it until it suspends (true) or returns (false).
  bool resume();
  // Called on the fiber: back to whoever resumed it.
  void suspend();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace software_device

#endif
