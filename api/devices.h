#ifndef TOVI_API_DEVICES_H
#define TOVI_API_DEVICES_H

namespace tovi::api {

// The device that toviSelectDevice has selected; -1: none. Initialization keeps it. A runtime that binds a
// process to its first device would do so by itself (cudaErrorSetOnActiveProcess); later ones let the device
// be changed.
int selectedDevice();

}  // namespace tovi::api

#endif
