// Failures of every platform call underneath an exported routine, on the software device.

#ifndef TOVI_TESTS_SUPPORT_FAULTS_H
#define TOVI_TESTS_SUPPORT_FAULTS_H

#include <cstdint>
#include <exception>
#include <string>

#include <platform/runtime.h>

#include "cudalib/exceptions.h"
#include "platform/software/testing/software_device.h"
#include "tests/support/interface.h"

namespace testing_support {

// Fails call 1, 2, 3, ... of problem.run(where, around) until it succeeds. Each time: the documented status,
// nothing left behind, and a next call that gives the same bits as an undisturbed one.
template <class Problem>
void failEveryCall(Memory where, const Problem& problem, bool forever) {
  Problem good = problem;
  ASSERT_EQ(good.run(where), toviNoError) << toviGetErrorInfo();
  const struct { int cuda, cublas; } codes[] = {{cudaErrorMemoryAllocation, 3}, {cudaErrorUnknown, 14}};
  for (const auto& code : codes) {
    std::uint64_t failures = 1;
    for (std::uint64_t call = 1; failures != 0; ++call) {
      ASSERT_LT(call, 3000u);
      SCOPED_TRACE("call " + std::to_string(call) + (forever ? " and all after it" : "") + ", code " +
                   std::to_string(code.cuda));
      std::size_t allocations = 0;
      int info = 0;
      Around around;
      around.before = [&] {
        allocations = software_device::live().allocations;
        software_device::failAnyCall(call, code.cuda, code.cublas, forever);
      };
      around.after = [&] {
        info = toviGetErrorInfo();
        failures = software_device::failuresInjected();
        software_device::clearFaults();
        EXPECT_EQ(software_device::live().allocations, allocations);
        EXPECT_EQ(software_device::live().pageLockedBlocks, 0u);
        EXPECT_EQ(software_device::live().streams, 0u);
        if (!forever) {  // otherwise nobody could wait
          EXPECT_EQ(software_device::pending(), 0u);
        }
      };
      Problem failing = problem;
      const toviStatus status = failing.run(where, around);
      if (status == toviNoError) {  // no failure, or that of a synchronization alone, which loses nothing
        EXPECT_TRUE(failing.sameBits(good));
      } else if (code.cuda == cudaErrorMemoryAllocation) {
        EXPECT_TRUE(status == toviInsufficientMemory && info == 0) << status << ' ' << info;
      } else {
        EXPECT_TRUE((status == toviRuntimeError && info == code.cuda) ||
                    (status == toviBlasError && info == code.cublas))
            << status << ' ' << info;
      }
      if (failures == 0) {
        EXPECT_EQ(status, toviNoError);
      }
      EXPECT_TRUE(failing.paddingIntact());
      Problem next = problem;
      ASSERT_EQ(next.run(where), toviNoError) << toviGetErrorInfo();
      ASSERT_TRUE(next.sameBits(good));
    }
  }
}

// The same below the exports, where failures are exceptions. make() puts fresh operands on the device. Each
// time work(operands) throws, or leaves a status pending, or the failure has lost nothing (that of a free or
// of a synchronization) and bits(operands) are those of an undisturbed run; it owns nothing afterwards.
template <class Make, class Work, class Bits>
void failEveryCallOf(const Make& make, const Work& work, const Bits& bits) {
  const std::string good = [&] {
    const auto operands = make();
    work(operands);
    return bits(operands);
  }();
  bool succeeded = false;
  for (std::uint64_t call = 1; !succeeded; ++call) {
    ASSERT_LT(call, 5000u);
    SCOPED_TRACE("call " + std::to_string(call));
    const auto operands = make();
    const software_device::Live before = software_device::live();
    bool noticed = false;
    software_device::failAnyCall(call, cudaErrorUnknown, 14);
    try {
      work(operands);
    } catch (const std::exception&) {
      noticed = true;
    } catch (const tovi::InfoException&) {
      ADD_FAILURE() << "a failing call was taken for an error of the data";
    }
    succeeded = software_device::failuresInjected() == 0;
    software_device::clearFaults();
    cudaThreadSynchronize();
    noticed = (cublasGetError() != CUBLAS_STATUS_SUCCESS) || noticed;
    noticed = (cudaGetLastError() != cudaSuccess) || noticed;
    EXPECT_EQ(software_device::live().allocations, before.allocations);
    EXPECT_EQ(software_device::live().pageLockedBlocks, 0u);
    EXPECT_EQ(software_device::live().streams, 0u);
    if (!noticed) {
      EXPECT_TRUE(bits(operands) == good);
    }
  }
}

}  // namespace testing_support

#endif
