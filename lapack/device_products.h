// The large products inside a host LAPACK routine, made on the device where the host would make them on one
// thread (host/products.h).

#ifndef TOVI_LAPACK_DEVICE_PRODUCTS_H
#define TOVI_LAPACK_DEVICE_PRODUCTS_H

#include <algorithm>
#include <cstddef>
#include <exception>

#include "cudalib/buffer_cache.h"
#include "cudalib/copy2d.h"
#include "ground/matrix_view.h"
#include "host/products.h"
#include "lapack/host_call.h"
#include "src/blas/blas.h"

namespace tovi::lapack {

// Lives while the routine runs. No exception passes through that: the host goes on by itself.
class DeviceProducts final : public host::ProductMaker {
 public:
  bool make(const host::Product<float>& product) noexcept override { return attempt(product); }
  bool make(const host::Product<double>& product) noexcept override { return attempt(product); }

  // Throws what has failed on the way.
  void check() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  template <class R>
  bool attempt(const host::Product<R>& product) noexcept {
    const bool plain = product.transa == 'N' && product.transb == 'N';  // others are not met
    if (failure_ || !plain) return false;
    try {
      multiply(product);
    } catch (...) {
      failure_ = std::current_exception();
    }
    return !failure_;
  }
  // Some columns at a time, so that not much memory is taken.
  template <class R>
  static void multiply(const host::Product<R>& p) {
    const int width = std::min(p.n, 512);
    const cudalib::PaddedMemory<R> dA(size(p.m), size(p.k)), dB(size(p.k), size(width)),
        dC(size(p.m), size(width));
    cudalib::upload(p.a, p.lda, dA.view(p.m, p.k));
    for (int j = 0; j < p.n; j += width) {
      const int count = std::min(width, p.n - j);
      cudalib::upload(p.b + size(j) * size(p.ldb), p.ldb, dB.view(p.k, count));
      R* const hC = p.c + size(j) * size(p.ldc);
      if (p.beta != 0) cudalib::upload(hC, p.ldc, dC.view(p.m, count));
      blas::gemm<R>('N', 'N', p.alpha, dA.view(p.m, p.k), dB.view(p.k, count), p.beta, dC.view(p.m, count));
      cudalib::download<R>(dC.view(p.m, count), hC, p.ldc);
    }
  }

  std::exception_ptr failure_;
};

// routine(): an iteration on the host that returns its info.
template <class Routine>
void iterateWithDevice(const Routine& routine) {
  DeviceProducts products;
  const int info = routine();
  products.check();
  checkIteration(info);
}

}  // namespace tovi::lapack

#endif
