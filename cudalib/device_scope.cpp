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

DeviceScope::~DeviceScope() {
  if (before_ >= 0) ignoreFailure(cudaSetDevice(before_));
}

}  // namespace cudalib
