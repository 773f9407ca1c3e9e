/* Whether the archive has the function that platform/host/serial_openblas.c replaces, and links. */
void sgetrf_(const int* m, const int* n, float* a, const int* lda, int* ipiv, int* info);

int main(void) {
  const int n = 1;
  float a = 1;
  int ipiv = 0, info = 0;
  sgetrf_(&n, &n, &a, &n, &ipiv, &info);
  return info;
}
