// Linked with the embedded OpenBLAS (--wrap=sgemm_,--wrap=dgemm_): every product comes by here.

#include "host/products.h"

#include <cstddef>

namespace {

thread_local host::ProductMaker* current = nullptr;

// Of multiplications. A smaller product is made before others hear of it.
constexpr double large = 0x1p23;

template <class R>
using Gemm = void(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                  const R* alpha, const R* a, const int* lda, const R* b, const int* ldb, const R* beta, R* c,
                  const int* ldc, std::size_t, std::size_t);

template <class R>
bool isMade(const host::Product<R>& product) {
  return static_cast<double>(product.m) * product.n * product.k >= large && current->make(product);
}

}  // namespace

extern "C" {
// NOLINTBEGIN(bugprone-macro-parentheses): R is a type
#define TOVI_PRODUCT(name, R)                                                                               \
  extern Gemm<R> __real_##name;                                                                             \
  Gemm<R> __wrap_##name;                                                                                    \
  void __wrap_##name(const char* transa, const char* transb, const int* m, const int* n, const int* k,      \
                     const R* alpha, const R* a, const int* lda, const R* b, const int* ldb, const R* beta, \
                     R* c, const int* ldc, std::size_t lengtha, std::size_t lengthb) {                      \
    if (current == nullptr ||                                                                               \
        !isMade<R>({*transa, *transb, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc}))               \
      __real_##name(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, lengtha, lengthb);        \
  }
// NOLINTEND(bugprone-macro-parentheses)
TOVI_PRODUCT(sgemm_, float)
TOVI_PRODUCT(dgemm_, double)
}

namespace host {

ProductMaker::ProductMaker() noexcept : outer_(current) { current = this; }
ProductMaker::~ProductMaker() { current = outer_; }

}  // namespace host
