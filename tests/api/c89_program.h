/* What a C89 program sees of tovi.h, for a C++ test to look at. */

#ifndef TOVI_TESTS_API_C89_PROGRAM_H
#define TOVI_TESTS_API_C89_PROGRAM_H

#include <stddef.h>
#include <tovi.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct C89Layout {
  size_t statusSize, floatComplexSize, floatImagOffset, doubleComplexSize, doubleImagOffset;
} C89Layout;

C89Layout c89Layout(void);
const char* c89InvalidStatusText(void);
/* alpha a b + beta c with alpha = 5 i, a = 1 + 2 i, b = 3 + 4 i, beta = 2 - i, c = 1 + i */
toviStatus c89SingleProduct(toviFloatComplex* result);
toviStatus c89DoubleProduct(toviDoubleComplex* result);

#ifdef __cplusplus
}
#endif

#endif
