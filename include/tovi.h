/*
 * TOVI: dense linear algebra on an NVIDIA GPU.
 *
 * This is the library's one public header: plain C (C89), also usable from C++11.
 *
 * Matrices and vectors. Matrices are stored by columns with a leading dimension, and pivot indices count from
 * 1, as in BLAS and LAPACK: element (i, j), counted from 0, of a matrix `a` is a[i + j * lda]. What stands
 * between the rows of a matrix and its leading dimension is never changed. Arguments come in the order of the
 * reference routine of the same name, without WORK and INFO; characters, dimensions and scalars are passed by
 * value. Option characters may be lower case.
 *
 * Two interfaces. <P> is the element type: S float, D double, C toviFloatComplex, Z toviDoubleComplex.
 *
 * - tovi<P><routine>: the operands are in host memory. They are uploaded, the routine runs on the device and
 *   the results are downloaded. When the routine fails, its operands are left as they were, but for the data
 *   errors that are described with the routine, and for a failure in the midst of the download.
 * - toviDevice<P><routine>: array arguments, pivot vectors too, point to memory of the executing device, as
 *   cudaMalloc gives it. When the routine fails after its arguments were accepted, the contents of what it
 *   writes are undefined, but for the data errors that are described with the routine.
 *
 * Every routine has finished when it returns: its results can be used at once, from any stream.
 *
 * Sizes. Dimensions are int; the number of elements is not limited by int. The operands, and what the routine
 * needs beside them, must fit into the device's memory: otherwise the status is toviInsufficientMemory.
 *
 * Arguments are checked as in the reference routine, with these differences. A null array is an error unless
 * the problem is empty (one of the dimensions is 0). gemm, trsm, symm, hemm, syr2k and her2k accept a leading
 * dimension of 0 for a matrix without rows. The first argument that fails, dimensions before arrays, decides.
 *
 * Statuses. A routine that returns a toviStatus leaves it, together with a number that says more, the error
 * info, in two variables of the process (not of the thread): toviGetLastStatus and toviGetErrorInfo read
 * them. These statuses can come from any routine; others are named with the routine.
 *
 * - toviNotInitialized: before toviInitialize. The error info keeps its old value.
 * - toviInsufficientComputeCapability: a D or Z routine on a device without double precision.
 * - toviInsufficientMemory: device memory or host memory is exhausted.
 * - toviArgumentError: an argument is not acceptable. The error info is minus its position in the argument
 *   list, counted from 1. Nothing has been read or written.
 * - toviBlasError: CUBLAS failed in this call. The error info is the CUBLAS status.
 * - toviRuntimeError: the CUDA runtime failed, and the error info is its error number; or something else did,
 *   and the error info is the negative info of a host LAPACK routine, or -1. After an illegal address, as of
 *   an array in host memory where one on the device is wanted, every call ends so, in all threads, until the
 *   process does: the runtime says that the device is lost. An error that the calling thread's own use of the
 *   runtime has left for cudaGetLastError counts as one of this call.
 *
 * Threads. Several threads may call routines at the same time, each on its own operands. toviInitialize and
 * toviShutdown count threads. toviShutdown must not run while another thread is inside a routine. A thread
 * that is cancelled, in the deferred way that is the default, leaves the library after its call, not in the
 * midst of it. The library's own threads block all signals.
 *
 * Devices. The library runs on one device, the executing device, whichever device the calling thread has made
 * current with cudaSetDevice; that is current again when a routine returns. Where there are several devices,
 * a thread that allocates memory for the device interface makes the executing device current first.
 *
 * Processes. In a child that a fork has made the library is as it is before toviInitialize, also when another
 * thread was inside a routine; memory of the parent's device is not the child's. A software device starts
 * afresh there. A CUDA runtime that the parent has used does not: toviInitialize returns toviRuntimeError
 * with the runtime's cudaErrorInitializationError (3). A process may end while threads are inside routines.
 *
 * Floating-point mode. Routines round to the nearest, keep subnormal numbers and mask all exceptions,
 * whatever mode the caller computes in; that mode, and its flags, are as before when they return.
 */

#ifndef TOVI_H
#define TOVI_H

#if defined(_WIN32)
#if defined(TOVI_BUILDING_LIBRARY)
#define TOVI_API __declspec(dllexport)
#elif defined(TOVI_STATIC)
#define TOVI_API
#else
#define TOVI_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define TOVI_API __attribute__((visibility("default")))
#else
#define TOVI_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* --- Types ---------------------------------------------------------------------------------------------- */

/* How a call ended. */
#ifdef __cplusplus
typedef enum toviStatus : int {
#else
typedef enum toviStatus {
#endif
  toviNoError = 0,
  toviNotInitialized = 1,                /* toviInitialize has not succeeded, or toviShutdown was called */
  toviNoHardware = 2,                    /* no usable device */
  toviInsufficientRuntime = 3,           /* CUDA runtime or driver too old */
  toviInsufficientComputeCapability = 4, /* double precision asked of a device without it */
  toviInsufficientMemory = 5,            /* device memory or host memory exhausted */
  toviFeatureNotImplemented = 6,         /* this combination of options is not implemented */
  toviArgumentError = 7,                 /* error info: minus the position of the argument */
  toviDataError = 8,                     /* error info: the position of the bad datum, as of a zero pivot */
  toviBlasError = 9,                     /* error info: the CUBLAS status */
  toviRuntimeError = 10 /* error info: the CUDA error number, a negative LAPACK info, or -1 */
} toviStatus;

/* Complex numbers, laid out as Fortran's COMPLEX and DOUBLE COMPLEX. */
typedef struct toviFloatComplex {
  float real, imag;
} toviFloatComplex;

typedef struct toviDoubleComplex {
  double real, imag;
} toviDoubleComplex;

/* --- Lifecycle ------------------------------------------------------------------------------------------ */

/*
 * Makes the library usable and registers the calling thread: checks the CUDA runtime and driver (3.2 or
 * later, the driver not older than the runtime), chooses the executing device, makes it current in the
 * calling thread and starts CUBLAS. It is the device that toviSelectDevice has selected; or else that of an
 * earlier initialization; or else the calling thread's current device, if the process is using that already;
 * or else a device whose name contains "Tesla", and among equals the one with more memory and speed. May be
 * called again, by any thread, which keeps its current device then. Sets the environment variable
 * KMP_DUPLICATE_LIB_OK to TRUE in the process.
 *
 * Status: toviNoHardware, toviInsufficientRuntime, toviInsufficientMemory (CUBLAS could not start),
 * toviBlasError, toviRuntimeError. After a failure the library is as uninitialized, or initialized, as it was
 * before, and so is the thread's current device; the calling thread is registered all the same.
 */
TOVI_API toviStatus toviInitialize(void);

/*
 * Unregisters the calling thread and releases the buffers that the library keeps for it. When no registered
 * thread is left, the buffers of all threads are released, CUBLAS is stopped, a software device gives its
 * memory back to the system, and the library is no longer initialized. Does nothing when it is not. Neither
 * the last status nor the error info changes.
 */
TOVI_API void toviShutdown(void);

/*
 * Releases the device and page-locked buffers that the library keeps for the calling thread from one call to
 * the next; those of other threads stay. A thread that ends releases its own, and a call that memory runs
 * short in those of all threads that are not in use. Neither the last status nor the error info changes.
 */
TOVI_API void toviFreeBuffers(void);

/* --- Devices -------------------------------------------------------------------------------------------- */

/*
 * *dev := number of CUDA devices; 0 where the runtime has nothing but its emulation placeholder. Needs no
 * initialization. Error info -1: dev is null.
 */
TOVI_API toviStatus toviGetDeviceCount(int* dev);

/*
 * Makes device dev, 0 <= dev < count, the one that the library will run on, and the calling thread's current
 * one. To be called before toviInitialize, which would choose one by itself; the latest selection counts.
 * Needs no initialization. Error info -1: there is no such device. toviRuntimeError with the runtime's
 * cudaErrorSetOnActiveProcess (36 in CUDA 3.2, 708 later) when the library is initialized on another device,
 * or when a runtime that gives a process one device has given it another one.
 */
TOVI_API toviStatus toviSelectDevice(int dev);

/* *dev := ordinal of the device that the library runs on. Error info -1: dev is null. */
TOVI_API toviStatus toviGetExecutingDevice(int* dev);

/*
 * Writes a line that describes device dev, its name and memory, such as "GeForce GTX 480 (1 GB)", to buf, cut
 * to bufsize - 1 characters. The line always ends with a zero, and buf[bufsize - 1] is always set to zero.
 * Needs no initialization. Error info -1: there is no such device; -2: buf is null; -3: bufsize < 1.
 */
TOVI_API toviStatus toviGetDeviceInfo(int dev, char* buf, int bufsize);

/* --- Statuses ------------------------------------------------------------------------------------------- */

/* A constant text for s; "Invalid toviStatus" for a value that is none. Never fails, changes nothing. */
TOVI_API const char* toviGetStatusString(toviStatus s);

/* What the latest routine that returned a status, in any thread, has returned; toviNoError at the start. */
TOVI_API toviStatus toviGetLastStatus(void);

/* The error info of the latest routine that cleared it or set it, in any thread; 0 at the start. */
TOVI_API int toviGetErrorInfo(void);

/*
 * Writes a line that describes status e with error info `info` to buf, cut to bufsize - 1 characters. The
 * line always ends with a zero, and buf[bufsize - 1] is always set to zero. Needs no initialization. As every
 * routine, it replaces the last status and the error info, so read both first:
 *
 *   int info = toviGetErrorInfo();
 *   toviGetErrorInfoString(status, info, buf, (int)sizeof buf);
 *
 * Error info -1: e is no status; -3: buf is null; -4: bufsize < 1.
 */
TOVI_API toviStatus toviGetErrorInfoString(toviStatus e, int info, char* buf, int bufsize);

/* --- BLAS ----------------------------------------------------------------------------------------------- */

/*
 * Triangles. Of a triangular, symmetric or Hermitian matrix one triangle is used; the other one may hold
 * anything, and so may a diagonal of ones. The host interface copies more than the triangle all the same:
 *
 * - A of trsm, trmm, symm and hemm to the device: the other triangle must be memory that can be read, and no
 *   other thread may write there until the routine returns;
 * - C of syrk, herk, syr2k and her2k to the device, whatever beta is, and back: the other triangle must be
 *   memory that can be written, and is, with the bits that it had. No other thread may use it until the
 *   routine returns: what it wrote there would be lost.
 *
 * The same holds in LAPACK: potrs takes its factor as the first of these, potrf and posv take A as the
 * others.
 */

/*
 * gemm: C := alpha op(A) op(B) + beta C, as BLAS xGEMM.
 *
 * op(X) is X ('N'), its transpose ('T') or its conjugate transpose ('C'; for real types as 'T'). op(A) is m x
 * k, op(B) k x n, C m x n. With beta = 0, C is not read.
 */
TOVI_API toviStatus toviSgemm(char transa, char transb, int m, int n, int k, float alpha, const float* a,
                              int lda, const float* b, int ldb, float beta, float* c, int ldc);
TOVI_API toviStatus toviDgemm(char transa, char transb, int m, int n, int k, double alpha, const double* a,
                              int lda, const double* b, int ldb, double beta, double* c, int ldc);
TOVI_API toviStatus toviCgemm(char transa, char transb, int m, int n, int k, toviFloatComplex alpha,
                              const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                              toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviZgemm(char transa, char transb, int m, int n, int k, toviDoubleComplex alpha,
                              const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                              toviDoubleComplex beta, toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceSgemm(char transa, char transb, int m, int n, int k, float alpha,
                                    const float* a, int lda, const float* b, int ldb, float beta, float* c,
                                    int ldc);
TOVI_API toviStatus toviDeviceDgemm(char transa, char transb, int m, int n, int k, double alpha,
                                    const double* a, int lda, const double* b, int ldb, double beta,
                                    double* c, int ldc);
TOVI_API toviStatus toviDeviceCgemm(char transa, char transb, int m, int n, int k, toviFloatComplex alpha,
                                    const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                                    toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviDeviceZgemm(char transa, char transb, int m, int n, int k, toviDoubleComplex alpha,
                                    const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                                    toviDoubleComplex beta, toviDoubleComplex* c, int ldc);

/*
 * gemv: y := alpha op(A) x + beta y, as BLAS xGEMV.
 *
 * A is m x n, op as in gemm. x has n elements and y m for trans = 'N', the other way round otherwise; they
 * stand incx and incy elements apart, neither may be 0, and with a negative increment the vector runs
 * backwards from its end. With beta = 0, y is not read.
 */
TOVI_API toviStatus toviSgemv(char trans, int m, int n, float alpha, const float* a, int lda, const float* x,
                              int incx, float beta, float* y, int incy);
TOVI_API toviStatus toviDgemv(char trans, int m, int n, double alpha, const double* a, int lda,
                              const double* x, int incx, double beta, double* y, int incy);
TOVI_API toviStatus toviCgemv(char trans, int m, int n, toviFloatComplex alpha, const toviFloatComplex* a,
                              int lda, const toviFloatComplex* x, int incx, toviFloatComplex beta,
                              toviFloatComplex* y, int incy);
TOVI_API toviStatus toviZgemv(char trans, int m, int n, toviDoubleComplex alpha, const toviDoubleComplex* a,
                              int lda, const toviDoubleComplex* x, int incx, toviDoubleComplex beta,
                              toviDoubleComplex* y, int incy);
TOVI_API toviStatus toviDeviceSgemv(char trans, int m, int n, float alpha, const float* a, int lda,
                                    const float* x, int incx, float beta, float* y, int incy);
TOVI_API toviStatus toviDeviceDgemv(char trans, int m, int n, double alpha, const double* a, int lda,
                                    const double* x, int incx, double beta, double* y, int incy);
TOVI_API toviStatus toviDeviceCgemv(char trans, int m, int n, toviFloatComplex alpha,
                                    const toviFloatComplex* a, int lda, const toviFloatComplex* x, int incx,
                                    toviFloatComplex beta, toviFloatComplex* y, int incy);
TOVI_API toviStatus toviDeviceZgemv(char trans, int m, int n, toviDoubleComplex alpha,
                                    const toviDoubleComplex* a, int lda, const toviDoubleComplex* x, int incx,
                                    toviDoubleComplex beta, toviDoubleComplex* y, int incy);

/*
 * trsm: solves op(A) X = alpha B (side = 'L') or X op(A) = alpha B (side = 'R'), B := X, as BLAS xTRSM.
 *
 * A is triangular, of order m (side = 'L') or n ('R'), upper (uplo = 'U') or lower ('L'), with its own
 * diagonal (diag = 'N') or with ones in its place ('U'); see Triangles. op as in gemm. B is m x n. No test
 * for singularity is made.
 */
TOVI_API toviStatus toviStrsm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                              const float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDtrsm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                              const double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviCtrsm(char side, char uplo, char transa, char diag, int m, int n,
                              toviFloatComplex alpha, const toviFloatComplex* a, int lda, toviFloatComplex* b,
                              int ldb);
TOVI_API toviStatus toviZtrsm(char side, char uplo, char transa, char diag, int m, int n,
                              toviDoubleComplex alpha, const toviDoubleComplex* a, int lda,
                              toviDoubleComplex* b, int ldb);
TOVI_API toviStatus toviDeviceStrsm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                                    const float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDeviceDtrsm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                                    const double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviDeviceCtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                    toviFloatComplex alpha, const toviFloatComplex* a, int lda,
                                    toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviDeviceZtrsm(char side, char uplo, char transa, char diag, int m, int n,
                                    toviDoubleComplex alpha, const toviDoubleComplex* a, int lda,
                                    toviDoubleComplex* b, int ldb);

/*
 * trmm: B := alpha op(A) B (side = 'L') or B := alpha B op(A) (side = 'R'), as BLAS xTRMM. Operands as in
 * trsm.
 */
TOVI_API toviStatus toviStrmm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                              const float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDtrmm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                              const double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviCtrmm(char side, char uplo, char transa, char diag, int m, int n,
                              toviFloatComplex alpha, const toviFloatComplex* a, int lda, toviFloatComplex* b,
                              int ldb);
TOVI_API toviStatus toviZtrmm(char side, char uplo, char transa, char diag, int m, int n,
                              toviDoubleComplex alpha, const toviDoubleComplex* a, int lda,
                              toviDoubleComplex* b, int ldb);
TOVI_API toviStatus toviDeviceStrmm(char side, char uplo, char transa, char diag, int m, int n, float alpha,
                                    const float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDeviceDtrmm(char side, char uplo, char transa, char diag, int m, int n, double alpha,
                                    const double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviDeviceCtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                    toviFloatComplex alpha, const toviFloatComplex* a, int lda,
                                    toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviDeviceZtrmm(char side, char uplo, char transa, char diag, int m, int n,
                                    toviDoubleComplex alpha, const toviDoubleComplex* a, int lda,
                                    toviDoubleComplex* b, int ldb);

/*
 * symm: C := alpha A B + beta C (side = 'L') or C := alpha B A + beta C (side = 'R'), as BLAS xSYMM.
 *
 * A is symmetric, of order m (side = 'L') or n ('R'), and given by its upper (uplo = 'U') or lower ('L')
 * triangle; see Triangles. B and C are m x n. With beta = 0, C is not read.
 *
 * The complex routines take A as HERMITIAN, not as symmetric: toviCsymm and toviZsymm, in both interfaces,
 * give the result of toviChemm and toviZhemm for the same arguments.
 */
TOVI_API toviStatus toviSsymm(char side, char uplo, int m, int n, float alpha, const float* a, int lda,
                              const float* b, int ldb, float beta, float* c, int ldc);
TOVI_API toviStatus toviDsymm(char side, char uplo, int m, int n, double alpha, const double* a, int lda,
                              const double* b, int ldb, double beta, double* c, int ldc);
TOVI_API toviStatus toviCsymm(char side, char uplo, int m, int n, toviFloatComplex alpha,
                              const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                              toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviZsymm(char side, char uplo, int m, int n, toviDoubleComplex alpha,
                              const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                              toviDoubleComplex beta, toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceSsymm(char side, char uplo, int m, int n, float alpha, const float* a, int lda,
                                    const float* b, int ldb, float beta, float* c, int ldc);
TOVI_API toviStatus toviDeviceDsymm(char side, char uplo, int m, int n, double alpha, const double* a,
                                    int lda, const double* b, int ldb, double beta, double* c, int ldc);
TOVI_API toviStatus toviDeviceCsymm(char side, char uplo, int m, int n, toviFloatComplex alpha,
                                    const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                                    toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviDeviceZsymm(char side, char uplo, int m, int n, toviDoubleComplex alpha,
                                    const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                                    toviDoubleComplex beta, toviDoubleComplex* c, int ldc);

/*
 * hemm: as symm with a Hermitian A, as BLAS xHEMM. The imaginary parts of A's diagonal are taken as zero.
 */
TOVI_API toviStatus toviChemm(char side, char uplo, int m, int n, toviFloatComplex alpha,
                              const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                              toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviZhemm(char side, char uplo, int m, int n, toviDoubleComplex alpha,
                              const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                              toviDoubleComplex beta, toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceChemm(char side, char uplo, int m, int n, toviFloatComplex alpha,
                                    const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                                    toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviDeviceZhemm(char side, char uplo, int m, int n, toviDoubleComplex alpha,
                                    const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                                    toviDoubleComplex beta, toviDoubleComplex* c, int ldc);

/*
 * syrk: C := alpha A A^T + beta C (trans = 'N', A n x k) or C := alpha A^T A + beta C (trans = 'T', A k x n),
 * as BLAS xSYRK, except that trans = 'C' is not accepted for any type.
 *
 * C is symmetric (also for complex types), of order n, and given by its upper (uplo = 'U') or lower ('L')
 * triangle, which alone changes; see Triangles. With beta = 0 the triangle may hold anything.
 */
TOVI_API toviStatus toviSsyrk(char uplo, char trans, int n, int k, float alpha, const float* a, int lda,
                              float beta, float* c, int ldc);
TOVI_API toviStatus toviDsyrk(char uplo, char trans, int n, int k, double alpha, const double* a, int lda,
                              double beta, double* c, int ldc);
TOVI_API toviStatus toviCsyrk(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                              const toviFloatComplex* a, int lda, toviFloatComplex beta, toviFloatComplex* c,
                              int ldc);
TOVI_API toviStatus toviZsyrk(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                              const toviDoubleComplex* a, int lda, toviDoubleComplex beta,
                              toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceSsyrk(char uplo, char trans, int n, int k, float alpha, const float* a, int lda,
                                    float beta, float* c, int ldc);
TOVI_API toviStatus toviDeviceDsyrk(char uplo, char trans, int n, int k, double alpha, const double* a,
                                    int lda, double beta, double* c, int ldc);
TOVI_API toviStatus toviDeviceCsyrk(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                                    const toviFloatComplex* a, int lda, toviFloatComplex beta,
                                    toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviDeviceZsyrk(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                                    const toviDoubleComplex* a, int lda, toviDoubleComplex beta,
                                    toviDoubleComplex* c, int ldc);

/*
 * herk: C := alpha A A^H + beta C (trans = 'N', A n x k) or C := alpha A^H A + beta C (trans = 'C', A k x n),
 * as BLAS xHERK. alpha and beta are real. C is Hermitian; its diagonal becomes real. Otherwise as syrk.
 */
TOVI_API toviStatus toviCherk(char uplo, char trans, int n, int k, float alpha, const toviFloatComplex* a,
                              int lda, float beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviZherk(char uplo, char trans, int n, int k, double alpha, const toviDoubleComplex* a,
                              int lda, double beta, toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceCherk(char uplo, char trans, int n, int k, float alpha,
                                    const toviFloatComplex* a, int lda, float beta, toviFloatComplex* c,
                                    int ldc);
TOVI_API toviStatus toviDeviceZherk(char uplo, char trans, int n, int k, double alpha,
                                    const toviDoubleComplex* a, int lda, double beta, toviDoubleComplex* c,
                                    int ldc);

/*
 * syr2k: C := alpha A B^T + alpha B A^T + beta C (trans = 'N', A and B n x k) or
 * C := alpha A^T B + alpha B^T A + beta C (trans = 'T', A and B k x n), as BLAS xSYR2K, except that trans =
 * 'C' is not accepted for any type. C as in syrk.
 *
 * The complex routines compute the HERMITIAN update, not the symmetric one: toviCsyr2k and toviZsyr2k, in
 * both interfaces, hand their arguments to the Hermitian routine of CUBLAS, with the real part of beta. With
 * trans = 'N' the result is that of toviCher2k and toviZher2k; trans = 'T' passes the argument check, but
 * CUBLAS knows no such Hermitian update: toviBlasError with its status for an invalid value, 7.
 */
TOVI_API toviStatus toviSsyr2k(char uplo, char trans, int n, int k, float alpha, const float* a, int lda,
                               const float* b, int ldb, float beta, float* c, int ldc);
TOVI_API toviStatus toviDsyr2k(char uplo, char trans, int n, int k, double alpha, const double* a, int lda,
                               const double* b, int ldb, double beta, double* c, int ldc);
TOVI_API toviStatus toviCsyr2k(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                               const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                               toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviZsyr2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                               const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                               toviDoubleComplex beta, toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceSsyr2k(char uplo, char trans, int n, int k, float alpha, const float* a,
                                     int lda, const float* b, int ldb, float beta, float* c, int ldc);
TOVI_API toviStatus toviDeviceDsyr2k(char uplo, char trans, int n, int k, double alpha, const double* a,
                                     int lda, const double* b, int ldb, double beta, double* c, int ldc);
TOVI_API toviStatus toviDeviceCsyr2k(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                                     const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                                     toviFloatComplex beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviDeviceZsyr2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                                     const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                                     toviDoubleComplex beta, toviDoubleComplex* c, int ldc);

/*
 * her2k: C := alpha A B^H + conj(alpha) B A^H + beta C (trans = 'N', A and B n x k) or
 * C := alpha A^H B + conj(alpha) B^H A + beta C (trans = 'C', A and B k x n), as BLAS xHER2K. beta is real. C
 * is Hermitian; its diagonal becomes real. Otherwise as syr2k.
 */
TOVI_API toviStatus toviCher2k(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                               const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                               float beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviZher2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                               const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                               double beta, toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceCher2k(char uplo, char trans, int n, int k, toviFloatComplex alpha,
                                     const toviFloatComplex* a, int lda, const toviFloatComplex* b, int ldb,
                                     float beta, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviDeviceZher2k(char uplo, char trans, int n, int k, toviDoubleComplex alpha,
                                     const toviDoubleComplex* a, int lda, const toviDoubleComplex* b, int ldb,
                                     double beta, toviDoubleComplex* c, int ldc);

/* --- LAPACK --------------------------------------------------------------------------------------------- */

/*
 * getrf: LU factorization with partial pivoting, A = P L U, as LAPACK xGETRF.
 *
 * A is m x n. It is overwritten with L (unit lower triangular, its diagonal of ones not stored) and U (upper
 * triangular). ipiv has min(m, n) elements: row i was interchanged with row ipiv[i - 1] (rows counted from
 * 1).
 *
 * toviDataError, error info i: U(i, i), counted from 1, is exactly zero, the first such pivot. The
 * factorization has been completed all the same: A and ipiv hold it.
 *
 * One case differs from LAPACK: the matrix is factored in blocks of columns (192 for S and D, 128 for C and
 * Z; 64 for all on devices of capability 1.x), and when the last of several blocks is a single column
 * (min(m, n) = q * block + 1, q > 0), its interchange, which ipiv does record, is not applied to the columns
 * left of it. With m <= n that interchange is none and nothing differs; with m > n the rows of L left of the
 * last column may be in the order before that interchange.
 */
TOVI_API toviStatus toviSgetrf(int m, int n, float* a, int lda, int* ipiv);
TOVI_API toviStatus toviDgetrf(int m, int n, double* a, int lda, int* ipiv);
TOVI_API toviStatus toviCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv);
TOVI_API toviStatus toviZgetrf(int m, int n, toviDoubleComplex* a, int lda, int* ipiv);
TOVI_API toviStatus toviDeviceSgetrf(int m, int n, float* a, int lda, int* ipiv);
TOVI_API toviStatus toviDeviceDgetrf(int m, int n, double* a, int lda, int* ipiv);
TOVI_API toviStatus toviDeviceCgetrf(int m, int n, toviFloatComplex* a, int lda, int* ipiv);
TOVI_API toviStatus toviDeviceZgetrf(int m, int n, toviDoubleComplex* a, int lda, int* ipiv);

/*
 * gesv: solves A X = B, as LAPACK xGESV.
 *
 * A is n x n, B n x nrhs. A is overwritten with its factors and ipiv (n elements) with the pivots, as by
 * getrf; B is overwritten with X.
 *
 * No array may be null unless n = 0, B not even when nrhs = 0.
 *
 * toviDataError, error info i: U(i, i), counted from 1, is exactly zero and there is no solution. A and ipiv
 * hold the completed factorization, B is unchanged.
 */
TOVI_API toviStatus toviSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb);
TOVI_API toviStatus toviDgesv(int n, int nrhs, double* a, int lda, int* ipiv, double* b, int ldb);
TOVI_API toviStatus toviCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv, toviFloatComplex* b,
                              int ldb);
TOVI_API toviStatus toviZgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv, toviDoubleComplex* b,
                              int ldb);
TOVI_API toviStatus toviDeviceSgesv(int n, int nrhs, float* a, int lda, int* ipiv, float* b, int ldb);
TOVI_API toviStatus toviDeviceDgesv(int n, int nrhs, double* a, int lda, int* ipiv, double* b, int ldb);
TOVI_API toviStatus toviDeviceCgesv(int n, int nrhs, toviFloatComplex* a, int lda, int* ipiv,
                                    toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviDeviceZgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv,
                                    toviDoubleComplex* b, int ldb);

/*
 * dsgesv, zcgesv: solves A X = B in double precision with factors in single precision, as LAPACK xSGESV and
 * xCGESV: faster than gesv where A is large and not too badly conditioned, and as accurate.
 *
 * A is n x n, B and X n x nrhs; x and b must not overlap. A and B are converted to single precision, A is
 * factored there, and X refined until each of its columns has a residual of at most |x| |A| sqrt(n) eps,
 * where |x| and the residual are measured by their largest elements, |A| is the largest sum of a row, and eps
 * = 2^-53. Where that does not succeed the system is solved as by gesv. *iter says how it went:
 *
 *   >= 0: the number of iterations. A is unchanged, ipiv (n elements) holds the pivots of the factors in
 *         single precision, which are not returned.
 *   -2:   single precision cannot hold an element of A, of B or of a residual, or there is a NaN;
 *   -3:   a pivot in single precision is exactly zero;
 *   -31:  30 iterations were not enough. In these three cases A and ipiv hold the factors in double precision
 *         and their pivots, as by gesv.
 *
 * iter points to HOST memory in the device interface, too. With n = 0, *iter is set to 0, unless iter is
 * null.
 *
 * toviDataError, error info i: U(i, i) in double precision is exactly zero and there is no solution. A, ipiv
 * and *iter are as after any solve by gesv; x is left as it was by the host interface, and undefined in the
 * device interface.
 */
TOVI_API toviStatus toviDsgesv(int n, int nrhs, double* a, int lda, int* ipiv, const double* b, int ldb,
                               double* x, int ldx, int* iter);
TOVI_API toviStatus toviZcgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv,
                               const toviDoubleComplex* b, int ldb, toviDoubleComplex* x, int ldx, int* iter);
TOVI_API toviStatus toviDeviceDsgesv(int n, int nrhs, double* a, int lda, int* ipiv, const double* b, int ldb,
                                     double* x, int ldx, int* iter);
TOVI_API toviStatus toviDeviceZcgesv(int n, int nrhs, toviDoubleComplex* a, int lda, int* ipiv,
                                     const toviDoubleComplex* b, int ldb, toviDoubleComplex* x, int ldx,
                                     int* iter);

/*
 * getrs: solves op(A) X = B with the factors of A, as LAPACK xGETRS.
 *
 * A is n x n and holds its factors, ipiv (n elements) the pivots, both as getrf or gesv has left them. op(A)
 * is A (trans = 'N'), its transpose ('T') or its conjugate transpose ('C'; for real types as 'T'). B is n x
 * nrhs and overwritten with X. No test for singularity is made.
 *
 * Pivots that are not between 1 and n are a bad argument: error info -6, B unchanged.
 */
TOVI_API toviStatus toviSgetrs(char trans, int n, int nrhs, const float* a, int lda, const int* ipiv,
                               float* b, int ldb);
TOVI_API toviStatus toviDgetrs(char trans, int n, int nrhs, const double* a, int lda, const int* ipiv,
                               double* b, int ldb);
TOVI_API toviStatus toviCgetrs(char trans, int n, int nrhs, const toviFloatComplex* a, int lda,
                               const int* ipiv, toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviZgetrs(char trans, int n, int nrhs, const toviDoubleComplex* a, int lda,
                               const int* ipiv, toviDoubleComplex* b, int ldb);
TOVI_API toviStatus toviDeviceSgetrs(char trans, int n, int nrhs, const float* a, int lda, const int* ipiv,
                                     float* b, int ldb);
TOVI_API toviStatus toviDeviceDgetrs(char trans, int n, int nrhs, const double* a, int lda, const int* ipiv,
                                     double* b, int ldb);
TOVI_API toviStatus toviDeviceCgetrs(char trans, int n, int nrhs, const toviFloatComplex* a, int lda,
                                     const int* ipiv, toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviDeviceZgetrs(char trans, int n, int nrhs, const toviDoubleComplex* a, int lda,
                                     const int* ipiv, toviDoubleComplex* b, int ldb);

/*
 * potrf: Cholesky factorization of a positive definite matrix, A = L L^H (uplo = 'L') or A = U^H U ('U'), as
 * LAPACK xPOTRF.
 *
 * A is n x n, symmetric or, for complex types, Hermitian, and given by its lower (uplo = 'L') or upper ('U')
 * triangle, which L or U overwrites; see Triangles, where it is like C. The imaginary parts of the diagonal
 * are taken as zero.
 *
 * toviDataError, error info i: the leading minor of order i is not positive definite, the first such one, or
 * a NaN has reached its last diagonal element. The host interface leaves A as it was, the device interface
 * undefined.
 */
TOVI_API toviStatus toviSpotrf(char uplo, int n, float* a, int lda);
TOVI_API toviStatus toviDpotrf(char uplo, int n, double* a, int lda);
TOVI_API toviStatus toviCpotrf(char uplo, int n, toviFloatComplex* a, int lda);
TOVI_API toviStatus toviZpotrf(char uplo, int n, toviDoubleComplex* a, int lda);
TOVI_API toviStatus toviDeviceSpotrf(char uplo, int n, float* a, int lda);
TOVI_API toviStatus toviDeviceDpotrf(char uplo, int n, double* a, int lda);
TOVI_API toviStatus toviDeviceCpotrf(char uplo, int n, toviFloatComplex* a, int lda);
TOVI_API toviStatus toviDeviceZpotrf(char uplo, int n, toviDoubleComplex* a, int lda);

/*
 * potrs: solves A X = B with the factor that potrf has left in A, as LAPACK xPOTRS.
 *
 * A is n x n and holds L (uplo = 'L') or U ('U'); see Triangles. B is n x nrhs and overwritten with X.
 */
TOVI_API toviStatus toviSpotrs(char uplo, int n, int nrhs, const float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDpotrs(char uplo, int n, int nrhs, const double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviCpotrs(char uplo, int n, int nrhs, const toviFloatComplex* a, int lda,
                               toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviZpotrs(char uplo, int n, int nrhs, const toviDoubleComplex* a, int lda,
                               toviDoubleComplex* b, int ldb);
TOVI_API toviStatus toviDeviceSpotrs(char uplo, int n, int nrhs, const float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDeviceDpotrs(char uplo, int n, int nrhs, const double* a, int lda, double* b,
                                     int ldb);
TOVI_API toviStatus toviDeviceCpotrs(char uplo, int n, int nrhs, const toviFloatComplex* a, int lda,
                                     toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviDeviceZpotrs(char uplo, int n, int nrhs, const toviDoubleComplex* a, int lda,
                                     toviDoubleComplex* b, int ldb);

/*
 * posv: solves A X = B with a positive definite A, as LAPACK xPOSV.
 *
 * A is n x n, B n x nrhs. A is overwritten with its factor, as by potrf; B is overwritten with X. With nrhs =
 * 0 A is factored all the same.
 *
 * toviDataError as for potrf; B is unchanged then.
 */
TOVI_API toviStatus toviSposv(char uplo, int n, int nrhs, float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDposv(char uplo, int n, int nrhs, double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviCposv(char uplo, int n, int nrhs, toviFloatComplex* a, int lda, toviFloatComplex* b,
                              int ldb);
TOVI_API toviStatus toviZposv(char uplo, int n, int nrhs, toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                              int ldb);
TOVI_API toviStatus toviDeviceSposv(char uplo, int n, int nrhs, float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDeviceDposv(char uplo, int n, int nrhs, double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviDeviceCposv(char uplo, int n, int nrhs, toviFloatComplex* a, int lda,
                                    toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviDeviceZposv(char uplo, int n, int nrhs, toviDoubleComplex* a, int lda,
                                    toviDoubleComplex* b, int ldb);

/*
 * geqrf: QR factorization, A = Q R, as LAPACK xGEQRF.
 *
 * A is m x n, k = min(m, n). R, upper triangular (upper trapezoidal if m < n), overwrites A on and above the
 * diagonal. Q = H(1) H(2) ... H(k) with H(i) = I - tau(i) v v^H, where v(1 : i - 1) = 0 and v(i) = 1, counted
 * from 1; v(i + 1 : m) overwrites A(i + 1 : m, i). tau has k elements.
 * With m = n = 1 either array may be null; then nothing is done.
 */
TOVI_API toviStatus toviSgeqrf(int m, int n, float* a, int lda, float* tau);
TOVI_API toviStatus toviDgeqrf(int m, int n, double* a, int lda, double* tau);
TOVI_API toviStatus toviCgeqrf(int m, int n, toviFloatComplex* a, int lda, toviFloatComplex* tau);
TOVI_API toviStatus toviZgeqrf(int m, int n, toviDoubleComplex* a, int lda, toviDoubleComplex* tau);
TOVI_API toviStatus toviDeviceSgeqrf(int m, int n, float* a, int lda, float* tau);
TOVI_API toviStatus toviDeviceDgeqrf(int m, int n, double* a, int lda, double* tau);
TOVI_API toviStatus toviDeviceCgeqrf(int m, int n, toviFloatComplex* a, int lda, toviFloatComplex* tau);
TOVI_API toviStatus toviDeviceZgeqrf(int m, int n, toviDoubleComplex* a, int lda, toviDoubleComplex* tau);

/*
 * ormqr, unmqr: product with the Q of a QR factorization, as LAPACK xORMQR (S, D) and xUNMQR (C, Z):
 * C := Q C (side = 'L', trans = 'N'), C := C Q ('R', 'N') or the same with Q^H (trans = 'T' for S and D, 'C'
 * for C and Z, and no other letter).
 *
 * Q = H(1) H(2) ... H(k) has order m (side = 'L') or n ('R'), and k is at most that. a and tau are those of
 * geqrf: the reflectors stand below the diagonal in the first k columns of a, whose leading dimension is at
 * least the order of Q; the rest of a is not used. C is m x n.
 */
TOVI_API toviStatus toviSormqr(char side, char trans, int m, int n, int k, const float* a, int lda,
                               const float* tau, float* c, int ldc);
TOVI_API toviStatus toviDormqr(char side, char trans, int m, int n, int k, const double* a, int lda,
                               const double* tau, double* c, int ldc);
TOVI_API toviStatus toviCunmqr(char side, char trans, int m, int n, int k, const toviFloatComplex* a, int lda,
                               const toviFloatComplex* tau, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviZunmqr(char side, char trans, int m, int n, int k, const toviDoubleComplex* a,
                               int lda, const toviDoubleComplex* tau, toviDoubleComplex* c, int ldc);
TOVI_API toviStatus toviDeviceSormqr(char side, char trans, int m, int n, int k, const float* a, int lda,
                                     const float* tau, float* c, int ldc);
TOVI_API toviStatus toviDeviceDormqr(char side, char trans, int m, int n, int k, const double* a, int lda,
                                     const double* tau, double* c, int ldc);
TOVI_API toviStatus toviDeviceCunmqr(char side, char trans, int m, int n, int k, const toviFloatComplex* a,
                                     int lda, const toviFloatComplex* tau, toviFloatComplex* c, int ldc);
TOVI_API toviStatus toviDeviceZunmqr(char side, char trans, int m, int n, int k, const toviDoubleComplex* a,
                                     int lda, const toviDoubleComplex* tau, toviDoubleComplex* c, int ldc);

/*
 * orgqr, ungqr: the first n columns of the Q of a QR factorization, as LAPACK xORGQR (S, D) and xUNGQR (C,
 * Z).
 *
 * a is m x n, m >= n >= k. Q = H(1) H(2) ... H(k) has order m; the reflectors stand below the diagonal in the
 * first k columns of a, as geqrf has left them with tau (k elements). a is overwritten with the columns of Q.
 */
TOVI_API toviStatus toviSorgqr(int m, int n, int k, float* a, int lda, const float* tau);
TOVI_API toviStatus toviDorgqr(int m, int n, int k, double* a, int lda, const double* tau);
TOVI_API toviStatus toviCungqr(int m, int n, int k, toviFloatComplex* a, int lda,
                               const toviFloatComplex* tau);
TOVI_API toviStatus toviZungqr(int m, int n, int k, toviDoubleComplex* a, int lda,
                               const toviDoubleComplex* tau);
TOVI_API toviStatus toviDeviceSorgqr(int m, int n, int k, float* a, int lda, const float* tau);
TOVI_API toviStatus toviDeviceDorgqr(int m, int n, int k, double* a, int lda, const double* tau);
TOVI_API toviStatus toviDeviceCungqr(int m, int n, int k, toviFloatComplex* a, int lda,
                                     const toviFloatComplex* tau);
TOVI_API toviStatus toviDeviceZungqr(int m, int n, int k, toviDoubleComplex* a, int lda,
                                     const toviDoubleComplex* tau);

/*
 * gels: least squares and minimum norm, op(A) X = B, as LAPACK xGELS.
 *
 * A is m x n and has full rank. op(A) is A (trans = 'N') or its conjugate transpose ('T' and 'C', which are
 * one and the same for all element types). Where op(A) has at least as many rows as columns, each column of
 * X minimizes the norm of its residual; otherwise it is the solution that has the smallest norm.
 *
 * b is an array of max(m, n) rows and nrhs columns. The right-hand sides stand in its first m rows (trans =
 * 'N'; else n), X in its first n (trans = 'N'; else m) when the routine returns. In a least-squares problem
 * the elements below X, in each column, have the norm of the residual. A is overwritten with its factors: QR
 * as by geqrf if m >= n, LQ as by LAPACK xGELQF if m < n, without their tau. When m, n or nrhs is 0, the
 * whole of b, max(m, n) x nrhs, is set to zero.
 *
 * toviDataError, error info i: diagonal element i of R or L, counted from 1, is exactly zero, the first such
 * one, and there is no solution. A holds the factors; b holds Q^H B (or Q B for the transposed problem) in a
 * least-squares problem, and is unchanged otherwise. A matrix that is deficient in rank up to rounding is not
 * noticed.
 *
 * Unlike the reference routine, this one does not scale. Elements whose magnitudes are, at the largest in A
 * and at the largest in B, between 1e-31 and 1e31 (D and Z: 1e-291 and 1e291) are safe, provided that X too
 * can be represented; beyond that results may overflow or lose digits.
 */
TOVI_API toviStatus toviSgels(char trans, int m, int n, int nrhs, float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDgels(char trans, int m, int n, int nrhs, double* a, int lda, double* b, int ldb);
TOVI_API toviStatus toviCgels(char trans, int m, int n, int nrhs, toviFloatComplex* a, int lda,
                              toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviZgels(char trans, int m, int n, int nrhs, toviDoubleComplex* a, int lda,
                              toviDoubleComplex* b, int ldb);
TOVI_API toviStatus toviDeviceSgels(char trans, int m, int n, int nrhs, float* a, int lda, float* b, int ldb);
TOVI_API toviStatus toviDeviceDgels(char trans, int m, int n, int nrhs, double* a, int lda, double* b,
                                    int ldb);
TOVI_API toviStatus toviDeviceCgels(char trans, int m, int n, int nrhs, toviFloatComplex* a, int lda,
                                    toviFloatComplex* b, int ldb);
TOVI_API toviStatus toviDeviceZgels(char trans, int m, int n, int nrhs, toviDoubleComplex* a, int lda,
                                    toviDoubleComplex* b, int ldb);

/*
 * gesvd: singular value decomposition, A = U Sigma V^H, as LAPACK xGESVD.
 *
 * A is m x n, k = min(m, n). s takes the k singular values, none negative, in descending order. jobu and
 * jobvt say what becomes of the left singular vectors, the columns of U, and of the right ones, the rows of
 * V^H:
 *
 *   'A': all of them are returned, in u (m x m) or vt (n x n);
 *   'S': the first k are, in u (m x k) or vt (k x n);
 *   'O': the first k are, in the first k columns (jobu) or rows (jobvt) of A; not for both;
 *   'N': they are not computed.
 *
 * u (vt) is not used and may be null with jobu (jobvt) 'O' and 'N'; its leading dimension must be at least 1
 * all the same. What else A holds is destroyed. When m or n is 0 nothing is read or written.
 *
 * A matrix whose largest element is not between 1e-12 and 1e12 (D and Z: 1e-138 and 1e138) is scaled before,
 * and the values back after.
 *
 * Up to m * n + k * k elements of device memory are needed beside A, u and vt. The host interface reserves
 * vt, n x n, also where jobvt is 'O' or 'N', until the call returns. For a wide matrix that is most of the
 * memory, 1.6 GB for a 64 x 20000 one of 5 MB, and toviInsufficientMemory where there is not so much. The
 * device interface reserves nothing; nor is there much to reserve for the transpose, whose singular values
 * are the same.
 *
 * toviDataError, error info i: the iteration has not converged; i elements beside the diagonal of the
 * bidiagonal form have not become zero, the first one not counted. With 'N' for both jobs i is the info of
 * LAPACK's xLASQ1 instead. The host interface leaves all operands as they were. A NaN or an infinity in A
 * makes all values NaN, or is such an error.
 */
TOVI_API toviStatus toviSgesvd(char jobu, char jobvt, int m, int n, float* a, int lda, float* s, float* u,
                               int ldu, float* vt, int ldvt);
TOVI_API toviStatus toviDgesvd(char jobu, char jobvt, int m, int n, double* a, int lda, double* s, double* u,
                               int ldu, double* vt, int ldvt);
TOVI_API toviStatus toviCgesvd(char jobu, char jobvt, int m, int n, toviFloatComplex* a, int lda, float* s,
                               toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt);
TOVI_API toviStatus toviZgesvd(char jobu, char jobvt, int m, int n, toviDoubleComplex* a, int lda, double* s,
                               toviDoubleComplex* u, int ldu, toviDoubleComplex* vt, int ldvt);
TOVI_API toviStatus toviDeviceSgesvd(char jobu, char jobvt, int m, int n, float* a, int lda, float* s,
                                     float* u, int ldu, float* vt, int ldvt);
TOVI_API toviStatus toviDeviceDgesvd(char jobu, char jobvt, int m, int n, double* a, int lda, double* s,
                                     double* u, int ldu, double* vt, int ldvt);
TOVI_API toviStatus toviDeviceCgesvd(char jobu, char jobvt, int m, int n, toviFloatComplex* a, int lda,
                                     float* s, toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt);
TOVI_API toviStatus toviDeviceZgesvd(char jobu, char jobvt, int m, int n, toviDoubleComplex* a, int lda,
                                     double* s, toviDoubleComplex* u, int ldu, toviDoubleComplex* vt,
                                     int ldvt);

/*
 * gesdd: singular value decomposition by divide and conquer, A = U Sigma V^H, as LAPACK xGESDD. With vectors
 * it is several times as fast as gesvd.
 *
 * A is m x n, k = min(m, n). s takes the k singular values, none negative, in descending order. jobz says
 * what becomes of the singular vectors, the columns of U and the rows of V^H:
 *
 *   'A': all of them are returned, in u (m x m) and vt (n x n);
 *   'S': the first k of either side are, in u (m x k) and vt (k x n);
 *   'O': if m >= n the first n columns of U take the place of A, and V^H is returned in vt (n x n); if m < n
 *        the first m rows of V^H take the place of A, and U is returned in u (m x m);
 *   'N': they are not computed.
 *
 * What is not returned in u (vt) is not used there, and it may be null; its leading dimension must be at
 * least 1 all the same. What else A holds is destroyed in the device interface, and left as it was by the
 * host interface. When m or n is 0 nothing is read or written.
 *
 * A matrix whose largest element is not between 1e-12 and 1e12 (single precision; in double precision the
 * limits are 1e-138 and 1e138) is scaled before, and the values back after. k * k elements of device memory
 * are needed beside A, u and vt, with 'O' and where m < n m * n more each; with vectors 5 k * k real numbers
 * of page-locked host memory, and on the software device k * k / 2 + 768 k real numbers more. With vectors k
 * is at most 26000: toviFeatureNotImplemented beyond.
 *
 * toviDataError, error info i: the iteration has not converged; i is the info of LAPACK's xBDSDC for the
 * bidiagonal form, with 'N' that of gesvd. The host interface leaves all operands as they were. A NaN or an
 * infinity in A makes all results NaN; with 'N' it may be such an error instead. (The reference routine takes
 * a NaN for a bad argument.)
 */
TOVI_API toviStatus toviSgesdd(char jobz, int m, int n, float* a, int lda, float* s, float* u, int ldu,
                               float* vt, int ldvt);
TOVI_API toviStatus toviDgesdd(char jobz, int m, int n, double* a, int lda, double* s, double* u, int ldu,
                               double* vt, int ldvt);
TOVI_API toviStatus toviCgesdd(char jobz, int m, int n, toviFloatComplex* a, int lda, float* s,
                               toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt);
TOVI_API toviStatus toviZgesdd(char jobz, int m, int n, toviDoubleComplex* a, int lda, double* s,
                               toviDoubleComplex* u, int ldu, toviDoubleComplex* vt, int ldvt);
TOVI_API toviStatus toviDeviceSgesdd(char jobz, int m, int n, float* a, int lda, float* s, float* u, int ldu,
                                     float* vt, int ldvt);
TOVI_API toviStatus toviDeviceDgesdd(char jobz, int m, int n, double* a, int lda, double* s, double* u,
                                     int ldu, double* vt, int ldvt);
TOVI_API toviStatus toviDeviceCgesdd(char jobz, int m, int n, toviFloatComplex* a, int lda, float* s,
                                     toviFloatComplex* u, int ldu, toviFloatComplex* vt, int ldvt);
TOVI_API toviStatus toviDeviceZgesdd(char jobz, int m, int n, toviDoubleComplex* a, int lda, double* s,
                                     toviDoubleComplex* u, int ldu, toviDoubleComplex* vt, int ldvt);

/*
 * syevd, heevd: eigenvalues and eigenvectors of a symmetric (real) or Hermitian (complex) matrix,
 * A = Z diag(w) Z^H, by divide and conquer, as LAPACK xSYEVD and xHEEVD.
 *
 * A is n x n, and its lower (uplo = 'L') or upper ('U') triangle is given: what the other one holds is not
 * used, nor the imaginary parts of the diagonal. w takes the n eigenvalues in ascending order. With jobz =
 * 'V' A is overwritten with Z, whose columns are the eigenvectors, orthonormal to a small multiple of n times
 * the machine epsilon, however close the values lie; with 'N' it stays as it is. When n is 0 nothing is read
 * or written.
 *
 * A matrix whose largest element is not between 1e-12 and 1e12 (single precision; in double precision the
 * limits are 1e-138 and 1e138) is scaled before, and the values back after. n * n elements of device memory
 * are needed beside A, with vectors 2 n * n real numbers of page-locked host memory, and on the software
 * device n * n / 4 + 512 n real numbers more. With vectors n is at most 46000: toviFeatureNotImplemented
 * beyond.
 *
 * toviDataError, error info i: the iteration has not converged; i is the info of LAPACK's xSTEDC ('V') or
 * xSTERF ('N') for the tridiagonal form. The host interface leaves all operands as they were; in the device
 * interface w and, with 'V', A are undefined. A NaN or an infinity in the triangle makes all results NaN.
 */
TOVI_API toviStatus toviSsyevd(char jobz, char uplo, int n, float* a, int lda, float* w);
TOVI_API toviStatus toviDsyevd(char jobz, char uplo, int n, double* a, int lda, double* w);
TOVI_API toviStatus toviCheevd(char jobz, char uplo, int n, toviFloatComplex* a, int lda, float* w);
TOVI_API toviStatus toviZheevd(char jobz, char uplo, int n, toviDoubleComplex* a, int lda, double* w);
TOVI_API toviStatus toviDeviceSsyevd(char jobz, char uplo, int n, float* a, int lda, float* w);
TOVI_API toviStatus toviDeviceDsyevd(char jobz, char uplo, int n, double* a, int lda, double* w);
TOVI_API toviStatus toviDeviceCheevd(char jobz, char uplo, int n, toviFloatComplex* a, int lda, float* w);
TOVI_API toviStatus toviDeviceZheevd(char jobz, char uplo, int n, toviDoubleComplex* a, int lda, double* w);

/*
 * gglse: least squares under equality constraints, as LAPACK xGGLSE: x minimizes the norm of c - A x under
 * B x = d.
 *
 * A is m x n, B is p x n, p <= n <= m + p (otherwise p is a bad argument); c has m elements, d has p, x has
 * n. B and the matrix of A above B have full rank. With n = 0 nothing is read or written.
 *
 * A and B are overwritten with their generalized RQ factorization, B = (0 T) Q and A = Z R Q: T, p x p upper
 * triangular, stands in the last p columns of B, R on and above the diagonal of A. Elements n - p + 1 to m of
 * c have the norm of the residual; the others, and d, are overwritten with intermediate results.
 *
 * toviDataError, error info i: diagonal element i, counted from 1, of T or of R11, the leading (n - p) x
 * (n - p) block of R, is exactly zero, the first such one, and there is no single solution. T is looked at
 * first. Unlike with the reference routine the error info does not say which of the two it was; A and B,
 * which hold the factors, do. c and d hold intermediate results. x is left as it was by the host interface,
 * and undefined in the device interface.
 *
 * Nothing is scaled: see gels.
 */
TOVI_API toviStatus toviSgglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c, float* d,
                               float* x);
TOVI_API toviStatus toviDgglse(int m, int n, int p, double* a, int lda, double* b, int ldb, double* c,
                               double* d, double* x);
TOVI_API toviStatus toviCgglse(int m, int n, int p, toviFloatComplex* a, int lda, toviFloatComplex* b,
                               int ldb, toviFloatComplex* c, toviFloatComplex* d, toviFloatComplex* x);
TOVI_API toviStatus toviZgglse(int m, int n, int p, toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                               int ldb, toviDoubleComplex* c, toviDoubleComplex* d, toviDoubleComplex* x);
TOVI_API toviStatus toviDeviceSgglse(int m, int n, int p, float* a, int lda, float* b, int ldb, float* c,
                                     float* d, float* x);
TOVI_API toviStatus toviDeviceDgglse(int m, int n, int p, double* a, int lda, double* b, int ldb, double* c,
                                     double* d, double* x);
TOVI_API toviStatus toviDeviceCgglse(int m, int n, int p, toviFloatComplex* a, int lda, toviFloatComplex* b,
                                     int ldb, toviFloatComplex* c, toviFloatComplex* d, toviFloatComplex* x);
TOVI_API toviStatus toviDeviceZgglse(int m, int n, int p, toviDoubleComplex* a, int lda, toviDoubleComplex* b,
                                     int ldb, toviDoubleComplex* c, toviDoubleComplex* d,
                                     toviDoubleComplex* x);

#ifdef __cplusplus
}
#endif

#endif
