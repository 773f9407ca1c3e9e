#ifndef TOVI_TOOLS_DEVICES_H
#define TOVI_TOOLS_DEVICES_H

namespace tool {

// `tovi devices`: one line for each device.
void listDevices();

}  // namespace tool

#endif
