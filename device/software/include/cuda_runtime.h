/* The CUDA runtime interface of the software device: the part of CUDA 3.2's that dense linear algebra calls,
   and streams with flags, which came later, for C and C++. A program written against the toolkit's header
   compiles unchanged against this one. At link level every function carries a prefix of its own, so that this
   device and a real runtime can live in one process.

   For C++ the header also supplies the words of kernels (cuda_words.h). What kernels find while they run,
   threadIdx and its like, and what stands for __shared__ are in device/kernel.h. */

#ifndef TOVI_SOFTWARE_CUDA_RUNTIME_H
#define TOVI_SOFTWARE_CUDA_RUNTIME_H

#include <stddef.h>

#define CUDART_VERSION 3020

#if defined(_WIN32)
#if defined(TOVI_SOFTWARE_BUILD)
#define TOVI_SOFTWARE_API __declspec(dllexport)
#elif defined(TOVI_STATIC)
#define TOVI_SOFTWARE_API
#else
#define TOVI_SOFTWARE_API __declspec(dllimport)
#endif
#else
#define TOVI_SOFTWARE_API __attribute__((visibility("default")))
#endif
#define CUDARTAPI /* cdecl everywhere: exported names are those written here */

#define cudaRuntimeGetVersion toviSw_cudaRuntimeGetVersion
#define cudaDriverGetVersion toviSw_cudaDriverGetVersion
#define cudaGetDeviceCount toviSw_cudaGetDeviceCount
#define cudaGetDeviceProperties toviSw_cudaGetDeviceProperties
#define cudaSetDevice toviSw_cudaSetDevice
#define cudaGetDevice toviSw_cudaGetDevice
#define cudaMalloc toviSw_cudaMalloc
#define cudaMallocPitch toviSw_cudaMallocPitch
#define cudaFree toviSw_cudaFree
#define cudaMallocHost toviSw_cudaMallocHost
#define cudaFreeHost toviSw_cudaFreeHost
#define cudaMemGetInfo toviSw_cudaMemGetInfo
#define cudaMemcpy toviSw_cudaMemcpy
#define cudaMemcpyAsync toviSw_cudaMemcpyAsync
#define cudaMemcpy2D toviSw_cudaMemcpy2D
#define cudaMemcpy2DAsync toviSw_cudaMemcpy2DAsync
#define cudaMemset toviSw_cudaMemset
#define cudaStreamCreate toviSw_cudaStreamCreate
#define cudaStreamCreateWithFlags toviSw_cudaStreamCreateWithFlags
#define cudaStreamDestroy toviSw_cudaStreamDestroy
#define cudaStreamSynchronize toviSw_cudaStreamSynchronize
#define cudaStreamQuery toviSw_cudaStreamQuery
#define cudaStreamWaitEvent toviSw_cudaStreamWaitEvent
#define cudaEventCreateWithFlags toviSw_cudaEventCreateWithFlags
#define cudaEventDestroy toviSw_cudaEventDestroy
#define cudaEventRecord toviSw_cudaEventRecord
#define cudaEventSynchronize toviSw_cudaEventSynchronize
#define cudaEventQuery toviSw_cudaEventQuery
#define cudaThreadSynchronize toviSw_cudaThreadSynchronize
#define cudaDeviceSynchronize toviSw_cudaDeviceSynchronize
#define cudaGetLastError toviSw_cudaGetLastError
#define cudaPeekAtLastError toviSw_cudaPeekAtLastError
#define cudaGetErrorString toviSw_cudaGetErrorString

#ifdef __cplusplus
extern "C" {
#endif

enum cudaError {
  cudaSuccess = 0,
  cudaErrorMissingConfiguration = 1,
  cudaErrorMemoryAllocation = 2,
  cudaErrorInitializationError = 3,
  cudaErrorLaunchFailure = 4,
  cudaErrorPriorLaunchFailure = 5,
  cudaErrorLaunchTimeout = 6,
  cudaErrorLaunchOutOfResources = 7,
  cudaErrorInvalidDeviceFunction = 8,
  cudaErrorInvalidConfiguration = 9,
  cudaErrorInvalidDevice = 10,
  cudaErrorInvalidValue = 11,
  cudaErrorInvalidPitchValue = 12,
  cudaErrorInvalidSymbol = 13,
  cudaErrorMapBufferObjectFailed = 14,
  cudaErrorUnmapBufferObjectFailed = 15,
  cudaErrorInvalidHostPointer = 16,
  cudaErrorInvalidDevicePointer = 17,
  cudaErrorInvalidTexture = 18,
  cudaErrorInvalidTextureBinding = 19,
  cudaErrorInvalidChannelDescriptor = 20,
  cudaErrorInvalidMemcpyDirection = 21,
  cudaErrorAddressOfConstant = 22,
  cudaErrorTextureFetchFailed = 23,
  cudaErrorTextureNotBound = 24,
  cudaErrorSynchronizationError = 25,
  cudaErrorInvalidFilterSetting = 26,
  cudaErrorInvalidNormSetting = 27,
  cudaErrorMixedDeviceExecution = 28,
  cudaErrorCudartUnloading = 29,
  cudaErrorUnknown = 30,
  cudaErrorNotYetImplemented = 31,
  cudaErrorMemoryValueTooLarge = 32,
  cudaErrorInvalidResourceHandle = 33,
  cudaErrorNotReady = 34,
  cudaErrorInsufficientDriver = 35,
  cudaErrorSetOnActiveProcess = 36,
  cudaErrorInvalidSurface = 37,
  cudaErrorNoDevice = 38,
  cudaErrorECCUncorrectable = 39,
  cudaErrorSharedObjectSymbolNotFound = 40,
  cudaErrorSharedObjectInitFailed = 41,
  cudaErrorUnsupportedLimit = 42,
  cudaErrorDuplicateVariableName = 43,
  cudaErrorDuplicateTextureName = 44,
  cudaErrorDuplicateSurfaceName = 45,
  cudaErrorDevicesUnavailable = 46,
  cudaErrorInvalidKernelImage = 47,
  cudaErrorNoKernelImageForDevice = 48,
  cudaErrorIncompatibleDriverContext = 49,
  cudaErrorStartupFailure = 0x7f,
  cudaErrorApiFailureBase = 10000
};
typedef enum cudaError cudaError_t;

enum cudaMemcpyKind {
  cudaMemcpyHostToHost = 0,
  cudaMemcpyHostToDevice = 1,
  cudaMemcpyDeviceToHost = 2,
  cudaMemcpyDeviceToDevice = 3
};

enum cudaComputeMode {
  cudaComputeModeDefault = 0,
  cudaComputeModeExclusive = 1,
  cudaComputeModeProhibited = 2
};

struct cudaDeviceProp {
  char name[256];
  size_t totalGlobalMem;    /* bytes */
  size_t sharedMemPerBlock; /* bytes */
  int regsPerBlock;
  int warpSize;
  size_t memPitch; /* bytes: the greatest pitch that copies take */
  int maxThreadsPerBlock;
  int maxThreadsDim[3];
  int maxGridSize[3];
  int clockRate;        /* kHz */
  size_t totalConstMem; /* bytes */
  int major;
  int minor;
  size_t textureAlignment;
  int deviceOverlap;
  int multiProcessorCount;
  int kernelExecTimeoutEnabled;
  int integrated;
  int canMapHostMemory;
  int computeMode;
  int concurrentKernels;
  int ECCEnabled;
  int pciBusID;
  int pciDeviceID;
};

typedef struct CUstream_st* cudaStream_t;
typedef struct CUevent_st* cudaEvent_t;

#define cudaStreamDefault 0x00
#define cudaStreamNonBlocking 0x01 /* neither waits for the default stream nor makes that wait */
#define cudaEventDefault 0x00
#define cudaEventBlockingSync 0x01
#define cudaEventDisableTiming 0x02 /* there is no timing here */

TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaRuntimeGetVersion(int* version);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaDriverGetVersion(int* version);

TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaGetDeviceCount(int* count);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaGetDeviceProperties(struct cudaDeviceProp* properties,
                                                                int device);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaSetDevice(int device);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaGetDevice(int* device);

TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMalloc(void** pointer, size_t bytes);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMallocPitch(void** pointer, size_t* pitch, size_t width,
                                                        size_t height);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaFree(void* pointer);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMallocHost(void** pointer, size_t bytes);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaFreeHost(void* pointer);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMemGetInfo(size_t* free, size_t* total);

TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMemcpy(void* destination, const void* source, size_t bytes,
                                                   enum cudaMemcpyKind kind);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMemcpyAsync(void* destination, const void* source, size_t bytes,
                                                        enum cudaMemcpyKind kind, cudaStream_t stream);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMemcpy2D(void* destination, size_t dpitch, const void* source,
                                                     size_t spitch, size_t width, size_t height,
                                                     enum cudaMemcpyKind kind);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMemcpy2DAsync(void* destination, size_t dpitch,
                                                          const void* source, size_t spitch, size_t width,
                                                          size_t height, enum cudaMemcpyKind kind,
                                                          cudaStream_t stream);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaMemset(void* pointer, int value, size_t bytes);

TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaStreamCreate(cudaStream_t* stream);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaStreamCreateWithFlags(cudaStream_t* stream, unsigned int flags);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaStreamDestroy(cudaStream_t stream);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaStreamSynchronize(cudaStream_t stream);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaStreamQuery(cudaStream_t stream);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaStreamWaitEvent(cudaStream_t stream, cudaEvent_t event,
                                                            unsigned int flags);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaEventCreateWithFlags(cudaEvent_t* event, unsigned int flags);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaEventDestroy(cudaEvent_t event);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaEventRecord(cudaEvent_t event, cudaStream_t stream);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaEventSynchronize(cudaEvent_t event);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaEventQuery(cudaEvent_t event);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaThreadSynchronize(void);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaDeviceSynchronize(void);

TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaGetLastError(void);
TOVI_SOFTWARE_API cudaError_t CUDARTAPI cudaPeekAtLastError(void);
TOVI_SOFTWARE_API const char* CUDARTAPI cudaGetErrorString(cudaError_t error);

#ifdef __cplusplus
} /* extern "C" */
#endif

#ifdef __cplusplus

template <class T>
inline cudaError_t cudaMalloc(T** pointer, size_t bytes) {
  return cudaMalloc(reinterpret_cast<void**>(pointer), bytes);
}
template <class T>
inline cudaError_t cudaMallocPitch(T** pointer, size_t* pitch, size_t width, size_t height) {
  return cudaMallocPitch(reinterpret_cast<void**>(pointer), pitch, width, height);
}
template <class T>
inline cudaError_t cudaMallocHost(T** pointer, size_t bytes) {
  return cudaMallocHost(reinterpret_cast<void**>(pointer), bytes);
}

#include "cuda_words.h"

struct uint3 {
  unsigned int x, y, z;
};

struct dim3 {
  unsigned int x, y, z;
  constexpr dim3(unsigned int vx = 1, unsigned int vy = 1, unsigned int vz = 1) : x(vx), y(vy), z(vz) {}
  constexpr dim3(uint3 v) : x(v.x), y(v.y), z(v.z) {}
  constexpr operator uint3() const { return uint3{x, y, z}; }
};

inline constexpr int warpSize = 32;

#endif /* __cplusplus */

#endif
