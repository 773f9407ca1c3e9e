// The software device's processors: one pool of threads that everything inside the device is cut up for.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_POOL_H
#define TOVI_DEVICE_SOFTWARE_SRC_POOL_H

#include <cstddef>

namespace software_device {

// Calls run(0) ... run(pieces - 1), each once, on the calling thread and on the pool's workers, in any order
// and at the same time; returns when all have ended. What a piece is must not depend on the number of
// workers, so that results keep their bits. A call from inside a piece, or while another thread's call is
// under way, runs its pieces one after another on its own thread. What a piece throws, the first if there are
// several, is thrown again when all have ended, or no more are begun.
void parallelFor(std::size_t pieces, void (*run)(const void* body, std::size_t piece), const void* body);
template <class Body>
void parallelFor(std::size_t pieces, const Body& body) {
  parallelFor(
      pieces, [](const void* of, std::size_t piece) { (*static_cast<const Body*>(of))(piece); }, &body);
}

// Ends the pool's threads; the next call that needs them starts new ones.
void restWorkers();

// Threads beside the calling one: the number of processors that the process may use less one, or what the
// environment variable TOVI_DEVICE_THREADS leaves of its total, until useWorkers sets another one.
int workers();
void useWorkers(int count);

// In a loop that waits for another processor.
inline void relaxProcessor() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ volatile("yield");
#endif
}

}  // namespace software_device

#endif
