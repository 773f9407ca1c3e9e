/*
 * The serial OpenBLAS keeps its work buffers in a table that it searches without a lock, so two threads that
 * enter it at the same moment can be given the same buffer: about one call in a thousand then returns a wrong
 * result. The linker (--wrap) leads its allocations through here, one at a time; the computations themselves
 * share nothing.
 */

#include <pthread.h>

void* __real_blas_memory_alloc(int procedure);
void __real_blas_memory_free(void* buffer);
void* __wrap_blas_memory_alloc(int procedure);
void __wrap_blas_memory_free(void* buffer);

static pthread_mutex_t tableLock = PTHREAD_MUTEX_INITIALIZER;

void* __wrap_blas_memory_alloc(int procedure) {
  void* buffer;
  pthread_mutex_lock(&tableLock);
  buffer = __real_blas_memory_alloc(procedure);
  pthread_mutex_unlock(&tableLock);
  return buffer;
}

void __wrap_blas_memory_free(void* buffer) {
  pthread_mutex_lock(&tableLock);
  __real_blas_memory_free(buffer);
  pthread_mutex_unlock(&tableLock);
}
