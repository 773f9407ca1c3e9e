// What of the argument checks the exported functions do not show.

#include "api/checks.h"

#include <gtest/gtest.h>

#include <string>

namespace tovi::api {
namespace {

TEST(Checks, OptionsAreUpperCasedForTheCaller) {
  char side = 'l', uplo = 'u', trans = 'c', diag = 'n';
  checkTrsm(side, uplo, trans, diag, 0, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(std::string({side, uplo, trans, diag}), "LUCN");
}

}  // namespace
}  // namespace tovi::api
