// A failed call of CUBLAS is reported however many good ones come after it, and once.

#include <cublas.h>

#include "cudalib/check.h"
#include "src/blas/cublas.h"
#include "tests/support/interface.h"

namespace testing_support {
namespace {

class CublasStatus : public LibraryTest {};

TEST_F(CublasStatus, AGoodCallDoesNotHideAFailure) {
  using C = Complex<float>;
  const HostMatrix<C> host = HostMatrix<C>::random(8, 8, 0, 1);
  const OnDevice<C> a(host), c(host);
  const tovi::MatrixView<const C> dA = a.view;
  const auto good = [&] { tovi::cublas::gemm<C>('N', 'N', C(1), dA, dA, C(0), c.view); };
  for (const int after : {0, 1, 5}) try {
      good();
      tovi::cublas::syr2k<C>('L', 'T', C(1), dA, dA, C(0), c.view);  // there is no such form
      for (int i = 0; i < after; ++i) good();
      cudalib::completionCheck();
      ADD_FAILURE() << "not reported, with " << after << " good calls after it";
    } catch (const cudalib::CublasException& exception) {
      EXPECT_EQ(exception.status(), 7);
    }
  good();
  EXPECT_NO_THROW(cudalib::completionCheck());
}

}  // namespace
}  // namespace testing_support
