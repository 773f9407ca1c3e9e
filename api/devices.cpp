#include "api/devices.h"

#include <cstdio>
#include <string>

#include "api/frame.h"
#include "api/text.h"
#include "cudalib/check.h"
#include "cudalib/device_table.h"
#include "cudalib/runtime_flags.h"
#include "ground/outcomes.h"
#include "ground/per_process.h"

namespace tovi::api {
namespace {

tovi::PerProcessValue<int> theSelectedDevice(-1);

void checkOrdinal(int device) {
  if (device < 0 || device >= cudalib::deviceCount()) argumentError(-1);
}

// As "4 GB": the largest unit that leaves at least 1, in steps of 1024, rounded to a whole number.
std::string memoryText(std::size_t bytes) {
  constexpr char units[] = " KMGTPE";
  double value = static_cast<double>(bytes);
  int unit = 0;
  for (; unit < 6 && value >= 1024; ++unit) value *= 1.0 / 1024;
  char text[32];
  std::snprintf(text, sizeof text, "%.0f %cB", value, units[unit]);
  return text;
}

}  // namespace

int selectedDevice() { return theSelectedDevice.get(); }

}  // namespace tovi::api

using namespace tovi::api;

toviStatus toviGetDeviceCount(int* dev) {
  return managed([=] {
    if (dev == nullptr) tovi::argumentError(-1);
    *dev = cudalib::deviceCount();
  });
}

toviStatus toviGetExecutingDevice(int* dev) {
  if (!initialized()) return store(toviNotInitialized);
  return managed([=] {
    if (dev == nullptr) tovi::argumentError(-1);
    *dev = cudalib::runtimeFlags().device;
  });
}

toviStatus toviSelectDevice(int dev) {
  return managed([=] {
    checkOrdinal(dev);
    if (initialized()) {
      if (dev != cudalib::runtimeFlags().device)
        throw cudalib::CudaRuntimeException(device::errorSetOnActiveProcess);
      return;
    }
    const cudaError_t status = cudaSetDevice(dev);
    if (status != cudaSuccess) throw cudalib::CudaRuntimeException(static_cast<int>(status));
    theSelectedDevice.set(dev);
  });
}

toviStatus toviGetDeviceInfo(int dev, char* buf, int bufsize) {
  return managed([=] {
    checkOrdinal(dev);
    if (buf == nullptr) tovi::argumentError(-2);
    if (bufsize < 1) tovi::argumentError(-3);
    const cudalib::DeviceRecord& device = cudalib::deviceRecord(dev);
    copyText(device.name + " (" + memoryText(device.properties.totalGlobalMem) + ")", buf, bufsize);
  });
}
