// The main function of every test program. Where the platform has no device to run on, a test is skipped
// (exit code 77, which ctest is told about); what holds without one is in the suite WithoutDevice, which runs
// nowhere else.

#include <gtest/gtest.h>

#include <device/runtime.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  int devices = 0;
  const bool device = cudaGetDeviceCount(&devices) == cudaSuccess && devices > 0;
  const bool withoutDevice = ::testing::GTEST_FLAG(filter).rfind("WithoutDevice.", 0) == 0;
  static_cast<void>(cudaGetLastError());
  if (device == withoutDevice) {
    std::printf("skipped: a device is %s\n", device ? "present" : "not present");
    return 77;
  }
  return RUN_ALL_TESTS();
}
