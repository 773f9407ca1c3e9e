// How often the wrappers launch, with which shape and on which stream: counted by the software device.

#include <functional>
#include <numeric>
#include <utility>
#include <vector>

#include "device/software/testing/software_device.h"
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
#include "src/basic/larfg.h"
#include "src/basic/lasr.h"
#include "src/brd/brd.h"
#include "tests/support/matrix.h"

namespace {

using namespace testing_support;
using namespace tovi::basic;
using software_device::Entry;
using T = Complex<float>;
using View = tovi::MatrixView<T>;

std::vector<software_device::Call> launchesOf(const std::function<void()>& work) {
  software_device::startRecording();
  work();
  std::vector<software_device::Call> launches;
  for (const auto& call : software_device::stopRecording())
    if (call.entry == Entry::launch) launches.push_back(call);
  return launches;
}

TEST(BasicLaunches, EmptyProblemsLaunchNothing) {
  DeviceArray<T> memory(64);
  T* p = memory.data();
  const float* real = reinterpret_cast<const float*>(p);
  const int ipiv[] = {1, 2, 3, 4};
  const auto launches = launchesOf([&] {
    for (const View& a : {View(p, 0, 4, 4), View(p, 4, 0, 4), View(nullptr, 0, 0, 1)}) {
      const View t(a.data, a.cols, a.rows, 4);
      setMatrix(Fill::one, a);
      setTriangular('L', 'U', a);
      laset('F', T(0), T(1), a);
      conjugateMatrix(a);
      conjugateMatrixLower(a);
      copyMatrix(a, a);
      lacpy('U', a, a);
      transpose(a, t);
      madd('N', 'N', 1, a, 1, a, a);
      subtractMatrix('T', 'N', t, a);
      convertPrecision<Complex<double>>(a, {nullptr, a.rows, a.cols, 4});
    }
    convertPrecisionTriangular<Complex<double>>('U', View(nullptr, 0, 0, 1), {nullptr, 0, 0, 1});
    transposeInplace(View(nullptr, 0, 0, 1));
    setVector(Fill::one, 0, p, 1);
    conjugateVector(0, p, 1);
    copyVector(0, p, 1, p, 1);
    copyVectorRealToComplex(0, real, 1, p, 1);
    scaleVector(0, p, p, 1);
    laswp(0, p, 4, 1, 4, ipiv, 1);
    laswpCol(0, p, 4, 1, 4, ipiv, 1);
    laswp(4, p, 4, 2, 2, ipiv, 1);
    laswpCol(4, p, 4, 2, 2, ipiv, 1);
    lasr('L', 'V', 'F', 0, 4, real, real, p, 4);
    lasr('R', 'V', 'B', 4, 0, real, real, p, 4);
    lasr('R', 'V', 'B', 4, 1, real, real, p, 4);  // no neighbours
    lasr('R', 'T', 'F', 4, 4, real, real, p, 4);
    tovi::brd::orgbrCopy('L', 1, p, 4);
    conjugateMatrix(tovi::MatrixView<float>(reinterpret_cast<float*>(p), 4, 4, 4));  // nothing to conjugate
  });
  EXPECT_EQ(launches.size(), 0u);
}

TEST(BasicLaunches, SixteenInterchangesALaunch) {
  DeviceArray<T> memory(64 * 600);
  std::vector<int> ipiv(64);
  std::iota(ipiv.begin(), ipiv.end(), 1);
  const auto launches = [&](int k1, int k2) {
    return launchesOf([&] { laswp(600, memory.data(), 64, k1, k2, ipiv.data(), 1); });
  };
  EXPECT_EQ(launches(1, 16).size(), 1u);
  EXPECT_EQ(launches(1, 17).size(), 2u);
  EXPECT_EQ(launches(5, 36).size(), 2u);
  EXPECT_EQ(launches(5, 37).size(), 3u);
  const auto shape = launches(1, 2).at(0).arguments;
  EXPECT_EQ(shape[0], 3);  // 600 columns in blocks of 256 threads
  EXPECT_EQ(shape[3], 256);
}

TEST(BasicLaunches, MatricesInBlocksOf16By16OnTheStreamAskedFor) {
  DeviceArray<T> memory(3000), other(3000);
  cudaStream_t stream = nullptr;
  ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
  const View a(memory.data(), 33, 17, 40), b(other.data(), 17, 33, 20);
  const auto launches = launchesOf([&] {
    transpose(a, b);
    transpose(a, b, true, stream);
    setTriangular('L', 'U', a, Fill::zero, stream);
  });
  ASSERT_EQ(launches.size(), 3u);
  for (const auto& launch : launches) {
    EXPECT_EQ(launch.arguments[0], 3);
    EXPECT_EQ(launch.arguments[1], 2);
    EXPECT_EQ(launch.arguments[3], 16);
    EXPECT_EQ(launch.arguments[4], 16);
  }
  EXPECT_EQ(launches[0].stream, 0u);
  EXPECT_NE(launches[1].stream, 0u);
  EXPECT_EQ(launches[2].stream, launches[1].stream);
  EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
}

}  // namespace
