// The mode that the library computes in, whatever mode its caller computes in: rounding to the nearest,
// subnormal numbers as they are, no traps.

#ifndef TOVI_HOST_FLOATING_POINT_H
#define TOVI_HOST_FLOATING_POINT_H

#if defined(__SSE2__)
#include <xmmintrin.h>
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
  }
  ~StatedFloatingPointMode() {
    if (_mm_getcsr() != before_) _mm_setcsr(before_);
  }

 private:
  static constexpr unsigned initial = 0x1F80;  // as a program starts: all exceptions masked, no flag set
  unsigned before_;
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
