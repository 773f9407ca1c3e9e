/* Calls of the library as programs in other languages make them, from plain C (caller.c). */

#ifndef TOVI_TESTS_WIN32_CALLER_H
#define TOVI_TESTS_WIN32_CALLER_H

#ifdef __cplusplus
extern "C" {
#endif

/* alpha * a * b + beta * c of 1 x 1 matrices, whose results are returned in parts, by toviCgemm or toviZgemm.
   words, 0 ... 3: how many words deeper the stack is than the caller left it, so that it has every alignment
   to 4 bytes. */
int callerCgemm(void* function, const float* alpha, const float* a, const float* b, const float* beta,
                float* c, int words);
int callerZgemm(void* function, const double* alpha, const double* a, const double* b, const double* beta,
                double* c, int words);
/* C := A B, n x n, by toviSgemm */
int callerSgemm(void* function, int n, const float* a, const float* b, float* c, int words);

#ifdef __cplusplus
}
#endif

#endif
