// A matrix in device memory, its columns on boundaries of 32 elements.

#ifndef TOVI_TOOLS_DEVICE_MATRIX_H
#define TOVI_TOOLS_DEVICE_MATRIX_H

#include <cuda_runtime.h>

#include <cstddef>
#include <string>

#include "tools/tovi/failure.h"
#include "tools/tovi/matrix.h"

namespace tool {

inline void checkRuntime(cudaError_t error, const char* what) {
  if (error != cudaSuccess) throw Failure(std::string(what) + ": " + cudaGetErrorString(error));
}

template <class T>
class DeviceMatrix {
 public:
  DeviceMatrix(int rows, int columns) : rows_(rows), columns_(columns), ld_((rows + 31) / 32 * 32) {
    const std::size_t bytes = static_cast<std::size_t>(ld_) * static_cast<std::size_t>(columns) * sizeof(T);
    checkRuntime(cudaMalloc(&data_, bytes), "device memory");
  }
  explicit DeviceMatrix(const Matrix<T>& host) : DeviceMatrix(host.rows, host.columns) {
    const std::size_t row = static_cast<std::size_t>(rows_) * sizeof(T);
    checkRuntime(cudaMemcpy2D(data_, static_cast<std::size_t>(ld_) * sizeof(T), host.values.data(), row, row,
                              static_cast<std::size_t>(columns_), cudaMemcpyHostToDevice),
                 "upload");
  }
  ~DeviceMatrix() { cudaFree(data_); }
  DeviceMatrix(const DeviceMatrix&) = delete;
  DeviceMatrix& operator=(const DeviceMatrix&) = delete;

  T* get() const { return static_cast<T*>(data_); }
  int ld() const { return ld_; }

 private:
  int rows_, columns_, ld_;
  void* data_ = nullptr;
};

}  // namespace tool

#endif
