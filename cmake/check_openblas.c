/* Whether the archive has the functions that host/serial_openblas.c replaces, and links. Prints the
   bytes of a work buffer, which the archive was compiled with: what it asks the system for. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/types.h>

static size_t largest;

void* mmap(void* address, size_t bytes, int protection, int flags, int file, off_t offset) {
  void* (*const system)(void*, size_t, int, int, int, off_t) =
      (void* (*)(void*, size_t, int, int, int, off_t))dlsym(RTLD_NEXT, "mmap");
  if (file < 0 && bytes > largest) largest = bytes;
  return system(address, bytes, protection, flags, file, offset);
}

void sgetrf_(const int* m, const int* n, float* a, const int* lda, int* ipiv, int* info);

int main(void) {
  const int n = 1;
  float a = 1;
  int ipiv = 0, info = 0;
  sgetrf_(&n, &n, &a, &n, &ipiv, &info);
  printf("%zu", largest);
  return info != 0 || largest == 0;
}
