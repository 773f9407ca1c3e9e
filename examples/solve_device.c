/* Solves A x = b with the operands in device memory. The program allocates the memory and moves the data
   itself, through the CUDA runtime's interface; it compiles unchanged for both platforms. */
#include <cuda_runtime.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <tovi.h>

enum { n = 600 };

static void requireCuda(cudaError_t error) {
  if (error == cudaSuccess) return;
  fprintf(stderr, "CUDA: %s\n", cudaGetErrorString(error));
  exit(1);
}

static void requireTovi(toviStatus status) {
  char text[160];
  if (status == toviNoError) return;
  toviGetErrorInfoString(status, toviGetErrorInfo(), text, (int)sizeof text);
  fprintf(stderr, "TOVI: %s\n", text);
  exit(1);
}

int main(void) {
  static float a[n * n], b[n]; /* A by columns; b is overwritten with x */
  void *dA, *dB, *dIpiv;
  int i, wrong = 0;

  /* A has n on its diagonal and 1 elsewhere, so the x that belongs to b = 2 n - 1 is all ones. */
  for (i = 0; i < n * n; ++i) a[i] = i % n == i / n ? (float)n : 1.0f;
  for (i = 0; i < n; ++i) b[i] = 2 * n - 1;

  requireTovi(toviInitialize());
  requireCuda(cudaMalloc(&dA, sizeof a));
  requireCuda(cudaMalloc(&dB, sizeof b));
  requireCuda(cudaMalloc(&dIpiv, n * sizeof(int)));
  requireCuda(cudaMemcpy(dA, a, sizeof a, cudaMemcpyHostToDevice));
  requireCuda(cudaMemcpy(dB, b, sizeof b, cudaMemcpyHostToDevice));

  requireTovi(toviDeviceSgesv(n, 1, dA, n, dIpiv, dB, n));

  requireCuda(cudaMemcpy(b, dB, sizeof b, cudaMemcpyDeviceToHost));
  for (i = 0; i < n; ++i)
    if (!(fabs(b[i] - 1.0) < 1e-4)) ++wrong;
  printf("%d elements of x, %d wrong\n", n, wrong);

  cudaFree(dIpiv);
  cudaFree(dB);
  cudaFree(dA);
  toviShutdown();
  return wrong == 0 ? 0 : 1;
}
