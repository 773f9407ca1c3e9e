// A real matrix times vectors from both sides, read once.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_BOTH_WAYS_H
#define TOVI_DEVICE_SOFTWARE_SRC_BOTH_WAYS_H

namespace software_device {

// y := y + R x2 and z := z + R^T x1, R m x n, of float or double. False: this processor has no vector
// instructions that would make it faster than a gemv each, and nothing is done.
template <class R>
bool multiplyBothWaysAtOnce(int m, int n, const R* r, int ld, const R* x1, const R* x2, R* y, R* z);

}  // namespace software_device

#endif
