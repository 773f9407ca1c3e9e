// The exported LAPACK routines of one element type, host interface, and their rivals: those of any BLAS and
// LAPACK with the standard Fortran interface.

#ifndef TOVI_BENCH_RIVAL_H
#define TOVI_BENCH_RIVAL_H

#include <cstddef>

#include "bench/elements.h"
#include "include/tovi.h"

namespace bench {

template <class T>
struct Ours;
template <class T>
struct Rival;

}  // namespace bench

#define TOVI_BENCH_ROUTINES(P, p, T)                                                                   \
  extern "C" {                                                                                         \
  void p##gemm_(const char*, const char*, const int*, const int*, const int*, const T*, const T*,      \
                const int*, const T*, const int*, const T*, T*, const int*, std::size_t, std::size_t); \
  void p##getrf_(const int*, const int*, T*, const int*, int*, int*);                                  \
  void p##gesv_(const int*, const int*, T*, const int*, int*, T*, const int*, int*);                   \
  void p##geqrf_(const int*, const int*, T*, const int*, T*, T*, const int*, int*);                    \
  void p##gels_(const char*, const int*, const int*, const int*, T*, const int*, T*, const int*, T*,   \
                const int*, int*, std::size_t);                                                        \
  void p##gglse_(const int*, const int*, const int*, T*, const int*, T*, const int*, T*, T*, T*, T*,   \
                 const int*, int*);                                                                    \
  }                                                                                                    \
  template <>                                                                                          \
  struct bench::Ours<T> {                                                                              \
    static constexpr const char* prefix = "tovi" #P;                                                   \
    static constexpr auto gemm = tovi##P##gemm;                                                        \
    static constexpr auto getrf = tovi##P##getrf;                                                      \
    static constexpr auto gesv = tovi##P##gesv;                                                        \
    static constexpr auto geqrf = tovi##P##geqrf;                                                      \
    static constexpr auto gels = tovi##P##gels;                                                        \
    static constexpr auto gglse = tovi##P##gglse;                                                      \
    static constexpr auto gesvd = tovi##P##gesvd;                                                      \
    static constexpr auto gesdd = tovi##P##gesdd;                                                      \
  };                                                                                                   \
  template <>                                                                                          \
  struct bench::Rival<T> {                                                                             \
    static constexpr auto gemm = p##gemm_;                                                             \
    static constexpr auto getrf = p##getrf_;                                                           \
    static constexpr auto gesv = p##gesv_;                                                             \
    static constexpr auto geqrf = p##geqrf_;                                                           \
    static constexpr auto gels = p##gels_;                                                             \
    static constexpr auto gglse = p##gglse_;                                                           \
  };
TOVI_BENCH_ROUTINES(S, s, float)
TOVI_BENCH_ROUTINES(D, d, double)
TOVI_BENCH_ROUTINES(C, c, toviFloatComplex)
TOVI_BENCH_ROUTINES(Z, z, toviDoubleComplex)
#undef TOVI_BENCH_ROUTINES

#endif
