// The work buffers of the embedded OpenBLAS (cmake/HostLapack.cmake). Its routines pack operands into them,
// one at a time for each thread that is inside a routine, and have no way to say that there is none: whoever
// calls them makes sure of the buffers first. A buffer is mostly addresses; memory is behind what has been
// used of it.
//
// Another host LAPACK sees to its memory by itself, and all of this does nothing.

#ifndef TOVI_HOST_WORK_BUFFERS_H
#define TOVI_HOST_WORK_BUFFERS_H

#include <cstddef>

namespace host {

class WorkBuffers;

// While it lives there is a buffer for each of so many more threads. They stay for later ones when it ends.
class WorkBufferLease {
 public:
  WorkBufferLease() = default;
  WorkBufferLease(const WorkBufferLease&) = delete;
  WorkBufferLease& operator=(const WorkBufferLease&) = delete;

#ifdef TOVI_EMBEDDED_OPENBLAS
  explicit WorkBufferLease(std::size_t threads) { extend(threads); }
  ~WorkBufferLease() { end(); }
  // Of at least so many from here on; where there is no memory for them std::bad_alloc, and all is as before.
  void extend(std::size_t threads);
  void end() noexcept;

 private:
  WorkBuffers* buffers_ = nullptr;  // those of the process in which it began
  std::size_t threads_ = 0;
#else
  explicit WorkBufferLease(std::size_t) {}
  ~WorkBufferLease() {}
  void extend(std::size_t) {}
  void end() noexcept {}
#endif
};

// Gives the memory of those that nobody uses and no lease holds back to the system.
#ifdef TOVI_EMBEDDED_OPENBLAS
void freeWorkBuffers() noexcept;
#else
inline void freeWorkBuffers() noexcept {}
#endif

}  // namespace host

#endif
