// The library's own kernels on device memory, beside memcpy of the same bytes on as many threads.

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bench/harness.h"
#include "cudalib/allocators.h"
#include "cudalib/check.h"
#include "cudalib/managed_memory.h"
#include "include/tovi.h"
#include "src/basic/Copy.h"
#include "src/basic/Transpose.h"

namespace {

// memcpy cut into one piece a thread.
void copyOnAllThreads(char* to, const char* from, std::size_t bytes) {
  const std::size_t threads = std::max(1u, std::thread::hardware_concurrency());
  std::vector<std::thread> others;
  const auto piece = [&](std::size_t t) {
    const std::size_t first = bytes * t / threads, last = bytes * (t + 1) / threads;
    std::memcpy(to + first, from + first, last - first);
  };
  for (std::size_t t = 1; t < threads; ++t) others.emplace_back(piece, t);
  piece(0);
  for (std::thread& thread : others) thread.join();
}

}  // namespace

int main(int argc, char** argv) {
  const bool json = argc == 3 && std::strcmp(argv[1], "--json") == 0;
  if (toviInitialize() != toviNoError) return 1;
  {
    const int n = 4096;
    const std::size_t elements = static_cast<std::size_t>(n) * n;
    using Memory = cudalib::ManagedMemory<float, cudalib::CudaAllocator<float>>;
    const Memory dA(n, n), dB(n, n);
    std::vector<char> from(elements * sizeof(float), 1), to(from.size());
    const tovi::MatrixView<float> a(dA.get(), n, n, n), b(dB.get(), n, n, n);
    cudalib::check(cudaMemcpy(dA.get(), from.data(), from.size(), cudaMemcpyHostToDevice));
    const auto nothing = [] {};
    const double gigabytes = 2e-9 * static_cast<double>(from.size());
    const bench::Contender rival{nothing, [&] { copyOnAllThreads(to.data(), from.data(), from.size()); }};
    const auto kernel = [&](auto run) {
      return bench::Contender{nothing, [run] {
                                run();
                                cudalib::completionCheck();
                              }};
    };
    bench::Report report(15);
    report.pair("CopyMatrix_k 4096 x 4096 float", gigabytes, "GB", 0.5,
                kernel([&] { tovi::basic::copyMatrix<float>(a, b); }), rival);
    report.pair("Transpose_k 4096 x 4096 float", gigabytes, "GB", 0.25,
                kernel([&] { tovi::basic::transpose<float>(a, b); }), rival);
    report.pair("TransposeInplace_k 4096 x 4096 float", gigabytes, "GB", 0.25,
                kernel([&] { tovi::basic::transposeInplace(a); }), rival);
    if (json) report.writeJson(argv[2]);
  }
  toviShutdown();
  return 0;
}
