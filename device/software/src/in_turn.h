// A real matrix times vectors from both sides, the second of which the first product is a part of: read once.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_IN_TURN_H
#define TOVI_DEVICE_SOFTWARE_SRC_IN_TURN_H

namespace software_device {

// y := tau (A^T v + y), x := x - y and w := w + A x, A m x n, of float or double. False: this processor has
// no vector instructions that would make it faster than a gemv each, and nothing is done.
template <class R>
bool multiplyInTurnAtOnce(int m, int n, const R* a, int ld, const R* v, R tau, R* y, R* x, R* w);

}  // namespace software_device

#endif
