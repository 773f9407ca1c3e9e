/* The legacy BLAS interface of the software device, for C and C++: allocation and copies, gemv, symv, hemv,
 * and level 3. Matrices are column-major in device memory, scalars travel by value. Calls that return nothing
 * come back before they have run; what went wrong with one is told by cublasGetError, whose status stays
 * until it is read. In the linked program the names carry a prefix, so that this library and the toolkit's
 * may live in one process. */

#ifndef TOVI_SOFTWARE_CUBLAS_H
#define TOVI_SOFTWARE_CUBLAS_H

#include <cuda_runtime.h>

#define CUBLASWINAPI CUDARTAPI

#define cublasInit toviSw_cublasInit
#define cublasShutdown toviSw_cublasShutdown
#define cublasGetError toviSw_cublasGetError
#define cublasAlloc toviSw_cublasAlloc
#define cublasFree toviSw_cublasFree
#define cublasSetVector toviSw_cublasSetVector
#define cublasGetVector toviSw_cublasGetVector
#define cublasSetMatrix toviSw_cublasSetMatrix
#define cublasGetMatrix toviSw_cublasGetMatrix
#define cublasSgemv toviSw_cublasSgemv
#define cublasDgemv toviSw_cublasDgemv
#define cublasCgemv toviSw_cublasCgemv
#define cublasZgemv toviSw_cublasZgemv
#define cublasSsymv toviSw_cublasSsymv
#define cublasDsymv toviSw_cublasDsymv
#define cublasChemv toviSw_cublasChemv
#define cublasZhemv toviSw_cublasZhemv
#define cublasSgemm toviSw_cublasSgemm
#define cublasDgemm toviSw_cublasDgemm
#define cublasCgemm toviSw_cublasCgemm
#define cublasZgemm toviSw_cublasZgemm
#define cublasStrsm toviSw_cublasStrsm
#define cublasDtrsm toviSw_cublasDtrsm
#define cublasCtrsm toviSw_cublasCtrsm
#define cublasZtrsm toviSw_cublasZtrsm
#define cublasStrmm toviSw_cublasStrmm
#define cublasDtrmm toviSw_cublasDtrmm
#define cublasCtrmm toviSw_cublasCtrmm
#define cublasZtrmm toviSw_cublasZtrmm
#define cublasSsymm toviSw_cublasSsymm
#define cublasDsymm toviSw_cublasDsymm
#define cublasCsymm toviSw_cublasCsymm
#define cublasZsymm toviSw_cublasZsymm
#define cublasChemm toviSw_cublasChemm
#define cublasZhemm toviSw_cublasZhemm
#define cublasSsyrk toviSw_cublasSsyrk
#define cublasDsyrk toviSw_cublasDsyrk
#define cublasCsyrk toviSw_cublasCsyrk
#define cublasZsyrk toviSw_cublasZsyrk
#define cublasCherk toviSw_cublasCherk
#define cublasZherk toviSw_cublasZherk
#define cublasSsyr2k toviSw_cublasSsyr2k
#define cublasDsyr2k toviSw_cublasDsyr2k
#define cublasCsyr2k toviSw_cublasCsyr2k
#define cublasZsyr2k toviSw_cublasZsyr2k
#define cublasCher2k toviSw_cublasCher2k
#define cublasZher2k toviSw_cublasZher2k

#ifdef __cplusplus
extern "C" {
#endif

typedef enum cublasStatus_t {
  CUBLAS_STATUS_SUCCESS = 0,
  CUBLAS_STATUS_NOT_INITIALIZED = 1,
  CUBLAS_STATUS_ALLOC_FAILED = 3,
  CUBLAS_STATUS_INVALID_VALUE = 7,
  CUBLAS_STATUS_ARCH_MISMATCH = 8, /* double precision on a device without it */
  CUBLAS_STATUS_MAPPING_ERROR = 11,
  CUBLAS_STATUS_EXECUTION_FAILED = 13,
  CUBLAS_STATUS_INTERNAL_ERROR = 14
} cublasStatus_t;
typedef cublasStatus_t cublasStatus;

/* Complex numbers: x is the real part, y the imaginary one. */
typedef struct toviSw_cuFloatComplex {
  float x, y;
} cuFloatComplex;
typedef struct toviSw_cuDoubleComplex {
  double x, y;
} cuDoubleComplex;
typedef cuFloatComplex cuComplex;

/* Start, stop, and the status that stays until it is read */
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasInit(void);
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasShutdown(void);
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasGetError(void);

/* Device memory and copies, blocking */
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasAlloc(int n, int elemSize, void** devicePtr);
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasFree(void* devicePtr);
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasSetVector(int n, int elemSize, const void* x, int incx,
                                                            void* devicePtr, int incy);
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasGetVector(int n, int elemSize, const void* devicePtr,
                                                            int incx, void* y, int incy);
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasSetMatrix(int rows, int cols, int elemSize, const void* A,
                                                            int lda, void* B, int ldb);
TOVI_SOFTWARE_API cublasStatus CUBLASWINAPI cublasGetMatrix(int rows, int cols, int elemSize, const void* A,
                                                            int lda, void* B, int ldb);

/* Level 2 */
TOVI_SOFTWARE_API void CUBLASWINAPI cublasSgemv(char trans, int m, int n, float alpha, const float* A,
                                                int lda, const float* x, int incx, float beta, float* y,
                                                int incy);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDgemv(char trans, int m, int n, double alpha, const double* A,
                                                int lda, const double* x, int incx, double beta, double* y,
                                                int incy);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCgemv(char trans, int m, int n, cuComplex alpha, const cuComplex* A,
                                                int lda, const cuComplex* x, int incx, cuComplex beta,
                                                cuComplex* y, int incy);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZgemv(char trans, int m, int n, cuDoubleComplex alpha,
                                                const cuDoubleComplex* A, int lda, const cuDoubleComplex* x,
                                                int incx, cuDoubleComplex beta, cuDoubleComplex* y, int incy);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasSsymv(char uplo, int n, float alpha, const float* A, int lda,
                                                const float* x, int incx, float beta, float* y, int incy);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDsymv(char uplo, int n, double alpha, const double* A, int lda,
                                                const double* x, int incx, double beta, double* y, int incy);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasChemv(char uplo, int n, cuComplex alpha, const cuComplex* A,
                                                int lda, const cuComplex* x, int incx, cuComplex beta,
                                                cuComplex* y, int incy);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZhemv(char uplo, int n, cuDoubleComplex alpha,
                                                const cuDoubleComplex* A, int lda, const cuDoubleComplex* x,
                                                int incx, cuDoubleComplex beta, cuDoubleComplex* y, int incy);

/* Level 3 */
TOVI_SOFTWARE_API void CUBLASWINAPI cublasSgemm(char transa, char transb, int m, int n, int k, float alpha,
                                                const float* A, int lda, const float* B, int ldb, float beta,
                                                float* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDgemm(char transa, char transb, int m, int n, int k, double alpha,
                                                const double* A, int lda, const double* B, int ldb,
                                                double beta, double* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCgemm(char transa, char transb, int m, int n, int k,
                                                cuComplex alpha, const cuComplex* A, int lda,
                                                const cuComplex* B, int ldb, cuComplex beta, cuComplex* C,
                                                int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZgemm(char transa, char transb, int m, int n, int k,
                                                cuDoubleComplex alpha, const cuDoubleComplex* A, int lda,
                                                const cuDoubleComplex* B, int ldb, cuDoubleComplex beta,
                                                cuDoubleComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasStrsm(char side, char uplo, char transa, char diag, int m, int n,
                                                float alpha, const float* A, int lda, float* B, int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                                double alpha, const double* A, int lda, double* B, int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                                cuComplex alpha, const cuComplex* A, int lda, cuComplex* B,
                                                int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                                cuDoubleComplex alpha, const cuDoubleComplex* A, int lda,
                                                cuDoubleComplex* B, int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasStrmm(char side, char uplo, char transa, char diag, int m, int n,
                                                float alpha, const float* A, int lda, float* B, int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                                double alpha, const double* A, int lda, double* B, int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                                cuComplex alpha, const cuComplex* A, int lda, cuComplex* B,
                                                int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                                cuDoubleComplex alpha, const cuDoubleComplex* A, int lda,
                                                cuDoubleComplex* B, int ldb);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasSsymm(char side, char uplo, int m, int n, float alpha,
                                                const float* A, int lda, const float* B, int ldb, float beta,
                                                float* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDsymm(char side, char uplo, int m, int n, double alpha,
                                                const double* A, int lda, const double* B, int ldb,
                                                double beta, double* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCsymm(char side, char uplo, int m, int n, cuComplex alpha,
                                                const cuComplex* A, int lda, const cuComplex* B, int ldb,
                                                cuComplex beta, cuComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZsymm(char side, char uplo, int m, int n, cuDoubleComplex alpha,
                                                const cuDoubleComplex* A, int lda, const cuDoubleComplex* B,
                                                int ldb, cuDoubleComplex beta, cuDoubleComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasChemm(char side, char uplo, int m, int n, cuComplex alpha,
                                                const cuComplex* A, int lda, const cuComplex* B, int ldb,
                                                cuComplex beta, cuComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZhemm(char side, char uplo, int m, int n, cuDoubleComplex alpha,
                                                const cuDoubleComplex* A, int lda, const cuDoubleComplex* B,
                                                int ldb, cuDoubleComplex beta, cuDoubleComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasSsyrk(char uplo, char trans, int n, int k, float alpha,
                                                const float* A, int lda, float beta, float* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDsyrk(char uplo, char trans, int n, int k, double alpha,
                                                const double* A, int lda, double beta, double* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCsyrk(char uplo, char trans, int n, int k, cuComplex alpha,
                                                const cuComplex* A, int lda, cuComplex beta, cuComplex* C,
                                                int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZsyrk(char uplo, char trans, int n, int k, cuDoubleComplex alpha,
                                                const cuDoubleComplex* A, int lda, cuDoubleComplex beta,
                                                cuDoubleComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCherk(char uplo, char trans, int n, int k, float alpha,
                                                const cuComplex* A, int lda, float beta, cuComplex* C,
                                                int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZherk(char uplo, char trans, int n, int k, double alpha,
                                                const cuDoubleComplex* A, int lda, double beta,
                                                cuDoubleComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasSsyr2k(char uplo, char trans, int n, int k, float alpha,
                                                 const float* A, int lda, const float* B, int ldb, float beta,
                                                 float* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasDsyr2k(char uplo, char trans, int n, int k, double alpha,
                                                 const double* A, int lda, const double* B, int ldb,
                                                 double beta, double* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCsyr2k(char uplo, char trans, int n, int k, cuComplex alpha,
                                                 const cuComplex* A, int lda, const cuComplex* B, int ldb,
                                                 cuComplex beta, cuComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZsyr2k(char uplo, char trans, int n, int k, cuDoubleComplex alpha,
                                                 const cuDoubleComplex* A, int lda, const cuDoubleComplex* B,
                                                 int ldb, cuDoubleComplex beta, cuDoubleComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasCher2k(char uplo, char trans, int n, int k, cuComplex alpha,
                                                 const cuComplex* A, int lda, const cuComplex* B, int ldb,
                                                 float beta, cuComplex* C, int ldc);
TOVI_SOFTWARE_API void CUBLASWINAPI cublasZher2k(char uplo, char trans, int n, int k, cuDoubleComplex alpha,
                                                 const cuDoubleComplex* A, int lda, const cuDoubleComplex* B,
                                                 int ldb, double beta, cuDoubleComplex* C, int ldc);

#ifdef __cplusplus
}
#endif

#endif
