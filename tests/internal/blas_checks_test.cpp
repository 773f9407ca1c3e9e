// Argument checks of the families whose exported functions cannot be reached through the tables of the BLAS.

#include "api/checks.h"

#include <gtest/gtest.h>

#include "cudalib/exceptions.h"

namespace tovi::api {
namespace {

template <class Check>
int infoOf(Check check) {
  try {
    check();
    return 0;
  } catch (const InfoException& exception) {
    EXPECT_EQ(exception.status(), 7);
    return exception.info();
  }
}

TEST(Checks, Geqrf) {
  int x;
  const auto info = [](int m, int n, const void* a, int lda, const void* tau) {
    return infoOf([=] { checkGeqrf(m, n, a, lda, tau); });
  };
  EXPECT_EQ(info(-1, -1, nullptr, 0, nullptr), -1);
  EXPECT_EQ(info(0, -1, nullptr, 0, nullptr), -2);
  EXPECT_EQ(info(0, 0, nullptr, 0, nullptr), -4);
  EXPECT_EQ(info(3, 2, nullptr, 2, nullptr), -4);
  EXPECT_EQ(info(1, 1, nullptr, 1, nullptr), 0);
  EXPECT_EQ(info(2, 0, nullptr, 2, nullptr), 0);
  EXPECT_EQ(info(1, 2, nullptr, 1, nullptr), -3);
  EXPECT_EQ(info(2, 1, &x, 2, nullptr), -5);
  EXPECT_EQ(info(2, 1, &x, 2, &x), 0);
}

TEST(Checks, Gels) {
  int x;
  const auto info = [](char trans, int m, int n, int nrhs, const void* a, int lda, const void* b, int ldb) {
    return infoOf([=]() mutable { checkGels(trans, m, n, nrhs, a, lda, b, ldb); });
  };
  EXPECT_EQ(info('X', -1, -1, -1, nullptr, 0, nullptr, 0), -1);
  EXPECT_EQ(info('n', -1, -1, -1, nullptr, 0, nullptr, 0), -2);
  EXPECT_EQ(info('t', 0, -1, -1, nullptr, 0, nullptr, 0), -3);
  EXPECT_EQ(info('c', 0, 0, -1, nullptr, 0, nullptr, 0), -4);
  EXPECT_EQ(info('N', 3, 2, 1, nullptr, 2, nullptr, 2), -6);
  EXPECT_EQ(info('N', 3, 2, 1, nullptr, 3, nullptr, 2), -8);
  EXPECT_EQ(info('N', 2, 3, 1, nullptr, 2, nullptr, 2), -8);
  EXPECT_EQ(info('N', 2, 3, 1, nullptr, 2, nullptr, 3), -5);
  EXPECT_EQ(info('N', 2, 3, 1, &x, 2, nullptr, 3), -7);
  EXPECT_EQ(info('N', 2, 3, 0, nullptr, 2, nullptr, 3), 0);
}

TEST(Checks, OptionsAreUpperCasedForTheCaller) {
  char side = 'l', uplo = 'u', trans = 'c', diag = 'n';
  checkTrsm(side, uplo, trans, diag, 0, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(std::string({side, uplo, trans, diag}), "LUCN");
}

}  // namespace
}  // namespace tovi::api
