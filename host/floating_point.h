// The mode that the library computes in, whatever mode its caller computes in: rounding to the nearest,
// subnormal numbers as they are, no traps.

#ifndef TOVI_HOST_FLOATING_POINT_H
#define TOVI_HOST_FLOATING_POINT_H

#if defined(__SSE2__)
#include <xmmintrin.h>

#include <cstdint>
#else
#include <cfenv>
#endif

namespace host {

// The calling thread computes in that mode while this lives; then its own mode is back, with the flags of
// exceptions as they were.
class StatedFloatingPointMode {
 public:
  StatedFloatingPointMode(const StatedFloatingPointMode&) = delete;
  StatedFloatingPointMode& operator=(const StatedFloatingPointMode&) = delete;

#if defined(__SSE2__)
  StatedFloatingPointMode() : before_(_mm_getcsr()) {
    if (before_ != initial) _mm_setcsr(initial);
    asm volatile("fnstcw %0\n\tfnstsw %1" : "=m"(x87Before_), "=m"(x87FlagsBefore_));
    if (x87Before_ != x87Initial) asm volatile("fldcw %0" : : "m"(x87Initial));
  }
  ~StatedFloatingPointMode() {
    if (_mm_getcsr() != before_) _mm_setcsr(before_);
    std::uint16_t flags;
    asm volatile("fnstsw %0" : "=m"(flags));
    if (((flags ^ x87FlagsBefore_) & x87Exceptions) != 0)
      restoreX87();
    else if (x87Before_ != x87Initial)
      asm volatile("fldcw %0" : : "m"(x87Before_));
  }

 private:
  static constexpr unsigned initial = 0x1F80;  // as a program starts: all exceptions masked, no flag set

  // The x87 has a mode and flags of its own. OpenBLAS computes norms of double precision with it.
  static constexpr std::uint16_t x87Initial = 0x37F, x87Exceptions = 0xFF;
  // In one step: a flag beside a mask that is off would be an exception.
  void restoreX87() const {
    std::uint32_t environment[7];  // the control word, the status word and others
    asm volatile("fnstenv %0" : "=m"(environment));
    environment[0] = (environment[0] & ~0xFFFFU) | x87Before_;
    environment[1] = (environment[1] & ~std::uint32_t{x87Exceptions}) | (x87FlagsBefore_ & x87Exceptions);
    asm volatile("fldenv %0" : : "m"(environment));
  }

  unsigned before_;
  std::uint16_t x87Before_, x87FlagsBefore_;
#else
  StatedFloatingPointMode() {
    std::fegetenv(&before_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~StatedFloatingPointMode() { std::fesetenv(&before_); }

 private:
  std::fenv_t before_;
#endif
};

}  // namespace host

#endif
