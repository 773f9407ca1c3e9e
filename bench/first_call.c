/*
 * The first call of a process. Prints the milliseconds from START, a time of the monotonic clock in
 * milliseconds, to the end of toviInitialize and a call of the routine with n = 64.
 *   tovi_first_call gemm|gesv|gesvd START
 */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "include/tovi.h"

enum { n = 64 };
static float a[n * n], b[n * n], c[n * n];
static int pivots[n];

int main(int argc, char** argv) {
  struct timespec now;
  toviStatus status;
  int i;
  if (argc != 3) return 2;
  for (i = 0; i < n * n; ++i) a[i] = b[i] = (float)(i * 7919 % 1001) / 1001;
  for (i = 0; i < n; ++i) a[(n + 1) * i] += n;
  status = toviInitialize();
  if (status != toviNoError) return 1;
  if (strcmp(argv[1], "gemm") == 0)
    status = toviSgemm('N', 'N', n, n, n, 1, a, n, b, n, 0, c, n);
  else if (strcmp(argv[1], "gesv") == 0)
    status = toviSgesv(n, 1, a, n, pivots, b, n);
  else
    status = toviSgesvd('N', 'N', n, n, a, n, c, NULL, 1, NULL, 1);
  if (status != toviNoError) return 1;
  clock_gettime(CLOCK_MONOTONIC, &now);
  printf("%.3f\n", (double)now.tv_sec * 1e3 + (double)now.tv_nsec * 1e-6 - atof(argv[2]));
  toviShutdown();
  return 0;
}
