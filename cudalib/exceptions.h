// What the library throws. Nothing inside returns an error code: failures travel as one of these classes, and
// the frame around every exported routine (api/frame.h) turns them into a status and an error info.

#ifndef TOVI_CUDALIB_EXCEPTIONS_H
#define TOVI_CUDALIB_EXCEPTIONS_H

#include <new>
#include <stdexcept>
#include <string>

namespace cudalib {

// Device or page-locked memory could not be had.
class CudaMemoryException : public std::bad_alloc {
 public:
  explicit CudaMemoryException(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

// A CUDA runtime call failed with this error number.
class CudaRuntimeException : public std::runtime_error {
 public:
  explicit CudaRuntimeException(int error);
  int error() const noexcept { return error_; }

 private:
  int error_;
};

// CUBLAS reported this status.
class CublasException : public std::runtime_error {
 public:
  explicit CublasException(int status) : std::runtime_error(""), status_(status) {}
  int status() const noexcept { return status_; }

 private:
  int status_;
};

}  // namespace cudalib

namespace tovi {

// The statuses that code below the exported functions asks for by itself; the values are those of toviStatus.
enum class Outcome : int { argumentError = 7, dataError = 8, runtimeError = 10 };

// A LAPACK-style info code and the status that it is to produce. Deliberately no std::exception.
class InfoException {
 public:
  InfoException(int info, Outcome status) : info_(info), status_(status) {}
  int info() const noexcept { return info_; }
  int status() const noexcept { return static_cast<int>(status_); }

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
