/*
 * Linked with the OpenBLAS that is embedded in a library of ours (--wrap=blas_thread_init): stands in for the
 * function that starts its threads while it is loaded. Every routine of that copy then runs on the thread that
 * calls it, and the copy may be called from many threads at a time.
 *
 * The build of OpenBLAS without threads would be the obvious choice, but it is not safe to call from several:
 * results of the single-precision product and triangular solve came out wrong about once in 10,000 calls.
 */

extern int blas_cpu_number, blas_num_threads;

int __wrap_blas_thread_init(void);

int __wrap_blas_thread_init(void) {
  blas_cpu_number = 1;
  blas_num_threads = 1;
  return 0;
}
