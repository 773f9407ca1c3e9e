// The library exports what its header declares and nothing else.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tovi.h>

#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/header.h"

namespace {

using testing_support::declaredFunctions;

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

TEST(Exports, ExportsWhatItDeclaresAndNothingElse) {
  EXPECT_EQ(toviGetLastStatus(), toviNoError);  // which has the library loaded
  const std::set<std::string> declared = declaredFunctions();
  EXPECT_GE(declared.size(), 127U);
  EXPECT_EQ(declared.count("toviDeviceZher2k"), 1U);
  EXPECT_EQ(exportedSymbols(), declared);
  for (const std::string& name : declared) EXPECT_NE(dlsym(RTLD_DEFAULT, name.c_str()), nullptr) << name;
}

}  // namespace
