// How a routine ends that finds fault with its data. Nothing inside returns an error code: failures travel as
// exceptions, these or those of cudalib/exceptions.h, and the frame around every exported routine
// (api/frame.h) turns them into a status and an error info.

#ifndef TOVI_GROUND_OUTCOMES_H
#define TOVI_GROUND_OUTCOMES_H

namespace tovi {

// The statuses that code below the exported functions asks for by itself; the values are those of toviStatus.
enum class Outcome : int {
  insufficientComputeCapability = 4,
  argumentError = 7,
  dataError = 8,
  runtimeError = 10
};

// A LAPACK-style info code and the status that it is to produce. Deliberately no std::exception.
class InfoException {
 public:
  InfoException(int info, Outcome status) : info_(info), status_(status) {}
  int info() const noexcept { return info_; }
  Outcome status() const noexcept { return status_; }

 private:
  int info_;
  Outcome status_;
};

// The requested combination of options is not implemented.
class FeatNotImplException {};

// The only ways to throw an InfoException. k is minus the position of the offending argument.
[[noreturn]] inline void argumentError(int k) { throw InfoException(k, Outcome::argumentError); }
// k is the 1-based position of the bad datum.
[[noreturn]] inline void dataError(int k) { throw InfoException(k, Outcome::dataError); }
// The info of a host LAPACK call.
inline void checkHostInfo(int info) {
  if (info > 0) throw InfoException(info, Outcome::dataError);
  if (info < 0) throw InfoException(info, Outcome::runtimeError);
}

}  // namespace tovi

#endif
