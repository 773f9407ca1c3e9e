#include "tools/tovi/library.h"

#include "tools/tovi/failure.h"

namespace tool {

void check(toviStatus status, const std::string& what) {
  if (status == toviNoError) return;
  const int info = toviGetErrorInfo();  // before the next call, which clears it
  const std::string statusText = toviGetStatusString(status);
  std::string message = what + ": " + statusText;
  char infoText[512];
  if (toviGetErrorInfoString(status, info, infoText, sizeof infoText) == toviNoError &&
      statusText != infoText)
    message += std::string("\n  ") + infoText;
  throw Failure(message);
}

int deviceCount() {
  int count = 0;
  check(toviGetDeviceCount(&count), "counting devices");
  return count;
}

std::string deviceText(int device) {
  char text[512];
  check(toviGetDeviceInfo(device, text, sizeof text), "device " + std::to_string(device));
  return text;
}

Session::Session(int device) {
  if (device >= 0) check(toviSelectDevice(device), "selecting device " + std::to_string(device));
  check(toviInitialize(), "initialization");
  check(toviGetExecutingDevice(&device_), "executing device");
}

}  // namespace tool
