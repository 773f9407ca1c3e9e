// Reduction to bidiagonal form on pretended machines: the narrow blocks of the first device generation, and
// what travels.

#include <map>
#include <string>

#include "platform/software/testing/software_device.h"
#include "tests/support/bidiagonal_checks.h"
#include "tests/support/machines.h"

namespace testing_support {
namespace {

using software_device::Entry;

template <class T>
class GebrdSoftwareTest : public ::testing::Test {};
using Elements = ::testing::Types<float, Complex<float>>;
TYPED_TEST_SUITE(GebrdSoftwareTest, Elements);

// Blocks are 32 wide on capabilities 1.0 to 1.3.
TYPED_TEST(GebrdSoftwareTest, NarrowBlocks) {
  ASSERT_EQ(pretend(1, 3), toviNoError);
  for (const int k : {1, 31, 32, 33, 64, 65})
    for (const int more : {0, 1, 40}) {
      checkReduction<TypeParam>(k + more, k);
      checkFactors<TypeParam>(k + more, k);
      checkReduction<TypeParam>(k, k + more);
      checkFactors<TypeParam>(k, k + more);
    }
}

// While panels are reduced nothing travels between host and device, and nobody waits: one download, of the
// last block, stands between the last product and the uploads.
TYPED_TEST(GebrdSoftwareTest, PanelsStayOnTheDevice) {
  ASSERT_EQ(pretend(2, 0), toviNoError);
  for (const auto& [m, n] : {std::pair(300, 288), std::pair(288, 300)}) {
    const HostMatrix<TypeParam> a = matrixToReduce<TypeParam>(m, n);
    const OnDevice<TypeParam> dA(a);
    const DeviceArray<TypeParam> dTauq(288), dTaup(288);
    const DeviceArray<tovi::Real<TypeParam>> dD(288), dE(287);
    toviFreeBuffers();
    software_device::startRecording();
    tovi::brd::gebrd(dA.view, dD.data(), dE.data(), dTauq.data(), dTaup.data());
    std::string order;
    const std::map<Entry, char> letters = {
        {Entry::malloc, 'm'},   {Entry::free, 'f'},          {Entry::gemm, 'g'},
        {Entry::memcpy, 'c'},   {Entry::memcpyAsync, 'c'},   {Entry::streamSynchronize, 'w'},
        {Entry::memcpy2D, 'c'}, {Entry::memcpy2DAsync, 'c'}, {Entry::threadSynchronize, 'w'}};
    for (const software_device::Call& call : software_device::stopRecording())
      if (letters.count(call.entry) != 0) order += letters.at(call.entry);
    // The last block is copied to the host and back, with d, e and the scalar factors.
    EXPECT_EQ(order, "mmmggggcccccc");
  }
}

}  // namespace
}  // namespace testing_support
