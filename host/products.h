// The large products of matrices that the host's LAPACK makes inside its routines. The embedded OpenBLAS
// (cmake/HostLapack.cmake) has no threads: it can have them made elsewhere. Any other library makes its own.

#ifndef TOVI_HOST_PRODUCTS_H
#define TOVI_HOST_PRODUCTS_H

namespace host {

// C := alpha op(A) op(B) + beta C, op(A) m x k, op(B) k x n
template <class R>
struct Product {
  char transa, transb;
  int m, n, k;
  R alpha;
  const R* a;
  int lda;
  const R* b;
  int ldb;
  R beta;
  R* c;
  int ldc;
};

// Is offered those of the calling thread as long as it lives.
class ProductMaker {
 public:
#ifdef TOVI_EMBEDDED_OPENBLAS
  ProductMaker() noexcept;
  ~ProductMaker();
#else
  ProductMaker() = default;
#endif
  ProductMaker(const ProductMaker&) = delete;
  ProductMaker& operator=(const ProductMaker&) = delete;

  // False: it is not made. C is as it was then, or what the routine returns is thrown away.
  virtual bool make(const Product<float>& product) noexcept = 0;
  virtual bool make(const Product<double>& product) noexcept = 0;

 private:
  [[maybe_unused]] ProductMaker* outer_ = nullptr;
};

}  // namespace host

#endif
