// The C boundary: the header serves C89 and C++ alike, and the library exports what it declares and nothing
// else.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tovi.h>

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "c89_program.h"

namespace {

std::set<std::string> declaredFunctions() {
  std::ifstream file(TOVI_PUBLIC_HEADER);
  std::set<std::string> names;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("TOVI_API ", 0) != 0) continue;  // a declaration has its name in its first line
    const std::size_t end = line.find('('), start = line.find_last_of(" *", end) + 1;
    names.insert(line.substr(start, end - start));
  }
  return names;
}

std::set<std::string> exportedSymbols() {
  Dl_info info = {};
  EXPECT_NE(dladdr(dlsym(RTLD_DEFAULT, "toviInitialize"), &info), 0);
  const std::string command = std::string("nm -D --defined-only '") + info.dli_fname + "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> nm(popen(command.c_str(), "r"), pclose);
  std::set<std::string> names;
  char line[4096];
  while (nm != nullptr && std::fgets(line, sizeof line, nm.get()) != nullptr) {
    std::istringstream words(line);
    std::string address, type, name;
    words >> address >> type >> name;
    names.insert(name);
  }
  return names;
}

TEST(CHeader, ExportsWhatItDeclaresAndNothingElse) {
  const std::set<std::string> declared = declaredFunctions();
  EXPECT_GE(declared.size(), 87U);
  EXPECT_EQ(declared.count("toviDeviceZher2k"), 1U);
  EXPECT_EQ(exportedSymbols(), declared);
  for (const std::string& name : declared) EXPECT_NE(dlsym(RTLD_DEFAULT, name.c_str()), nullptr) << name;
}

TEST(CHeader, TypesAgreeBetweenLanguages) {
  const C89Layout layout = c89Layout();
  EXPECT_EQ(sizeof(toviStatus), 4U);
  EXPECT_EQ(layout.statusSize, sizeof(toviStatus));
  EXPECT_EQ(layout.floatComplexSize, 2 * sizeof(float));
  EXPECT_EQ(layout.floatImagOffset, sizeof(float));
  EXPECT_EQ(layout.doubleComplexSize, 2 * sizeof(double));
  EXPECT_EQ(layout.doubleImagOffset, sizeof(double));
}

TEST(CHeader, C89CallsTheLibrary) {
  int devices = 0;
  ASSERT_EQ(toviGetDeviceCount(&devices), toviNoError);
  if (devices == 0) GTEST_SKIP() << "no device";
  EXPECT_STREQ(c89InvalidStatusText(), "Invalid toviStatus");

  ASSERT_EQ(toviInitialize(), toviNoError);
  // Scalars of every kind pass by value: (1 + 2 i) (3 + 4 i) 5 i + (2 - i) (1 + i) = -47 - 24 i
  toviFloatComplex single = {0, 0};
  EXPECT_EQ(c89SingleProduct(&single), toviNoError);
  EXPECT_EQ(single.real, -47);
  EXPECT_EQ(single.imag, -24);
  toviDoubleComplex twice = {0, 0};
  const toviStatus status = c89DoubleProduct(&twice);
  if (status != toviInsufficientComputeCapability) {
    EXPECT_EQ(status, toviNoError);
    EXPECT_EQ(twice.real, -47);
    EXPECT_EQ(twice.imag, -24);
  }
}

}  // namespace
