// The stream holder and rectangular copies, on any device.

#include <gtest/gtest.h>

#include "cudalib/check.h"
#include "cudalib/copy2d.h"
#include "cudalib/managed_memory.h"
#include "cudalib/stream.h"
#include "tests/support/matrix.h"

namespace {

using testing_support::DeviceArray;
using testing_support::HostMatrix;

// A matrix goes up, and comes down into another leading dimension; what lies between the columns is left
// alone.
TEST(Copy2D, MatricesKeepTheirPadding) {
  for (const int hostPadding : {0, 3})
    for (const int devicePadding : {0, 2})
      for (const int cols : {1, 4}) {
        const auto sent = HostMatrix<float>::random(5, cols, hostPadding, 7);
        HostMatrix<float> device(5, cols, devicePadding), back(5, cols, 1);
        const DeviceArray<float> memory(device);
        const tovi::MatrixView<float> dA(memory.data(), 5, cols, device.ld());
        cudalib::upload(sent.data(), sent.ld(), dA);
        cudalib::download<float>(dA, back.data(), back.ld());
        memory.download(device);
        for (int j = 0; j < cols; ++j)
          for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(back(i, j), sent(i, j));
            EXPECT_EQ(device(i, j), sent(i, j));
          }
        EXPECT_TRUE(back.paddingIntact() && device.paddingIntact());
      }
}

TEST(Copy2D, AsynchronousTransfersAreThereAfterSynchronize) {
  const int m = 200, n = 30;
  using Panel = cudalib::ManagedMemory<float, cudalib::PageLockedAllocator<float>>;
  const Panel there(m, n), back(m, n);
  const cudalib::ManagedMemory<float, tovi::BlasAllocator<float>> memory(m, n);
  const tovi::MatrixView<float> dA = memory.view(m, n);
  for (int i = 0; i < m * n; ++i) there.get()[i] = static_cast<float>(i);
  const cudalib::Stream stream;
  cudalib::uploadAsync(there.get(), m, dA, stream.get());
  cudalib::downloadAsync<float>(dA, back.get(), m, stream.get());
  stream.synchronize();
  cudalib::check(cudaStreamSynchronize(stream.get()));  // for a device without overlap
  EXPECT_TRUE(stream.query());
  for (int i = 0; i < m * n; ++i) ASSERT_EQ(back.get()[i], static_cast<float>(i));
}

TEST(Copy2D, NothingToCopy) {
  HostMatrix<float> h(3, 3);
  cudalib::upload(h.data(), 3, tovi::MatrixView<float>(nullptr, 0, 3, 1));
  cudalib::download<float>(tovi::MatrixView<float>(nullptr, 3, 0, 3), h.data(), 3);
  // No row at all is a success also where every row would be copied by itself.
  EXPECT_EQ(cudalib::copy2D(nullptr, 0x7FFFFFFF, nullptr, 8, 8, 0, cudaMemcpyHostToDevice, false, nullptr),
            cudaSuccess);
}

}  // namespace
