// How long the iteration of bdsqr may take. It stands in an object of its own: a program may put another
// limit in its place when it is linked.

#ifndef TOVI_LAPACK_SWEEP_LIMIT_H
#define TOVI_LAPACK_SWEEP_LIMIT_H

namespace tovi::lapack {

// Sweeps over the whole matrix that each singular value may take; LAPACK's number.
constexpr int sweepsPerValue = 6;

// Of order n: the number of rotations after which no further sweep begins.
double mostRotations(int n);

}  // namespace tovi::lapack

#endif
