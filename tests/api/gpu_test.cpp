// What a GPU shows first, on whatever device is there: large factorizations of several threads at once, calls
// beside and after one that CUBLAS refuses.

#include <functional>
#include <thread>

#include "tests/support/interface.h"
#include "tests/support/ratios.h"

namespace testing_support {
namespace {

class GpuTest : public LibraryTest {};

// Runs them at the same time.
void together(const std::vector<std::function<void()>>& work) {
  std::vector<std::thread> threads;
  for (const std::function<void()>& one : work)
    threads.emplace_back([&one] {
      ASSERT_EQ(toviInitialize(), toviNoError);
      one();
      toviShutdown();
    });
  for (std::thread& thread : threads) thread.join();
}

// Smaller where an address has 32 bits: all operands would not fit, and the host's BLAS there is slow.
constexpr int order = sizeof(void*) < 8 ? 1000 : 3000;

// A random system of this order, solved by LU or by QR, once alone, and once more beside the others.
class System {
 public:
  System(Memory where, bool qr)
      : where_(where),
        qr_(qr),
        a_(HostMatrix<float>::random(order, order, 1, 2 * static_cast<std::uint64_t>(where) + (qr ? 1 : 0))),
        b_(HostMatrix<float>::random(order, 1, 0, 7)),
        factors_(a_),
        x_(b_) {
    solve(factors_, x_);
  }
  void again() const {
    HostMatrix<float> a = a_, x = b_;
    solve(a, x);
    EXPECT_TRUE(a.sameBits(factors_) && x.sameBits(x_)) << what() << ": other bits than alone";
  }
  double ratio() const { return solveRatio(a_, x_, b_); }
  std::string what() const { return (qr_ ? "QR, " : "LU, ") + shape(where_, order, order); }

 private:
  void solve(HostMatrix<float>& a, HostMatrix<float>& x) const {
    const Placed<float> dA(where_, a), dX(where_, x);
    std::vector<int> ipiv(order);
    const Placed<int> dIpiv(where_, ipiv);
    EXPECT_EQ(qr_ ? gels(where_, 'N', order, order, 1, dA.data(), a.ld(), dX.data(), x.ld())
                  : gesv(where_, order, 1, dA.data(), a.ld(), dIpiv.data(), dX.data(), x.ld()),
              toviNoError)
        << what();
    dA.fetch(), dX.fetch();
  }

  Memory where_;
  bool qr_;
  HostMatrix<float> a_, b_, factors_, x_;
};

TEST_F(GpuTest, FourThreadsFactorLargeMatricesAtOnce) {
  std::vector<System> all;
  for (const Memory where : bothInterfaces)
    for (const bool qr : {false, true}) all.emplace_back(where, qr);
  std::vector<std::function<void()>> work;
  for (const System& one : all) {
    SCOPED_TRACE(one.what());
    CHECK_RATIO(one.ratio(), luBound);
    work.emplace_back([&one] { one.again(); });
  }
  together(work);
}

// The complex syr2k has no transposed form: CUBLAS refuses the call.
toviStatus refusedByCublas(Memory where) {
  using C = Complex<float>;
  HostMatrix<C> a(3, 3), c(3, 3);
  const Placed<C> dA(where, a), dC(where, c);
  return syr2k(where, 'L', 'T', 3, 3, C(1), dA.data(), 3, dA.data(), 3, C(1), dC.data(), 3);
}

// 2 * 3, computed by CUBLAS.
toviStatus product(Memory where) {
  std::vector<float> a = {2}, b = {3}, c = {0};
  const Placed<float> dA(where, a), dB(where, b), dC(where, c);
  const toviStatus status =
      gemm(where, 'N', 'N', 1, 1, 1, 1.0f, dA.data(), 1, dB.data(), 1, 0.0f, dC.data(), 1);
  dC.fetch();
  EXPECT_EQ(c[0], 6);
  return status;
}

TEST_F(GpuTest, ARefusedCallIsItsOwnAlone) {
  for (const Memory where : bothInterfaces) {
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(refusedByCublas(where), toviBlasError);
      EXPECT_EQ(toviGetErrorInfo(), 7);
    }
    EXPECT_EQ(product(where), toviNoError);
    EXPECT_EQ(toviGetErrorInfo(), 0);
  }
  std::vector<std::function<void()>> work;
  for (const Memory where : bothInterfaces) {
    work.emplace_back([=] {
      for (int round = 0; round < 2000; ++round) ASSERT_EQ(refusedByCublas(where), toviBlasError);
    });
    work.emplace_back([=] {
      for (int round = 0; round < 2000; ++round) ASSERT_EQ(product(where), toviNoError);
    });
  }
  together(work);
}

}  // namespace
}  // namespace testing_support
