#include "cudalib/runtime_flags.h"

#include <atomic>

namespace cudalib {
namespace {

std::atomic<int> recordedDevice{0}, recordedCode{0};

}  // namespace

RuntimeFlags runtimeFlags() {
  const int code = recordedCode.load(std::memory_order_relaxed);
  return {code >= 13, code, recordedDevice.load(std::memory_order_relaxed), code >= 13 ? 8U : 6U};
}

void setRuntimeFlags(int device, int capabilityCode) {
  recordedDevice.store(device, std::memory_order_relaxed);
  recordedCode.store(capabilityCode, std::memory_order_relaxed);
}

}  // namespace cudalib
