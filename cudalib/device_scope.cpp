#include "cudalib/device_scope.h"

#include "cudalib/check.h"

namespace cudalib {

void DeviceScope::enter(int device) {
  int current = device;
  check(cudaGetDevice(&current));
  if (current == device) return;
  check(cudaSetDevice(device));
  before_ = current;
}

void DeviceScope::tryEnter(int device) noexcept {
  try {
    enter(device);
  } catch (...) {
    discardPendingErrors();
  }
}

DeviceScope::~DeviceScope() {
  if (before_ >= 0) ignoreFailure(cudaSetDevice(before_));
}

}  // namespace cudalib
