// Memory that the sanitizers watch, and the loads and stores that they must not see.
//
// Under AddressSanitizer device memory is poisoned: instrumented host code that touches it is stopped. Copies
// and fills of the device itself go past the instrumentation (memcpy is intercepted, a string instruction is
// not).

#ifndef TOVI_DEVICE_SOFTWARE_SRC_SANITIZER_H
#define TOVI_DEVICE_SOFTWARE_SRC_SANITIZER_H

#include <cuda_runtime.h>  // which says what sanitizer this is

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace software_device {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool threadSanitizer = true;
#else
inline constexpr bool threadSanitizer = false;
#endif
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool sanitizerBuild = true;
#else
inline constexpr bool sanitizerBuild = threadSanitizer;
#endif

[[noreturn]] inline void die(const char* what, const void* p, std::size_t bytes) {
  std::fprintf(stderr, "software device: %s (%p, %zu bytes)\n", what, p, bytes);
  std::abort();
}

#if defined(__SANITIZE_ADDRESS__)

inline void poison(void* p, std::size_t bytes) { __asan_poison_memory_region(p, bytes); }
inline void unpoison(void* p, std::size_t bytes) { __asan_unpoison_memory_region(p, bytes); }
// The host side of a copy must be memory that the host may touch.
inline void checkHostRange(const void* p, std::size_t bytes) {
  if (bytes != 0 && __asan_region_is_poisoned(const_cast<void*>(p), bytes) != nullptr)
    die("a copy reaches outside its host memory", p, bytes);
}

#if defined(__x86_64__) || defined(__i386__)
inline void rawCopy(void* destination, const void* source, std::size_t bytes) {
  __asm__ volatile("rep movsb" : "+D"(destination), "+S"(source), "+c"(bytes) : : "memory");
}
inline void rawFill(void* p, int value, std::size_t bytes) {
  __asm__ volatile("rep stosb" : "+D"(p), "+c"(bytes) : "a"(value) : "memory");
}
#else
__attribute__((no_sanitize("address"), noinline)) inline void rawCopy(void* destination, const void* source,
                                                                      std::size_t bytes) {
  volatile unsigned char* to = static_cast<unsigned char*>(destination);  // volatile: no call of memcpy
  const volatile unsigned char* from = static_cast<const unsigned char*>(source);
  for (std::size_t i = 0; i < bytes; ++i) to[i] = from[i];
}
__attribute__((no_sanitize("address"), noinline)) inline void rawFill(void* p, int value, std::size_t bytes) {
  volatile unsigned char* to = static_cast<unsigned char*>(p);
  for (std::size_t i = 0; i < bytes; ++i) to[i] = static_cast<unsigned char>(value);
}
#endif

#else

inline void poison(void*, std::size_t) {}
inline void unpoison(void*, std::size_t) {}
inline void checkHostRange(const void*, std::size_t) {}
inline void rawCopy(void* destination, const void* source, std::size_t bytes) {
  std::memcpy(destination, source, bytes);
}
inline void rawFill(void* p, int value, std::size_t bytes) { std::memset(p, value, bytes); }

#endif

// What an operand covers of device memory.
struct Extent {
  const void* begin = nullptr;
  std::size_t bytes = 0;

  // In whole units of 8 bytes, as AddressSanitizer counts: allocations start and end with such units.
  void apply(void (*change)(void*, std::size_t)) const {
    if (bytes == 0) return;
    const std::size_t before = reinterpret_cast<std::uintptr_t>(begin) % 8;
    change(static_cast<char*>(const_cast<void*>(begin)) - before, (before + bytes + 7) / 8 * 8);
  }
};

// `count` runs of `length` elements, each `step` elements behind the one before.
template <class T>
Extent extent(const T* p, int count, std::size_t step, int length) {
  return {p, (static_cast<std::size_t>(count - 1) * step + static_cast<std::size_t>(length)) * sizeof(T)};
}

// Runs work of the host BLAS on the device's operands. It copies with memcpy, which AddressSanitizer watches:
// there the operands are host memory for as long as the work runs, and nothing else on the device does.
template <class Extents, class Work>
void lendToHost([[maybe_unused]] const Extents& operands, Work&& work) {
  if constexpr (sanitizerBuild)
    for (const Extent& operand : operands) operand.apply(unpoison);
  work();
  if constexpr (sanitizerBuild)
    for (const Extent& operand : operands) operand.apply(poison);
}

}  // namespace software_device

#endif
