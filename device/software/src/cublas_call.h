// One call of a BLAS routine on the software device: counted, checked where it is issued, then queued.
// Nothing runs of a call that fails a check; the reason becomes the status that cublasGetError reads. An
// operand that is not in the memory of the current device is no such reason: it is what an illegal address is
// on a real device, which is lost when it comes to the work.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_CUBLAS_CALL_H
#define TOVI_DEVICE_SOFTWARE_SRC_CUBLAS_CALL_H

#include <cublas.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <utility>

#include "device/software/src/calls.h"
#include "device/software/src/engine.h"
#include "device/software/src/machine.h"
#include "device/software/src/sanitizer.h"
#include "ground/complex.h"
#include "host/fortran.h"

namespace software_device {

// Whether cublasInit has been called on the machine that is there now.
bool blasInitialized();
// What cublasGetError reads: how the latest call ended, whichever thread's it was.
void setBlasStatus(cublasStatus_t status);

// So many bytes at least, the same for all that is queued at a time: one piece of work runs after the other.
std::shared_ptr<std::byte> sharedRoom(std::size_t bytes);

class BlasCall {
 public:
  BlasCall(Entry entry, std::initializer_list<long long> arguments, bool doublePrecision)
      : guard_(entry, arguments) {
    setBlasStatus(CUBLAS_STATUS_SUCCESS);
    if (guard_.failed())
      refuse(static_cast<cublasStatus_t>(guard_.code()));
    else if (!blasInitialized() || useDevice(&device_) != cudaSuccess)
      refuse(CUBLAS_STATUS_NOT_INITIALIZED);
    else if (doublePrecision && 10 * device_->profile.major + device_->profile.minor < 13)
      refuse(CUBLAS_STATUS_ARCH_MISMATCH);
  }
  bool refused() const { return refused_; }

  // Options and dimensions
  BlasCall& require(bool valid) {
    if (!valid) refuse(CUBLAS_STATUS_INVALID_VALUE);
    return *this;
  }
  // Operands: each must lie, with its full extent, in one live piece of the device's memory.
  template <class T>
  BlasCall& matrix(int rows, int cols, const T* dA, int ld) {
    if (rows > 0 && cols > 0)
      operand(dA, static_cast<std::size_t>(cols - 1), static_cast<std::size_t>(ld),
              static_cast<std::size_t>(rows));
    return *this;
  }
  template <class T>
  BlasCall& vector(int n, const T* dx, int inc) {
    if (n > 0) operand(dx, static_cast<std::size_t>(n - 1), host::distance(inc), 1);
    return *this;
  }

  // On the default stream, like every BLAS call
  template <class Work>
  void run(Work work) {
    if (refused_) return;
    try {
      if (wild_)
        enqueue(*device_, nullptr, [device = device_] { loseDevice(*device, cudaErrorLaunchFailure); });
      else
        enqueue(*device_, nullptr, onOperands(std::move(work)), operandBytes_ <= briefBytes);
    } catch (const std::bad_alloc&) {
      refuse(CUBLAS_STATUS_ALLOC_FAILED);
    }
  }
  // Room for the work, which cannot get any when its turn has come.
  template <class T>
  std::shared_ptr<T> room(std::size_t elements) {
    if (refused_ || elements == 0) return nullptr;
    try {
      const std::shared_ptr<std::byte> bytes = sharedRoom(elements * sizeof(T));
      return {bytes, reinterpret_cast<T*>(bytes.get())};
    } catch (const std::bad_alloc&) {
      refuse(CUBLAS_STATUS_ALLOC_FAILED);
      return nullptr;
    }
  }

 private:
  void refuse(cublasStatus_t status) {
    if (!refused_) setBlasStatus(status);
    refused_ = true;
  }
  // steps * step + last elements
  template <class T>
  void operand(const T* p, std::size_t steps, std::size_t step, std::size_t last) {
    if (refused_) return;
    amendRecord([](Call& call) { call.description.precision = Description::letterOf<T>(); });
    const std::size_t most = static_cast<std::size_t>(-1) / sizeof(T) - last;
    const bool countable = step == 0 || steps <= most / step;
    const std::size_t bytes = countable ? (steps * step + last) * sizeof(T) : 0;
    if (countable && deviceRange(*device_, p, bytes))
      operands_[operandCount_++] = {p, bytes}, operandBytes_ += bytes;
    else
      wild_ = true;
  }

  template <class Work>
  auto onOperands(Work work) const {
    if constexpr (sanitizerBuild)
      return [work = std::move(work), operands = operands_]() mutable { lendToHost(operands, work); };
    else
      return work;
  }

  CallGuard guard_;
  Device* device_ = nullptr;
  bool refused_ = false, wild_ = false;
  std::array<Extent, 3> operands_;
  std::size_t operandCount_ = 0, operandBytes_ = 0;
  // Operands for some tens of microseconds of work
  static constexpr std::size_t briefBytes = std::size_t{1} << 18;
};

template <class T>
inline constexpr bool isDouble = sizeof(tovi::Real<T>) == sizeof(double);

// Whether an option is one of these upper-case letters, in either case.
inline bool oneOf(char option, std::string_view letters) {
  return tovi::isOneOf(letters, tovi::upperCase(option));
}
inline bool validLd(int ld, int rows) { return ld >= std::max(1, rows); }

// From the interface's types to ours, which have the same layout.
template <class T>
inline T as(T x) {
  return x;
}
inline tovi::Complex<float> as(cuComplex z) { return {z.x, z.y}; }
inline tovi::Complex<double> as(cuDoubleComplex z) { return {z.x, z.y}; }
template <class Z, class = decltype(Z::x)>
auto as(Z* p) {
  return tovi::recast<tovi::Complex<decltype(Z::x)>>(p);
}

}  // namespace software_device

#endif
