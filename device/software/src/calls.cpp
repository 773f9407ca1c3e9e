#include "device/software/src/calls.h"

#include <algorithm>

#include "device/software/src/engine.h"

namespace software_device {

Calls theCalls;

namespace {

bool canFail(Entry entry) {
  return entry != Entry::getLastError && entry != Entry::peekAtLastError && entry != Entry::getErrorString &&
         entry != Entry::cublasGetError;
}
bool isBlas(Entry entry) { return entry >= Entry::cublasInit; }

}  // namespace

CallGuard::CallGuard(Entry entry, std::initializer_list<long long> arguments, cudaStream_t stream) noexcept {
  theCalls.countOf(entry).fetch_add(1, std::memory_order_relaxed);
  if (!theCalls.watching.load(std::memory_order_acquire)) return;
  const std::lock_guard<std::mutex> lock(theCalls.mutex);
  if (theCalls.recording) {
    Call call;
    call.entry = entry;
    const std::size_t n = std::min(arguments.size(), call.arguments.size());
    std::copy_n(arguments.begin(), n, call.arguments.begin());
    call.stream = reinterpret_cast<std::size_t>(stream);
    theCalls.record->push_back(call);
  }
  if (!canFail(entry)) return;
  for (Fault* fault : {&theCalls.faultOf(entry), &theCalls.anyFault}) {
    if (!fault->strikes() || failed_) continue;
    failed_ = true;
    code_ = isBlas(entry) ? fault->cublasStatus : fault->cudaError;
    ++theCalls.injected;
  }
}

}  // namespace software_device
