// Matrices for tests: column-major host matrices whose padding between rows and leading dimension holds a
// pattern that must survive, repeatable random data, and matrices in device memory through the runtime alone.

#ifndef TOVI_TESTS_SUPPORT_MATRIX_H
#define TOVI_TESTS_SUPPORT_MATRIX_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "device/runtime.h"
#include "ground/complex.h"
#include "ground/matrix_view.h"

namespace testing_support {

using tovi::Complex;
using tovi::Real;

// A suite whose tests run for each of these types.
#define TOVI_TYPED_SUITE(Suite, Fixture, Types) \
  template <class T>                            \
  class Suite : public Fixture {};              \
  TYPED_TEST_SUITE(Suite, Types)
using SingleTypes = ::testing::Types<float, Complex<float>>;
using ComplexTypes = ::testing::Types<Complex<float>, Complex<double>>;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Two instances have every line of a template; all four would double the minutes of a sanitizer.
using AllTypes = ::testing::Types<float, Complex<double>>;
#else
using AllTypes = ::testing::Types<float, double, Complex<float>, Complex<double>>;
#endif

template <class T>
T makeElement(double re, double im) {
  if constexpr (tovi::isComplex<T>)
    return T(static_cast<Real<T>>(re), static_cast<Real<T>>(im));
  else
    return static_cast<T>(re);
}

template <class T>
T quietNaN() {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  return makeElement<T>(nan, nan);
}

// Uniform in (-1, 1), both parts for complex types. The same seed gives the same numbers on every machine.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  double uniform() { return static_cast<double>(engine_() >> 11) * 0x1p-52 - 1.0; }
  int below(int n) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(n)); }
  template <class T>
  T element() {
    const double re = uniform();
    return makeElement<T>(re, tovi::isComplex<T> ? uniform() : 0.0);
  }

 private:
  std::mt19937_64 engine_;
};

// A rows x cols host matrix with leading dimension rows + padding.
template <class T>
class HostMatrix {
 public:
  HostMatrix(int rows, int cols, int padding = 0)
      : rows_(rows), cols_(cols), ld_(rows + padding > 0 ? rows + padding : 1), data_(size(), T(0)) {
    for (int j = 0; j < cols_; ++j)
      for (int i = rows_; i < ld_; ++i) std::memset(static_cast<void*>(&(*this)(i, j)), poison, sizeof(T));
  }
  static HostMatrix random(int rows, int cols, int padding, std::uint64_t seed) {
    Random random(seed);
    return HostMatrix(rows, cols, padding).set([&](int, int) { return random.element<T>(); });
  }

  int rows() const { return rows_; }
  int cols() const { return cols_; }
  int ld() const { return ld_; }
  std::size_t size() const { return static_cast<std::size_t>(ld_) * static_cast<std::size_t>(cols_); }
  T* data() { return data_.data(); }
  const T* data() const { return data_.data(); }
  T& operator()(int i, int j) {
    return data_[static_cast<std::size_t>(j) * static_cast<std::size_t>(ld_) + static_cast<std::size_t>(i)];
  }
  const T& operator()(int i, int j) const { return const_cast<HostMatrix&>(*this)(i, j); }
  tovi::MatrixView<T> view() { return {data(), rows_, cols_, ld_}; }
  tovi::MatrixView<const T> view() const { return {data(), rows_, cols_, ld_}; }
  // Every element (i, j) := rule(i, j), column by column.
  template <class Rule>
  HostMatrix& set(const Rule& rule) {
    for (int j = 0; j < cols_; ++j)
      for (int i = 0; i < rows_; ++i) (*this)(i, j) = rule(i, j);
    return *this;
  }
  void fill(T value) {
    set([=](int, int) { return value; });
  }

  // True when nothing has written between the rows and the leading dimension.
  bool paddingIntact() const {
    unsigned char expected[sizeof(T)];
    std::memset(expected, poison, sizeof(T));
    for (int j = 0; j < cols_; ++j)
      for (int i = rows_; i < ld_; ++i)
        if (std::memcmp(&(*this)(i, j), expected, sizeof(T)) != 0) return false;
    return true;
  }
  // Same bits everywhere, padding included.
  bool sameBits(const HostMatrix& other) const {
    return rows_ == other.rows_ && cols_ == other.cols_ && ld_ == other.ld_ &&
           (data_.empty() || std::memcmp(data(), other.data(), size() * sizeof(T)) == 0);
  }

 private:
  static constexpr int poison = 0xA5;
  int rows_, cols_, ld_;
  std::vector<T> data_;
};

// A device copy of a host array, padding included, for tests of the device interface. Freed when it goes.
template <class T>
class DeviceArray {
 public:
  explicit DeviceArray(std::size_t count) : count_(count) {
    if (count_ != 0) {
      EXPECT_EQ(cudaMalloc(reinterpret_cast<void**>(&data_), count_ * sizeof(T)), cudaSuccess);
    }
  }
  DeviceArray(const T* host, std::size_t count) : DeviceArray(count) { upload(host); }
  explicit DeviceArray(const HostMatrix<T>& host) : DeviceArray(host.data(), host.size()) {}
  explicit DeviceArray(const std::vector<T>& host) : DeviceArray(host.data(), host.size()) {}
  DeviceArray(const DeviceArray&) = delete;
  DeviceArray& operator=(const DeviceArray&) = delete;
  ~DeviceArray() {
    if (data_ != nullptr) cudaFree(data_);
  }
  T* data() const { return data_; }
  void upload(const T* host) {
    if (count_ != 0) {
      EXPECT_EQ(cudaMemcpy(data_, host, count_ * sizeof(T), cudaMemcpyHostToDevice), cudaSuccess);
    }
  }
  void download(T* host) const {
    if (count_ != 0) {
      EXPECT_EQ(cudaMemcpy(host, data_, count_ * sizeof(T), cudaMemcpyDeviceToHost), cudaSuccess);
    }
  }
  void download(HostMatrix<T>& host) const { download(host.data()); }

 private:
  T* data_ = nullptr;
  std::size_t count_;
};

// A copy of a matrix in device memory, and its view.
template <class T>
struct OnDevice {
  explicit OnDevice(const HostMatrix<T>& a) : array(a), view(array.data(), a.rows(), a.cols(), a.ld()) {}
  HostMatrix<T> downloaded(HostMatrix<T> like) const {
    array.download(like);
    return like;
  }
  // The same bits, padding included.
  bool holds(const HostMatrix<T>& expected) const { return downloaded(expected).sameBits(expected); }
  DeviceArray<T> array;
  tovi::MatrixView<T> view;
};

}  // namespace testing_support

#endif
