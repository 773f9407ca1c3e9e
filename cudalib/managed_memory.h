// The owner of one allocation. Nothing else in the library frees device or page-locked memory.

#ifndef TOVI_CUDALIB_MANAGED_MEMORY_H
#define TOVI_CUDALIB_MANAGED_MEMORY_H

#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <cstddef>

#include "cudalib/allocators.h"
#include "cudalib/check.h"
#include "ground/matrix_view.h"

namespace cudalib {

// Copies of a handle share the allocation; the last one to go frees it through the allocator that made it.
template <class T, class Allocator>
class ManagedMemory {
 public:
  ManagedMemory() = default;
  // `count` matrices of rows x cols elements, one behind the other. No elements: nothing is allocated.
  ManagedMemory(std::size_t rows, std::size_t cols, std::size_t count = 1)
      : leadingDimension_(std::max<std::size_t>(rows, 1)) {
    if (rows == 0 || cols == 0 || count == 0) return;
    impl_.reset(new Impl(rows, cols, count));
    leadingDimension_ = impl_->allocator.leadingDimension(rows);
  }

  T* get() const { return impl_ ? impl_->data : nullptr; }
  // Of an empty handle: the smallest that LAPACK and BLAS accept.
  std::size_t leadingDimension() const { return leadingDimension_; }
  int ld() const { return static_cast<int>(leadingDimension_); }
  tovi::MatrixView<T> view(int rows, int cols) const { return {get(), rows, cols, ld()}; }
  // For copies to and from the allocation; only where there is one.
  Allocator& allocator() const { return impl_->allocator; }
  // Handles that share the allocation.
  long useCount() const { return impl_.use_count(); }
  // Bytes of the allocation.
  std::size_t capacity() const { return impl_ ? impl_->capacity : 0; }
  // The same allocation for matrices of another leading dimension. Nobody else may be using it: copies by
  // way of the allocator go by the new one from here on.
  ManagedMemory relaid(std::size_t leadingDimension) const {
    ManagedMemory result = *this;
    result.impl_->allocator.setLeadingDimension(leadingDimension);
    result.leadingDimension_ = leadingDimension;
    return result;
  }

 private:
  struct Impl {
    Impl(std::size_t rows, std::size_t cols, std::size_t count)
        : data(allocator.allocate(rows, cols, count)),
          capacity(allocator.leadingDimension(rows) * cols * count * sizeof(T)) {}
    ~Impl() { ignoreFailure(allocator.deallocate(data)); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    Allocator allocator;
    T* data;
    std::size_t capacity;
  };

  boost::shared_ptr<Impl> impl_;
  std::size_t leadingDimension_ = 1;
};

}  // namespace cudalib

#endif
