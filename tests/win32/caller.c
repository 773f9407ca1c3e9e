#include "tests/win32/caller.h"

#include <windows.h>

/* What another language's translation of the header says: cdecl, int of 32 bits, complex numbers as records
   by value, an enumeration as an int. */
typedef struct {
  float re, im;
} Single;
typedef struct {
  double re, im;
} Twice;
typedef int(__cdecl* Initialize)(void);
typedef void(__cdecl* Shutdown)(void); /* and FreeBuffers */
typedef const char*(__cdecl* StatusText)(int);
typedef int(__cdecl* ErrorText)(int, int, char*, int);
typedef int(__cdecl* MemoryInfo)(unsigned*, unsigned*);
typedef int(__cdecl* Sgemm)(char, char, int, int, int, float, const float*, int, const float*, int, float,
                            float*, int);
typedef int(__cdecl* Cgemm)(char, char, int, int, int, Single, const Single*, int, const Single*, int, Single,
                            Single*, int);
typedef int(__cdecl* Zgemm)(char, char, int, int, int, Twice, const Twice*, int, const Twice*, int, Twice,
                            Twice*, int);
typedef int(__cdecl* Sgetrf)(int, int, float*, int, int*);
typedef int(__cdecl* Sgesv)(int, int, float*, int, int*, float*, int);

static HMODULE library;

int callerLoad(const char* path) {
  library = LoadLibraryA(path);
  return library != NULL;
}

int callerUnload(void) {
  const BOOL unloaded = FreeLibrary(library);
  library = NULL;
  return unloaded != 0;
}

static void* function(const char* name) { return (void*)GetProcAddress(library, name); }

int callerResolves(const char* name) { return function(name) != NULL; }

int callerInitialize(void) {
  const Initialize initialize = (Initialize)function("toviInitialize");
  return initialize == NULL ? -1 : initialize();
}
void callerShutdown(void) { ((Shutdown)function("toviShutdown"))(); }
void callerFreeBuffers(void) { ((Shutdown)function("toviFreeBuffers"))(); }
int callerErrorInfo(void) { return ((Initialize)function("toviGetErrorInfo"))(); }
int callerErrorText(int status, int info, char* text, int bytes) {
  return ((ErrorText)function("toviGetErrorInfoString"))(status, info, text, bytes);
}
const char* callerStatusText(int status) { return ((StatusText)function("toviGetStatusString"))(status); }

static Single single(const float* parts) {
  const Single z = {parts[0], parts[1]};
  return z;
}
static Twice twice(const double* parts) {
  const Twice z = {parts[0], parts[1]};
  return z;
}

int callerCgemm(const float* alpha, const float* a, const float* b, const float* beta, float* c, int words) {
  volatile int* const deeper = (volatile int*)__builtin_alloca((unsigned)words * 4 + 4);
  const Cgemm cgemm = (Cgemm)function("toviCgemm");
  deeper[0] = 0;
  return cgemm('N', 'N', 1, 1, 1, single(alpha), (const Single*)a, 1, (const Single*)b, 1, single(beta),
               (Single*)c, 1);
}

int callerZgemm(const double* alpha, const double* a, const double* b, const double* beta, double* c,
                int words) {
  volatile int* const deeper = (volatile int*)__builtin_alloca((unsigned)words * 4 + 4);
  const Zgemm zgemm = (Zgemm)function("toviZgemm");
  deeper[0] = 0;
  return zgemm('N', 'N', 1, 1, 1, twice(alpha), (const Twice*)a, 1, (const Twice*)b, 1, twice(beta),
               (Twice*)c, 1);
}

int callerSgemm(int n, const float* a, const float* b, float* c, int words) {
  volatile int* const deeper = (volatile int*)__builtin_alloca((unsigned)words * 4 + 4);
  const Sgemm sgemm = (Sgemm)function("toviSgemm");
  deeper[0] = 0;
  return sgemm('N', 'N', n, n, n, 1.0f, a, n, b, n, 0.0f, c, n);
}

int callerSgetrf(int m, int n, float* a, int lda, int* ipiv) {
  return ((Sgetrf)function("toviSgetrf"))(m, n, a, lda, ipiv);
}

int callerSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb) {
  return ((Sgesv)function("toviSgesv"))(n, nrhs, a, lda, ipiv, b, ldb);
}

int callerCgemmSize(int m, int n, int k, const float* operand, float* c) {
  const Single one = {1, 0}, zero = {0, 0};
  return ((Cgemm)function("toviCgemm"))('N', 'N', m, n, k, one, (const Single*)operand, m,
                                        (const Single*)operand, k, zero, (Single*)c, m);
}

unsigned callerFreeMemory(void) {
  unsigned available = 0, total = 0;
  ((MemoryInfo)function("toviSw_cudaMemGetInfo"))(&available, &total);
  return available;
}
