/* The library as a program sees it that has neither its header nor its import library, as programs in other
   languages do. caller.c is plain C; the C++ side of the tests calls these. */

#ifndef TOVI_TESTS_WIN32_CALLER_H
#define TOVI_TESTS_WIN32_CALLER_H

#ifdef __cplusplus
extern "C" {
#endif

int callerLoad(const char* path);         /* LoadLibrary; 0: failed */
int callerUnload(void);                   /* FreeLibrary; 0: failed */
int callerResolves(const char* function); /* GetProcAddress; 0: failed */

int callerInitialize(void); /* the status; -1: not loaded */
void callerShutdown(void);
void callerFreeBuffers(void);
int callerErrorInfo(void);
/* Of text and space bytes; the text of a status. */
int callerErrorText(int status, int info, char* text, int bytes);
const char* callerStatusText(int status);

/* alpha * a * b + beta * c of 1 x 1 matrices, whose results are returned in parts. words, 0 ... 3: how many
   words deeper the stack is than the caller left it, so that it has every alignment to 4 bytes. */
int callerCgemm(const float* alpha, const float* a, const float* b, const float* beta, float* c, int words);
int callerZgemm(const double* alpha, const double* a, const double* b, const double* beta, double* c,
                int words);
/* C := A B, n x n */
int callerSgemm(int n, const float* a, const float* b, float* c, int words);
int callerSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb);
int callerSgetrf(int m, int n, float* a, int lda, int* ipiv);
int callerCgemmSize(int m, int n, int k, const float* operand, float* c);
/* Free memory of the device, in bytes. */
unsigned callerFreeMemory(void);

#ifdef __cplusplus
}
#endif

#endif
