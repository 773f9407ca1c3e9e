// The wrappers of all kernels, and what one of them makes of a matrix, by either body of a kernel that has
// two.

#ifndef TOVI_TESTS_KERNELS_KERNELS_H
#define TOVI_TESTS_KERNELS_KERNELS_H

#include <cstdlib>

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
#include "src/basic/weight.h"
#include "src/brd/brd.h"
#include "tests/support/ratios.h"
#if defined(TOVI_SOFTWARE_CUDA_RUNTIME_H)
#include "device/software/testing/software_device.h"
#endif

namespace testing_support {

namespace basic = tovi::basic;
using tovi::MatrixView;

// On the software device: the native body, and, unless that takes long, the kernel with its threads in their
// order and in another one.
template <class Run>
void withEachBody([[maybe_unused]] std::size_t elements, const Run& run) {
#if defined(TOVI_SOFTWARE_CUDA_RUNTIME_H)
  for (const std::uint64_t seed : {0U, 1U}) {
    if (elements > 300000) break;
    software_device::useNativeBodies(false);
    software_device::setChecking(seed != 0, seed);
    run();
  }
  software_device::useNativeBodies(true);
#endif
  run();
}

// No two elements are equal, and none is its own conjugate.
template <class T>
HostMatrix<T> numbered(int rows, int cols, int start, int padding) {
  return HostMatrix<T>(rows, cols, padding).set([=](int i, int j) {
    return makeElement<T>(start + i + j * rows, 2 + i + j);
  });
}
template <class T>
HostMatrix<T> numbered(int rows, int cols, int start = 1) {
  return numbered<T>(rows, cols, start, std::abs(start) % 7);
}

// What work(view) makes of a matrix on the device: rule(i, j).
template <class T, class Work, class Rule>
void expectMade(const HostMatrix<T>& before, const Work& work, const Rule& rule) {
  const HostMatrix<T> expected = HostMatrix<T>(before).set(rule);
  withEachBody(before.size(), [&] {
    const OnDevice<T> device(before);
    work(device.view);
    EXPECT_TRUE(device.holds(expected)) << before.rows() << " x " << before.cols();
  });
}

}  // namespace testing_support

#endif
