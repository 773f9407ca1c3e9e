#include "cudalib/runtime_flags.h"

#include <atomic>

namespace cudalib {
namespace {

std::atomic<int> recordedCode{0};

}  // namespace

RuntimeFlags runtimeFlags() {
  const int code = recordedCode.load(std::memory_order_relaxed);
  return {code >= 13, code, code >= 13 ? 8U : 6U};
}

void setRuntimeFlags(int capabilityCode) { recordedCode.store(capabilityCode, std::memory_order_relaxed); }

}  // namespace cudalib
