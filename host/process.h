// What the library asks of the operating system about the process and the threads that it is called from.

#ifndef TOVI_HOST_PROCESS_H
#define TOVI_HOST_PROCESS_H

#include <cstdint>

namespace host {

// The operating system's number for the calling thread, by which the library knows its callers.
std::uint32_t currentThreadId();

// Sets a variable of the process's environment.
void setEnvironment(const char* name, const char* value);

// Whether the process is ending and its other threads are already gone, with whatever locks they held: the
// thread that is left must not wait for anything.
bool onlyThreadLeft();

// While this lives the calling thread cannot be cancelled: it would leave in the midst of what others wait
// for.
class NotCancellable {
 public:
  NotCancellable();
  ~NotCancellable();
  NotCancellable(const NotCancellable&) = delete;
  NotCancellable& operator=(const NotCancellable&) = delete;

 private:
  int before_ = 0;
};

// A function that is called in each thread that has asked for it, when that thread ends. For variables of
// static storage. Unlike the destructor of a thread-local object it can be had without memory being
// allocated, or it is refused; and it does not hold a library in a process that wants to be rid of it.
class AtThreadEnd {
 public:
  explicit AtThreadEnd(void (*function)()) noexcept;
  ~AtThreadEnd();
  AtThreadEnd(const AtThreadEnd&) = delete;
  AtThreadEnd& operator=(const AtThreadEnd&) = delete;

  // For the calling thread; once is enough. False: the system refuses.
  bool ask() noexcept;

 private:
  void (*function_)();
  unsigned key_ = 0;
  bool usable_ = false;
};

}  // namespace host

#endif
