#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/host/per_process.h"
#include "platform/host/process.h"

namespace platform {

std::uint32_t currentThreadId() { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

void setEnvironment(const char* name, const char* value) { setenv(name, value, 1); }

// Threads run on until the last destructor has.
bool onlyThreadLeft() { return false; }

NotCancellable::NotCancellable() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
NotCancellable::~NotCancellable() { pthread_setcancelstate(before_, nullptr); }

AtThreadEnd::AtThreadEnd(void (*function)()) noexcept : function_(function) {
  usable_ =
      pthread_key_create(&key_, [](void* asked) { static_cast<AtThreadEnd*>(asked)->function_(); }) == 0;
}
AtThreadEnd::~AtThreadEnd() {
  if (usable_) pthread_key_delete(key_);
  usable_ = false;
}
bool AtThreadEnd::ask() noexcept { return usable_ && pthread_setspecific(key_, this) == 0; }

namespace {

std::atomic<ForgottenByChildren*> firstListed{nullptr};

}  // namespace

void ForgottenByChildren::list() noexcept {
  if (listed_.load(std::memory_order_relaxed) || listed_.exchange(true)) return;
  next_ = firstListed.load();
  while (!firstListed.compare_exchange_weak(next_, this)) {
  }
}

void ForgottenByChildren::forgetAll() noexcept {
  for (ForgottenByChildren* one = firstListed.load(); one != nullptr; one = one->next_) one->forget();
}

namespace {

[[maybe_unused]] const int handler = pthread_atfork(nullptr, nullptr, &ForgottenByChildren::forgetAll);

}  // namespace

}  // namespace platform
