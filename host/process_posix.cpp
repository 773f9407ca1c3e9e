#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

#include "host/process.h"

namespace host {

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

}  // namespace host
