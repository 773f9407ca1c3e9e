#include "tools/tovi/devices.h"

#include <iostream>

#include "tools/tovi/failure.h"
#include "tools/tovi/library.h"

namespace tool {

void listDevices() {
  const int count = deviceCount();
  if (count == 0) throw Failure(toviGetStatusString(toviNoHardware));
  for (int device = 0; device < count; ++device) std::cout << device << ": " << deviceText(device) << '\n';
}

}  // namespace tool
