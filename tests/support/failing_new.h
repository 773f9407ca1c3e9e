// Replaces the program's operator new, also as the libraries that it is linked with see it, by one that can
// be told to fail. For one source of a program.

#ifndef TOVI_TESTS_SUPPORT_FAILING_NEW_H
#define TOVI_TESTS_SUPPORT_FAILING_NEW_H

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace testing_support {

inline std::atomic<long> newCalls{0}, newFailsFrom{0}, newFailsTo{0};

// While it lives the which-th allocation, counted from 1, fails, or that and all after it.
class FailingNew {
 public:
  enum Times { once, forever };
  explicit FailingNew(long which, Times times = once) {
    newCalls = 0;
    newFailsTo = times == once ? which : std::numeric_limits<long>::max();
    newFailsFrom = which;
  }
  ~FailingNew() { newFailsTo = newFailsFrom = 0; }
  FailingNew(const FailingNew&) = delete;
  FailingNew& operator=(const FailingNew&) = delete;

  bool happened() const { return newCalls >= newFailsFrom; }
};

}  // namespace testing_support

// Inlined, they would look to the compiler as if they did not belong together.
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  using namespace testing_support;
  const long call = ++newCalls;
  return call >= newFailsFrom && call <= newFailsTo ? nullptr : std::malloc(bytes != 0 ? bytes : 1);
}
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  void* const p = operator new(bytes, std::nothrow);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept { std::free(p); }

#endif
