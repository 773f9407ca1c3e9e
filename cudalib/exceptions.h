// What calls of the device throw when they fail. The frame around every exported routine (api/frame.h) turns
// it into a status and an error info.

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

#endif
