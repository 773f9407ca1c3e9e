// Fibers of the system.

#include <windows.h>

#include <new>

#include "device/software/src/fiber.h"

namespace software_device {

namespace {

// Kernels keep little on the stack.
constexpr SIZE_T stackBytes = SIZE_T{64} << 10, committedBytes = SIZE_T{16} << 10;

// Only a fiber can go to another one: the calling thread is one for as long as it has any of ours, unless the
// program that it belongs to has made it one.
struct Thread {
  unsigned fibers = 0;
  bool converted = false;
};
thread_local Thread thread;

void enter() {
  if (thread.fibers == 0 && !IsThreadAFiber()) {
    if (ConvertThreadToFiber(nullptr) == nullptr) throw std::bad_alloc();
    thread.converted = true;
  }
  ++thread.fibers;
}

void leave() {
  if (--thread.fibers != 0 || !thread.converted) return;
  ConvertFiberToThread();
  thread.converted = false;
}

}  // namespace

struct Fiber::State {
  void* inside = nullptr;   // the fiber
  void* outside = nullptr;  // its resumer
  void (*function)(void*, unsigned) = nullptr;
  void* context = nullptr;
  unsigned number = 0;
  bool running = false;  // the function has not returned

  static void CALLBACK run(void* state) {
    State& s = *static_cast<State*>(state);
    while (true) {
      s.function(s.context, s.number);
      s.running = false;
      SwitchToFiber(s.outside);
    }
  }
};

bool fibersAreKept() { return false; }

Fiber::Fiber() : state_(std::make_unique<State>()) {
  enter();
  state_->inside = CreateFiberEx(committedBytes, stackBytes, 0, &State::run, state_.get());
  if (state_->inside != nullptr) return;
  leave();
  throw std::bad_alloc();
}

Fiber::~Fiber() {
  DeleteFiber(state_->inside);
  leave();
}

void Fiber::assign(void (*function)(void*, unsigned), void* context, unsigned number) {
  state_->function = function;
  state_->context = context;
  state_->number = number;
  state_->running = true;
}

// GCC 12 takes the thread's block, where the system's header reads the current fiber, for an array without
// elements.
#pragma GCC diagnostic ignored "-Warray-bounds"

bool Fiber::resume() {
  state_->outside = GetCurrentFiber();
  SwitchToFiber(state_->inside);
  return state_->running;
}

void Fiber::suspend() { SwitchToFiber(state_->outside); }

}  // namespace software_device
