#include "ground/per_process.h"

#include <pthread.h>

namespace tovi {

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

}  // namespace tovi
