// A program that uses the library, for tests that look at it from outside.
//
//   subject solve ORDER   one linear system; the exit code is the status of the first call that failed, or
//                         99 for a wrong solution
//   subject leave MS      ends after MS milliseconds, while threads are inside routines

#include <tovi.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

// A diagonally dominant matrix, and the right-hand side to which the solution is all ones.
struct System {
  explicit System(int order)
      : n(order),
        a(static_cast<std::size_t>(n) * static_cast<std::size_t>(n)),
        b(static_cast<std::size_t>(n)),
        pivots(b.size()) {
    for (std::size_t i = 0; i < a.size(); ++i) {
      const std::size_t row = i % b.size();
      a[i] = row == i / b.size() ? static_cast<float>(n) : static_cast<float>(i * 7 % 11) / 11;
      b[row] += a[i];
    }
  }
  toviStatus solve() { return toviSgesv(n, 1, a.data(), n, pivots.data(), b.data(), n); }

  int n;
  std::vector<float> a, b;
  std::vector<int> pivots;
};

int solve(int order) {
  System system(order);
  toviStatus status = toviInitialize();
  if (status == toviNoError) status = system.solve();
  if (status != toviNoError) return status;
  for (const float x : system.b)
    if (!(std::fabs(x - 1) < 1e-3F)) return 99;
  toviShutdown();
  return 0;
}

int leave(int milliseconds) {
  if (const toviStatus status = toviInitialize()) return status;
  for (int i = 0; i < 4; ++i)
    std::thread([i] {
      const System original(i % 2 == 0 ? 400 : 120);
      while (true) {
        System system = original;
        if (system.solve() != toviNoError) std::abort();
        const int n = system.n;
        std::vector<float> c(system.a.size());
        if (toviSgemm('N', 'N', n, n, n, 1, original.a.data(), n, original.a.data(), n, 0, c.data(), n) !=
            toviNoError)
          std::abort();
      }
    }).detach();
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc == 3 ? argv[1] : "";
  if (what == "solve") return solve(std::atoi(argv[2]));
  if (what == "leave") return leave(std::atoi(argv[2]));
  return 98;
}
