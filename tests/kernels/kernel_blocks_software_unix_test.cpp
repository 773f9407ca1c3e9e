// The blocks that kernels are launched in, against the table that scripts/kernels goes by: how many registers
// a block takes depends on them. This program stands between the library and the device, where it sees the
// kernel and the shape of every launch.

#include <cxxabi.h>

#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "device/launch.h"
#include "src/blas/blas.h"
#include "tests/kernels/kernels.h"
#include "tests/support/interface.h"

namespace {

unsigned threadsOfLaunch = 0;
std::map<std::string, std::set<unsigned>> blocksOf;  // threads, by kernel

// tovi::Scale_k<cudalib::Map1D, float, true>, of the work that device::launch queues.
std::string kernelOf(const std::type_info& launch) {
  const std::unique_ptr<char, void (*)(void*)> text(
      abi::__cxa_demangle(launch.name(), nullptr, nullptr, nullptr), std::free);
  const std::string name = text.get();
  const std::size_t first = name.find("tovi::");
  std::size_t last = first;
  for (int depth = 0; last < name.size() && (depth > 0 || name[last] != '('); ++last)
    depth += name[last] == '<' ? 1 : name[last] == '>' ? -1 : 0;
  return name.substr(first, last - first);
}

}  // namespace

namespace software_device {

Device* acceptLaunch(dim3 /*grid*/, dim3 block, std::size_t /*sharedBytes*/, cudaStream_t /*stream*/,
                     const void* const* /*pointers*/, std::size_t /*pointerCount*/) noexcept {
  threadsOfLaunch = block.x * block.y * block.z;
  static char someDevice;  // which is only handed on
  return reinterpret_cast<Device*>(&someDevice);
}
void queueLaunch(Device& /*device*/, cudaStream_t /*stream*/, std::unique_ptr<Work> launch) noexcept {
  const Work& work = *launch;
  blocksOf[kernelOf(typeid(work))].insert(threadsOfLaunch);
  launch->run();
}

}  // namespace software_device

namespace testing_support {
namespace {

template <class T>
void launchEveryKernel() {
  using namespace tovi::basic;
  constexpr int n = 40, wide = std::numeric_limits<std::int16_t>::max() + 2;
  const DeviceArray<T> memory(wide), other(wide);
  const DeviceArray<OtherPrecision<T>> converted(n * n);
  T *const p = memory.data(), *const q = other.data();
  Real<T>* const real = reinterpret_cast<Real<T>*>(q);
  const tovi::MatrixView<T> a(p, n, n, n), b(q, n, n, n);

  for (const Fill fill : {Fill::zero, Fill::one}) {
    setVector(fill, n, p, 1), setMatrix(fill, a), setSingle(fill, p);
    setTriangular('L', 'U', a, fill);
  }
  laset('F', T(0), T(1), a);
  conjugateVector(n, p, 1), conjugateMatrix(a);
  copyVector(n, q, 1, p, 1), copyMatrix(b, a), copySingle(q, p);
  copyVectorRealToComplex(n, real, 1, p, 1), copyComplexToReal(p, real);
  copyMatrixRealToComplex({real, n, n, n}, a);
  for (const char uplo : {'G', 'L', 'U'}) lacpy(uplo, b, a);
  for (const char transa : {'N', 'T'})
    for (const char transb : {'N', 'T'}) {
      madd(transa, transb, 1, b, 1, b, a);
      subtractMatrix(transa, transb, b, a);
    }
  for (const bool yes : {false, true}) {
    transpose(b, a, yes), transposeInplace(a, yes);
    scaleVector(n, q, p, 1, yes);
  }
  convertPrecision<T>({converted.data(), n, n, n}, a);
  for (const int row : {2, wide}) {
    const int pivots[] = {row, row};
    laswp(1, p, wide, 1, 2, pivots, 1);
    laswpCol(1, p, 1, 1, 2, pivots, 1);
  }
  for (const char side : {'L', 'R'})
    for (const char direct : {'F', 'B'}) lasr(side, 'V', direct, n, n, real, real, p, n);
  larfg(n, p, p + 1, 1, q);
  completeWeight(n, p, q, p + n, p + 2 * n);
  setMatrix(Fill::one, a);  // of NaN the Frobenius norm is known early
  for (const char norm : {'M', 'O', 'I', 'F'}) lange<T>(norm, a);
  for (const char norm : {'M', 'O'}) lanhe<T>(norm, 'U', a);
  greatestOfColumns<T>(a);
  for (const char trans : {'T', 'C'}) tovi::blas::gemv<T>(trans, T(1), a, q, 1, T(0), q + n, 1);
  for (const char uplo : {'L', 'U'}) tovi::brd::orgbrCopy(uplo, n, p, n);
  tovi::brd::multiplyBothWays<T>(a, q, q, q, q, {q, n, 1, n});
  tovi::brd::addReflected<T>(a, q, real, q, {q, n, 1, n}, q);
  tovi::brd::reducePanel<T>(a, {q, n, 2, n}, {q, n, 2, n}, real, real, q, q);
}

class KernelBlocks : public LibraryTest {};

// A row of the table: threads, and how the names of the kernels begin. The longest that fits counts.
TEST_F(KernelBlocks, AreThoseOfTheTable) {
  std::map<std::string, unsigned> table;
  std::ifstream file(TOVI_KERNEL_BLOCKS);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    unsigned threads = 0;
    std::string name;
    if (words >> threads >> name) table[name] = threads;
  }
  ASSERT_FALSE(table.empty());

  launchEveryKernel<float>();
  launchEveryKernel<double>();
  launchEveryKernel<Complex<float>>();
  launchEveryKernel<Complex<double>>();

  std::set<std::string> met;
  for (const auto& [kernel, blocks] : blocksOf) {
    const std::string* row = nullptr;
    for (const auto& [name, threads] : table)  // in order: a longer one comes later
      if (kernel.compare(0, name.size(), name) == 0) row = &name;
    ASSERT_NE(row, nullptr) << "no row for " << kernel;
    EXPECT_EQ(blocks, std::set<unsigned>{table[*row]}) << kernel;
    met.insert(*row);
  }
  for (const auto& row : table) EXPECT_TRUE(met.count(row.first)) << row.first << " is never launched";
}

}  // namespace
}  // namespace testing_support
