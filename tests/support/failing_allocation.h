// Replaces the allocation of memory from the system, as the libraries that the program is linked with see it,
// too, by one that can be told to fail: operator new, and with the GNU C library all of malloc's family. For
// one source of a program.

#ifndef TOVI_TESTS_SUPPORT_FAILING_ALLOCATION_H
#define TOVI_TESTS_SUPPORT_FAILING_ALLOCATION_H

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <new>

namespace testing_support {

inline std::atomic<long> allocations{0}, failsFrom{0}, failsTo{0};

// While it lives the which-th allocation of any thread, counted from 1, fails, or that and all after it.
class FailingAllocation {
 public:
  enum Times { once, forever };
  explicit FailingAllocation(long which, Times times = once) {
    allocations = 0;
    failsTo = times == once ? which : std::numeric_limits<long>::max();
    failsFrom = which;
  }
  ~FailingAllocation() { failsTo = failsFrom = 0; }
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  bool happened() const { return allocations >= failsFrom; }
};

inline bool allocationFails() {
  const long number = ++allocations;
  const bool fails = number >= failsFrom && number <= failsTo;
  if (fails) errno = ENOMEM;
  return fails;
}

}  // namespace testing_support

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* p, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(std::size_t bytes) noexcept {
  return testing_support::allocationFails() ? nullptr : __libc_malloc(bytes);
}
void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return testing_support::allocationFails() ? nullptr : __libc_calloc(count, bytes);
}
void* realloc(void* p, std::size_t bytes) noexcept {
  return testing_support::allocationFails() ? nullptr : __libc_realloc(p, bytes);
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  return testing_support::allocationFails() ? nullptr : __libc_memalign(alignment, bytes);
}
int posix_memalign(void** p, std::size_t alignment, std::size_t bytes) noexcept {
  *p = aligned_alloc(alignment, bytes);
  return *p == nullptr ? ENOMEM : 0;
}

}  // extern "C"

#else

// Inlined, they would look to the compiler as if they did not belong together.
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return testing_support::allocationFails() ? nullptr : std::malloc(bytes != 0 ? bytes : 1);
}
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  void* const p = operator new(bytes, std::nothrow);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept { std::free(p); }

#endif

#endif
