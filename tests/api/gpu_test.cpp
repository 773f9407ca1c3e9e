// What a GPU shows first, on whatever device is there: large factorizations of several threads at once, calls
// beside and after one that CUBLAS refuses.

#include <cmath>
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

using Vector = std::vector<double>;

double norm2(const Vector& x) {
  double sum = 0;
  for (const double element : x) sum += element * element;
  return std::sqrt(sum);
}

// y := the part of A that picks(i, j) names, times x
template <class Picks>
Vector times(const HostMatrix<float>& a, const Vector& x, Picks picks) {
  Vector y(x.size(), 0.0);
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i)
      if (picks(i, j))
        y[static_cast<std::size_t>(i)] += static_cast<double>(a(i, j)) * x[static_cast<std::size_t>(j)];
  return y;
}

// Smaller where an address has 32 bits: all operands would not fit, and the host's BLAS there is slow.
constexpr int order = sizeof(void*) < 8 ? 1000 : 3000;

// A random matrix of this order, factored once alone, and once more beside the others.
class Factorization {
 public:
  Factorization(Memory where, bool qr)
      : where_(where),
        qr_(qr),
        a_(HostMatrix<float>::random(order, order, 1,
                                     2 * static_cast<std::uint64_t>(where) + static_cast<std::uint64_t>(qr))),
        alone_(a_),
        tau_(order),
        ipiv_(order) {
    factor(alone_);
  }
  void again() {
    HostMatrix<float> beside = a_;
    factor(beside);
    EXPECT_TRUE(beside.sameBits(alone_)) << what() << ": other bits than alone";
  }
  // || A x - P L U x || / (||A|| ||x|| sqrt(n) eps) of a random x, or with Q R x: the product itself would
  // take longer than all the rest.
  double ratio() const {
    Random random(7);
    Vector x(order);
    for (double& element : x) element = random.uniform();
    const Vector expected = times(a_, x, [](int, int) { return true; });
    Vector y = times(alone_, x, [](int i, int j) { return i <= j; });
    if (qr_)
      for (int j = order - 1; j >= 0; --j) reflect(j, y);
    else
      permute(y = plus(y, times(alone_, y, [](int i, int j) { return i > j; })));
    for (std::size_t i = 0; i < y.size(); ++i) y[i] -= expected[i];
    const double normA = order / std::sqrt(3.0);  // Frobenius, of elements uniform in (-1, 1)
    return norm2(y) / (normA * norm2(x) * std::sqrt(order) * epsilon<float>());
  }
  std::string what() const { return (qr_ ? "QR, " : "LU, ") + shape(where_, order, order); }

 private:
  void factor(HostMatrix<float>& a) {
    EXPECT_EQ(qr_ ? factorQr(where_, a, tau_) : testing_support::factor(where_, a, ipiv_), toviNoError)
        << what();
  }
  static Vector plus(Vector a, const Vector& b) {
    for (std::size_t i = 0; i < a.size(); ++i) a[i] += b[i];
    return a;
  }
  // y := H(j) y
  void reflect(int j, Vector& y) const {
    const auto v = [&](int i) { return i == j ? 1.0 : static_cast<double>(alone_(i, j)); };
    double sum = 0;
    for (int i = j; i < order; ++i) sum += v(i) * y[static_cast<std::size_t>(i)];
    sum *= static_cast<double>(tau_[static_cast<std::size_t>(j)]);
    for (int i = j; i < order; ++i) y[static_cast<std::size_t>(i)] -= sum * v(i);
  }
  // y := P y
  void permute(Vector& y) const {
    for (std::size_t i = order; i-- > 0;) std::swap(y[i], y.at(static_cast<std::size_t>(ipiv_[i]) - 1));
  }

  Memory where_;
  bool qr_;
  HostMatrix<float> a_, alone_;
  std::vector<float> tau_;
  std::vector<int> ipiv_;
};

TEST_F(GpuTest, FourThreadsFactorLargeMatricesAtOnce) {
  std::vector<Factorization> all;
  for (const Memory where : bothInterfaces)
    for (const bool qr : {false, true}) all.emplace_back(where, qr);
  for (const Factorization& one : all) {
    SCOPED_TRACE(one.what());
    CHECK_RATIO(one.ratio(), 1);  // LU: 0.05, QR: 0.003
  }
  std::vector<std::function<void()>> work;
  for (Factorization& one : all) work.emplace_back([&one] { one.again(); });
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
