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

namespace {

std::atomic<ForgottenByChildren*> firstListed{nullptr};

}  // namespace

void ForgottenByChildren::list() noexcept {
  if (listed_.exchange(true)) return;
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
