// The executing device, in whatever thread a call comes.

#ifndef TOVI_CUDALIB_DEVICE_SCOPE_H
#define TOVI_CUDALIB_DEVICE_SCOPE_H

namespace cudalib {

// Makes a device the calling thread's current one; at the end the thread has again the one that it had.
class DeviceScope {
 public:
  DeviceScope() = default;
  ~DeviceScope();
  DeviceScope(const DeviceScope&) = delete;
  DeviceScope& operator=(const DeviceScope&) = delete;

  // Once, either of them.
  void enter(int device);
  void tryEnter(int device) noexcept;  // for a caller that has nobody to tell of a failure

 private:
  int before_ = -1;  // where it was another one
};

}  // namespace cudalib

#endif
