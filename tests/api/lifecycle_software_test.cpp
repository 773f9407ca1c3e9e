// Initialization and the device routines on machines of every kind, and with every platform call failing.
// With several devices every call runs on the executing one, in whatever thread, and whatever device that
// thread, or code that is not the library's, has made current.

#include <gtest/gtest.h>
#include <tovi.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "device/runtime.h"
#include "device/software/testing/software_device.h"
#include "tests/support/calls.h"

namespace testing_support {
namespace {

constexpr std::size_t MiB = std::size_t(1) << 20;

using software_device::configure;
using software_device::Entry;
using software_device::failCall;
using software_device::Machine;
using software_device::Profile;

Profile profile(const std::string& name, std::size_t memory, int major = 2, int minor = 0) {
  Profile p;
  p.name = name, p.memory = memory, p.major = major, p.minor = minor;
  return p;
}

void expectInitialize(toviStatus status, int info) {
  EXPECT_EQ(toviInitialize(), status);
  EXPECT_EQ(toviGetLastStatus(), status);
  EXPECT_EQ(toviGetErrorInfo(), info);
  EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "nothing of it may surface in the next call";
  EXPECT_EQ(software_device::live().blasHandles, status == toviNoError ? 1U : 0U);
  int device = -1;
  EXPECT_EQ(toviGetExecutingDevice(&device), status == toviNoError ? toviNoError : toviNotInitialized);
}

int executingDevice() {
  int device = -1;
  EXPECT_EQ(toviGetExecutingDevice(&device), toviNoError);
  return device;
}

TEST(LifecycleMachines, VersionsAreChecked) {
  const struct {
    int runtime, driver;
    bool suffice;
  } rows[] = {
      {3010, 3020, false}, {3020, 3010, false}, {3019, 3019, false}, {4000, 3020, false},
      {3020, 0, false},    {3020, 3020, true},  {3020, 4000, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    Machine machine = software_device::defaultMachine();
    machine.runtimeVersion = row.runtime, machine.driverVersion = row.driver;
    configure(machine);
    expectInitialize(row.suffice ? toviNoError : toviInsufficientRuntime, 0);
    toviShutdown();
  }
}

TEST(LifecycleMachines, APreferredDeviceGoesFirst) {
  Machine machine;
  machine.devices = {profile("GeForce GTX 480", 256 * MiB), profile("Tesla C1060", 64 * MiB, 1, 3),
                     profile("Tesla C2050", 128 * MiB), profile("Tesla C2070", 128 * MiB)};
  configure(machine);
  expectInitialize(toviNoError, 0);
  EXPECT_EQ(executingDevice(), 2);
}

// The last one is the one that the library chooses.
void pretendDevices(std::size_t count, bool oneDevicePerProcess = false) {
  Machine machine;
  for (std::size_t i = 1; i <= count; ++i) machine.devices.push_back(profile("A", 64 * i * MiB));
  machine.oneDevicePerProcess = oneDevicePerProcess;
  configure(machine);
}

TEST(LifecycleMachines, TheLatestSelectionBeforeInitializationCounts) {
  for (const bool onePerProcess : {true, false}) {
    pretendDevices(2, onePerProcess);
    EXPECT_EQ(toviSelectDevice(1), toviNoError);
    EXPECT_EQ(toviSelectDevice(0), toviNoError);
    expectInitialize(toviNoError, 0);
    EXPECT_EQ(executingDevice(), 0);
    // Afterwards there is only the one.
    EXPECT_EQ(toviSelectDevice(0), toviNoError);
    EXPECT_EQ(toviSelectDevice(1), toviRuntimeError);
    EXPECT_EQ(toviGetErrorInfo(), device::errorSetOnActiveProcess);
    EXPECT_EQ(executingDevice(), 0);
    toviShutdown();
    if (onePerProcess) continue;
    EXPECT_EQ(toviSelectDevice(1), toviNoError);
    expectInitialize(toviNoError, 0);
    EXPECT_EQ(executingDevice(), 1);
    toviShutdown();
  }
}

TEST(LifecycleMachines, MemoryTexts) {
  const std::pair<std::size_t, const char*> rows[] = {
      {0, "A (0  B)"},
      {1023, "A (1023  B)"},
      {1024, "A (1 KB)"},
      {1535, "A (1 KB)"},
      {64 * MiB, "A (64 MB)"},
      {1024 * MiB - 1, "A (1024 MB)"},
      {std::size_t(4294705152U), "A (4 GB)"},
  };
  Machine machine;
  for (const auto& row : rows) machine.devices.push_back(profile("A", row.first));
  configure(machine);
  for (int device = 0; device < static_cast<int>(machine.devices.size()); ++device) {
    char text[32];
    EXPECT_EQ(toviGetDeviceInfo(device, text, sizeof text), toviNoError);
    EXPECT_STREQ(text, rows[device].second);
  }
}

// The codes that mean more than a runtime error; that one: ManagementRoutinesFailCleanly.
TEST(LifecycleMachines, InitializationTellsFailuresApart) {
  const struct {
    Entry entry;
    int code;
    toviStatus status;
    int info;
  } rows[] = {{Entry::driverGetVersion, 2, toviInsufficientMemory, 0},
              {Entry::getDeviceProperties, 32, toviInsufficientMemory, 0},
              {Entry::setDevice, 36, toviNoError, 0},
              {Entry::cublasInit, 3, toviInsufficientMemory, 0},
              {Entry::cublasInit, 1, toviBlasError, 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    configure(software_device::defaultMachine());
    failCall(row.entry, 1, row.code);
    expectInitialize(row.status, row.info);
    EXPECT_EQ(software_device::failuresInjected(), 1U);
    software_device::clearFaults();
    expectInitialize(toviNoError, 0);
    toviShutdown();
  }
}

// A runtime that finds no device or no driver may say so when it is asked to wait. Before initialization it
// is not asked; afterwards it is a failure: what was to be waited for has not been computed.
TEST(LifecycleMachines, NobodyWaitsForADeviceThatIsNotThere) {
  const auto errors = {cudaErrorNoDevice, cudaErrorInsufficientDriver};
  for (const cudaError_t error : errors) {
    configure(Machine{});
    failCall(Entry::threadSynchronize, 1, error, true);
    int count = -1;
    EXPECT_EQ(toviGetDeviceCount(&count), toviNoError);
    EXPECT_EQ(count, 0);
    char text[64];
    EXPECT_EQ(toviGetErrorInfoString(toviNoHardware, 0, text, sizeof text), toviNoError);
    EXPECT_STREQ(text, "No hardware is present to run TOVI");
    expectInitialize(toviNoHardware, 0);
    software_device::clearFaults();
  }
  configure(software_device::defaultMachine());
  ASSERT_EQ(toviInitialize(), toviNoError);
  const DeviceArray<float> a(1), c(1);
  for (const cudaError_t error : errors) {
    failCall(Entry::threadSynchronize, 1, error);
    EXPECT_EQ(toviDeviceSgemm('N', 'N', 1, 1, 1, 1, a.data(), 1, a.data(), 1, 0, c.data(), 1),
              toviRuntimeError);
    EXPECT_EQ(toviGetErrorInfo(), error);
    software_device::clearFaults();
  }
}

// Whichever platform call comes first, second, ... until the routine succeeds.
TEST(LifecycleMachines, ManagementRoutinesFailCleanly) {
  int count = -1;
  char text[32];
  const std::function<toviStatus()> routines[] = {
      [&] { return toviGetDeviceCount(&count); }, [&] { return toviGetDeviceInfo(0, text, sizeof text); },
      [] { return toviSelectDevice(0); },
      [&] { return toviGetErrorInfoString(toviNoError, 0, text, sizeof text); }, toviInitialize};
  for (const auto& routine : routines)
    for (unsigned n = 1;; ++n) {
      ASSERT_LT(n, 100U);
      SCOPED_TRACE(testing::Message() << &routine - routines << ", call " << n);
      configure(software_device::defaultMachine());
      software_device::failAnyCall(n, 46, 14);
      const toviStatus status = routine();
      const bool failed = software_device::failuresInjected() != 0;
      software_device::clearFaults();
      EXPECT_EQ(cudaGetLastError(), cudaSuccess);
      EXPECT_TRUE(failed ? (status == toviRuntimeError && toviGetErrorInfo() == 46) ||
                               (status == toviBlasError && toviGetErrorInfo() == 14)
                         : status == toviNoError)
          << status << ", " << toviGetErrorInfo();
      if (!failed) break;
      EXPECT_EQ(software_device::live().blasHandles, 0U) << "what a failed start has started is stopped";
      EXPECT_EQ(toviInitialize(), toviNoError);
      toviShutdown();
      EXPECT_EQ(software_device::live().blasHandles, 0U);
    }
}

TEST(LifecycleMachines, CublasLivesFromFirstToLastThread) {
  ASSERT_EQ(toviInitialize(), toviNoError);
  std::thread([] { EXPECT_EQ(toviInitialize(), toviNoError); }).join();
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(software_device::calls(Entry::cublasInit), 1U);
  EXPECT_EQ(software_device::calls(Entry::setDevice), 1U);
  toviShutdown();
  EXPECT_EQ(software_device::calls(Entry::cublasShutdown), 0U) << "the thread that ended has not shut down";
}

int currentDevice() {
  int device = -1;
  EXPECT_EQ(cudaGetDevice(&device), cudaSuccess);
  return device;
}

// Device memory that is in use on each device.
std::vector<std::size_t> used() {
  std::vector<std::size_t> result;
  int count = 0;
  EXPECT_EQ(cudaGetDeviceCount(&count), cudaSuccess);
  std::thread([&] {
    for (int device = 0; device < count; ++device) {
      std::size_t free = 0, total = 0;
      EXPECT_EQ(cudaSetDevice(device), cudaSuccess);
      EXPECT_EQ(cudaMemGetInfo(&free, &total), cudaSuccess);
      result.push_back(total - free);
    }
  }).join();
  return result;
}

Call goodCall(const Export& routine) {
  Random random(1);
  return drawCall(routine, random, {sizesBetween(60, 80)});
}

// Every export of the host interface, from a thread of each current device, and from one that has not chosen.
TEST(ExecutingDevice, ServesEveryThreadAndGivesItsDeviceBack) {
  constexpr int devices = 3;
  pretendDevices(devices);
  ASSERT_EQ(toviInitialize(), toviNoError);
  ASSERT_EQ(executingDevice(), devices - 1);
  for (int current = -1; current < devices; ++current)
    std::thread([&] {
      if (current >= 0) {
        EXPECT_EQ(cudaSetDevice(current), cudaSuccess);
      }
      for (const Export& routine : allExports()) {
        if (routine.where == Memory::device) continue;
        Call call = goodCall(routine);
        const toviStatus status = call.run();
        EXPECT_EQ(call.fault(status, toviGetErrorInfo()), "") << call.text();
        EXPECT_EQ(currentDevice(), std::max(current, 0));
      }
      int pivots[2];
      float a[] = {0, 0, 0, 0};
      EXPECT_EQ(toviSgetrf(2, 2, a, 2, pivots), toviDataError);
      EXPECT_EQ(toviSgetrf(-2, 2, a, 2, pivots), toviArgumentError);
      EXPECT_EQ(toviInitialize(), toviNoError);
      EXPECT_EQ(executingDevice(), devices - 1);
      EXPECT_EQ(currentDevice(), std::max(current, 0)) << "also after failures and management";
      EXPECT_EQ(used()[0] + used()[1], 0U);
      EXPECT_GT(used()[2], 0U) << "the library's buffers";
      toviFreeBuffers();
      EXPECT_EQ(used()[2], 0U);
      EXPECT_EQ(currentDevice(), std::max(current, 0));
      toviShutdown();
      EXPECT_EQ(currentDevice(), std::max(current, 0));
    }).join();
  EXPECT_EQ(executingDevice(), devices - 1) << "this thread is still registered";
}

// Operands on the executing device, in a thread whose own device is another one.
TEST(ExecutingDevice, TakesItsOwnMemoryFromAnyThread) {
  pretendDevices(2);
  ASSERT_EQ(toviInitialize(), toviNoError);
  ASSERT_EQ(currentDevice(), 1) << "initialization has bound this thread";
  float x = 6;
  const DeviceArray<float> a(std::vector<float>{3}), b(&x, 1);
  std::thread([&] {
    EXPECT_EQ(toviDeviceStrsm('L', 'L', 'N', 'N', 1, 1, 1, a.data(), 1, b.data(), 1), toviNoError);
    EXPECT_EQ(currentDevice(), 0);
  }).join();
  b.download(&x);
  EXPECT_EQ(x, 2);
}

// What initialization makes of the calling thread's device.
TEST(ExecutingDevice, IsTheOneThatTheProgramWorksWith) {
  for (const bool onePerProcess : {true, false}) {
    pretendDevices(3, onePerProcess);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    void* memory = nullptr;
    ASSERT_EQ(cudaMalloc(&memory, 1), cudaSuccess);
    if (onePerProcess) {  // what fails leaves no selection behind
      EXPECT_EQ(toviSelectDevice(0), toviRuntimeError);
      EXPECT_EQ(toviGetErrorInfo(), device::errorSetOnActiveProcess);
    }
    ASSERT_EQ(toviInitialize(), toviNoError);
    EXPECT_EQ(executingDevice(), 1);
    EXPECT_EQ(currentDevice(), 1);
    EXPECT_EQ(cudaFree(memory), cudaSuccess);
    toviShutdown();
  }
  // A selection goes first.
  pretendDevices(3);
  ASSERT_EQ(toviSelectDevice(0), toviNoError);
  ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(executingDevice(), 0);
  EXPECT_EQ(currentDevice(), 0);
}

TEST(ExecutingDevice, AFailedInitializationGivesTheThreadsDeviceBack) {
  pretendDevices(2);
  for (const Entry entry : {Entry::cublasInit, Entry::threadSynchronize}) {
    software_device::failCall(entry, 1, 14);
    EXPECT_NE(toviInitialize(), toviNoError);
    EXPECT_EQ(currentDevice(), 0);
    EXPECT_EQ(software_device::live().blasHandles, 0U);
    software_device::clearFaults();
  }
  ASSERT_EQ(toviInitialize(), toviNoError);
  EXPECT_EQ(currentDevice(), 1);
}

// Beside the library's calls other threads compute on devices of their own, by the runtime and by CUBLAS.
TEST(ExecutingDevice, LeavesOtherDevicesToOthers) {
  pretendDevices(3);
  ASSERT_EQ(toviInitialize(), toviNoError);
  std::vector<std::thread> crew;
  for (int device = 0; device < 3; ++device)
    crew.emplace_back([device] {
      EXPECT_EQ(cudaSetDevice(device), cudaSuccess);
      DeviceArray<float> own(2);
      for (int round = 1; round <= 50; ++round) {
        float numbers[] = {2, static_cast<float>(device + round)}, a[] = {4, 1, 1, 3}, b[] = {6, 7};
        own.upload(numbers);
        int pivots[2];
        EXPECT_EQ(toviSgesv(2, 1, a, 2, pivots, b, 2), toviNoError);
        EXPECT_NEAR(b[1], 2, 1e-5);
        cublasSgemm('N', 'N', 1, 1, 1, 1, own.data(), 1, own.data() + 1, 1, 0, own.data(), 1);
        own.download(numbers);
        EXPECT_EQ(numbers[0], 2 * numbers[1]);
        EXPECT_EQ(currentDevice(), device);
      }
    });
  for (std::thread& thread : crew) thread.join();
}

}  // namespace
}  // namespace testing_support
