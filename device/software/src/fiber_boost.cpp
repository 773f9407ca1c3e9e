// Fibers by Boost.Context. Sanitizers are told of every change of stacks.

#include <boost/context/fiber.hpp>
#include <boost/context/fixedsize_stack.hpp>
#include <cstddef>
#include <utility>

#include "device/software/src/fiber.h"
#include "device/software/src/sanitizer.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif
#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace software_device {

namespace {

// Kernels keep little on the stack; instrumented ones some more.
constexpr std::size_t stackBytes = sanitizerBuild ? std::size_t{256} << 10 : std::size_t{64} << 10;

}  // namespace

struct Fiber::State {
  boost::context::fiber inside;   // where the fiber stands while it is suspended
  boost::context::fiber outside;  // where its resumer stands while it runs
  void (*function)(void*, unsigned) = nullptr;
  void* context = nullptr;
  unsigned number = 0;
  bool running = false;  // the function has not returned
  bool quit = false;

#if defined(__SANITIZE_ADDRESS__)
  void* fakeInside = nullptr;
  void* fakeOutside = nullptr;
  const void* outsideStack = nullptr;
  std::size_t outsideBytes = 0;
  const void* insideStack = nullptr;

  void leaveOutside() { __sanitizer_start_switch_fiber(&fakeOutside, insideStack, stackBytes); }
  void enterOutside() { __sanitizer_finish_switch_fiber(fakeOutside, nullptr, nullptr); }
  void leaveInside() {
    __sanitizer_start_switch_fiber(quit ? nullptr : &fakeInside, outsideStack, outsideBytes);
  }
  void enterInside() { __sanitizer_finish_switch_fiber(fakeInside, &outsideStack, &outsideBytes); }
  void beginCreation() {}
  void endCreation() {}
  void setStack(const boost::context::stack_context& stack) {
    insideStack = static_cast<const char*>(stack.sp) - stack.size;
  }
#elif defined(__SANITIZE_THREAD__)
  void* tsanInside = __tsan_create_fiber(0);
  void* tsanOutside = nullptr;
  ~State() { __tsan_destroy_fiber(tsanInside); }

  void leaveOutside() {
    tsanOutside = __tsan_get_current_fiber();
    __tsan_switch_to_fiber(tsanInside, 0);
  }
  void enterOutside() {}
  void leaveInside() { __tsan_switch_to_fiber(tsanOutside, 0); }
  void enterInside() {}
  void beginCreation() { leaveOutside(); }
  void endCreation() { leaveInside(); }
  void setStack(const boost::context::stack_context&) {}
#else
  void leaveOutside() {}
  void enterOutside() {}
  void leaveInside() {}
  void enterInside() {}
  void beginCreation() {}
  void endCreation() {}
  void setStack(const boost::context::stack_context&) {}
#endif

  void goInside() {
    leaveOutside();
    inside = std::move(inside).resume();
    enterOutside();
  }
  void goOutside() {
    leaveInside();
    outside = std::move(outside).resume();
    enterInside();
  }
};

bool fibersAreKept() { return true; }

Fiber::Fiber() : state_(std::make_unique<State>()) {
  State* const s = state_.get();
  boost::context::fixedsize_stack allocator(stackBytes);
  const boost::context::stack_context stack = allocator.allocate();
  s->setStack(stack);
  s->beginCreation();  // which goes to the new stack for a moment
  s->inside =
      boost::context::fiber(std::allocator_arg, boost::context::preallocated(stack.sp, stack.size, stack),
                            allocator, [s](boost::context::fiber&& caller) {
                              s->outside = std::move(caller);
                              s->enterInside();
                              while (!s->quit) {
                                s->function(s->context, s->number);
                                s->running = false;
                                s->goOutside();
                              }
                              s->leaveInside();
                              return std::move(s->outside);
                            });
  s->endCreation();
}

Fiber::~Fiber() {
  // Ends the loop, so that the stack is left by an ordinary return.
  state_->quit = true;
  state_->goInside();
}

void Fiber::assign(void (*function)(void*, unsigned), void* context, unsigned number) {
  state_->function = function;
  state_->context = context;
  state_->number = number;
  state_->running = true;
}

bool Fiber::resume() {
  state_->goInside();
  return state_->running;
}

void Fiber::suspend() { state_->goOutside(); }

}  // namespace software_device
