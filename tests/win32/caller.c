#include "tests/win32/caller.h"

/* What another language's translation of the header says: cdecl, int of 32 bits, complex numbers as records
   by value, an enumeration as an int. */
typedef struct {
  float re, im;
} Single;
typedef struct {
  double re, im;
} Twice;
typedef int(__cdecl* Sgemm)(char, char, int, int, int, float, const float*, int, const float*, int, float,
                            float*, int);
typedef int(__cdecl* Cgemm)(char, char, int, int, int, Single, const void*, int, const void*, int, Single,
                            void*, int);
typedef int(__cdecl* Zgemm)(char, char, int, int, int, Twice, const void*, int, const void*, int, Twice,
                            void*, int);

int callerCgemm(void* function, const float* alpha, const float* a, const float* b, const float* beta,
                float* c, int words) {
  volatile int* const deeper = (volatile int*)__builtin_alloca((unsigned)words * 4 + 4);
  const Single scale = {alpha[0], alpha[1]}, kept = {beta[0], beta[1]};
  deeper[0] = 0;
  return ((Cgemm)function)('N', 'N', 1, 1, 1, scale, a, 1, b, 1, kept, c, 1);
}

int callerZgemm(void* function, const double* alpha, const double* a, const double* b, const double* beta,
                double* c, int words) {
  volatile int* const deeper = (volatile int*)__builtin_alloca((unsigned)words * 4 + 4);
  const Twice scale = {alpha[0], alpha[1]}, kept = {beta[0], beta[1]};
  deeper[0] = 0;
  return ((Zgemm)function)('N', 'N', 1, 1, 1, scale, a, 1, b, 1, kept, c, 1);
}

int callerSgemm(void* function, int n, const float* a, const float* b, float* c, int words) {
  volatile int* const deeper = (volatile int*)__builtin_alloca((unsigned)words * 4 + 4);
  deeper[0] = 0;
  return ((Sgemm)function)('N', 'N', n, n, n, 1.0f, a, n, b, n, 0.0f, c, n);
}
