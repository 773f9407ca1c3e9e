/* Solves A x = b, with everything in host memory. */
#include <stdio.h>
#include <tovi.h>

int main(void) {
  float a[] = {4, 1, 0, 1, 4, 1, 0, 1, 4}; /* 3 x 3, by columns */
  float b[] = {5, 6, 5};                   /* overwritten with x */
  int ipiv[3];
  toviStatus status = toviInitialize();
  if (status == toviNoError) status = toviSgesv(3, 1, a, 3, ipiv, b, 3);
  printf("%s: x = %g %g %g\n", toviGetStatusString(status), b[0], b[1], b[2]);
  toviShutdown();
  return status == toviNoError ? 0 : 1;
}
