// The words of CUDA C++ that say where a function runs: __global__, __device__, __host__ ... The host
// compiler, too, finds them in the toolkit's header.

#ifndef TOVI_CUDA_WORDS_H
#define TOVI_CUDA_WORDS_H

#include <cuda_runtime.h>

#endif
