// The device's BLAS against the definitions of its routines, summed in double precision element by element;
// what it does with bad calls; and that neither the cut into tiles nor the number of workers can be seen in a
// result.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "platform/host/blas.h"
#include "platform/host/lapack.h"
#include "platform/software/testing/software_device.h"
#include "tests/support/matrix.h"

namespace {

using testing_support::DeviceArray;
using testing_support::HostMatrix;
using testing_support::makeElement;
using testing_support::quietNaN;
using testing_support::Random;
using tovi::Complex;
using tovi::Real;
using Z = Complex<double>;

// --- The interface, typed
template <class T>
T vendor(T x) {
  return x;
}
cuComplex vendor(Complex<float> z) { return {z.re, z.im}; }
cuDoubleComplex vendor(Complex<double> z) { return {z.re, z.im}; }
cuComplex* vendor(Complex<float>* p) { return reinterpret_cast<cuComplex*>(p); }
cuDoubleComplex* vendor(Complex<double>* p) { return reinterpret_cast<cuDoubleComplex*>(p); }

template <class T, class... F>
constexpr auto choose(F... f) {
  return host::detail::choose<T>(f...);
}

template <class T>
void cublasGemm(char ta, char tb, int m, int n, int k, T alpha, T* a, int lda, T* b, int ldb, T beta, T* c,
                int ldc) {
  choose<T>(cublasSgemm, cublasDgemm, cublasCgemm, cublasZgemm)(
      ta, tb, m, n, k, vendor(alpha), vendor(a), lda, vendor(b), ldb, vendor(beta), vendor(c), ldc);
}

// --- The definitions
struct Dense {
  int rows, cols;
  std::vector<Z> data;
  Dense(int rows_, int cols_)
      : rows(rows_),
        cols(cols_),
        data(static_cast<std::size_t>(rows_) * static_cast<std::size_t>(cols_), Z(0)) {}
  Z& operator()(int i, int j) {
    return data[static_cast<std::size_t>(j) * static_cast<std::size_t>(rows) + static_cast<std::size_t>(i)];
  }
  Z operator()(int i, int j) const { return const_cast<Dense&>(*this)(i, j); }
};
template <class T>
Z wide(T x) {
  if constexpr (tovi::isComplex<T>)
    return Z(static_cast<double>(x.re), static_cast<double>(x.im));
  else
    return Z(static_cast<double>(x));
}
template <class T>
Dense dense(const HostMatrix<T>& a) {
  Dense d(a.rows(), a.cols());
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) d(i, j) = wide(a(i, j));
  return d;
}
bool inPart(char part, int i, int j) { return part == 'U' ? i <= j : part == 'L' ? i >= j : true; }
// The full symmetric or Hermitian matrix of which one triangle is stored
Dense mirrored(char uplo, bool hermitian, const Dense& a) {
  Dense d(a.rows, a.cols);
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i) {
      if (inPart(uplo, i, j))
        d(i, j) = i == j && hermitian ? Z(a(i, i).re) : a(i, j);
      else
        d(i, j) = hermitian ? conj(a(j, i)) : a(j, i);
    }
  return d;
}
Dense triangularPart(char uplo, char diag, const Dense& a) {
  Dense d(a.rows, a.cols);
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i)
      if (inPart(uplo, i, j)) d(i, j) = i == j && diag == 'U' ? Z(1) : a(i, j);
  return d;
}
Dense op(char trans, const Dense& a) {
  if (trans == 'N') return a;
  Dense d(a.cols, a.rows);
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i) d(j, i) = trans == 'C' ? conj(a(i, j)) : a(i, j);
  return d;
}
Dense times(Z alpha, const Dense& a, const Dense& b) {
  Dense c(a.rows, b.cols);
  for (int j = 0; j < b.cols; ++j)
    for (int l = 0; l < a.cols; ++l) {
      const Z factor = alpha * b(l, j);
      for (int i = 0; i < a.rows; ++i) c(i, j) += a(i, l) * factor;
    }
  return c;
}
Dense plus(const Dense& a, Z beta, const Dense& b) {
  Dense c = a;
  for (std::size_t i = 0; i < c.data.size(); ++i) c.data[i] += beta * b.data[i];
  return c;
}

// The part of the result is close to what the definition gives for sums of `terms` products of numbers up to
// about one; nothing else of the matrix has changed.
template <class T>
void expectResult(const HostMatrix<T>& result, const HostMatrix<T>& before, const Dense& expected, int terms,
                  char part = 'G') {
  const double bound = 4.0 * (terms + 2) * static_cast<double>(std::numeric_limits<Real<T>>::epsilon());
  double worst = 0;
  int changed = 0;
  for (int j = 0; j < result.cols(); ++j)
    for (int i = 0; i < result.rows(); ++i) {
      const Z got = wide(result(i, j)), wanted = expected(i, j), old = wide(before(i, j));
      const double error = std::max(std::fabs(got.re - wanted.re), std::fabs(got.im - wanted.im));
      if (!inPart(part, i, j))
        changed += got != old;
      else if (!(error <= worst))
        worst = error;
    }
  EXPECT_TRUE(worst <= bound) << "error " << worst << ", bound " << bound;
  EXPECT_EQ(changed, 0) << "elements outside of the triangle";
  EXPECT_TRUE(result.paddingIntact());
}

struct Shape {
  int m, n, k;
};
// One tile; several tiles, the last ones ragged; long and thin.
const Shape shapes[] = {{1, 1, 1}, {7, 5, 9}, {201, 170, 133}, {1030, 99, 37}, {50, 1030, 41}};

template <class T>
class DeviceBlas : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS); }
  void TearDown() override { EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS); }

  static HostMatrix<T> random(int rows, int cols) { return HostMatrix<T>::random(rows, cols, 3, nextSeed()); }
  // Off the diagonal small enough for a well-conditioned triangle
  static HostMatrix<T> triangle(int order) {
    HostMatrix<T> a = random(order, order);
    const T shrink = makeElement<T>(1.0 / order, 0);
    for (int j = 0; j < order; ++j)
      for (int i = 0; i < order; ++i) a(i, j) = i == j ? a(i, j) + makeElement<T>(2, 0) : a(i, j) * shrink;
    return a;
  }
  // Runs a call that changes one matrix and returns that matrix.
  template <class Call>
  static HostMatrix<T> changed(const HostMatrix<T>& before, const Call& call) {
    DeviceArray<T> device(before);
    call(device.data());
    HostMatrix<T> after = before;
    device.download(after);
    return after;
  }
  static inline const T alpha = makeElement<T>(0.75, -0.5), beta = makeElement<T>(-0.5, 0.25);

 private:
  static std::uint64_t nextSeed() {
    static std::uint64_t seed = 1;
    return seed++;
  }
};
using Elements = testing::Types<float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(DeviceBlas, Elements);
template <class T>
class HermitianDeviceBlas : public DeviceBlas<T> {};
using ComplexElements = testing::Types<Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(HermitianDeviceBlas, ComplexElements);

TYPED_TEST(DeviceBlas, Gemm) {
  using T = TypeParam;
  for (const Shape& s : shapes)
    for (const char ta : std::string("NTC"))
      for (const char tb : std::string("NTC")) {
        SCOPED_TRACE(testing::Message() << ta << tb << " " << s.m << " x " << s.n << " x " << s.k);
        const HostMatrix<T> a = ta == 'N' ? this->random(s.m, s.k) : this->random(s.k, s.m);
        const HostMatrix<T> b = tb == 'N' ? this->random(s.k, s.n) : this->random(s.n, s.k);
        const HostMatrix<T> c = this->random(s.m, s.n);
        const DeviceArray<T> dA(a), dB(b);
        const HostMatrix<T> result = this->changed(c, [&](T* dC) {
          cublasGemm(ta, tb, s.m, s.n, s.k, this->alpha, dA.data(), a.ld(), dB.data(), b.ld(), this->beta, dC,
                     c.ld());
        });
        const Dense product = times(wide(this->alpha), op(ta, dense(a)), op(tb, dense(b)));
        expectResult(result, c, plus(product, wide(this->beta), dense(c)), s.k);
      }
}

// symm and hemm
template <bool hermitian, class T, class Routine>
void checkSymm(const Shape& s, Routine routine, T alpha, T beta, HostMatrix<T> (*random)(int, int)) {
  for (const char side : std::string("LR"))
    for (const char uplo : std::string("UL")) {
      SCOPED_TRACE(testing::Message() << side << uplo << " " << s.m << " x " << s.n);
      const int order = side == 'L' ? s.m : s.n;
      const HostMatrix<T> a = random(order, order), b = random(s.m, s.n), c = random(s.m, s.n);
      const DeviceArray<T> dA(a), dB(b), dC(c);
      routine(side, uplo, s.m, s.n, vendor(alpha), vendor(dA.data()), a.ld(), vendor(dB.data()), b.ld(),
              vendor(beta), vendor(dC.data()), c.ld());
      HostMatrix<T> result = c;
      dC.download(result);
      const Dense full = mirrored(uplo, hermitian, dense(a));
      const Dense product =
          side == 'L' ? times(wide(alpha), full, dense(b)) : times(wide(alpha), dense(b), full);
      expectResult(result, c, plus(product, wide(beta), dense(c)), order);
    }
}
const Shape squarer[] = {{1, 1, 0}, {9, 6, 0}, {170, 230, 0}, {260, 40, 0}, {40, 260, 0}};
TYPED_TEST(DeviceBlas, Symm) {
  for (const Shape& s : squarer)
    checkSymm<false, TypeParam>(s, choose<TypeParam>(cublasSsymm, cublasDsymm, cublasCsymm, cublasZsymm),
                                this->alpha, this->beta, this->random);
}
TYPED_TEST(HermitianDeviceBlas, Hemm) {
  for (const Shape& s : squarer)
    checkSymm<true, TypeParam>(s, choose<TypeParam>(cublasChemm, cublasZhemm), this->alpha, this->beta,
                               this->random);
}

// syrk and herk, syr2k and her2k: C := alpha X Y' + ... + beta C with ' the transpose or conjugate transpose
template <bool hermitian, class T, class Call>
void checkRank(const Shape& s, bool two, const std::string& transpositions, T alpha, T beta,
               HostMatrix<T> (*random)(int, int), const Call& call) {
  const char turned = hermitian ? 'C' : 'T';
  for (const char uplo : std::string("UL"))
    for (const char trans : transpositions) {
      SCOPED_TRACE(testing::Message() << uplo << trans << " " << s.n << ", " << s.k);
      const HostMatrix<T> a = trans == 'N' ? random(s.n, s.k) : random(s.k, s.n);
      const HostMatrix<T> b = trans == 'N' ? random(s.n, s.k) : random(s.k, s.n);
      HostMatrix<T> c = random(s.n, s.n);
      if (hermitian)
        for (int i = 0; i < s.n; ++i) c(i, i) = T(tovi::real(c(i, i)));
      const DeviceArray<T> dA(a), dB(b), dC(c);
      call(uplo, trans, vendor(dA.data()), a.ld(), vendor(dB.data()), b.ld(), vendor(dC.data()), c.ld());
      HostMatrix<T> result = c;
      dC.download(result);
      const Dense x = op(trans, dense(a)), y = op(trans, dense(b));
      Dense sum = plus(times(wide(alpha), x, op(turned, two ? y : x)), wide(beta), dense(c));
      if (two) sum = plus(sum, Z(1), times(hermitian ? conj(wide(alpha)) : wide(alpha), y, op(turned, x)));
      expectResult(result, c, sum, two ? 2 * s.k : s.k, uplo);
    }
}
const Shape ranks[] = {{0, 1, 1}, {0, 9, 6}, {0, 230, 90}, {0, 611, 20}};
TYPED_TEST(DeviceBlas, Syrk) {
  using T = TypeParam;
  for (const Shape& s : ranks) {
    const std::string transpositions = tovi::isComplex<T> ? "NT" : "NTC";
    checkRank<false, T>(s, false, transpositions, this->alpha, this->beta, this->random,
                        [&](char uplo, char trans, auto a, int lda, auto, int, auto c, int ldc) {
                          choose<T>(cublasSsyrk, cublasDsyrk, cublasCsyrk, cublasZsyrk)(
                              uplo, trans, s.n, s.k, vendor(this->alpha), a, lda, vendor(this->beta), c, ldc);
                        });
    checkRank<false, T>(s, true, transpositions, this->alpha, this->beta, this->random,
                        [&](char uplo, char trans, auto a, int lda, auto b, int ldb, auto c, int ldc) {
                          choose<T>(cublasSsyr2k, cublasDsyr2k, cublasCsyr2k, cublasZsyr2k)(
                              uplo, trans, s.n, s.k, vendor(this->alpha), a, lda, b, ldb, vendor(this->beta),
                              c, ldc);
                        });
  }
}
TYPED_TEST(HermitianDeviceBlas, Herk) {
  using T = TypeParam;
  const Real<T> realAlpha = tovi::real(this->alpha), realBeta = tovi::real(this->beta);
  for (const Shape& s : ranks) {
    checkRank<true, T>(s, false, "NC", T(realAlpha), T(realBeta), this->random,
                       [&](char uplo, char trans, auto a, int lda, auto, int, auto c, int ldc) {
                         choose<T>(cublasCherk, cublasZherk)(uplo, trans, s.n, s.k, realAlpha, a, lda,
                                                             realBeta, c, ldc);
                       });
    checkRank<true, T>(s, true, "NC", this->alpha, T(realBeta), this->random,
                       [&](char uplo, char trans, auto a, int lda, auto b, int ldb, auto c, int ldc) {
                         choose<T>(cublasCher2k, cublasZher2k)(uplo, trans, s.n, s.k, vendor(this->alpha), a,
                                                               lda, b, ldb, realBeta, c, ldc);
                       });
  }
}

TYPED_TEST(DeviceBlas, TriangularProductAndSolve) {
  using T = TypeParam;
  for (const Shape& s : squarer)
    for (const char side : std::string("LR"))
      for (const char uplo : std::string("UL"))
        for (const char trans : std::string("NTC"))
          for (const char diag : std::string("UN")) {
            SCOPED_TRACE(testing::Message() << side << uplo << trans << diag << " " << s.m << " x " << s.n);
            const int order = side == 'L' ? s.m : s.n;
            const HostMatrix<T> a = this->triangle(order), b = this->random(s.m, s.n);
            const DeviceArray<T> dA(a);
            const Dense opA = op(trans, triangularPart(uplo, diag, dense(a)));
            const auto product = [&](Z factor, const Dense& x) {
              return side == 'L' ? times(factor, opA, x) : times(factor, x, opA);
            };
            const HostMatrix<T> multiplied = this->changed(b, [&](T* dB) {
              choose<T>(cublasStrmm, cublasDtrmm, cublasCtrmm, cublasZtrmm)(
                  side, uplo, trans, diag, s.m, s.n, vendor(this->alpha), vendor(dA.data()), a.ld(),
                  vendor(dB), b.ld());
            });
            expectResult(multiplied, b, product(wide(this->alpha), dense(b)), order);
            const HostMatrix<T> solved = this->changed(b, [&](T* dB) {
              choose<T>(cublasStrsm, cublasDtrsm, cublasCtrsm, cublasZtrsm)(
                  side, uplo, trans, diag, s.m, s.n, vendor(this->alpha), vendor(dA.data()), a.ld(),
                  vendor(dB), b.ld());
            });
            // op(A) X is to be alpha B.
            HostMatrix<T> scaled = b;
            for (int j = 0; j < s.n; ++j)
              for (int i = 0; i < s.m; ++i) scaled(i, j) = this->alpha * b(i, j);
            expectResult(scaled, scaled, product(Z(1), dense(solved)), order);
            EXPECT_TRUE(solved.paddingIntact());
          }
}

// n elements, inc apart; with a negative increment the first one stands last.
template <class T>
class HostVector {
 public:
  HostVector(int n, int inc, std::uint64_t seed) : n_(n), inc_(inc), data_(size()) {
    Random random(seed);
    for (T& x : data_) x = random.element<T>();
  }
  std::size_t size() const {
    return static_cast<std::size_t>(n_ - 1) * static_cast<std::size_t>(std::abs(inc_)) + 1;
  }
  T* data() { return data_.data(); }
  const T* data() const { return data_.data(); }
  int inc() const { return inc_; }
  T& operator[](int i) {
    return data_[static_cast<std::size_t>(inc_ < 0 ? n_ - 1 - i : i) *
                 static_cast<std::size_t>(std::abs(inc_))];
  }
  T operator[](int i) const { return const_cast<HostVector&>(*this)[i]; }
  Dense column() const {
    Dense x(n_, 1);
    for (int i = 0; i < n_; ++i) x(i, 0) = wide((*this)[i]);
    return x;
  }
  HostVector downloaded(const DeviceArray<T>& device) const {
    HostVector result = *this;
    device.download(result.data());
    return result;
  }
  // The elements are as expected, what lies between them as before.
  void expectResult(const HostVector& before, const Dense& expected, int terms) const {
    const double bound = 4.0 * (terms + 2) * static_cast<double>(std::numeric_limits<Real<T>>::epsilon());
    double worst = 0;
    for (int i = 0; i < n_; ++i) {
      const Z difference = wide((*this)[i]) - expected(i, 0);
      const double error = std::max(std::fabs(difference.re), std::fabs(difference.im));
      if (!(error <= worst)) worst = error;
    }
    EXPECT_TRUE(worst <= bound) << "error " << worst << ", bound " << bound;
    int changed = 0;
    for (std::size_t i = 0; i < data_.size(); ++i)
      changed += i % static_cast<std::size_t>(std::abs(inc_)) != 0 && data_[i] != before.data_[i];
    EXPECT_EQ(changed, 0) << "elements between those of the vector";
  }

 private:
  int n_, inc_;
  std::vector<T> data_;
};

TYPED_TEST(DeviceBlas, MatrixVector) {
  using T = TypeParam;
  for (const Shape& s : {Shape{5, 3, 0}, Shape{700, 400, 0}, Shape{3, 70000, 0}, Shape{70000, 3, 0}})
    for (const char trans : std::string("NTC"))
      for (const int incx : {1, -2})
        for (const int incy : {1, -3}) {
          SCOPED_TRACE(testing::Message()
                       << trans << " " << s.m << " x " << s.n << ", " << incx << ", " << incy);
          const int nx = trans == 'N' ? s.n : s.m, ny = trans == 'N' ? s.m : s.n;
          const HostMatrix<T> a = this->random(s.m, s.n);
          const HostVector<T> x(nx, incx, 5), y(ny, incy, 6);
          const DeviceArray<T> dA(a), dx(x.data(), x.size()), dy(y.data(), y.size());
          choose<T>(cublasSgemv, cublasDgemv, cublasCgemv, cublasZgemv)(
              trans, s.m, s.n, vendor(this->alpha), vendor(dA.data()), a.ld(), vendor(dx.data()), incx,
              vendor(this->beta), vendor(dy.data()), incy);
          const Dense product = times(wide(this->alpha), op(trans, dense(a)), x.column());
          y.downloaded(dy).expectResult(y, plus(product, wide(this->beta), y.column()), nx);
        }
}

TYPED_TEST(DeviceBlas, RankOneUpdate) {
  using T = TypeParam;
  for (const Shape& s : {Shape{5, 3, 0}, Shape{700, 400, 0}})
    for (const bool conjugated : {false, true})
      for (const int inc : {1, -2}) {
        const HostMatrix<T> a = this->random(s.m, s.n);
        const HostVector<T> x(s.m, inc, 5), y(s.n, -inc, 6);
        const DeviceArray<T> dx(x.data(), x.size()), dy(y.data(), y.size());
        const auto routine = conjugated ? choose<T>(cublasSger, cublasDger, cublasCgerc, cublasZgerc)
                                        : choose<T>(cublasSger, cublasDger, cublasCgeru, cublasZgeru);
        const HostMatrix<T> result = this->changed(a, [&](T* dA) {
          routine(s.m, s.n, vendor(this->alpha), vendor(dx.data()), inc, vendor(dy.data()), -inc, vendor(dA),
                  a.ld());
        });
        const Dense product = times(wide(this->alpha), x.column(), op(conjugated ? 'C' : 'T', y.column()));
        expectResult(result, a, plus(product, Z(1), dense(a)), 1);
      }
}

TYPED_TEST(DeviceBlas, Vectors) {
  using T = TypeParam;
  for (const int n : {1, 37, 150000})
    for (const int incx : {1, -2})
      for (const int incy : {1, -1}) {
        SCOPED_TRACE(testing::Message() << n << ", " << incx << ", " << incy);
        const HostVector<T> x(n, incx, 5), y(n, incy, 6);
        DeviceArray<T> dx(x.data(), x.size());
        const DeviceArray<T> dy(y.data(), y.size());
        const auto vx = vendor(dx.data());
        const auto vy = vendor(dy.data());
        // Sums of n terms: the bound grows with n.
        const double bound = 8.0 * n * static_cast<double>(std::numeric_limits<Real<T>>::epsilon());
        Z dotu(0), dotc(0);
        double squares = 0, sum = 0, largest = 0;
        int place = 0;
        for (int i = 0; i < n; ++i) {
          const Z a = wide(x[i]), b = wide(y[i]);
          dotu += a * b;
          dotc += conj(a) * b;
          squares += a.re * a.re + a.im * a.im;
          sum += std::fabs(a.re) + std::fabs(a.im);
          // In the type's own arithmetic, so that ties fall as they do there.
          double size = 0;
          if constexpr (tovi::isComplex<T>)
            size = static_cast<double>(std::fabs(x[i].re) + std::fabs(x[i].im));
          else
            size = static_cast<double>(std::fabs(x[i]));
          if (size > largest) largest = size, place = i + 1;
        }
        if constexpr (tovi::isComplex<T>) {
          const auto gotU = choose<T>(cublasCdotu, cublasZdotu)(n, vx, incx, vy, incy);
          const auto gotC = choose<T>(cublasCdotc, cublasZdotc)(n, vx, incx, vy, incy);
          EXPECT_NEAR(gotU.x, dotu.re, bound);
          EXPECT_NEAR(gotU.y, dotu.im, bound);
          EXPECT_NEAR(gotC.x, dotc.re, bound);
          EXPECT_NEAR(gotC.y, dotc.im, bound);
        } else {
          EXPECT_NEAR(choose<T>(cublasSdot, cublasDdot, nullptr, nullptr)(n, vx, incx, vy, incy), dotu.re,
                      bound);
        }
        if (incx > 0) {
          EXPECT_NEAR(choose<T>(cublasSnrm2, cublasDnrm2, cublasScnrm2, cublasDznrm2)(n, vx, incx),
                      std::sqrt(squares), bound);
          // A sum without cancellation is itself as large as n.
          EXPECT_NEAR(choose<T>(cublasSasum, cublasDasum, cublasScasum, cublasDzasum)(n, vx, incx), sum,
                      2 * std::sqrt(n) * bound);
          EXPECT_EQ(choose<T>(cublasIsamax, cublasIdamax, cublasIcamax, cublasIzamax)(n, vx, incx), place);
          choose<T>(cublasSscal, cublasDscal, cublasCscal, cublasZscal)(n, vendor(this->beta), vx, incx);
          const HostVector<T> scaled = x.downloaded(dx);
          scaled.expectResult(x, plus(Dense(n, 1), wide(this->beta), x.column()), 1);
          choose<T>(cublasSscal, cublasDscal, cublasCsscal, cublasZdscal)(n, Real<T>(2), vx, incx);
          for (const int i : {0, n / 2, n - 1})
            EXPECT_EQ(x.downloaded(dx)[i], makeElement<T>(2, 0) * scaled[i]);
          dx.upload(x.data());
        }
        choose<T>(cublasSaxpy, cublasDaxpy, cublasCaxpy, cublasZaxpy)(n, vendor(this->alpha), vx, incx, vy,
                                                                      incy);
        y.downloaded(dy).expectResult(y, plus(y.column(), wide(this->alpha), x.column()), 1);
        choose<T>(cublasSswap, cublasDswap, cublasCswap, cublasZswap)(n, vx, incx, vy, incy);
        y.downloaded(dy).expectResult(y, x.column(), 0);
        choose<T>(cublasScopy, cublasDcopy, cublasCcopy, cublasZcopy)(n, vx, incx, vy, incy);
        y.downloaded(dy).expectResult(y, x.downloaded(dx).column(), 0);
      }
}

// beta = 0 overwrites whatever stood there; k = 0 and alpha = 0 scale and touch no operand.
TYPED_TEST(DeviceBlas, ScalarsThatSwitchOperandsOff) {
  using T = TypeParam;
  const int m = 230, n = 150, k = 70;
  const HostMatrix<T> a = this->random(m, k), b = this->random(k, n);
  const DeviceArray<T> dA(a), dB(b);
  HostMatrix<T> nan(m, n, 3);
  nan.fill(quietNaN<T>());
  const HostMatrix<T> product = this->changed(nan, [&](T* dC) {
    cublasGemm('N', 'N', m, n, k, T(1), dA.data(), a.ld(), dB.data(), b.ld(), T(0), dC, nan.ld());
  });
  expectResult(product, nan, times(Z(1), dense(a), dense(b)), k);

  const HostMatrix<T> c = this->random(m, n);
  const Dense half = plus(Dense(m, n), Z(0.5), dense(c));
  T* const none = nullptr;
  expectResult(this->changed(c,
                             [&](T* dC) {
                               cublasGemm('N', 'T', m, n, 0, T(1), none, m, none, n, makeElement<T>(0.5, 0),
                                          dC, c.ld());
                             }),
               c, half, 0);
  expectResult(this->changed(c,
                             [&](T* dC) {
                               cublasGemm('N', 'T', m, n, k, T(0), none, m, none, n, makeElement<T>(0.5, 0),
                                          dC, c.ld());
                             }),
               c, half, 0);
  // An empty result asks for nothing at all.
  cublasGemm('N', 'N', 0, n, k, T(1), none, 1, none, k, T(0), none, 1);
  EXPECT_EQ(software_device::pending(), 0u);

  HostVector<T> y(m, 2, 6);
  for (int i = 0; i < m; ++i) y[i] = quietNaN<T>();
  const HostVector<T> x(k, 1, 5);
  const DeviceArray<T> dx(x.data(), x.size()), dy(y.data(), y.size());
  choose<T>(cublasSgemv, cublasDgemv, cublasCgemv, cublasZgemv)('n', m, k, vendor(T(1)), vendor(dA.data()),
                                                                a.ld(), vendor(dx.data()), 1, vendor(T(0)),
                                                                vendor(dy.data()), 2);
  y.downloaded(dy).expectResult(y, times(Z(1), dense(a), x.column()), k);
}

// The same bits with any number of workers.
TYPED_TEST(DeviceBlas, WorkersLeaveNoTrace) {
  using T = TypeParam;
  const int m = 390, n = 410, k = 130;
  const HostMatrix<T> a = this->random(m, k), b = this->random(k, n), c = this->random(m, n),
                      l = this->triangle(m), s = this->random(m, m);
  const HostVector<T> x(n, 1, 5), y(m, 1, 6);
  struct Results {
    HostMatrix<T> gemm, trsm, trmm, symm, syrk, gemv;
    Real<T> norm;
  };
  const auto all = [&](int workers) {
    software_device::setWorkers(workers);
    const DeviceArray<T> dA(a), dB(b), dL(l), dX(x.data(), x.size()), dM(c);
    const auto vl = vendor(dL.data());
    const auto one = vendor(this->alpha), other = vendor(this->beta);
    HostMatrix<T> vector(m, 1);
    std::copy_n(y.data(), m, vector.data());
    return Results{this->changed(c,
                                 [&](T* d) {
                                   cublasGemm('N', 'N', m, n, k, this->alpha, dA.data(), a.ld(), dB.data(),
                                              b.ld(), this->beta, d, c.ld());
                                 }),
                   this->changed(c,
                                 [&](T* d) {
                                   choose<T>(cublasStrsm, cublasDtrsm, cublasCtrsm, cublasZtrsm)(
                                       'L', 'L', 'N', 'N', m, n, one, vl, l.ld(), vendor(d), c.ld());
                                 }),
                   this->changed(c,
                                 [&](T* d) {
                                   choose<T>(cublasStrmm, cublasDtrmm, cublasCtrmm, cublasZtrmm)(
                                       'L', 'U', 'N', 'N', m, n, one, vl, l.ld(), vendor(d), c.ld());
                                 }),
                   this->changed(c,
                                 [&](T* d) {
                                   choose<T>(cublasSsymm, cublasDsymm, cublasCsymm, cublasZsymm)(
                                       'L', 'L', m, n, one, vl, l.ld(), vendor(dM.data()), c.ld(), other,
                                       vendor(d), c.ld());
                                 }),
                   this->changed(s,
                                 [&](T* d) {
                                   choose<T>(cublasSsyrk, cublasDsyrk, cublasCsyrk, cublasZsyrk)(
                                       'L', 'N', m, k, one, vendor(dA.data()), a.ld(), other, vendor(d),
                                       s.ld());
                                 }),
                   this->changed(vector,
                                 [&](T* d) {
                                   choose<T>(cublasSgemv, cublasDgemv, cublasCgemv, cublasZgemv)(
                                       'N', m, n, one, vendor(dM.data()), c.ld(), vendor(dX.data()), 1, other,
                                       vendor(d), 1);
                                 }),
                   choose<T>(cublasSnrm2, cublasDnrm2, cublasScnrm2, cublasDznrm2)(n, vendor(dX.data()), 1)};
  };
  const Results alone = all(0);
  for (const int workers : {1, 2, 3}) {
    const Results shared = all(workers);
    EXPECT_TRUE(shared.gemm.sameBits(alone.gemm)) << workers;
    EXPECT_TRUE(shared.trsm.sameBits(alone.trsm)) << workers;
    EXPECT_TRUE(shared.trmm.sameBits(alone.trmm)) << workers;
    EXPECT_TRUE(shared.symm.sameBits(alone.symm)) << workers;
    EXPECT_TRUE(shared.syrk.sameBits(alone.syrk)) << workers;
    EXPECT_TRUE(shared.gemv.sameBits(alone.gemv)) << workers;
    EXPECT_EQ(shared.norm, alone.norm) << workers;
  }
}

// --- What goes wrong, on one routine of each shape of argument list

// A fresh machine, so that these tests also pass one after the other in one process
struct FreshDevice {
  FreshDevice() { software_device::configure(software_device::defaultMachine()); }
};
struct Status : testing::Test, FreshDevice {
  // One 8 x 8 matrix of ones, and calls on it
  DeviceArray<float> dA{std::vector<float>(64, 1.f).data(), 64};
  float* a() const { return dA.data(); }
  void gemm(char ta = 'N', int m = 4, int n = 4, int k = 4, int ld = 8) {
    cublasSgemm(ta, 'N', m, n, k, 1.f, a(), ld, a(), 8, 0.f, a() + 32, 8);
  }
  bool untouched() const {
    std::vector<float> now(64);
    dA.download(now.data());
    return now == std::vector<float>(64, 1.f);
  }
};

TEST_F(Status, NothingRunsBeforeInit) {
  gemm();
  EXPECT_TRUE(untouched());
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_NOT_INITIALIZED);
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS);
  EXPECT_EQ(cublasShutdown(), CUBLAS_STATUS_NOT_INITIALIZED);
  EXPECT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  gemm();
  EXPECT_FALSE(untouched());
  EXPECT_EQ(cublasShutdown(), CUBLAS_STATUS_SUCCESS);
  gemm();
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_NOT_INITIALIZED);
}

TEST_F(Status, BadArgumentsStickUntilRead) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  cuComplex* const z = reinterpret_cast<cuComplex*>(a());
  const cuComplex one = {1, 0};
  const std::vector<void (*)(Status&, cuComplex*, cuComplex)> calls = {
      [](Status& s, cuComplex*, cuComplex) { s.gemm('X'); },
      [](Status& s, cuComplex*, cuComplex) { s.gemm('N', -1); },
      [](Status& s, cuComplex*, cuComplex) { s.gemm('N', 4, -1); },
      [](Status& s, cuComplex*, cuComplex) { s.gemm('N', 4, 4, -1); },
      [](Status& s, cuComplex*, cuComplex) { s.gemm('N', 4, 4, 4, 3); },
      [](Status& s, cuComplex*, cuComplex) {
        cublasStrsm('X', 'L', 'N', 'N', 2, 2, 1.f, s.a(), 8, s.a(), 8);
      },
      [](Status& s, cuComplex*, cuComplex) {
        cublasStrmm('L', 'L', 'N', 'X', 2, 2, 1.f, s.a(), 8, s.a(), 8);
      },
      [](Status& s, cuComplex*, cuComplex) {
        cublasSsymm('R', 'L', 2, 4, 1.f, s.a(), 3, s.a(), 8, 0.f, s.a(), 8);
      },
      [](Status&, cuComplex* x, cuComplex f) { cublasCher2k('U', 'T', 2, 2, f, x, 8, x, 8, 0.f, x, 8); },
      [](Status&, cuComplex* x, cuComplex) { cublasCherk('U', 'T', 2, 2, 1.f, x, 8, 0.f, x, 8); },
      [](Status&, cuComplex* x, cuComplex f) { cublasCsyrk('U', 'C', 2, 2, f, x, 8, f, x, 8); },
      [](Status& s, cuComplex*, cuComplex) {
        cublasSgemv('N', 2, 2, 1.f, s.a(), 8, s.a(), 0, 0.f, s.a(), 1);
      },
      [](Status& s, cuComplex*, cuComplex) { cublasSger(2, 2, 1.f, s.a(), 1, s.a(), 0, s.a(), 8); },
  };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    calls[i](*this, z, one);
    cublasSscal(1, 1.f, a(), 1);  // a good call does not clear the status
    EXPECT_TRUE(untouched()) << i;
    EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_INVALID_VALUE) << i;
    EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS) << i;
  }
  EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "the runtime's error is another one";
}

TEST_F(Status, OperandsMustBeDeviceMemoryToTheirLastElement) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  std::vector<float> host(64, 1.f);
  DeviceArray<float> dC(64);
  const auto status = [&](float* x, int ld, float* c) {
    cublasSgemm('N', 'N', 8, 8, 8, 1.f, x, ld, a(), 8, 0.f, c, 8);
    return cublasGetError();
  };
  EXPECT_EQ(status(a(), 8, dC.data()), CUBLAS_STATUS_SUCCESS);
  EXPECT_EQ(status(a() + 1, 8, dC.data()), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(status(a(), 9, dC.data()), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(status(host.data(), 8, dC.data()), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(status(nullptr, 8, dC.data()), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(status(a(), 2147483647, dC.data()), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(status(a(), 8, host.data()), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(host, std::vector<float>(64, 1.f));
  cublasSaxpy(33, 1.f, a(), -2, dC.data(), 1);
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(cublasSnrm2(65, a(), 1), 0.f);
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_EXECUTION_FAILED);
  EXPECT_TRUE(untouched());
}

TEST(BlasProfiles, DoublePrecisionNeedsCapability13) {
  for (const auto& [minor, expected] :
       {std::pair{2, CUBLAS_STATUS_ARCH_MISMATCH}, std::pair{3, CUBLAS_STATUS_SUCCESS}}) {
    software_device::Machine machine = software_device::defaultMachine();
    machine.devices[0].major = 1;
    machine.devices[0].minor = minor;
    software_device::configure(machine);
    ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
    const DeviceArray<double> d(16);
    const auto* z = reinterpret_cast<cuDoubleComplex*>(d.data());
    cublasDgemm('N', 'N', 2, 2, 2, 1.0, d.data(), 2, d.data() + 4, 2, 0.0, d.data() + 8, 2);
    EXPECT_EQ(cublasGetError(), expected);
    cublasDznrm2(8, z, 1);
    EXPECT_EQ(cublasGetError(), expected);
    cublasSscal(4, 1.f, reinterpret_cast<float*>(d.data()), 1);
    EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS);
  }
}

TEST_F(Status, AnotherMachineKnowsNothingOfInit) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  software_device::configure(software_device::defaultMachine());
  cublasSscal(0, 1.f, nullptr, 1);
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_NOT_INITIALIZED);
  software_device::Machine empty;
  software_device::configure(empty);
  EXPECT_EQ(cublasInit(), CUBLAS_STATUS_NOT_INITIALIZED);
}

TEST_F(Status, CallsAreCountedRecordedAndFail) {
  using software_device::Entry;
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  software_device::resetCounts();
  software_device::startRecording();
  gemm('t', 3, 4, 2);
  cublasStrsm('R', 'U', 'N', 'U', 2, 3, 1.f, a(), 8, a(), 8);
  const auto calls = software_device::stopRecording();
  EXPECT_EQ(software_device::calls(Entry::gemm), 1u);
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].entry, Entry::gemm);
  EXPECT_EQ(calls[0].arguments, (std::array<long long, 8>{'t', 'N', 3, 4, 2, 8, 8, 8}));
  EXPECT_EQ(calls[1].arguments, (std::array<long long, 8>{'R', 'U', 'N', 'U', 2, 3, 0, 0}));
  dA.upload(std::vector<float>(64, 1.f).data());

  software_device::failCall(Entry::gemm, 2, CUBLAS_STATUS_INTERNAL_ERROR);
  cublasSgemm('N', 'N', 0, 0, 0, 1.f, nullptr, 1, nullptr, 1, 0.f, nullptr, 1);
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS);
  gemm();
  EXPECT_TRUE(untouched());
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_INTERNAL_ERROR);
  gemm();
  EXPECT_EQ(cublasGetError(), CUBLAS_STATUS_SUCCESS);
  EXPECT_FALSE(untouched());

  software_device::failCall(Entry::cublasInit, 1, CUBLAS_STATUS_ALLOC_FAILED);
  EXPECT_EQ(cublasInit(), CUBLAS_STATUS_ALLOC_FAILED);
}

// Calls come back before they have run; what returns a value waits.
TEST_F(Status, CallsAreQueued) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  software_device::setSchedule(software_device::Schedule::lazy);
  cublasSscal(64, 3.f, a(), 1);
  EXPECT_EQ(software_device::pending(), 1u);
  EXPECT_EQ(cublasSasum(64, a(), 1), 192.f);
  EXPECT_EQ(software_device::pending(), 0u);
}

TEST_F(Status, BlockingCopies) {
  ASSERT_EQ(cublasInit(), CUBLAS_STATUS_SUCCESS);
  void* d = nullptr;
  ASSERT_EQ(cublasAlloc(12, sizeof(float), &d), CUBLAS_STATUS_SUCCESS);
  const float source[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  EXPECT_EQ(cublasSetMatrix(2, 3, sizeof(float), source, 4, d, 3), CUBLAS_STATUS_SUCCESS);
  float back[6] = {};
  EXPECT_EQ(cublasGetMatrix(2, 3, sizeof(float), d, 3, back, 2), CUBLAS_STATUS_SUCCESS);
  EXPECT_EQ(std::vector<float>(back, back + 6), (std::vector<float>{1, 2, 5, 6, 9, 10}));
  EXPECT_EQ(cublasSetVector(3, sizeof(float), source, 2, d, 4), CUBLAS_STATUS_SUCCESS);
  EXPECT_EQ(cublasGetVector(3, sizeof(float), d, 4, back, 1), CUBLAS_STATUS_SUCCESS);
  EXPECT_EQ(std::vector<float>(back, back + 3), (std::vector<float>{1, 3, 5}));
  EXPECT_EQ(cublasSetMatrix(2, 3, sizeof(float), source, 1, d, 3), CUBLAS_STATUS_INVALID_VALUE);
  EXPECT_EQ(cublasFree(d), CUBLAS_STATUS_SUCCESS);
}

// The host's own BLAS and LAPACK may not be given device memory, which a GPU would not let them read.
TEST(HostBlasDeathTest, DeviceMemoryIsRefused) {
#ifdef TOVI_HOST_ASAN
  const DeviceArray<float> d(16);
  std::vector<float> host(16, 1.f);
  EXPECT_DEATH(host::gemm('N', 'N', 2, 2, 2, 1.f, d.data(), 2, host.data(), 2, 0.f, host.data() + 4, 2),
               "host BLAS");
  int pivots[4];
  EXPECT_DEATH(host::getrf(4, 4, d.data(), 4, pivots), "host BLAS");
  EXPECT_EQ(host::getrf(4, 4, host.data(), 4, pivots), 2);
#else
  GTEST_SKIP() << "needs AddressSanitizer";
#endif
}

}  // namespace
