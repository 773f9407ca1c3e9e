// The words of CUDA C++ that say where a function runs: __global__, __device__, __host__ ... Here everything
// runs on the processor.

#ifndef TOVI_CUDA_WORDS_H
#define TOVI_CUDA_WORDS_H

#if defined(__has_feature)
#if __has_feature(address_sanitizer) && !defined(__SANITIZE_ADDRESS__)
#define __SANITIZE_ADDRESS__ 1
#endif
#if __has_feature(thread_sanitizer) && !defined(__SANITIZE_THREAD__)
#define __SANITIZE_THREAD__ 1
#endif
#endif

/* Device memory is poisoned under AddressSanitizer: only what runs on the device may touch it. */
#if defined(__SANITIZE_ADDRESS__)
#define TOVI_DEVICE_CODE __attribute__((no_sanitize("address")))
#define __forceinline__ inline
#elif defined(_MSC_VER)
#define TOVI_DEVICE_CODE
#define __forceinline__ __forceinline
#else
#define TOVI_DEVICE_CODE
#define __forceinline__ inline __attribute__((always_inline))
#endif
#define __global__ TOVI_DEVICE_CODE
#define __device__ TOVI_DEVICE_CODE
#define __host__
#define __launch_bounds__(...)
#if defined(_MSC_VER)
#define __restrict__ __restrict
#endif

#endif
