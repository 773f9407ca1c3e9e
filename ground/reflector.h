// The generation of an elementary reflector, as LAPACK's larfg does it, for whoever owns the vector: a block
// of threads of a kernel, or one processor. Both give the same bits if their teams add in the same order.

#ifndef TOVI_GROUND_REFLECTOR_H
#define TOVI_GROUND_REFLECTOR_H

#include <cmath>

#include "ground/scalars.h"

namespace tovi {

// What a team must have; each of its members calls these together with all others.
//   sumOfSquares(n, x, incx)           of the n elements of x: their squared moduli
//   sumOfSquares(n, x, incx, divisor)  the same of x / divisor
//   greatestPart(n, x, incx)           the greatest absolute value of a real or imaginary part; NaN wins
//   scale(n, x, incx, factor)          x := factor x
//   leads()                            true for one member, which writes what is there once
// All members get the same results, and none gets one before all have called.

// The Euclidean norm. The squares are added as they are; only where their sum says that some may have left
// the range of the type, they are added again relative to the greatest element.
template <class Team, class T>
__device__ Real<T> normOf(Team& team, int n, const T* x, int incx) {
  using R = Real<T>;
  constexpr R least = Range<R>::least / (Range<R>::epsilon * Range<R>::epsilon);
  const R sum = team.sumOfSquares(n, x, incx);
  if (sum >= least && sum <= Range<R>::most) return std::sqrt(sum);
  const R greatest = team.greatestPart(n, x, incx);
  if (!(greatest > 0 && greatest <= Range<R>::most)) return greatest;
  return greatest * std::sqrt(team.sumOfSquares(n, x, incx, greatest));
}

// Every member reads alpha before the first sum, and the leader writes it at the end.
template <class Team, class T>
__device__ void makeReflector(Team& team, int n, T* alpha, T* x, int incx, T* tau) {
  using R = Real<T>;
  if (n < 1) {
    if (team.leads()) *tau = T(0);
    return;
  }
  T a = *alpha;
  R norm = normOf(team, n - 1, x, incx);
  if (norm == 0 && imaginary(a) == 0) {
    if (team.leads()) *tau = T(0);
    return;
  }
  R beta = -std::copysign(lengthOf(real(a), imaginary(a), norm), real(a));

  // Where beta is so small that its reciprocal may overflow, the vector is first scaled up, and beta down
  // again at the end.
  constexpr R least = Range<R>::least / (Range<R>::epsilon / 2), factor = 1 / least;
  int scalings = 0;
  if (std::fabs(beta) < least) {
    do {
      ++scalings;
      team.scale(n - 1, x, incx, T(factor));
      a *= T(factor);
      beta *= factor;
    } while (std::fabs(beta) < least && scalings < 20);
    norm = normOf(team, n - 1, x, incx);
    beta = -std::copysign(lengthOf(real(a), imaginary(a), norm), real(a));
  }

  // tau = (beta - alpha) / beta, v = x / (alpha - beta)
  team.scale(n - 1, x, incx, reciprocalOf(a - T(beta)));
  if (team.leads()) {
    *tau = scalarOf<T>((beta - real(a)) / beta, -imaginary(a) / beta);
    for (int k = 0; k < scalings; ++k) beta *= least;
    *alpha = T(beta);
  }
}

// Whether products of moderate numbers with x, of which such a reflector was made, are so small that they
// have lost digits; those with its v have not.
template <class T>
__device__ bool productsLoseDigits(T tau, Real<T> beta) {
  return tau != T(0) && squareOf(beta) < Range<Real<T>>::least;
}

// As LARFG_k.
template <class Team, class T>
__device__ void makeReflector(Team team, int n, T* alpha, T* x, int incx, T* tau, Real<T>* beta) {
  makeReflector(team, n, alpha, x, incx, tau);
  if (beta == nullptr || n < 1 || !team.leads()) return;
  *beta = real(*alpha);
  *alpha = T(1);
}

// In how many parts Weight_k adds.
constexpr int weightParts = 64;

}  // namespace tovi

#endif
