// Random calls of all exports, one after the other, for a bounded time. Every case has a number, and what it
// is depends on that and on the seed alone. In the environment:
//   TOVI_FUZZ_SECONDS   how long, default 4
//   TOVI_FUZZ_SEED      default 1
//   TOVI_FUZZ_CASE      runs this case alone

#ifndef TOVI_TESTS_FUZZ_FUZZ_H
#define TOVI_TESTS_FUZZ_FUZZ_H

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "tests/blas/blas_checks.h"

namespace testing_support {

inline std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : otherwise;
}

class Fuzz {
 public:
  // alone: no other thread calls the library meanwhile, so that the last status and the error info are those
  // of the call.
  explicit Fuzz(bool alone) : alone_(alone) {
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed_));
    std::fflush(stdout);
  }

  // Cases first, first + step, first + 2 step, ... Ends at the first one with a fault.
  void run(std::uint64_t first = 0, std::uint64_t step = 1) {
    const char* only = std::getenv("TOVI_FUZZ_CASE");
    if (only != nullptr) return check(fromEnvironment("TOVI_FUZZ_CASE", 0));
    for (std::uint64_t number = first;
         !stop_ && (calls_ < least() || std::chrono::steady_clock::now() < end_); number += step)
      check(number);
  }

  // Success and argument errors were both drawn often.
  void expectBothOutcomes() const {
    std::printf("%llu calls: %llu succeeded, %llu argument errors, %llu data errors\n", count(calls_),
                count(succeeded_), count(refused_), count(dataErrors_));
    if (std::getenv("TOVI_FUZZ_CASE") != nullptr) return;
    EXPECT_GT(succeeded_, calls_ / 4);
    EXPECT_GT(refused_, calls_ / 8);
  }

 private:
  using Counter = std::atomic<std::uint64_t>;
  static std::uint64_t least() { return 4 * allExports().size(); }  // calls, however slow the machine is
  static unsigned long long count(const Counter& counter) { return counter.load(); }

  static int drawSize(Random& random) {
    const int kind = random.below(20);
    if (kind < 2) return 0;
    if (kind < 6) return 1 + random.below(3);
    return kind < 18 ? 4 + random.below(37) : 41 + random.below(30);
  }

  void check(std::uint64_t number) {
    Random random(seed_ * 0x9E3779B97F4A7C15 + number);
    const Export& routine = allExports()[static_cast<std::size_t>(number % allExports().size())];
    constexpr Data kinds[] = {Data::regular,   Data::regular, Data::regular,  Data::regular,
                              Data::deficient, Data::extreme, Data::notFinite};
    Call call = drawCall(routine, random, {drawSize, false, kinds[random.below(7)]});
    if (random.below(50) == 0) toviFreeBuffers();
    const toviStatus status = call.run();
    const std::optional<int> info = alone_ ? std::make_optional(toviGetErrorInfo()) : std::nullopt;
    std::string fault = call.fault(status, info);
    const bool blas = !routine.family->lapack && !call.nothingToDo() && call.data() == Data::regular;
    if (status == toviNoError && fault.empty() && blas && !(blasRatio(call) < blasBound))
      fault = "not what the host computes";
    if (alone_ && toviGetLastStatus() != status) fault = "the last status is another one";
    ++calls_;
    succeeded_ += status == toviNoError;
    refused_ += status == toviArgumentError;
    dataErrors_ += status == toviDataError;
    if (fault.empty()) return;
    stop_ = true;
    ADD_FAILURE() << "TOVI_FUZZ_SEED=" << seed_ << " TOVI_FUZZ_CASE=" << number << ": " << call.text()
                  << " gave status " << status << ", error info " << info.value_or(0) << ": " << fault;
  }

  const bool alone_;
  const std::uint64_t seed_ = fromEnvironment("TOVI_FUZZ_SEED", 1);
  const std::chrono::steady_clock::time_point end_ =
      std::chrono::steady_clock::now() +
      std::chrono::seconds(static_cast<long long>(fromEnvironment("TOVI_FUZZ_SECONDS", 4)));
  std::atomic<bool> stop_{false};
  Counter calls_{0}, succeeded_{0}, refused_{0}, dataErrors_{0};
};

}  // namespace testing_support

#endif
