// A real matrix times vectors from both sides, read once.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_BOTH_WAYS_H
#define TOVI_DEVICE_SOFTWARE_SRC_BOTH_WAYS_H

namespace software_device {

// y := y + R x2 and z := z + R^T x1, R m x n. False: this processor has no vector instructions that would
// make it faster than a gemv each, and nothing is done.
bool multiplyBothWaysAtOnce(int m, int n, const float* r, int ld, const float* x1, const float* x2, float* y,
                            float* z);
bool multiplyBothWaysAtOnce(int m, int n, const double* r, int ld, const double* x1, const double* x2,
                            double* y, double* z);

}  // namespace software_device

#endif
