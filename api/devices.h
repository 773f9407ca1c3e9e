#ifndef TOVI_API_DEVICES_H
#define TOVI_API_DEVICES_H

namespace tovi::api {

// The device that toviSelectDevice has selected; -1: none. Initialization takes it.
int selectedDevice();

}  // namespace tovi::api

#endif
