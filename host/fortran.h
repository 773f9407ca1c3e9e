// How this code calls the host BLAS and LAPACK: standard Fortran symbols (lower case, one underscore),
// scalars by address, and the length of every character argument at the end of the list as std::size_t.
//
// To add a routine, three things in blas.h or lapack.h: its type over the element, its symbols, and a
// function that marks its operands and passes the addresses on.
//
// The host library is not compiled by us, so a sanitizer cannot see what it touches. Every function here
// therefore says which operands it reads and writes: AddressSanitizer builds stop when one is not host memory
// (device memory is poisoned for the host), ThreadSanitizer builds learn of the accesses.

#ifndef TOVI_HOST_FORTRAN_H
#define TOVI_HOST_FORTRAN_H

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <type_traits>

#include "ground/complex.h"
#include "ground/identity.h"
#include "ground/options.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOVI_HOST_ASAN 1
#endif
#if __has_feature(thread_sanitizer)
#define TOVI_HOST_TSAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TOVI_HOST_ASAN 1
#endif
#if defined(__SANITIZE_THREAD__)
#define TOVI_HOST_TSAN 1
#endif

#ifdef TOVI_HOST_ASAN
extern "C" void* __asan_region_is_poisoned(void* begin, std::size_t size);
#endif
#ifdef TOVI_HOST_TSAN
extern "C" void __tsan_read_range(void* begin, unsigned long size);
extern "C" void __tsan_write_range(void* begin, unsigned long size);
extern "C" void AnnotateIgnoreReadsBegin(const char* file, int line);
extern "C" void AnnotateIgnoreReadsEnd(const char* file, int line);
extern "C" void AnnotateIgnoreWritesBegin(const char* file, int line);
extern "C" void AnnotateIgnoreWritesEnd(const char* file, int line);
#endif

namespace host {

// How far apart the elements of a vector stand. Every int but 0 is an increment, the least one, too.
inline std::size_t distance(int increment) {
  return increment < 0 ? 0 - static_cast<std::size_t>(increment) : static_cast<std::size_t>(increment);
}

namespace detail {

// The member of a family that belongs to T.
template <class T, class S, class D, class C, class Z>
constexpr auto choose(S s, D d, C c, Z z) {
  if constexpr (std::is_same_v<T, float>)
    return s;
  else if constexpr (std::is_same_v<T, double>)
    return d;
  else if constexpr (std::is_same_v<T, tovi::Complex<float>>)
    return c;
  else
    return z;
}
// Hermitian families have no real members.
template <class T, class C, class Z>
constexpr auto choose(C c, Z z) {
  static_assert(tovi::isComplex<T>, "a Hermitian routine takes complex elements");
  return choose<T>(nullptr, nullptr, c, z);
}

// Real families have no complex members.
template <class T, class S, class D>
constexpr auto chooseReal(S s, D d) {
  static_assert(!tovi::isComplex<T>, "a routine for real elements");
  return choose<T>(s, d, nullptr, nullptr);
}

// A Fortran routine. What it does inside is hidden from ThreadSanitizer, which does not see the host
// library's locks either; the operands have been marked before.
template <class F>
struct Routine {
  F* function;
  template <class... Arguments>
  auto operator()(Arguments... arguments) const {
#ifdef TOVI_HOST_TSAN
    struct Hidden {
      Hidden() {
        AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
        AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
      }
      ~Hidden() {
        AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
        AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
      }
    } hidden;
#endif
    return function(arguments...);
  }
};
template <class T, class... Fs>
constexpr auto routine(Fs... fs) {
  using F = std::remove_pointer_t<decltype(choose<T>(fs...))>;
  return Routine<F>{choose<T>(fs...)};
}

template <class T, class S, class D>
constexpr auto realRoutine(S s, D d) {
  using F = std::remove_pointer_t<decltype(chooseReal<T>(s, d))>;
  return Routine<F>{chooseReal<T>(s, d)};
}

enum class Access { read, write };

template <Access access>
inline void mark([[maybe_unused]] const void* begin, [[maybe_unused]] std::size_t bytes) {
#ifdef TOVI_HOST_ASAN
  if (bytes != 0 && __asan_region_is_poisoned(const_cast<void*>(begin), bytes) != nullptr) {
    std::fprintf(stderr,
                 "host BLAS/LAPACK: an operand at %p lies outside the memory that the host may touch\n",
                 begin);
    std::abort();
  }
#endif
#ifdef TOVI_HOST_TSAN
  if (bytes != 0) {
    if constexpr (access == Access::read)
      __tsan_read_range(const_cast<void*>(begin), bytes);
    else
      __tsan_write_range(const_cast<void*>(begin), bytes);
  }
#endif
}

// part: 'U' or 'L' for that triangle with the diagonal, anything else for the whole matrix.
template <Access access, class T>
inline void mark([[maybe_unused]] char part, [[maybe_unused]] int rows, [[maybe_unused]] int cols,
                 [[maybe_unused]] const T* a, [[maybe_unused]] std::size_t ld) {
#if defined(TOVI_HOST_ASAN) || defined(TOVI_HOST_TSAN)
  for (int j = 0; j < cols; ++j) {
    const bool upper = part == 'U' || part == 'u', lower = part == 'L' || part == 'l';
    const int first = lower && j < rows ? j : 0, end = upper && j + 1 < rows ? j + 1 : rows;
    if (lower && j >= rows) break;
    mark<access>(a + (static_cast<std::size_t>(j) * ld + static_cast<std::size_t>(first)),
                 static_cast<std::size_t>(end - first) * sizeof(T));
  }
#endif
}
template <class T>
inline void reads(char part, int rows, int cols, const T* a, int ld) {
  mark<Access::read>(part, rows, cols, a, static_cast<std::size_t>(ld));
}
template <class T>
inline void reads(int rows, int cols, const T* a, int ld) {
  reads('G', rows, cols, a, ld);
}
template <class T>
inline void writes(char part, int rows, int cols, T* a, int ld) {
  mark<Access::write>(part, rows, cols, a, static_cast<std::size_t>(ld));
}
template <class T>
inline void writes(int rows, int cols, T* a, int ld) {
  writes('G', rows, cols, a, ld);
}
// Vectors: n elements, inc apart; the order is of no matter here.
template <class T>
inline void readsVector(int n, const T* x, int inc) {
  mark<Access::read>('G', 1, n, x, distance(inc));
}
template <class T>
inline void writesVector(int n, T* x, int inc) {
  mark<Access::write>('G', 1, n, x, distance(inc));
}

}  // namespace detail

// Scalars stay out of template argument deduction: the element type is that of the operands.
template <class T>
using Scalar = tovi::Identity<T>;
template <class T>
using RealScalar = tovi::Identity<tovi::Real<T>>;

}  // namespace host

#endif
