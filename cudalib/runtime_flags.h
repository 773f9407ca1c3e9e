// What initialization records about the executing device and the floors below read: process-wide, written
// once at initialization, read from any thread.

#ifndef TOVI_CUDALIB_RUNTIME_FLAGS_H
#define TOVI_CUDALIB_RUNTIME_FLAGS_H

namespace cudalib {

struct RuntimeFlags {
  bool doublePrecision = false;
  int capabilityCode = 0;
  int device = 0;           // the ordinal of the executing device
  unsigned partitions = 6;  // device memory partitions, each 256 bytes wide
};

RuntimeFlags runtimeFlags();
// The rest follows from the device's compute level.
void setRuntimeFlags(int device, int capabilityCode);

}  // namespace cudalib

#endif
