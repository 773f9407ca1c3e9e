/*
 * Linked with the OpenBLAS that is embedded in a library of ours (--wrap): stands in for a few of its
 * functions.
 *
 * blas_thread_init starts its threads while it is loaded. Without, every routine of that copy runs on the
 * thread that calls it, and the copy may be called from many threads at a time. Debian's build of OpenBLAS
 * without threads would be the obvious choice, but it does not lock its table of work buffers: called from
 * several threads at once, up to 0.4% of its products and triangular solves came out wrong.
 *
 * gotoblas_dynamic_quit forgets which kernels to use, when the library goes: other threads may be computing
 * while the process ends.
 *
 * The ?gemv_thread_? are for several threads alone. Each brings a thread-local array, which every thread of
 * the process would have on its stack.
 *
 * blas_memory_alloc, blas_memory_free, and what stands for malloc and free: work_buffers.cpp.
 */

#include <stdlib.h>

extern int blas_cpu_number, blas_num_threads;

int __wrap_blas_thread_init(void);
void __wrap_gotoblas_dynamic_quit(void);

int __wrap_blas_thread_init(void) {
  blas_cpu_number = 1;
  blas_num_threads = 1;
  return 0;
}

void __wrap_gotoblas_dynamic_quit(void) {}

#define NEVER_CALLED(routine)  \
  void __wrap_##routine(void); \
  void __wrap_##routine(void) { abort(); }
NEVER_CALLED(sgemv_thread_n)
NEVER_CALLED(dgemv_thread_n)
NEVER_CALLED(cgemv_thread_n)
NEVER_CALLED(cgemv_thread_r)
NEVER_CALLED(cgemv_thread_o)
NEVER_CALLED(cgemv_thread_s)
NEVER_CALLED(zgemv_thread_n)
NEVER_CALLED(zgemv_thread_r)
NEVER_CALLED(zgemv_thread_o)
NEVER_CALLED(zgemv_thread_s)
