// Failures underneath: every platform call of every family fails in turn, once and for ever. Each time the
// documented status, nothing left behind, host operands as they were, and a next call that gives the bits of
// an undisturbed one.

#include <string>

#include "tests/support/blas_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

constexpr int n = 70;

// C := something of A, B and C, by a routine in the interface asked for.
template <class T>
using Routine = toviStatus (*)(Memory where, const T* a, const T* b, T* c);

template <class T>
struct Family {
  const char* name;
  Routine<T> routine;
};

template <class T>
std::vector<Family<T>> families() {
  std::vector<Family<T>> all = {
      {"gemm", [](Memory where, const T* a, const T* b,
                  T* c) { return gemm(where, 'N', 'T', n, n, n, T(1), a, n, b, n, T(1), c, n); }},
      {"gemm without reading C",
       [](Memory where, const T* a, const T* b, T* c) {
         return gemm(where, 'N', 'T', n, n, n, T(1), a, n, b, n, T(0), c, n);
       }},
      {"gemv", [](Memory where, const T* a, const T* b,
                  T* c) { return gemv(where, 'N', n, n, T(1), a, n, b, 2, T(1), c, -2); }},
      {"trsm", [](Memory where, const T* a, const T*,
                  T* c) { return trsm(where, 'L', 'U', 'N', 'U', n, n, T(1), a, n, c, n); }},
      {"trmm", [](Memory where, const T* a, const T*,
                  T* c) { return trmm(where, 'L', 'U', 'N', 'N', n, n, T(1), a, n, c, n); }},
      {"symm", [](Memory where, const T* a, const T* b,
                  T* c) { return symm(where, 'L', 'U', n, n, T(1), a, n, b, n, T(1), c, n); }},
      {"syrk", [](Memory where, const T* a, const T*,
                  T* c) { return syrk(where, 'L', 'N', n, n, T(1), a, n, T(1), c, n); }},
      {"syr2k", [](Memory where, const T* a, const T* b, T* c) {
         return syr2k(where, 'L', 'N', n, n, T(1), a, n, b, n, T(1), c, n);
       }}};
  if constexpr (tovi::isComplex<T>) {
    all.push_back({"hemm", [](Memory where, const T* a, const T* b, T* c) {
                     return hemm(where, 'R', 'U', n, n, T(1), a, n, b, n, T(1), c, n);
                   }});
    all.push_back({"herk", [](Memory where, const T* a, const T*, T* c) {
                     return herk(where, 'L', 'N', n, n, 1, a, n, 1, c, n);
                   }});
    all.push_back({"her2k", [](Memory where, const T* a, const T* b, T* c) {
                     return her2k(where, 'L', 'N', n, n, T(1), a, n, b, n, 1, c, n);
                   }});
  }
  return all;
}

struct Code {
  int cuda, cublas;
};

template <class T>
void failEveryCall(const Family<T>& family, Memory where, const Code& code, bool forever) {
  HostMatrix<T> a = HostMatrix<T>::random(n, n, 0, 1), b = HostMatrix<T>::random(n, n, 0, 2);
  for (int i = 0; i < n; ++i) a(i, i) = a(i, i) + T(20);
  const HostMatrix<T> a0 = a, b0 = b, c0 = HostMatrix<T>::random(n, n, 0, 3);
  const auto undisturbedResult = [&] {
    HostMatrix<T> c = c0;
    Placed<T> pa(where, a), pb(where, b), pc(where, c);
    EXPECT_EQ(family.routine(where, pa.data(), pb.data(), pc.data()), toviNoError) << toviGetErrorInfo();
    pc.fetch();
    return c;
  };
  const HostMatrix<T> good = undisturbedResult();

  int failures = 0;
  for (std::uint64_t call = 1;; ++call) {
    ASSERT_LT(call, 100u) << family.name;
    SCOPED_TRACE(std::string(family.name) + (where == Memory::host ? ", host" : ", device") + ", call " +
                 std::to_string(call) + (forever ? " and all after it" : "") + ", code " +
                 std::to_string(code.cuda));
    HostMatrix<T> c = c0;
    Placed<T> pa(where, a), pb(where, b), pc(where, c);
    const std::size_t before = software_device::live().allocations;
    software_device::failAnyCall(call, code.cuda, code.cublas, forever);
    const toviStatus status = family.routine(where, pa.data(), pb.data(), pc.data());
    const int info = toviGetErrorInfo();
    const bool undisturbed = software_device::failuresInjected() == 0;
    software_device::clearFaults();

    EXPECT_EQ(software_device::live().allocations, before);
    EXPECT_EQ(software_device::live().streams, 0u);
    if (!forever) {  // otherwise nobody could wait
      EXPECT_EQ(software_device::pending(), 0u);
    }
    EXPECT_TRUE(a.sameBits(a0) && b.sameBits(b0));
    EXPECT_EQ(toviGetLastStatus(), status);
    if (code.cuda == cudaErrorMemoryAllocation) {
      EXPECT_TRUE(status == toviNoError || (status == toviInsufficientMemory && info == 0))
          << status << ' ' << info;
    } else {
      EXPECT_TRUE(status == toviNoError || (status == toviRuntimeError && info == code.cuda) ||
                  (status == toviBlasError && info == code.cublas))
          << status << ' ' << info;
    }
    if (status == toviNoError) {  // what failed lost nothing: a free, or a wait that was not needed
      pc.fetch();
      EXPECT_TRUE(c.sameBits(good));
    } else {
      ++failures;
      EXPECT_TRUE(where == Memory::device || c.sameBits(c0) || c.sameBits(good));
    }
    if (undisturbed) {
      EXPECT_EQ(status, toviNoError);
      break;
    }
    ASSERT_TRUE(undisturbedResult().sameBits(good));
  }
  // Host interface: allocations, copies and the routine itself. Device interface: the routine.
  EXPECT_GE(failures, where == Memory::host ? 6 : 1) << family.name;
}

template <class T>
class BlasFaultsTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<double>>;
TYPED_TEST_SUITE(BlasFaultsTest, Elements);

TYPED_TEST(BlasFaultsTest, EveryCallMayFail) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const Family<TypeParam>& family : families<TypeParam>())
    for (const Memory where : bothInterfaces)
      for (const Code code : {Code{cudaErrorMemoryAllocation, 3}, Code{cudaErrorUnknown, 14}})
        for (const bool forever : {false, true}) failEveryCall(family, where, code, forever);
}

// Copying back is the last step: a failure there is the call's, and the host's C may be partly written but no
// more.
TEST(BlasFaults, OfTheCopyBack) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  const float a = 2, b = 3;
  float c = 4;
  software_device::failCall(software_device::Entry::memcpy2D, 3, cudaErrorUnknown);
  EXPECT_EQ(gemm(Memory::host, 'N', 'N', 1, 1, 1, 1.0f, &a, 1, &b, 1, 0.0f, &c, 1), toviRuntimeError);
  EXPECT_EQ(toviGetErrorInfo(), static_cast<int>(cudaErrorUnknown));
  EXPECT_EQ(c, 4.0f);
  EXPECT_EQ(software_device::live().allocations, 0u);
  EXPECT_EQ(gemm(Memory::host, 'N', 'N', 1, 1, 1, 1.0f, &a, 1, &b, 1, 0.0f, &c, 1), toviNoError);
  EXPECT_EQ(c, 6.0f);
}

// Memory of a small device that runs out while the third operand is staged.
TEST(BlasFaults, DeviceTooSmall) {
  toviShutdown();
  software_device::Machine machine = software_device::defaultMachine();
  machine.devices[0].memory = std::size_t{24} << 20;
  software_device::configure(machine);
  ASSERT_EQ(toviInitialize(), toviNoError);
  const int large = 1600;  // 10 MB each
  const HostMatrix<float> a = HostMatrix<float>::random(large, large, 0, 1);
  HostMatrix<float> c = a;
  EXPECT_EQ(gemm(Memory::host, 'N', 'N', large, large, large, 1.0f, a.data(), large, a.data(), large, 1.0f,
                 c.data(), large),
            toviInsufficientMemory);
  EXPECT_TRUE(c.sameBits(a));
  EXPECT_EQ(software_device::live().allocations, 0u);
  checkGemm<float>(Memory::host, 'N', 'N', 100, 100, 100, 1.0f, 0.0f);
}

}  // namespace
}  // namespace testing_support
