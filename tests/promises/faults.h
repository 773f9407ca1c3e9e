// Failures of every platform call underneath an exported routine, on the software device.

#ifndef TOVI_TESTS_PROMISES_FAULTS_H
#define TOVI_TESTS_PROMISES_FAULTS_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "device/software/testing/software_device.h"
#include "tests/support/calls.h"
#include "tests/support/machines.h"

namespace testing_support {

// Which calls of a run to fail, counted from 1. Of those that stand between the same neighbours, as in a
// loop, the first two and the last; with TOVI_FAIL_ALL_CALLS in the environment each of them. And one more
// than there were, which fails nothing.
inline std::set<std::uint64_t> callsToFail(const std::vector<software_device::Call>& calls) {
  using software_device::Entry;
  std::vector<Entry> entries;  // that can fail
  for (const software_device::Call& call : calls)
    if (call.entry != Entry::getLastError && call.entry != Entry::peekAtLastError &&
        call.entry != Entry::getErrorString && call.entry != Entry::cublasGetError)
      entries.push_back(call.entry);
  const auto at = [&](std::size_t i) { return i < entries.size() ? entries[i] : Entry::count_; };
  std::map<std::array<Entry, 4>, std::vector<std::uint64_t>> alike;
  for (std::size_t i = 0; i < entries.size(); ++i)
    alike[{at(i - 2), at(i - 1), at(i), at(i + 1)}].push_back(i + 1);
  const bool all = std::getenv("TOVI_FAIL_ALL_CALLS") != nullptr;
  std::set<std::uint64_t> result{entries.size() + 1};
  for (const auto& [neighbours, numbers] : alike) {
    result.insert(numbers.begin(), all || numbers.size() < 2 ? numbers.end() : numbers.begin() + 2);
    result.insert(numbers.back());
  }
  return result;
}

// Fails one platform call underneath an exported routine after the other. Each time: the documented status,
// nothing left behind but the library's buffers, host operands that are as they were or complete, and a next
// call that gives the same bits as an undisturbed one. Warm calls begin with the buffers of the call before,
// the others with none.
inline void failEveryCall(const Call& problem, bool forever, bool warm) {
  const bool onHost = problem.routine().where == Memory::host;
  Call good = problem;
  std::size_t placed = 0;  // allocations of the operands
  std::vector<software_device::Call> calls;
  Around recording;
  recording.before = [&] {
    placed = liveBesideBuffers().allocations;
    software_device::startRecording();
  };
  recording.after = [&] { calls = software_device::stopRecording(); };
  ASSERT_EQ(good.run(recording), toviNoError) << toviGetErrorInfo();
  if (warm) {
    Call again = problem;
    recording.before = software_device::startRecording;
    ASSERT_EQ(again.run(recording), toviNoError);
  }
  std::uint64_t failed = 0;
  const struct { int cuda, cublas; } codes[] = {{cudaErrorMemoryAllocation, 3}, {cudaErrorUnknown, 14}};
  for (const auto& code : codes)
    for (const std::uint64_t call : callsToFail(calls)) {
      SCOPED_TRACE("call " + std::to_string(call) + (forever ? " and all after it" : "") +
                   (warm ? ", warm" : "") + ", code " + std::to_string(code.cuda));
      int info = 0;
      std::uint64_t failures = 0;
      Around around;
      around.before = [&] {
        if (!warm) toviFreeBuffers();
        software_device::failAnyCall(call, code.cuda, code.cublas, forever);
      };
      around.after = [&] {
        info = toviGetErrorInfo();
        failures = software_device::failuresInjected();
        software_device::clearFaults();
        if (!forever) {  // otherwise nobody could wait
          EXPECT_EQ(software_device::pending(), 0u);
        }
        EXPECT_EQ(liveBesideBuffers().allocations, placed);
        EXPECT_EQ(software_device::live().pageLockedBlocks, 0u);
        EXPECT_EQ(software_device::live().streams, 0u);
      };
      Call failing = problem;
      const toviStatus status = failing.run(around);
      EXPECT_EQ(toviGetLastStatus(), status);
      if (status == toviNoError) {  // no failure, or that of a synchronization alone, which loses nothing
        EXPECT_TRUE(failing.sameBits(good));
      } else if (code.cuda == cudaErrorMemoryAllocation) {
        EXPECT_TRUE(status == toviInsufficientMemory && info == 0) << status << ' ' << info;
      } else {
        EXPECT_TRUE((status == toviRuntimeError && info == code.cuda) ||
                    (status == toviBlasError && info == code.cublas))
            << status << ' ' << info;
      }
      failed += status != toviNoError;
      if (failures == 0) {
        EXPECT_EQ(status, toviNoError);
      }
      EXPECT_TRUE(failing.paddingIntact());
      EXPECT_TRUE(!onHost || failing.untouchedOrAs(good));
      Call next = problem;
      ASSERT_EQ(next.run(), toviNoError) << toviGetErrorInfo();
      ASSERT_TRUE(next.sameBits(good));
    }
  // In either memory the routine itself; in host memory the way there and back as well.
  EXPECT_GE(failed, onHost ? 4u : 2u);
}

}  // namespace testing_support

#endif
