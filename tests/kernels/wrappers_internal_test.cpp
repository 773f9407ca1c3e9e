// Arguments that the wrappers refuse, with the position that they report, before anything is launched.

#include <functional>
#include <string>

#include "ground/outcomes.h"
#include "src/basic/Conjugate.h"
#include "src/basic/Copy.h"
#include "src/basic/LACPY.h"
#include "src/basic/LASET.h"
#include "src/basic/LASWP.h"
#include "src/basic/MADD.h"
#include "src/basic/Precision.h"
#include "src/basic/Scale.h"
#include "src/basic/Set.h"
#include "src/basic/Subtract.h"
#include "src/basic/Transpose.h"
#include "src/basic/lange.h"
#include "src/basic/larfg.h"
#include "src/basic/lasr.h"
#include "src/brd/brd.h"
#include "tests/support/matrix.h"

namespace {

using namespace testing_support;
using namespace tovi::basic;
using View = tovi::MatrixView<float>;

int infoOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const tovi::InfoException& e) {
    EXPECT_EQ(e.status(), 7);
    return e.info();
  }
  return 0;
}

class BasicArguments : public testing::Test {
 protected:
  BasicArguments() : memory(64), p(memory.data()) {}
  DeviceArray<float> memory;
  float* p;
};

TEST_F(BasicArguments, Laswp) {
  const int ipiv[] = {1, 2, 3, 4};
  for (auto f : {&laswp<float>, &laswpCol<float>}) {
    const auto info = [&](int n, float* a, int lda, int k1, int k2, const int* pivots) {
      return infoOf([&] { f(n, a, lda, k1, k2, pivots, 1); });
    };
    EXPECT_EQ(info(-1, nullptr, -1, -1, -1, nullptr), -1);
    EXPECT_EQ(info(2, nullptr, -1, -1, -1, nullptr), -2);
    EXPECT_EQ(info(2, p, -1, -1, -1, nullptr), -3);
    EXPECT_EQ(info(2, p, 4, -1, -1, nullptr), -4);
    EXPECT_EQ(info(2, p, 4, 1, -1, nullptr), -5);
    EXPECT_EQ(info(2, p, 4, 1, 1, nullptr), -6);
    EXPECT_EQ(info(2, p, 4, 1, 2, ipiv), 0);
    EXPECT_EQ(info(0, nullptr, -1, -1, -1, nullptr), 0);
  }
}

TEST_F(BasicArguments, Letters) {
  const View a(p, 4, 4, 4);
  EXPECT_EQ(infoOf([&] { setTriangular('F', 'X', a); }), -1);
  EXPECT_EQ(infoOf([&] { setTriangular('L', 'X', a); }), -2);
  EXPECT_EQ(infoOf([&] { setTriangular('L', 'U', View(p, -1, 4, 4)); }), -3);
  EXPECT_EQ(infoOf([&] { setTriangular('L', 'U', View(p, 4, -1, 4)); }), -4);
  EXPECT_EQ(infoOf([&] { setTriangular('L', 'U', View(nullptr, 4, 4, 4)); }), -5);
  EXPECT_EQ(infoOf([&] { madd('C', 'N', 1, a, 1, a, a); }), -1);
  EXPECT_EQ(infoOf([&] { madd('N', 'X', 1, a, 1, a, a); }), -2);
  EXPECT_EQ(infoOf([&] { subtractMatrix('C', 'N', a, a); }), -1);
  EXPECT_EQ(infoOf([&] { subtractMatrix('N', 'X', a, a); }), -2);
}

TEST_F(BasicArguments, SizesAndNullPointers) {
  const View a(p, 4, 4, 4), null(nullptr, 4, 4, 4), shortOne(p, 3, 4, 4), noRows(p, -1, 4, 4),
      noCols(p, 4, -1, 4);
  const auto matrix = [&](const char* name, int position, const std::function<void(View)>& f) {
    EXPECT_EQ(infoOf([&] { f(noRows); }), -position) << name;
    EXPECT_EQ(infoOf([&] { f(noCols); }), -position - 1) << name;
    EXPECT_LT(infoOf([&] { f(null); }), 0) << name;
    EXPECT_EQ(infoOf([&] { f(a); }), 0) << name;
    EXPECT_EQ(infoOf([&] { f(View(nullptr, 0, 4, 0)); }), 0) << name;
  };
  matrix("setMatrix", 1, [](View x) { setMatrix(Fill::zero, x); });
  matrix("laset", 2, [](View x) { laset('F', 0, 1, x); });
  matrix("conjugateMatrix", 1, [](View x) { conjugateMatrix(x); });
  matrix("conjugateMatrixLower", 1, [](View x) { conjugateMatrixLower(x); });
  matrix("transpose", 5, [&](View x) { transpose(x, a); });
  matrix("copyMatrix", 1, [&](View x) { copyMatrix(x, a); });
  matrix("lacpy", 1, [&](View x) { lacpy('F', x, a); });
  matrix("madd", 3, [&](View x) { madd('N', 'N', 1, a, 1, a, x); });
  matrix("subtractMatrix", 3, [&](View x) { subtractMatrix('N', 'N', a, x); });
  EXPECT_EQ(infoOf([&] { transposeInplace(View(p, -1, -1, 4)); }), -3);
  EXPECT_EQ(infoOf([&] { transposeInplace(shortOne); }), -3);
  EXPECT_EQ(infoOf([&] { transposeInplace(null); }), -1);

  // An operand without memory, or of another shape than the operation needs.
  for (const View& bad : {null, shortOne}) {
    EXPECT_EQ(infoOf([&] { transpose(a, bad); }), -1);
    EXPECT_EQ(infoOf([&] { copyMatrix(a, bad); }), -5);
    EXPECT_EQ(infoOf([&] { lacpy('U', a, bad); }), -5);
    EXPECT_EQ(infoOf([&] { madd('N', 'N', 1, bad, 1, a, a); }), -6);
    EXPECT_EQ(infoOf([&] { madd('N', 'N', 1, a, 1, bad, a); }), -9);
    EXPECT_EQ(infoOf([&] { subtractMatrix('N', 'N', bad, a); }), -5);
  }

  EXPECT_EQ(infoOf([&] { setVector(Fill::one, -1, p, 1); }), -1);
  EXPECT_EQ(infoOf([&] { setVector<float>(Fill::one, 1, nullptr, 1); }), -2);
  EXPECT_EQ(infoOf([&] { conjugateVector(-1, p, 1); }), -1);
  EXPECT_EQ(infoOf([&] { conjugateVector<float>(1, nullptr, 1); }), -2);
  EXPECT_EQ(infoOf([&] { copyVector<float>(-1, p, 1, p, 1); }), -1);
  EXPECT_EQ(infoOf([&] { copyVector<float>(1, nullptr, 1, p, 1); }), -2);
  EXPECT_EQ(infoOf([&] { copyVector<float>(1, p, 1, nullptr, 1); }), -4);
  EXPECT_EQ(infoOf([&] { scaleVector<float>(-1, p, p, 1); }), -1);
  EXPECT_EQ(infoOf([&] { scaleVector<float>(1, nullptr, p, 1); }), -2);
  EXPECT_EQ(infoOf([&] { scaleVector<float>(1, p, nullptr, 1); }), -3);
  EXPECT_EQ(infoOf([&] { setSingle<float>(Fill::one, nullptr); }), -1);
  EXPECT_EQ(infoOf([&] { copySingle<float>(nullptr, p); }), -2);
  EXPECT_EQ(infoOf([&] { copySingle<float>(p, nullptr); }), -1);
}

TEST_F(BasicArguments, Precisions) {
  const tovi::MatrixView<double> b(reinterpret_cast<double*>(p), 4, 4, 4);
  const DeviceArray<float> memory2(16);
  float* const q = memory2.data();
  const auto whole = [&](const View& a) { return infoOf([&] { convertPrecision<double>(a, b); }); };
  EXPECT_EQ(whole(View(nullptr, -1, -1, 4)), -1);
  EXPECT_EQ(whole(View(nullptr, 0, -1, 4)), -2);
  EXPECT_EQ(whole(View(nullptr, 4, 4, 4)), -3);
  EXPECT_EQ(whole(View(q, 3, 4, 4)), -5);
  EXPECT_EQ(whole(View(nullptr, 0, 4, 4)), 0);
  EXPECT_EQ(whole(View(q, 4, 4, 4)), 0);
  const auto triangle = [&](char uplo, const View& a) {
    return infoOf([&] { convertPrecisionTriangular<double>(uplo, a, b); });
  };
  EXPECT_EQ(triangle('F', View(nullptr, -1, -1, 4)), -1);
  EXPECT_EQ(triangle('U', View(nullptr, -1, -1, 4)), -2);
  EXPECT_EQ(triangle('u', View(q, 4, 3, 4)), -2);
  EXPECT_EQ(triangle('L', View(nullptr, 4, 4, 4)), -3);
  EXPECT_EQ(triangle('L', View(q, 3, 3, 4)), -5);
  EXPECT_EQ(triangle('l', View(nullptr, 0, 0, 4)), 0);
  EXPECT_EQ(triangle('l', View(q, 4, 4, 4)), 0);
}

TEST_F(BasicArguments, Rotations) {
  const auto info = [&](char side, char pivot, char direct, int m, int n, float* c, float* s, float* a,
                        int lda) { return infoOf([&] { lasr(side, pivot, direct, m, n, c, s, a, lda); }); };
  float* const null = nullptr;
  EXPECT_EQ(info('X', 'X', 'X', -1, -1, null, null, null, 0), -1);
  EXPECT_EQ(info('l', 'X', 'X', -1, -1, null, null, null, 0), -2);
  EXPECT_EQ(info('R', 't', 'X', -1, -1, null, null, null, 0), -3);
  EXPECT_EQ(info('L', 'B', 'f', -1, -1, null, null, null, 0), -4);
  EXPECT_EQ(info('L', 'V', 'B', 0, -1, null, null, null, 0), -5);
  EXPECT_EQ(info('L', 'V', 'F', 4, 3, null, null, null, 3), -9);
  EXPECT_EQ(info('L', 'V', 'F', 0, 3, null, null, null, 0), -9);
  EXPECT_EQ(info('L', 'V', 'F', 4, 3, null, null, null, 4), -6);
  EXPECT_EQ(info('L', 'V', 'F', 4, 3, p, null, null, 4), -7);
  EXPECT_EQ(info('L', 'V', 'F', 4, 3, p, p, null, 4), -8);
  EXPECT_EQ(info('L', 'V', 'F', 0, 3, null, null, null, 1), 0);
  EXPECT_EQ(info('R', 'V', 'F', 4, 0, null, null, null, 4), 0);
}

TEST_F(BasicArguments, ReflectorsAndTheirShift) {
  EXPECT_EQ(infoOf([&] { larfg<float>(-1, nullptr, nullptr, -1, nullptr); }), -1);
  EXPECT_EQ(infoOf([&] { larfg<float>(2, nullptr, nullptr, -1, nullptr); }), -2);
  EXPECT_EQ(infoOf([&] { larfg<float>(2, p, nullptr, -1, nullptr); }), -3);
  EXPECT_EQ(infoOf([&] { larfg<float>(2, p, p, -1, nullptr); }), -4);
  EXPECT_EQ(infoOf([&] { larfg<float>(2, p, p, 1, nullptr); }), -5);
  EXPECT_EQ(infoOf([&] { larfg<float>(1, p, nullptr, 1, p + 1); }), 0);
  EXPECT_EQ(infoOf([&] { tovi::brd::orgbrCopy<float>('F', -1, nullptr, 0); }), -1);
  EXPECT_EQ(infoOf([&] { tovi::brd::orgbrCopy<float>('u', -1, nullptr, 0); }), -2);
  EXPECT_EQ(infoOf([&] { tovi::brd::orgbrCopy<float>('L', 3, nullptr, 2); }), -4);
  EXPECT_EQ(infoOf([&] { tovi::brd::orgbrCopy<float>('L', 3, nullptr, 3); }), -3);
  EXPECT_EQ(infoOf([&] { tovi::brd::orgbrCopy<float>('L', 1, nullptr, 1); }), 0);
}

TEST_F(BasicArguments, Norms) {
  const auto general = [&](char norm, const View& a) { return infoOf([&] { lange<float>(norm, a); }); };
  const auto hermitian = [&](char norm, char uplo, const View& a) {
    return infoOf([&] { lanhe<float>(norm, uplo, a); });
  };
  EXPECT_EQ(general('X', View(nullptr, -1, -1, 1)), -1);
  EXPECT_EQ(general('M', View(nullptr, -1, -1, 1)), -2);
  EXPECT_EQ(general('O', View(nullptr, 0, -1, 1)), -3);
  EXPECT_EQ(general('I', View(nullptr, 2, 2, 2)), -4);
  EXPECT_EQ(hermitian('M', 'X', View(nullptr, -1, -1, 1)), -1);
  EXPECT_EQ(hermitian('O', 'X', View(nullptr, -1, -1, 1)), -2);
  EXPECT_EQ(hermitian('O', 'U', View(nullptr, -1, -1, 1)), -3);
  EXPECT_EQ(hermitian('O', 'U', View(p, 2, 3, 2)), -3);
  EXPECT_EQ(hermitian('O', 'U', View(nullptr, 2, 2, 2)), -4);
}

}  // namespace
