// Which calls happened, and which of them are to fail.

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/software/src/engine.h"

namespace software_device {

namespace {

constexpr std::size_t entries = static_cast<std::size_t>(Entry::count_);
std::size_t index(Entry entry) { return static_cast<std::size_t>(entry); }

bool canFail(Entry entry) {
  return entry != Entry::getLastError && entry != Entry::peekAtLastError && entry != Entry::getErrorString &&
         entry != Entry::cublasGetError;
}
bool isBlas(Entry entry) { return entry >= Entry::cublasInit; }

// Fails a call to come. callsLeft: 1 for the next one, 0 when nothing is to fail any more.
struct Fault {
  std::uint64_t callsLeft = 0;
  int cudaError = 0, cublasStatus = 0;
  bool forever = false;

  // One more call: whether it fails.
  bool strikes() {
    if (callsLeft == 0) return false;
    if (callsLeft > 1) return --callsLeft, false;
    if (!forever) callsLeft = 0;
    return true;
  }
};

std::array<std::atomic<std::uint64_t>, entries> counts{};

std::atomic<bool> watching{false};  // a fault is armed or calls are recorded; else a call costs one increment
std::mutex mutex;                   // guards what follows
std::array<Fault, entries> faults;
Fault anyFault;
std::uint64_t injected = 0;
bool recording = false;
// Never destroyed at the end of the process, as calls may come until the very last.
std::vector<Call>& record() {
  static auto* const calls = new std::vector<Call>;
  return *calls;
}

}  // namespace

CallGuard::CallGuard(Entry entry, std::initializer_list<long long> arguments, cudaStream_t stream) noexcept {
  counts[index(entry)].fetch_add(1, std::memory_order_relaxed);
  if (!watching.load(std::memory_order_acquire)) return;
  const std::lock_guard<std::mutex> lock(mutex);
  if (recording) {
    Call call;
    call.entry = entry;
    const std::size_t n = std::min(arguments.size(), call.arguments.size());
    std::copy_n(arguments.begin(), n, call.arguments.begin());
    call.stream = reinterpret_cast<std::size_t>(stream);
    record().push_back(call);
  }
  if (!canFail(entry)) return;
  for (Fault* fault : {&faults[index(entry)], &anyFault}) {
    if (!fault->strikes() || failed_) continue;
    failed_ = true;
    code_ = isBlas(entry) ? fault->cublasStatus : fault->cudaError;
    ++injected;
  }
}

void failCall(Entry entry, std::uint64_t call, int code, bool forever) {
  const std::lock_guard<std::mutex> lock(mutex);
  faults[index(entry)] = Fault{call, code, code, forever};
  injected = 0;
  watching.store(true, std::memory_order_release);
}

void failAnyCall(std::uint64_t call, int cudaError, int cublasStatus, bool forever) {
  const std::lock_guard<std::mutex> lock(mutex);
  anyFault = Fault{call, cudaError, cublasStatus, forever};
  injected = 0;
  watching.store(true, std::memory_order_release);
}

void clearFaults() {
  const std::lock_guard<std::mutex> lock(mutex);
  faults.fill(Fault{});
  anyFault = Fault{};
  watching.store(recording, std::memory_order_release);
}

std::uint64_t failuresInjected() {
  const std::lock_guard<std::mutex> lock(mutex);
  return injected;
}

std::uint64_t calls(Entry entry) { return counts[index(entry)].load(std::memory_order_relaxed); }

std::uint64_t allCalls() {
  std::uint64_t sum = 0;
  for (const auto& count : counts) sum += count.load(std::memory_order_relaxed);
  return sum;
}

void resetCounts() {
  for (auto& count : counts) count.store(0, std::memory_order_relaxed);
}

void startRecording() {
  const std::lock_guard<std::mutex> lock(mutex);
  record().clear();
  recording = true;
  watching.store(true, std::memory_order_release);
}

std::vector<Call> stopRecording() {
  const std::lock_guard<std::mutex> lock(mutex);
  recording = false;
  return std::exchange(record(), {});
}

}  // namespace software_device
