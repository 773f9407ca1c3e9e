/* Compiled as C89: what such a program sees of tovi.h. 0: layouts, texts and scalars by value are right. */
#include <stddef.h>
#include <string.h>
#include <tovi.h>

/* alpha a b + beta c with alpha = 5 i, a = 1 + 2 i, b = 3 + 4 i, beta = 2 - i, c = 1 + i is -47 - 24 i. */
int c89Program(void) {
  const toviFloatComplex alpha = {0, 5}, a = {1, 2}, b = {3, 4}, beta = {2, -1};
  const toviDoubleComplex wideAlpha = {0, 5}, wideA = {1, 2}, wideB = {3, 4}, wideBeta = {2, -1};
  toviFloatComplex c = {1, 1};
  toviDoubleComplex wideC = {1, 1};
  toviStatus status = toviNoError;
  if (sizeof(toviStatus) != 4 || sizeof c != 2 * sizeof(float) || sizeof wideC != 2 * sizeof(double))
    return 1;
  if (offsetof(toviFloatComplex, imag) != sizeof(float)) return 2;
  if (offsetof(toviDoubleComplex, imag) != sizeof(double)) return 3;
  if (strcmp(toviGetStatusString((toviStatus)-1), "Invalid toviStatus") != 0) return 4;
  status = toviCgemm('n', 'N', 1, 1, 1, alpha, &a, 1, &b, 1, beta, &c, 1);
  if (status != toviNoError || c.real != -47 || c.imag != -24) return 5;
  status = toviZgemm('n', 'N', 1, 1, 1, wideAlpha, &wideA, 1, &wideB, 1, wideBeta, &wideC, 1);
  if (status == toviInsufficientComputeCapability) return 0;
  return status != toviNoError || wideC.real != -47 || wideC.imag != -24 ? 6 : 0;
}
