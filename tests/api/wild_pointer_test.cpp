// Device pointers that point nowhere. What comes of them is the runtime's error, whoever met it first:
// CUBLAS, a kernel of the library, a copy. Each test is a process of its own, since a GPU does nothing more
// for it.

#include "tests/support/interface.h"

namespace testing_support {
namespace {

class WildPointerTest : public LibraryTest {
 protected:
  static constexpr int n = 1100;  // by blocks: CUBLAS is called again after the call that fails
  // cudaErrorIllegalAddress; the runtime of CUDA 3.2 knows cudaErrorLaunchFailure only
  static constexpr int illegalAddress = CUDART_VERSION >= 10010 ? 700 : cudaErrorLaunchFailure;

  template <class Call>
  void check(const Call& call) {
    EXPECT_EQ(call(), toviRuntimeError);
    EXPECT_EQ(toviGetErrorInfo(), illegalAddress);
    EXPECT_EQ(toviGetLastStatus(), toviRuntimeError);
    // A good call: it may succeed, where the device lives on.
    const float a = 2, b = 3;
    float c = 0;
    const toviStatus next = toviSgemm('N', 'N', 1, 1, 1, 1.0f, &a, 1, &b, 1, 0.0f, &c, 1);
    if (next == toviNoError)
      EXPECT_EQ(c, 6);
    else
      EXPECT_TRUE(next == toviRuntimeError && toviGetErrorInfo() == illegalAddress)
          << next << ' ' << toviGetErrorInfo();
  }

  float* const wild_ = reinterpret_cast<float*>(4096);
  const DeviceArray<float> good_{std::size_t{n} * n};
};

TEST_F(WildPointerTest, InOneCallOfCublas) {
  check(
      [this] { return toviDeviceSgemm('N', 'N', 64, 64, 64, 1, wild_, 64, wild_, 64, 0, good_.data(), 64); });
}

TEST_F(WildPointerTest, InSeveralCallsOfCublas) {
  check([this] { return toviDeviceSsyrk('L', 'N', n, n, 1, wild_, n, 0, good_.data(), n); });
}

TEST_F(WildPointerTest, AsTheResultOfCublas) {
  check([this] { return toviDeviceStrsm('L', 'L', 'N', 'U', n, n, 1, good_.data(), n, wild_, n); });
}

TEST_F(WildPointerTest, InAKernel) {
  check([this] { return toviDeviceSgemv('T', n, n, 1, wild_, n, good_.data(), 1, 0, good_.data(), 1); });
}

}  // namespace
}  // namespace testing_support
