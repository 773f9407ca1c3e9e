// What is known of the calls that have come, and which of those to come are to fail.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_CALLS_H
#define TOVI_DEVICE_SOFTWARE_SRC_CALLS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "device/software/src/model.h"

namespace software_device {

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

inline constexpr std::size_t entryCount = static_cast<std::size_t>(Entry::count_);

struct Calls {
  std::array<std::atomic<std::uint64_t>, entryCount> counts{};
  // A fault is armed or calls are recorded; else a call costs one increment.
  std::atomic<bool> watching{false};

  std::mutex mutex;  // guards what follows
  std::array<Fault, entryCount> faults;
  Fault anyFault;
  std::uint64_t injected = 0;
  bool recording = false;
  std::vector<Call>* record = nullptr;  // never freed: calls may come until the very last

  std::atomic<std::uint64_t>& countOf(Entry entry) { return counts[static_cast<std::size_t>(entry)]; }
  Fault& faultOf(Entry entry) { return faults[static_cast<std::size_t>(entry)]; }
};
extern Calls theCalls;

// While calls are recorded: change(call) for the latest of them.
template <class Change>
void amendRecord(const Change& change) {
  if (!theCalls.watching.load(std::memory_order_acquire)) return;
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  if (theCalls.recording && !theCalls.record->empty()) change(theCalls.record->back());
}

}  // namespace software_device

#endif
