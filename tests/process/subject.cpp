// A program that uses the library, for tests that look at it from outside.
//
//   subject solve ORDER   one linear system; the exit code is the status of the first call that failed, or
//                         99 for a wrong solution
//   subject leave MS      ends after MS milliseconds, while threads are inside routines

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/process/solve.h"

namespace {

int solveOnce(int order) {
  if (const toviStatus status = toviInitialize()) return status;
  if (const int status = solve(order)) return status;
  toviShutdown();
  return 0;
}

int leave(int milliseconds) {
  if (const toviStatus status = toviInitialize()) return status;
  for (const int n : {400, 120, 400, 120})
    std::thread([n] {
      const std::vector<float> a(static_cast<std::size_t>(n) * static_cast<std::size_t>(n), 1);
      while (true) {
        if (solve(n) != 0) std::abort();
        std::vector<float> c(a.size());
        if (toviSgemm('N', 'N', n, n, n, 1, a.data(), n, a.data(), n, 0, c.data(), n) != toviNoError)
          std::abort();
      }
    }).detach();
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc == 3 ? argv[1] : "";
  if (what == "solve") return solveOnce(std::atoi(argv[2]));
  if (what == "leave") return leave(std::atoi(argv[2]));
  return 98;
}
