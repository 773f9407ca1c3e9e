// Device copies of host operands, for the host interface: uploaded when they are built, copied back when the
// routine says so. Their memory comes from the buffers of the calling thread, but for what is only
// room.

#ifndef TOVI_API_STAGED_OPERANDS_H
#define TOVI_API_STAGED_OPERANDS_H

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "cudalib/buffer_cache.h"
#include "ground/matrix_view.h"
#include "host/fortran.h"

namespace tovi::api {

constexpr unsigned StageIn = 2;    // upload when built
constexpr unsigned StageOut = 4;   // copyBack() copies back
constexpr unsigned StageRoom = 8;  // device memory alone, whether or not there is a host array

// What matrices and vectors have in common: `height` runs of `width` elements, some pitch apart on either
// side. T is const for operands that are only read. Without elements, without flags, or without a host array
// (which the argument checks let through where it is not needed) unless room is all that is wanted, nothing
// is allocated or moved and the flags are cleared.
template <class T>
class Staged {
 public:
  T* data() const { return memory_.get(); }

  void copyBack() {
    static_assert(!std::is_const_v<T>, "operands that are only read are never copied back");
    if ((flags_ & StageOut) == 0) return;
    forEachPiece([&](T* host, T* device, std::size_t width, std::size_t height) {
      memory_.allocator().copyFromDevice2D(host, hostPitch_, 0, 0, device, devicePitch_, 0, 0, width, height,
                                           1);
    });
  }

 protected:
  using Element = std::remove_const_t<T>;
  using Kept = cudalib::PaddedMemory<Element>;
  using Memory = cudalib::ManagedMemory<Element, BlasAllocator<Element>>;

  Staged(T* host, std::size_t width, std::size_t height, std::size_t hostPitch, unsigned flags,
         char part = 'G')
      : host_(host),
        width_(width),
        height_(height),
        hostPitch_(hostPitch),
        part_(part),
        flags_(width != 0 && height != 0 && (host != nullptr || flags == StageRoom) ? flags : 0) {}

  bool needed() const { return flags_ != 0; }
  // Room that nobody may ever use is not kept for the next call.
  Memory allocate(std::size_t rows, std::size_t cols) const {
    return flags_ == StageRoom ? Kept::notKept(rows, cols) : Memory(Kept(rows, cols));
  }
  // Takes the device memory, in which the runs start devicePitch elements apart, and uploads.
  void place(const Memory& memory, std::size_t devicePitch) {
    memory_ = memory;
    devicePitch_ = devicePitch;
    if ((flags_ & StageIn) == 0) return;
    forEachPiece([&](T* host, Element* device, std::size_t runWidth, std::size_t runs) {
      memory_.allocator().copyToDevice2D(device, devicePitch_, 0, 0, host, hostPitch_, 0, 0, runWidth, runs,
                                         1);
    });
  }

 private:
  // copy(host, device, width, height) of everything, or of block columns that cover a triangle.
  template <class Copy>
  void forEachPiece(const Copy& copy) const {
    const std::size_t step = part_ == 'G' ? height_ : triangleStep;
    for (std::size_t j = 0; j < height_; j += step) {
      const std::size_t end = std::min(height_, j + step), first = part_ == 'L' ? j : 0;
      const std::size_t last = part_ == 'U' ? end : width_;
      copy(host_ + (j * hostPitch_ + first), memory_.get() + (j * devicePitch_ + first), last - first,
           end - j);
    }
  }
  static constexpr std::size_t triangleStep = 256;

  Memory memory_;
  T* host_;
  std::size_t width_, height_, hostPitch_, devicePitch_ = 0;
  char part_;
  unsigned flags_;
};

// A rows x cols matrix. The device copy has the padded leading dimension of BlasAllocator. part: of a square
// matrix 'L' or 'U' for a triangle and the diagonal; of the rest little is moved, and only as it is.
template <class T>
class StagedMatrix : public Staged<T> {
 public:
  StagedMatrix(T* hA, int rows, int cols, int ld, unsigned flags, char part = 'G')
      : Staged<T>(hA, static_cast<std::size_t>(rows), static_cast<std::size_t>(cols),
                  static_cast<std::size_t>(ld), flags, part),
        rows_(rows),
        cols_(cols),
        ld_(rows > 0 ? rows : 1) {
    if (!this->needed()) return;
    const auto memory = this->allocate(static_cast<std::size_t>(rows), static_cast<std::size_t>(cols));
    ld_ = memory.ld();
    this->place(memory, memory.leadingDimension());
  }

  // Of the device copy; the smallest that the argument checks accept when there is none.
  int ld() const { return ld_; }
  MatrixView<T> view() const { return {this->data(), rows_, cols_, ld_}; }

 private:
  int rows_, cols_, ld_;
};

// A vector of n elements that stand |increment| apart. Packed on the device, so that what lies between them
// on the host is neither moved nor overwritten.
template <class T>
class StagedVector : public Staged<T> {
 public:
  StagedVector(T* hX, int n, int increment, unsigned flags)
      : Staged<T>(hX, 1, static_cast<std::size_t>(n), host::distance(increment), flags),
        increment_(increment < 0 ? -1 : 1) {
    if (this->needed()) this->place(this->allocate(static_cast<std::size_t>(n), 1), 1);
  }

  // Of the device copy: backwards where the host's runs backwards.
  int increment() const { return increment_; }

 private:
  int increment_;
};

}  // namespace tovi::api

#endif
