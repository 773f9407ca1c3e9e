// tovi.dll as a Windows program uses it: loaded at run time, called through pointers, unloaded.

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/header.h"
#include "tests/support/program.h"
#include "tests/win32/caller.h"

namespace {

using testing_support::declaredFunctions;

constexpr int insufficientMemory = 5;

// Neither the library's header nor its import library is used: functions by their names, with the types of
// what they are given.
void* function(const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA(TOVI_LIBRARY), name));
}
template <class Result = int, class... Arguments>
Result call(const char* name, Arguments... arguments) {
  return reinterpret_cast<Result(__cdecl*)(Arguments...)>(function(name))(arguments...);
}
int multiply(int n, const float* a, const float* b, float* c, int words = 0) {
  return callerSgemm(function("toviSgemm"), n, a, b, c, words);
}
unsigned freeMemory() {
  unsigned available = 0, total = 0;
  call("toviSw_cudaMemGetInfo", &available, &total);
  return available;
}
bool unload() { return FreeLibrary(GetModuleHandleA(TOVI_LIBRARY)) != 0; }

// The names in the export directory of a loaded library.
std::set<std::string> exportedNames(HMODULE library) {
  const char* const base = reinterpret_cast<const char*>(library);
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* const pe = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const DWORD at = pe->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
  const auto* const directory = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + at);
  const auto* const names = reinterpret_cast<const DWORD*>(base + directory->AddressOfNames);
  std::set<std::string> result;
  for (DWORD i = 0; i < directory->NumberOfNames; ++i) result.insert(base + names[i]);
  return result;
}

class Library : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(LoadLibraryA(TOVI_LIBRARY), nullptr); }
  void TearDown() override { EXPECT_TRUE(unload()); }
};

TEST_F(Library, ExportsWhatItsHeadersDeclareAndNothingElse) {
  const std::set<std::string> declared = declaredFunctions();
  EXPECT_GE(declared.size(), 87U);
  for (const std::string& name : declared) EXPECT_NE(function(name.c_str()), nullptr) << name;
  std::set<std::string> all = declared;
  for (const char* const header : {TOVI_RUNTIME_HEADER, TOVI_CUBLAS_HEADER})
    for (const std::string& name : declaredFunctions(header, "TOVI_SOFTWARE_API "))
      all.insert("toviSw_" + name);
  all.insert("toviSw_syncthreads");  // of kernels
  all.insert("toviSw_deviceInUse");  // which the real runtime is asked by other means
  EXPECT_EQ(exportedNames(GetModuleHandleA(TOVI_LIBRARY)), all);
}

// (1 + 2 i) (3 + 4 i) 5 i + (2 - i) (1 + i) = -47 - 24 i
TEST_F(Library, ScalarsPassByValueFromAnyStack) {
  ASSERT_EQ(call("toviInitialize"), 0);
  for (int words = 0; words < 4; ++words) {
    const float alpha[] = {1, 2}, a[] = {3, 4}, b[] = {0, 5}, beta[] = {2, -1};
    float c[] = {1, 1};
    EXPECT_EQ(callerCgemm(function("toviCgemm"), alpha, a, b, beta, c, words), 0);
    EXPECT_EQ(c[0], -47);
    EXPECT_EQ(c[1], -24);
    const double wideAlpha[] = {1, 2}, wideA[] = {3, 4}, wideB[] = {0, 5}, wideBeta[] = {2, -1};
    double wideC[] = {1, 1};
    EXPECT_EQ(callerZgemm(function("toviZgemm"), wideAlpha, wideA, wideB, wideBeta, wideC, words), 0);
    EXPECT_EQ(wideC[0], -47);
    EXPECT_EQ(wideC[1], -24);
    constexpr int n = 150;
    const std::vector<float> ones(n * n, 1);
    std::vector<float> product(n * n);
    EXPECT_EQ(multiply(n, ones.data(), ones.data(), product.data(), words), 0);
    EXPECT_EQ(product, std::vector<float>(n * n, n));
  }
  call<void>("toviShutdown");
}

// More bytes than there are addresses for, up to numbers of bytes that 32 bits do not hold.
TEST_F(Library, RefusesWhatCannotBeHeld) {
  ASSERT_EQ(call("toviInitialize"), 0);
  std::vector<float> one(16, 1);
  const std::vector<float> vector(2 * 65537, 1);
  std::vector<int> ipiv(16);
  struct Number {
    float re, im;
  };
  const auto product = [&](int m, int n) {
    return call("toviCgemm", 'N', 'N', m, n, 1, Number{1, 0}, vector.data(), m, vector.data(), 1,
                Number{0, 0}, one.data(), m);
  };
  const auto solves = [] {
    std::array<float, 4> a{2, 0, 0, 4}, b{2, 4};
    std::array<int, 2> pivots{};
    return call("toviSgesv", 2, 1, a.data(), 2, pivots.data(), b.data(), 2) == 0 && b[0] == 1 && b[1] == 1;
  };
  ASSERT_TRUE(solves());
  call<void>("toviFreeBuffers");
  const unsigned before = freeMemory();
  for (const auto& [m, n] : {std::array{23170, 23170}, {23171, 23171}, {32768, 32769}, {65536, 65537}}) {
    EXPECT_EQ(call("toviSgetrf", m, n, one.data(), m, ipiv.data()), insufficientMemory) << m;
    EXPECT_TRUE(solves());
    EXPECT_EQ(product(m, n), insufficientMemory) << m;
    EXPECT_TRUE(solves());
  }
  call<void>("toviFreeBuffers");
  EXPECT_EQ(freeMemory(), before);
  EXPECT_EQ(one, std::vector<float>(16, 1));
  call<void>("toviShutdown");
}

TEST_F(Library, AThreadThatEndsLeavesNothing) {
  constexpr int n = 300;
  const std::vector<float> ones(n * n, 1);
  const auto work = [&] {
    std::vector<float> product(n * n);
    EXPECT_EQ(call("toviInitialize"), 0);
    EXPECT_EQ(multiply(n, ones.data(), ones.data(), product.data()), 0);
  };
  ASSERT_EQ(call("toviInitialize"), 0);
  const unsigned before = freeMemory();
  work();
  EXPECT_LT(freeMemory(), before) << "what the next call will find";
  call<void>("toviFreeBuffers");
  std::thread(work).join();
  EXPECT_EQ(freeMemory(), before);
  call<void>("toviShutdown");
}

// What the system could still reserve, in MiB.
int addressesLeft() {
  std::vector<void*> found;
  while (void* const p = VirtualAlloc(nullptr, 1 << 20, MEM_RESERVE, PAGE_NOACCESS)) found.push_back(p);
  for (void* const p : found) VirtualFree(p, 0, MEM_RELEASE);
  return static_cast<int>(found.size());
}

// A program's plugin may come and go. Of the threads with buffers one unloads the library, another one lives
// on.
TEST(LibraryLoading, AgainAndAgain) {
  constexpr int n = 400;  // for all the device's threads
  const std::vector<float> ones(n * n, 1);
  const auto works = [&] {
    std::vector<float> product(n * n);
    EXPECT_EQ(multiply(n, ones.data(), ones.data(), product.data()), 0);
    EXPECT_EQ(product.back(), n);
  };
  int left = 0;
  for (int time = 0; time < 4; ++time) {
    ASSERT_EQ(GetModuleHandleA(TOVI_LIBRARY), nullptr);
    if (time == 1) left = addressesLeft();  // the first time other libraries come with it
    ASSERT_NE(LoadLibraryA(TOVI_LIBRARY), nullptr);
    ASSERT_EQ(call("toviInitialize"), 0);
    works();
    std::array<std::promise<void>, 2> multiplied;
    std::promise<void> shutDown, unloaded;
    std::thread unloads([&] {
      works();
      multiplied[0].set_value();
      shutDown.get_future().wait();
      EXPECT_TRUE(unload());
      unloaded.set_value();
    });
    std::thread livesOn([&] {
      works();
      multiplied[1].set_value();
      unloaded.get_future().wait();
    });
    for (std::promise<void>& done : multiplied) done.get_future().wait();
    call<void>("toviShutdown");
    shutDown.set_value();
    unloads.join();
    livesOn.join();
  }
  EXPECT_GT(addressesLeft(), left - 64);
}

}  // namespace
