/* Compiled as C89. */
#include "c89_program.h"

C89Layout c89Layout(void) {
  C89Layout layout;
  layout.statusSize = sizeof(toviStatus);
  layout.floatComplexSize = sizeof(toviFloatComplex);
  layout.floatImagOffset = offsetof(toviFloatComplex, imag);
  layout.doubleComplexSize = sizeof(toviDoubleComplex);
  layout.doubleImagOffset = offsetof(toviDoubleComplex, imag);
  return layout;
}

const char* c89InvalidStatusText(void) { return toviGetStatusString((toviStatus)-1); }

toviStatus c89SingleProduct(toviFloatComplex* result) {
  const toviFloatComplex alpha = {0, 5}, a = {1, 2}, b = {3, 4}, beta = {2, -1}, c = {1, 1};
  *result = c;
  return toviCgemm('n', 'N', 1, 1, 1, alpha, &a, 1, &b, 1, beta, result, 1);
}

toviStatus c89DoubleProduct(toviDoubleComplex* result) {
  const toviDoubleComplex alpha = {0, 5}, a = {1, 2}, b = {3, 4}, beta = {2, -1}, c = {1, 1};
  *result = c;
  return toviZgemm('n', 'N', 1, 1, 1, alpha, &a, 1, &b, 1, beta, result, 1);
}
