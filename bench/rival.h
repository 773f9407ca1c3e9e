// The exported routines of one element type, host interface, and their rivals: those of any BLAS and LAPACK
// with the standard Fortran interface. It is loaded when the program starts, apart from all else in the
// process, which may hold a BLAS of its own. TOVI_RIVAL in the environment is its path; else it is Debian's
// OpenBLAS.

#ifndef TOVI_BENCH_RIVAL_H
#define TOVI_BENCH_RIVAL_H

#include <dlfcn.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/elements.h"
#include "include/tovi.h"

namespace bench {

inline void* rivalLibrary() {
  static void* const library = [] {
    const char* path = std::getenv("TOVI_RIVAL");
    if (path == nullptr) path = TOVI_BENCH_OPENBLAS;
    void* const opened = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    if (opened == nullptr) {
      std::fprintf(stderr, "no rival: %s\n", dlerror());
      std::exit(1);
    }
    std::printf("rival: %s\n", path);
    return opened;
  }();
  return library;
}

// By its name without the underscore; some libraries have a prefix before all names. The program ends where
// the rival has no such routine.
template <class F>
F* rivalRoutine(const std::string& name) {
  for (const std::string prefix : {"", "scipy_"})
    if (void* const routine = dlsym(rivalLibrary(), (prefix + name + '_').c_str()))
      return reinterpret_cast<F*>(routine);
  std::fprintf(stderr, "the rival has no %s\n", name.c_str());
  std::exit(1);
}

// Sets the number of threads that a library computes with; null where it has no such routine.
inline auto setThreadsOf(void* library) {
  void* routine = nullptr;
  for (const char* const name :
       {"openblas_set_num_threads", "scipy_openblas_set_num_threads", "MKL_Set_Num_Threads"})
    if (routine == nullptr) routine = dlsym(library, name);
  return reinterpret_cast<void (*)(int)>(routine);
}

template <class T>
struct Ours;

#define TOVI_BENCH_OURS(T, P, q, h, ...)                                    \
  template <>                                                               \
  struct Ours<T> {                                                          \
    static constexpr const char* prefix = "tovi" #P;                        \
    static constexpr const char *mqrName = #q "mqr", *gqrName = #q "gqr";   \
    static constexpr const char *heevdName = #h "evd", *hemmName = #h "mm"; \
    static constexpr auto gemm = tovi##P##gemm;                             \
    static constexpr auto gemv = tovi##P##gemv;                             \
    static constexpr auto trsm = tovi##P##trsm;                             \
    static constexpr auto trmm = tovi##P##trmm;                             \
    static constexpr auto hemm = tovi##P##h##mm;                            \
    static constexpr auto syrk = tovi##P##syrk;                             \
    static constexpr auto getrf = tovi##P##getrf;                           \
    static constexpr auto getrs = tovi##P##getrs;                           \
    static constexpr auto gesv = tovi##P##gesv;                             \
    static constexpr auto potrf = tovi##P##potrf;                           \
    static constexpr auto potrs = tovi##P##potrs;                           \
    static constexpr auto posv = tovi##P##posv;                             \
    static constexpr auto geqrf = tovi##P##geqrf;                           \
    static constexpr auto mqr = tovi##P##q##mqr;                            \
    static constexpr auto gqr = tovi##P##q##gqr;                            \
    static constexpr auto gels = tovi##P##gels;                             \
    static constexpr auto gglse = tovi##P##gglse;                           \
    static constexpr auto gesvd = tovi##P##gesvd;                           \
    static constexpr auto gesdd = tovi##P##gesdd;                           \
    static constexpr auto heevd = tovi##P##h##evd;                          \
    __VA_ARGS__                                                             \
  };
TOVI_BENCH_OURS(float, S, or, sy, static constexpr auto syr2k = toviSsyr2k;)
TOVI_BENCH_OURS(double, D, or, sy, static constexpr auto syr2k = toviDsyr2k;)
TOVI_BENCH_OURS(toviFloatComplex, C, un, he, static constexpr auto herk = toviCherk, her2k = toviCher2k;)
TOVI_BENCH_OURS(toviDoubleComplex, Z, un, he, static constexpr auto herk = toviZherk, her2k = toviZher2k;)
#undef TOVI_BENCH_OURS

// Only the routines that a program uses are looked for. gesvd, gesdd and heevd take reals, too, where T is
// complex.
template <class T>
class Rival {
  using R = Real<T>;
  using Letter = const char*;
  using In = const int*;
  using Length = std::size_t;  // of the letters

  template <class F>
  static F* routine(const char* name) {
    constexpr char letter = isComplex<T> ? isDouble<T> ? 'z' : 'c' : isDouble<T> ? 'd' : 's';
    return rivalRoutine<F>(letter + std::string(name));
  }
  template <class IfReal, class IfComplex>
  using By = std::conditional_t<isComplex<T>, IfComplex, IfReal>;

 public:
  static inline auto* const gemm = routine<void(Letter, Letter, In, In, In, const T*, const T*, In, const T*,
                                                In, const T*, T*, In, Length, Length)>("gemm");
  static inline auto* const gemv =
      routine<void(Letter, In, In, const T*, const T*, In, const T*, In, const T*, T*, In, Length)>("gemv");
  using Triangular = void(Letter, Letter, Letter, Letter, In, In, const T*, const T*, In, T*, In, Length,
                          Length, Length, Length);
  static inline auto* const trsm = routine<Triangular>("trsm");
  static inline auto* const trmm = routine<Triangular>("trmm");
  static inline auto* const hemm = routine<void(Letter, Letter, In, In, const T*, const T*, In, const T*, In,
                                                const T*, T*, In, Length, Length)>(Ours<T>::hemmName);
  template <class Scalar>
  using RankK = void(Letter, Letter, In, In, const Scalar*, const T*, In, const Scalar*, T*, In, Length,
                     Length);
  static inline auto* const syrk = routine<RankK<T>>("syrk");
  static inline auto* const herk = routine<RankK<R>>(isComplex<T> ? "herk" : "syrk");
  template <class Beta>
  using Rank2K = void(Letter, Letter, In, In, const T*, const T*, In, const T*, In, const Beta*, T*, In,
                      Length, Length);
  static inline auto* const syr2k = routine<Rank2K<T>>("syr2k");
  static inline auto* const her2k = routine<Rank2K<R>>(isComplex<T> ? "her2k" : "syr2k");
  static inline auto* const getrf = routine<void(In, In, T*, In, int*, int*)>("getrf");
  static inline auto* const getrs =
      routine<void(Letter, In, In, const T*, In, In, T*, In, int*, Length)>("getrs");
  static inline auto* const gesv = routine<void(In, In, T*, In, int*, T*, In, int*)>("gesv");
  static inline auto* const potrf = routine<void(Letter, In, T*, In, int*, Length)>("potrf");
  static inline auto* const potrs =
      routine<void(Letter, In, In, const T*, In, T*, In, int*, Length)>("potrs");
  static inline auto* const posv = routine<void(Letter, In, In, T*, In, T*, In, int*, Length)>("posv");
  static inline auto* const geqrf = routine<void(In, In, T*, In, T*, T*, In, int*)>("geqrf");
  static inline auto* const mqr =
      routine<void(Letter, Letter, In, In, In, const T*, In, const T*, T*, In, T*, In, int*, Length, Length)>(
          Ours<T>::mqrName);
  static inline auto* const gqr = routine<void(In, In, In, T*, In, const T*, T*, In, int*)>(Ours<T>::gqrName);
  static inline auto* const gels =
      routine<void(Letter, In, In, In, T*, In, T*, In, T*, In, int*, Length)>("gels");
  static inline auto* const gglse =
      routine<void(In, In, In, T*, In, T*, In, T*, T*, T*, T*, In, int*)>("gglse");
  static inline auto* const gesvd =
      routine<By<void(Letter, Letter, In, In, T*, In, R*, T*, In, T*, In, T*, In, int*, Length, Length),
                 void(Letter, Letter, In, In, T*, In, R*, T*, In, T*, In, T*, In, R*, int*, Length, Length)>>(
          "gesvd");
  static inline auto* const gesdd =
      routine<By<void(Letter, In, In, T*, In, R*, T*, In, T*, In, T*, In, int*, int*, Length),
                 void(Letter, In, In, T*, In, R*, T*, In, T*, In, T*, In, R*, int*, int*, Length)>>("gesdd");
  static inline auto* const heevd =
      routine<By<void(Letter, Letter, In, T*, In, R*, T*, In, int*, In, int*, Length, Length),
                 void(Letter, Letter, In, T*, In, R*, T*, In, R*, In, int*, In, int*, Length, Length)>>(
          Ours<T>::heevdName);
};

// call(reals...) where T is complex, else call().
template <class T, class Call, class... Reals>
void withReals(const Call& call, Reals... reals) {
  if constexpr (isComplex<T>)
    call(reals...);
  else
    call();
}

// call(space, lwork) with as much work space as the routine asks for.
template <class T, class Call>
std::function<void()> withWorkspace(const Call& call) {
  T wanted{};
  call(&wanted, -1);
  return [call, space = std::vector<T>(elements(spaceWanted(wanted), 1))]() mutable {
    call(space.data(), static_cast<int>(space.size()));
  };
}

// What a row begins with: the exported routine and its sizes.
template <class T>
std::string title(const std::string& routine, int n) {
  return Ours<T>::prefix + routine + " n = " + std::to_string(n);
}
template <class T>
std::string title(const std::string& routine, int m, int n) {
  return Ours<T>::prefix + routine + ' ' + std::to_string(m) + " x " + std::to_string(n);
}

}  // namespace bench

#endif
