/*
 * Linked with the OpenBLAS that is embedded in a library of ours (--wrap=blas_thread_init): stands in for the
 * function that starts its threads while it is loaded. Every routine of that copy then runs on the thread
 * that calls it, and the copy may be called from many threads at a time.
 *
 * Debian's build of OpenBLAS without threads would be the obvious choice, but it does not lock its table of
 * work buffers: called from several threads at once, up to 0.4% of its products and triangular solves came
 * out wrong.
 */

extern int blas_cpu_number, blas_num_threads;

int __wrap_blas_thread_init(void);

int __wrap_blas_thread_init(void) {
  blas_cpu_number = 1;
  blas_num_threads = 1;
  return 0;
}
