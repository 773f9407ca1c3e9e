// Columns of a real symmetric matrix, of which one triangle is there, times a vector: read once, they act on
// it both ways.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_BOTH_WAYS_H
#define TOVI_DEVICE_SOFTWARE_SRC_BOTH_WAYS_H

namespace software_device {

// y := y + B x, where the symmetric matrix B has the columns first .. end-1 of one triangle of A, of order n,
// of float or double. False: this processor has no vector instructions that would make it faster than the
// host BLAS is, and nothing is done.
template <class R>
bool multiplyBothWaysAtOnce(bool lower, int n, int first, int end, const R* a, int ld, const R* x, R* y);

}  // namespace software_device

#endif
